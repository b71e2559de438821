#include "apps/limes/model/model_scores.h"

#include <new>

#include "apps/limes/errors.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"

namespace limes::host {
namespace {

ScoreSides SidesOf(Sides sides) {
  return sides == Sides::kBoth ? ScoreSides::kBoth : ScoreSides::kOne;
}

}  // namespace

CModelScores::CModelScores(Sides sides, double base, bool whole)
    : sides_(sides), whole_(whole), base_(base), calibration_(SidesOf(sides), whole) {}

void CModelScores::Load(const std::optional<SStoredCalibration>& stored, const std::string& store) {
  Replace(ScoreSource::kLearning, std::nullopt);
  if (!stored || stored->base != base_) {
    return;
  }
  CLimitCalibration read;
  CMemoryStream stream{std::span<const std::uint8_t>(stored->record)};
  const LearnStateStatus status = read.ReadState(stream);
  if (status != LearnStateStatus::kOk) {
    fault_ = store + ": the scores of the learnt parts: " + WideToUtf8(Text(status));
  } else if (read.Sides() != SidesOf(sides_)) {
    fault_ = store + ": the scores of the learnt parts are not of these --sides";
  } else if (read.HasWhole() != whole_) {
    fault_ = store + ": the scores of the learnt parts are not of this --whole";
  } else {
    calibration_ = std::move(read);
    source_ = stored->source;
    groups_ = stored->groups;
  }
  if (!fault_.empty()) {
    fault_ += " (limes calibrate forms them anew from good parts; --factor judges without)";
  }
}

void CModelScores::CheckReadable() const {
  if (!fault_.empty()) {
    throw CStoreError(fault_);
  }
}

const CLimitCalibration& CModelScores::Calibration() const {
  CheckReadable();
  return calibration_;
}

SStoredCalibration CModelScores::Stored() const {
  CheckReadable();
  CMemoryStream stream;
  if (!calibration_.WriteState(stream)) {
    throw std::bad_alloc();
  }
  return {base_, source_, groups_, {stream.Bytes().begin(), stream.Bytes().end()}};
}

SPartScores CModelScores::InSides(const SScores& scores) const {
  const double above = scores.above.value_or(kLowestScore);
  const double below = scores.below.value_or(kLowestScore);
  const double whole = scores.whole.value_or(kLowestScore);
  return sides_ == Sides::kBoth
             ? SPartScores{above, below, whole}
             : SPartScores{sides_ == Sides::kLower ? below : above, kLowestScore, whole};
}

void CModelScores::Add(const SScores& scores) {
  if (scores.above && scores.below && !calibration_.Add(InSides(scores))) {
    throw std::bad_alloc();
  }
}

void CModelScores::Join(const CModelScores& other) {
  fault_ = fault_.empty() ? other.fault_ : fault_;
  if (calibration_.Scores() == 0) {
    source_ = other.source_;
    groups_ = other.groups_;
  } else if (source_ != other.source_ && other.calibration_.Scores() > 0) {
    source_ = ScoreSource::kLearning;
  }
  if (calibration_.Merge(other.calibration_) != MergeStatus::kOk) {
    throw std::bad_alloc();
  }
}

void CModelScores::Replace(ScoreSource source, std::optional<std::int64_t> groups) {
  calibration_ = CLimitCalibration(SidesOf(sides_), whole_);
  source_ = source;
  groups_ = groups;
  fault_.clear();
}

}  // namespace limes::host
