#include "recordings/formats/channel_file.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>

#include "recordings/errors.h"
#include "recordings/forming/steps.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr std::size_t kMostBlock = std::size_t{1} << 16;  ///< values of a channel at a time
constexpr std::size_t kAllBlocks = std::size_t{1} << 19;  ///< of all channels together
constexpr std::size_t kLeastBlock = 64;
constexpr std::size_t kMostListed = 6;

class CChannelReader : public CPartReader {
 public:
  CChannelReader(std::unique_ptr<CChannelFile> file, const SReadContext& context)
      : file_(std::move(file)),
        path_(context.path),
        settings_(*context.settings),
        blockSize_(std::clamp(kAllBlocks / std::max<std::size_t>(file_->Channels().size(), 1),
                              kLeastBlock, kMostBlock)) {
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

  /// The whole part, or, when it is to be cut, a block of it of whole cuts.
  bool Next(SPart& part) override {
    if (done_) {
      return false;
    }
    if (start_ == 0) {
      TakeHeads();
    }
    const std::uint64_t cut = settings_.cut;
    const std::uint64_t length =
        cut == 0 ? UINT64_MAX : cut * std::max<std::uint64_t>(blockSize_ / cut, 1);
    part = head_;
    TakeValues(part, length);
    start_ += cut == 0 ? 0 : length;
    done_ = cut == 0 || start_ + cut > shortest_;
    return true;
  }

 private:
  void TakeHeads() {
    head_.name = path_;
    for (const std::size_t i : chosen_) {
      const SFileChannel& channel = file_->Channels()[i];
      SQuantity& q = head_.quantities.emplace_back();
      q.name = names_[i];
      q.unit = ParseUnit(channel.unit);
      TakeAxis(i, q);
      shortest_ = std::min(shortest_, channel.count);
    }
  }

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
    const auto differs = [](const auto& given, const std::string& inFile) {
      return given && !inFile.empty() && inFile != *given;
    };
    bool dx = false;
    bool x0 = false;
    bool xUnit = false;
    bool unit = false;
    for (const std::size_t i : chosen_) {
      const SFileChannel& channel = file_->Channels()[i];
      dx = dx ||
           (settings_.dx && (channel.hasX || channel.dx.value_or(*settings_.dx) != *settings_.dx));
      x0 = x0 ||
           (settings_.x0 && (channel.hasX || channel.x0.value_or(*settings_.x0) != *settings_.x0));
      xUnit = xUnit || differs(settings_.xUnit, channel.xUnit);
      unit = unit || differs(settings_.unit, channel.unit);
    }
    for (const auto& [replaced, option] :
         {std::pair(dx, "--dx"), {x0, "--x0"}, {xUnit, "--x-unit"}, {unit, "--unit"}}) {
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

  void ReadPlaces(std::size_t i, std::uint64_t first, std::span<double> x) {
    x_ ? file_->Read(*x_, first, x) : file_->ReadX(i, first, x);
  }

  /// Calls take(number of the first, places) for blocks of x, until one is not taken.
  template <class Take>
  void ForEachBlockOfX(std::size_t i, Take take) {
    const std::uint64_t count = file_->Channels()[i].count;
    bool goesOn = true;
    for (std::uint64_t first = 0; goesOn && first < count; first += blockSize_) {
      block_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(blockSize_, count - first)));
      ReadPlaces(i, first, block_);
      goesOn = take(first, block_);
    }
  }

  bool HasEqualSteps(std::size_t i, double first, double step) {
    bool equal = true;
    ForEachBlockOfX(i, [&](std::uint64_t from, const std::vector<double>& x) {
      for (std::size_t k = 0; equal && k < x.size(); ++k) {
        equal = IsOnSteps(x[k], first, step, from + k);
      }
      return equal;
    });
    return equal;
  }

  void TakePlaces(std::size_t i, SQuantity& q) {
    const std::uint64_t count = file_->Channels()[i].count;
    std::array<double, 2> ends{};
    ReadPlaces(i, 0, std::span(ends).first(1));
    ReadPlaces(i, count - 1, std::span(ends).last(1));
    const double step = (ends[1] - ends[0]) / static_cast<double>(count - 1);
    const double shift = settings_.x0 ? *settings_.x0 - ends[0] : 0.0;
    q.x0 = std::min(ends[0], ends[1]) + shift;
    q.dx = std::fabs(step);
    if (HasEqualSteps(i, ends[0], step)) {
      return;
    }
    if (settings_.cut > 0) {
      throw CInputError(path_,
                        "quantity " + Quoted(q.name) + " is not at equal steps, as --cut needs it");
    }
    std::vector<double> x;
    x.reserve(static_cast<std::size_t>(count));
    ForEachBlockOfX(i, [&](std::uint64_t, const std::vector<double>& places) {
      for (const double place : places) {
        x.push_back(place + shift);
      }
      return true;
    });
    if (const auto fault = TakeFreeSteps(x, q.x)) {
      throw CInputError(path_, "x of " + Quoted(q.name) + ", value " + std::to_string(*fault + 1) +
                                   " neither rises nor falls, or is no finite number (--dx D to "
                                   "do without it)");
    }
  }

  /// Values from start_ on, block by block, as channels may lie interleaved.
  void TakeValues(SPart& part, std::uint64_t length) {
    std::uint64_t most = 0;
    for (std::size_t k = 0; k < chosen_.size(); ++k) {
      const std::uint64_t left = file_->Channels()[chosen_[k]].count - start_;
      part.quantities[k].values.reserve(static_cast<std::size_t>(std::min(left, length)));
      most = std::max(most, std::min(left, length));
    }
    for (std::uint64_t done = 0; done < most; done += blockSize_) {
      for (std::size_t k = 0; k < chosen_.size(); ++k) {
        const std::uint64_t count = file_->Channels()[chosen_[k]].count - start_;
        const std::uint64_t left = std::min(count, length);
        if (done < left) {
          AppendValues(chosen_[k], start_ + done, std::min<std::uint64_t>(left - done, blockSize_),
                       part.quantities[k].values);
        }
      }
    }
  }

  void AppendValues(std::size_t i, std::uint64_t first, std::uint64_t count,
                    std::vector<float>& values) {
    block_.resize(static_cast<std::size_t>(count));
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
  std::size_t blockSize_;
  std::vector<double> block_;
  SPart head_;                           ///< names, units and axes
  std::uint64_t start_ = 0;              ///< of the next block
  std::uint64_t shortest_ = UINT64_MAX;  ///< channel, in values
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
