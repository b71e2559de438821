#include "recordings/part_source.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "recordings/errors.h"
#include "recordings/formats/channel_file.h"
#include "recordings/recording.h"
#include "recordings/text.h"

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

void RequireFinite(const SPart& part, const SQuantity& q) {
  if (q.single && !std::isfinite(q.value)) {
    throw CInputError(part.name, "quantity " + Quoted(q.name) + " is not finite");
  }
  const auto bad =
      std::find_if_not(q.values.begin(), q.values.end(), [](float v) { return std::isfinite(v); });
  if (bad != q.values.end()) {
    throw CInputError(part.name, "quantity " + Quoted(q.name) + ", value " +
                                     std::to_string(bad - q.values.begin() + 1) + " is not finite");
  }
}

void Scale(std::vector<float>& values, double factor) {
  if (factor != 1.0) {
    for (float& v : values) {
      v = static_cast<float>(v * factor);
    }
  }
}

void CutPiece(SQuantity& whole, std::size_t start, std::size_t length, SQuantity& piece) {
  piece.name = whole.name;
  piece.xUnit = whole.xUnit;
  piece.unit = whole.unit;
  piece.single = whole.single;
  piece.x0 = whole.x0;
  piece.dx = whole.dx;
  piece.covered.clear();
  if (whole.values.size() == length) {
    piece.values = std::exchange(whole.values, {});  // a block is not kept twice
    return;
  }
  const auto first = whole.values.begin() + static_cast<std::ptrdiff_t>(start);
  piece.values.assign(first, first + static_cast<std::ptrdiff_t>(length));
}

void RemoveMean(std::vector<float>& values) {
  double sum = 0.0;
  for (const float v : values) {
    sum += v;
  }
  const double mean = sum / static_cast<double>(values.size());
  for (float& v : values) {
    v = static_cast<float>(v - mean);
  }
}

}  // namespace

void NoteUnit(std::string_view unit, const NoteTaker& note) {
  if (note && unit == "dB(A)") {
    note(
        "the unit dB(A) is read as dB(Pa): levels weighted and not weighted by the curve A are not "
        "told apart");
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

void CFormer::FormSpectrum(const std::string& part, SQuantity& q) {
  const std::uint32_t n = settings_.spectrum;
  if (!q.x.empty()) {
    throw CInputError(
        part, "quantity " + Quoted(q.name) + " is not at equal steps, as --spectrum needs it");
  }
  if (q.unit.IsDecibel()) {
    throw CInputError(part, "quantity " + Quoted(q.name) + " is a level in " + q.unit.Display() +
                                "; --spectrum takes time signals");
  }
  const bool pressure = q.unit.Display() == "Pa";
  const double reference = settings_.ref.value_or(pressure ? 2e-5 : 1.0);
  std::size_t at = 0;
  while (at < references_.size() && references_[at] != reference) {
    ++at;
  }
  if (at == references_.size()) {
    references_.push_back(reference);
    spectra_.push_back(std::make_unique<CLevelSpectrum>(n, reference));
  }
  spectra_[at]->Form(q.values, levels_);
  if (levels_.empty()) {
    throw CInputError(part, "quantity " + Quoted(q.name) + ": " + std::to_string(q.values.size()) +
                                " samples, fewer than --spectrum " + std::to_string(n));
  }
  const double step = 1.0 / (n * q.dx);
  q.values = levels_;
  q.x0 = step;
  q.dx = step;
  q.xUnit = ReciprocalUnit(q.xUnit);
  q.unit = LevelUnit(q.unit, reference);
}

void CFormer::Form(SPart& part, bool wave) {
  const std::uint32_t n = settings_.spectrum;
  for (SQuantity& q : part.quantities) {
    Scale(q.values, settings_.scale);
    q.value *= settings_.scale;
    if (settings_.unit) {
      q.unit = ParseUnit(*settings_.unit);
    }
    RequireFinite(part, q);
    q.health = HealthOf(q.values);
    if (q.health == SignalHealth::kClipped && !wave && n == 0) {
      q.health = SignalHealth::kHealthy;  // a curve of a process may rest where it is largest
    }
    if (settings_.detrend && !q.single) {
      RemoveMean(q.values);
    }
    if (n > 0 && !q.single) {
      FormSpectrum(part.name, q);
    } else if (settings_.ref && !SetReference(q.unit, *settings_.ref)) {
      throw CInputError(part.name, "--ref is for decibels, but quantity " + Quoted(q.name) +
                                       " is in " +
                                       (q.unit.IsNone() ? "no unit" : q.unit.Display()));
    }
  }
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
    config_.note(text);
  }
}

bool CPartSource::OpenNext() {
  reader_.reset();
  if (nextFile_ == files_.size()) {
    return false;
  }
  const std::string& path = files_[nextFile_++];
  stream_ = std::make_unique<CDiskStream>();
  OpenForReading(path, *stream_);
  const FileKind kind = DetectKind(path, *stream_);
  const SReadContext context{path,
                             &config_.settings,
                             &config_.where,
                             config_.goodOnly,
                             config_.labelOptional,
                             [this](const std::string& text) { Note(text); },
                             &dialect_};
  reader_ = MakePartReader(kind, *stream_, context);
  const bool cut = config_.settings.cut > 0;
  several_ = cut || config_.settings.IsTable();
  sound_ = kind == FileKind::kSound;
  blocks_ = sound_ || (kind == FileKind::kTable && !config_.settings.IsTable());
  pieces_ = 0;
  whole_ = SPart();
  if (several_) {
    place_ = 0;  // parts are counted anew in each file that may hold several
  }
  return true;
}

/// The next piece of --cut samples of the part, or block of one, that lies in memory.
bool CPartSource::NextPiece(SPart& piece) {
  const auto length = static_cast<std::size_t>(config_.settings.cut);
  const std::vector<SQuantity>& quantities = whole_.quantities;
  const auto isShorter = [](const SQuantity& a, const SQuantity& b) {
    return a.values.size() < b.values.size();
  };
  for (;;) {
    const auto shortest = std::min_element(quantities.begin(), quantities.end(), isShorter);
    if (shortest != quantities.end() && shortest->values.size() >= start_ + length) {
      break;
    }
    if (shortest != quantities.end() && pieces_ == 0) {
      throw CInputError(whole_.name, std::to_string(shortest->values.size()) +
                                         " samples, fewer than --cut " + std::to_string(length));
    }
    piece = SPart();  // holds no room while a block is read
    if (!reader_->Next(whole_)) {
      return false;
    }
    start_ = 0;
    pieces_ = blocks_ ? pieces_ : 0;
    for (const SQuantity& q : quantities) {
      if (!q.x.empty()) {
        throw CInputError(whole_.name, "quantity " + Quoted(q.name) +
                                           " is not at equal steps, as --cut needs it");
      }
    }
  }
  piece.name = whole_.name + ":" + std::to_string(++pieces_);
  piece.label = whole_.label;
  piece.quantities.resize(quantities.size());
  for (std::size_t i = 0; i < quantities.size(); ++i) {
    CutPiece(whole_.quantities[i], start_, length, piece.quantities[i]);
  }
  start_ += length;
  return true;
}

bool CPartSource::Next(SPart& part) {
  while (config_.settings.cut > 0 ? NextPiece(part) : reader_->Next(part)) {
    ++seen_;
    if (config_.selection.Takes(place_++)) {
      former_.Form(part, sound_);
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
  return (done + (reader_ ? reader_->Progress() : 0.0)) /
         static_cast<double>(std::max<std::size_t>(files_.size(), 1));
}

}  // namespace limes::recordings
