#include "recordings/formats/channel_file.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "recordings/errors.h"
#include "recordings/forming/steps.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr std::size_t kBlock = std::size_t{1} << 16;  ///< values that are read at a time
constexpr std::size_t kMostListed = 6;

class CChannelReader : public CPartReader {
 public:
  CChannelReader(std::unique_ptr<CChannelFile> file, const SReadContext& context)
      : file_(std::move(file)), path_(context.path), settings_(*context.settings) {
    NameChannels();
    const auto note = [&](const std::string& text) {
      if (context.note) {
        context.note(text);
      }
    };
    std::for_each(file_->Notes().begin(), file_->Notes().end(), note);
    if (settings_.xFrom) {
      x_ = Find(*settings_.xFrom);
    }
    Choose(note);
    NoteReplaced(note);
  }

  bool Next(SPart& part) override {
    if (done_) {
      return false;
    }
    done_ = true;
    part = SPart{path_, std::nullopt, {}};
    for (const std::size_t i : chosen_) {
      const SFileChannel& channel = file_->Channels()[i];
      SQuantity q;
      q.name = names_[i];
      q.unit = ParseUnit(channel.unit);
      TakeAxis(i, q);
      q.values.reserve(static_cast<std::size_t>(channel.count));
      part.quantities.push_back(std::move(q));
    }
    // Block by block, as channels may lie interleaved.
    std::uint64_t most = 0;
    for (const std::size_t i : chosen_) {
      most = std::max(most, file_->Channels()[i].count);
    }
    for (std::uint64_t first = 0; first < most; first += kBlock) {
      for (std::size_t k = 0; k < chosen_.size(); ++k) {
        TakeValues(chosen_[k], first, part.quantities[k].values);
      }
    }
    return true;
  }

 private:
  /// A name that several channels have gets the group in front, then a number behind.
  void NameChannels() {
    std::map<std::string, int> count;
    for (const SFileChannel& channel : file_->Channels()) {
      ++count[channel.name];
    }
    std::set<std::string> taken;
    for (const SFileChannel& channel : file_->Channels()) {
      const bool alone = count[channel.name] == 1 || channel.group.empty();
      const std::string base = alone ? channel.name : channel.group + "/" + channel.name;
      std::string name = base;
      for (int k = 2; !taken.insert(name).second; ++k) {
        name = base + " " + std::to_string(k);
      }
      names_.push_back(name);
    }
  }

  /// By name, with or without its group, or by the number of the channel.
  std::size_t Find(const std::string& wanted) const {
    for (std::size_t i = 0; i < names_.size(); ++i) {
      const SFileChannel& channel = file_->Channels()[i];
      if (names_[i] == wanted || channel.group + "/" + channel.name == wanted) {
        return i;
      }
    }
    double number = 0.0;
    if (ParseNumber(wanted, number) && number >= 1.0 && number == std::floor(number) &&
        number <= static_cast<double>(names_.size())) {
      return static_cast<std::size_t>(number) - 1;
    }
    throw CInputError(path_, "no channel " + Quoted(wanted) + " (there are " +
                                 std::to_string(names_.size()) + ")");
  }

  template <class Note>
  void Choose(Note note) {
    for (const std::string& wanted : settings_.use) {
      chosen_.push_back(Find(wanted));
    }
    std::vector<std::string> few;
    std::vector<std::string> otherLength;
    for (std::size_t i = 0; settings_.use.empty() && i < names_.size(); ++i) {
      const auto& skip = settings_.skip;
      if (i == x_ || std::find(skip.begin(), skip.end(), names_[i]) != skip.end()) {
        continue;
      }
      const std::uint64_t count = file_->Channels()[i].count;
      if (count < 2) {
        few.push_back(names_[i]);
      } else if (x_ && count != file_->Channels()[*x_].count) {
        otherLength.push_back(names_[i]);
      } else {
        chosen_.push_back(i);
      }
    }
    if (!few.empty()) {
      note(LeftOut("as they hold fewer than two values", few));
    }
    if (!otherLength.empty()) {
      note(LeftOut("as they have another length than " + Quoted(names_[*x_]) + " of --x",
                   otherLength));
    }
    if (chosen_.empty()) {
      throw CInputError(path_, "holds no channel of numbers with two values or more");
    }
    for (const std::size_t i : chosen_) {
      const std::uint64_t count = file_->Channels()[i].count;
      if (count < 2 || (x_ && count != file_->Channels()[*x_].count)) {
        throw CInputError(path_, "channel " + Quoted(names_[i]) + " holds " +
                                     std::to_string(count) + (count == 1 ? " value" : " values"));
      }
    }
  }

  template <class Note>
  void NoteReplaced(Note note) const {
    bool dx = false;
    bool x0 = false;
    bool xUnit = false;
    for (const std::size_t i : chosen_) {
      const SFileChannel& channel = file_->Channels()[i];
      dx = dx ||
           (settings_.dx && (channel.hasX || channel.dx.value_or(*settings_.dx) != *settings_.dx));
      x0 = x0 || (settings_.x0 && channel.x0.value_or(*settings_.x0) != *settings_.x0);
      xUnit =
          xUnit || (settings_.xUnit && !channel.xUnit.empty() && channel.xUnit != *settings_.xUnit);
    }
    for (const auto& [replaced, option] :
         {std::pair(dx, "--dx"), {x0, "--x0"}, {xUnit, "--x-unit"}}) {
      if (replaced) {
        note(std::string(option) + " is taken instead of what the file says");
      }
    }
  }

  void TakeAxis(std::size_t i, SQuantity& q) {
    const SFileChannel& channel = file_->Channels()[i];
    q.xUnit = ParseUnit(settings_.xUnit.value_or(x_ ? file_->Channels()[*x_].unit : channel.xUnit));
    q.x0 = settings_.x0.value_or(channel.x0.value_or(0.0));
    if (settings_.dx) {
      q.dx = *settings_.dx;
    } else if (x_ || channel.hasX) {
      TakePlaces(i, q);
    } else if (channel.dx) {
      q.dx = *channel.dx;
    } else {
      throw CInputError(path_, "does not say at which x the values of " + Quoted(q.name) +
                                   " lie; give the step by --dx, or the channel by --x");
    }
    if (!std::isfinite(q.x0) || !std::isfinite(q.dx) || !(q.dx > 0.0)) {
      throw CInputError(path_, "channel " + Quoted(q.name) + ": steps of " + NumberText(q.dx) +
                                   " from " + NumberText(q.x0) + " on are no axis");
    }
  }

  void TakePlaces(std::size_t i, SQuantity& q) {
    std::vector<double> x(static_cast<std::size_t>(file_->Channels()[i].count));
    for (std::size_t first = 0; first < x.size(); first += kBlock) {
      const auto block = std::span(x).subspan(first, std::min(kBlock, x.size() - first));
      x_ ? file_->Read(*x_, first, block) : file_->ReadX(i, first, block);
    }
    const double shift = settings_.x0 ? *settings_.x0 - x.front() : 0.0;
    for (double& place : x) {
      place += shift;
    }
    if (FirstOffSteps(x)) {
      if (const auto fault = TakeFreeSteps(x, q.x)) {
        throw CInputError(path_, "x of " + Quoted(q.name) + ", value " +
                                     std::to_string(*fault + 1) +
                                     " neither rises nor falls, or is no finite number (--dx D to "
                                     "do without it)");
      }
    }
    q.x0 = std::min(x.front(), x.back());
    q.dx = std::fabs(MeanStep(x));
  }

  void TakeValues(std::size_t i, std::uint64_t first, std::vector<float>& values) {
    const std::uint64_t count = file_->Channels()[i].count;
    if (first >= count) {
      return;
    }
    block_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, count - first)));
    file_->Read(i, first, block_);
    for (const double value : block_) {
      values.push_back(static_cast<float>(value));
    }
  }

  std::unique_ptr<CChannelFile> file_;
  std::string path_;
  SReadSettings settings_;
  std::vector<std::string> names_;
  std::optional<std::size_t> x_;  ///< the channel of --x
  std::vector<std::size_t> chosen_;
  std::vector<double> block_;
  bool done_ = false;
};

}  // namespace

std::string LeftOut(const std::string& why, const std::vector<std::string>& names) {
  std::string text = "left out, " + why + ": ";
  for (std::size_t i = 0; i < std::min(names.size(), kMostListed); ++i) {
    text += (i > 0 ? ", " : "") + Quoted(names[i]);
  }
  return text + (names.size() > kMostListed
                     ? " and " + std::to_string(names.size() - kMostListed) + " more"
                     : "");
}

std::unique_ptr<CChannelFile> OpenChannels(FileKind kind, CFileStream& stream,
                                           const std::string& path) {
  switch (kind) {
    case FileKind::kUff:
      return OpenUff(stream, path);
    case FileKind::kTdms:
      return OpenTdms(stream, path);
    case FileKind::kNumpy:
      return OpenNumpy(stream, path);
    case FileKind::kMdf:
      return OpenMdf(stream, path);
    case FileKind::kMat:
      return OpenMat(stream, path);
    case FileKind::kHdf5:
      return OpenHdf5(stream, path);
    default:
      throw CInputError(path, "is no file of channels");
  }
}

std::unique_ptr<CPartReader> MakeChannelReader(std::unique_ptr<CChannelFile> file,
                                               const SReadContext& context) {
  return std::make_unique<CChannelReader>(std::move(file), context);
}

}  // namespace limes::recordings
