#include "recordings/part_source.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "recordings/errors.h"
#include "recordings/formats/channel_file.h"
#include "recordings/recording.h"
#include "recordings/text.h"
#include "recordings/variant.h"

namespace limes::recordings {
namespace {

/// A recording as one part, or as blocks when it is to be cut, of which the last may be shorter.
class CRecordingReader : public CPartReader {
 public:
  CRecordingReader(std::unique_ptr<CRecording> recording, const SReadContext& context)
      : recording_(std::move(recording)), path_(context.path) {
    cut_ = context.settings->cut;
    ChooseChannels(context.settings->use);
  }

  bool Next(SPart& part) override {
    if (done_) {
      return false;
    }
    const std::size_t wanted =
        cut_ > 0 ? static_cast<std::size_t>(cut_) : std::numeric_limits<std::size_t>::max();
    const std::size_t got = recording_->Read(wanted, channels_);
    done_ = cut_ == 0 || got < wanted;
    if (got == 0 && cut_ == 0) {
      throw CInputError(path_, "holds no samples");
    }
    part = SPart{path_, std::nullopt, std::vector<SQuantity>(chosen_.size())};
    for (std::size_t i = 0; i < chosen_.size(); ++i) {
      SQuantity& q = part.quantities[i];
      q.name = recording_->Channels()[chosen_[i]].name;
      q.unit = recording_->Channels()[chosen_[i]].unit;
      q.xUnit = recording_->XUnit();
      q.x0 = recording_->X0();
      q.dx = recording_->Dx();
      q.x = recording_->FreeX();
      q.values = channels_[chosen_[i]];
      q.covered = recording_->Covered(chosen_[i]);
      if (!q.x.empty() && !q.covered.empty()) {
        KeepCovered(q);
      }
    }
    return true;
  }

 private:
  /// Without equal steps a value that was not measured is no point.
  static void KeepCovered(SQuantity& q) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < q.values.size(); ++i) {
      if (q.covered[i] != 0) {
        q.x[kept] = q.x[i];
        q.values[kept++] = q.values[i];
      }
    }
    q.x.resize(kept);
    q.values.resize(kept);
    q.covered.clear();
  }

  /// By name, or by the number of the channel.
  void ChooseChannels(const std::vector<std::string>& use) {
    const auto& channels = recording_->Channels();
    for (const std::string& wanted : use) {
      std::size_t found = 0;
      while (found < channels.size() && channels[found].name != wanted) {
        ++found;
      }
      double number = 0.0;
      if (found == channels.size() && ParseNumber(wanted, number) && number >= 1.0 &&
          number <= static_cast<double>(channels.size()) && number == std::floor(number)) {
        found = static_cast<std::size_t>(number) - 1;
      }
      if (found == channels.size()) {
        throw CInputError(path_, "no channel " + Quoted(wanted) + " (there are " +
                                     std::to_string(channels.size()) + ")");
      }
      chosen_.push_back(found);
    }
    for (std::size_t i = 0; use.empty() && i < channels.size(); ++i) {
      chosen_.push_back(i);
    }
  }

  std::unique_ptr<CRecording> recording_;
  std::string path_;
  std::uint64_t cut_ = 0;
  bool done_ = false;
  std::vector<std::size_t> chosen_;
  std::vector<std::vector<float>> channels_;
};

}  // namespace

void NoteUnit(std::string_view unit, const NoteTaker& note) {
  if (note && unit == "dB(A)") {
    note(
        "the unit dB(A) is read as dB(Pa): levels weighted and not weighted by the curve A are not "
        "told apart");
  }
}

void NoteReplaced(const SReadContext& context, const char* option,
                  const std::optional<std::string>& given, const std::string& inFile) {
  if (context.note && given && !inFile.empty() && inFile != *given) {
    context.note(std::string(option) + " is taken instead of what the file says");
  }
}

std::unique_ptr<CPartReader> MakePartReader(FileKind kind, CFileStream& stream,
                                            const SReadContext& context) {
  if (context.settings->IsTable() && kind != FileKind::kTable) {
    throw CInputError(context.path, "--rows, --values and --long are for tables");
  }
  if (!context.where->empty() && kind != FileKind::kTable) {
    throw CInputError(context.path, "has no column " + Quoted(context.where->front().column) +
                                        ", as --where needs it: it is no table");
  }
  if (HoldsChannels(kind)) {
    return MakeChannelReader(OpenChannels(kind, stream, context.path), context);
  }
  if (context.settings->xFrom && kind != FileKind::kTable) {
    throw CInputError(context.path, "has no channel of x, as --x needs it");
  }
  switch (kind) {
    case FileKind::kSound:
      NoteReplaced(context, "--x-unit", context.settings->xUnit, "s");
      NoteReplaced(context, "--dx", context.settings->dx ? std::optional("") : std::nullopt,
                   "rate");
      return std::make_unique<CRecordingReader>(OpenSound(stream, context.path, *context.settings),
                                                context);
    case FileKind::kRecords:
      return MakeSignalRecordReader(stream, context);
    default:
      break;
  }
  if (!context.settings->longForm.empty()) {
    return MakeLongReader(stream, context);
  }
  if (context.settings->IsTable()) {
    return MakeTableRowReader(stream, context);
  }
  auto columns = OpenColumns(stream, context);
  SReadContext all = context;
  SReadSettings settings = *context.settings;
  settings.use.clear();  // the columns were chosen
  all.settings = &settings;
  return std::make_unique<CRecordingReader>(std::move(columns), all);
}

CPartSource::CPartSource(const std::vector<std::string>& files, SConfig config)
    : files_(ExpandFolders(files)), config_(std::move(config)), former_(config_.settings) {
  if (config_.settings.unit) {
    NoteUnit(*config_.settings.unit, [this](const std::string& text) { Note(text); });
  }
}

CPartSource::~CPartSource() = default;

void CPartSource::CheckFiles() const {
  for (const std::string& file : files_) {
    std::error_code error;
    if (file != kStandardInput &&
        (!std::filesystem::exists(file, error) || std::filesystem::is_regular_file(file, error))) {
      CDiskStream stream;  // a pipe is not opened: that would take its first bytes
      OpenForReading(file, stream);
    }
  }
}

void CPartSource::Note(const std::string& text) {
  if (config_.note && noted_.insert(text).second) {
    notes_ += (notes_.empty() ? "" : "; ") + text;
  }
}

void CPartSource::TellNotes() {
  if (!notes_.empty()) {
    config_.note(std::exchange(notes_, ""));
  }
}

bool CPartSource::IsReadAhead(const std::string& path) const {
  std::error_code error;
  return path != kStandardInput && std::filesystem::is_regular_file(path, error);
}

SReadContext CPartSource::ContextOf(const std::string& path) {
  return {path,
          &config_.settings,
          &config_.where,
          config_.goodOnly,
          config_.labelOptional,
          [this](const std::string& text) { Note(text); },
          &dialect_};
}

void CPartSource::OpenBytes(const std::string& name, std::span<const std::uint8_t> bytes) {
  file_.reset();
  contexts_.clear();
  contexts_.push_back(ContextOf(name));
  place_ = 0;
  file_ = std::make_unique<CPartFile>(contexts_.back(), std::make_unique<CMemoryStream>(bytes));
}

/// Threads are worth their while for several files, and for a file of many parts.
void CPartSource::Begin() {
  for (const std::string& path : files_) {
    contexts_.push_back(ContextOf(path));
  }
  if (config_.jobs > 1 && (files_.size() > 1 || MayHoldSeveral())) {
    std::vector<const SReadContext*> ahead;
    for (const SReadContext& context : contexts_) {
      ahead.push_back(IsReadAhead(context.path) ? &context : nullptr);
    }
    ahead_ = std::make_unique<CReadAhead>(std::move(ahead), config_.selection, config_.jobs);
  }
}

bool CPartSource::OpenNext() {
  file_.reset();
  if (contexts_.empty()) {
    Begin();
  }
  if (nextFile_ == files_.size()) {
    return false;
  }
  const SReadContext& context = contexts_[nextFile_];
  if (MayHoldSeveral()) {
    place_ = 0;  // parts are counted anew in each file that may hold several
  }
  const auto open = [&] { file_ = std::make_unique<CPartFile>(context); };
  if (ahead_) {
    ahead_->Open(nextFile_++, context.note, open);
  } else {
    ++nextFile_;
    open();
  }
  return true;
}

bool CPartSource::NextItem() {
  if (!file_) {
    return ahead_->Next(item_, contexts_[nextFile_ - 1].note);
  }
  item_.isFormed = false;
  return file_->Next(item_.part);
}

bool CPartSource::Next(SPart& part) {
  try {
    const bool isTaken = TakeNext(part);
    TellNotes();
    return isTaken;
  } catch (...) {
    TellNotes();
    throw;
  }
}

bool CPartSource::TakeNext(SPart& part) {
  std::swap(item_.part, part);  // its room is used again
  while (NextItem()) {
    ++seen_;
    if (config_.selection.Takes(place_++)) {
      if (!item_.isFormed) {
        former_.Form(item_.part, file_ && file_->IsSound());
      } else if (item_.failure) {
        std::rethrow_exception(item_.failure);
      }
      std::swap(item_.part, part);
      const std::size_t file = std::max<std::size_t>(nextFile_, 1) - 1;
      TellVariant(config_.settings, config_.variant, contexts_[file].path, part.variant);
      return true;
    }
  }
  return false;
}

std::string CPartSource::WhyNone() const {
  if (seen_ > 0) {
    return "no part was selected: --every and --parts take none of " + std::to_string(seen_);
  }
  const bool labelled = config_.goodOnly && config_.settings.labelColumn;
  std::string text = labelled ? "no row is labelled " + Quoted(config_.settings.good) : "";
  if (!config_.where.empty()) {
    text += text.empty() ? "no row fits --where" : " and fits --where";
  }
  return text.empty() ? "the files hold no part" : text;
}

double CPartSource::Progress() const {
  const double done = static_cast<double>(nextFile_ > 0 ? nextFile_ - 1 : 0);
  return (done + (file_    ? file_->Progress()
                  : ahead_ ? ahead_->Progress()
                           : 0.0)) /
         static_cast<double>(std::max<std::size_t>(files_.size(), 1));
}

}  // namespace limes::recordings
