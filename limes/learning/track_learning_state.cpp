// Archive, lossless record and joining of what a track learning tool has learnt.
#include <algorithm>
#include <cmath>
#include <new>
#include <tuple>

#include "limes/core/object_archive.h"
#include "limes/learning/learn_record.h"
#include "limes/learning/learning_loops.h"
#include "limes/learning/merge_checks.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/platform/file_stream.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

constexpr std::uint32_t kArchiveVersion = 1;  ///< first byte of its word

/// Rule of a tool; name, curves and counts follow.
struct SToolHead {
  float base = 0.0F;
  float factor = 0.0F;
  std::uint32_t baseCount = 0;
  std::int32_t timeScale = CTrackLernWerkzeug::kTimeScale;
  std::uint8_t learnt = 0;

  static constexpr auto Fields(auto& h) {
    return std::tie(h.base, h.factor, h.baseCount, h.timeScale, h.learnt);
  }

  bool IsConsistent() const { return timeScale == CTrackLernWerkzeug::kTimeScale && learnt <= 1; }
};

}  // namespace

bool CTrackLernWerkzeug::InArchivSchreiben(CSerializer* archive) const {
  if (archive == nullptr || mean_ == nullptr || meanSquare_ == nullptr) {
    return false;
  }
  std::uint32_t words[] = {kArchiveVersion, static_cast<std::uint32_t>(counts_.size())};
  archive->StoreData(words, 1);
  archive->StoreData(words + 1, 1);
  if (archive->StoreObject(mean_.get()) == 0 || archive->StoreObject(meanSquare_.get()) == 0) {
    return false;
  }
  archive->StoreData(counts_.data(), static_cast<int>(counts_.size()));
  return true;
}

bool CTrackLernWerkzeug::AusArchivLaden(CSerializer* archive) {
  std::uint32_t version = 0;
  std::uint32_t length = 0;
  if (archive == nullptr) {
    return false;
  }
  archive->LoadData(&version, 1);
  if (archive->LoadData(&length, 1) != 1 || length > archive->WordsToEnd()) {
    return false;
  }
  try {
    for (Curve* const curve : {&mean_, &meanSquare_}) {
      if (*curve == nullptr) {
        *curve = std::make_unique<CSigCurveExt>(static_cast<int>(length));
      }
      if (archive->ReloadObject(curve->get()) == 0) {
        return false;
      }
    }
    counts_.resize(std::max<std::size_t>(counts_.size(), length));
  } catch (const std::bad_alloc&) {
    return false;
  }
  std::fill(counts_.begin(), counts_.end(), 0U);
  archive->LoadData(counts_.data(), static_cast<int>(length));
  learnt_ = true;
  GrenzeBilden();
  return true;
}

bool CTrackLernWerkzeug::WriteState(CFileStream& file) const {
  if (mean_ == nullptr || meanSquare_ == nullptr || counts_.size() < mean_->DLen() ||
      mean_->DLen() != meanSquare_->DLen()) {
    return false;
  }
  SToolHead head;
  head.base = base_;
  head.factor = factor_;
  head.baseCount = baseCount_;
  head.learnt = learnt_ ? 1 : 0;
  try {
    constexpr std::size_t kTexts = 1024;  // heads, names and units, roughly
    detail::RecordWriter record;
    record.Reserve(sizeof(float) * (2 * std::size_t{mean_->DLen()} + counts_.size()) + kTexts);
    detail::BeginLearnState(record, detail::LearnStateKind::kTrack);
    record.PutFields(head);
    detail::PutText(record, name_);
    if (!detail::PutCurve(record, *mean_) || !detail::PutCurve(record, *meanSquare_)) {
      return false;  // nothing is written that could not be read
    }
    record.Put(static_cast<std::uint32_t>(counts_.size()));
    record.PutArray(std::span<const std::uint32_t>(counts_));
    detail::FinishLearnState(record, file);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

/// Fills a fresh tool.
LearnStateStatus CTrackLernWerkzeug::ReadPayload(detail::RecordReader& in) {
  SToolHead head;
  if (!in.GetFields(head) || !head.IsConsistent() || !detail::GetText(in, name_)) {
    return LearnStateStatus::kContent;
  }
  mean_ = std::make_unique<CSigCurveExt>();
  meanSquare_ = std::make_unique<CSigCurveExt>();
  for (CSigCurveExt* const curve : {mean_.get(), meanSquare_.get()}) {
    if (const LearnStateStatus status = detail::GetCurve(in, *curve);
        status != LearnStateStatus::kOk) {
      return status;
    }
  }
  std::uint32_t length = 0;
  if (!in.Get(length) || !in.Fits(length, sizeof(std::uint32_t))) {
    return LearnStateStatus::kContent;
  }
  if (!in.GetArray(counts_, length)) {
    return LearnStateStatus::kMemory;
  }
  if (in.Remaining() != 0 || length < mean_->DLen() || mean_->DLen() != meanSquare_->DLen()) {
    return LearnStateStatus::kContent;
  }
  base_ = head.base;
  factor_ = head.factor;
  baseCount_ = head.baseCount;
  learnt_ = head.learnt != 0;
  return LearnStateStatus::kOk;
}

LearnStateStatus CTrackLernWerkzeug::ReadState(CFileStream& file) {
  try {
    std::vector<std::uint8_t> payload;
    LearnStateStatus status = detail::ReadLearnState(file, detail::LearnStateKind::kTrack, payload);
    if (status != LearnStateStatus::kOk) {
      return status;
    }
    CMemoryStream stream{std::span<const std::uint8_t>(payload)};
    detail::RecordReader in(stream);
    CTrackLernWerkzeug read;
    status = read.ReadPayload(in);
    if (status == LearnStateStatus::kOk) {
      *this = std::move(read);
    }
    return status;
  } catch (const std::bad_alloc&) {
    return LearnStateStatus::kMemory;
  }
}

MergeStatus CTrackLernWerkzeug::Merge(const CTrackLernWerkzeug& other) {
  if (const MergeStatus status = detail::CheckCurves(mean_.get(), other.mean_.get());
      status != MergeStatus::kOk) {
    return status;
  }
  const std::size_t n = mean_->DLen();
  const auto isWhole = [n](const CTrackLernWerkzeug& tool) {  // one whose loading failed is not
    return tool.meanSquare_ != nullptr && tool.meanSquare_->DLen() == n;
  };
  if (!isWhole(*this) || !isWhole(other) || other.counts_.size() < n) {
    return MergeStatus::kGrid;
  }
  if (std::tie(base_, factor_, baseCount_) !=
      std::tie(other.base_, other.factor_, other.baseCount_)) {
    return MergeStatus::kRule;
  }
  if (!GrowCounts(n)) {
    return MergeStatus::kMemory;
  }
  if (!other.learnt_) {
    return MergeStatus::kOk;
  }
  std::size_t end1 = 0;  // of the runs of equal counts that i lies in
  std::size_t end2 = 0;
  for (std::size_t i = 0; i < n;) {
    end1 = i < end1 ? end1 : i + detail::EqualRun(counts_.data() + i, n - i);
    end2 = i < end2 ? end2 : i + detail::EqualRun(other.counts_.data() + i, n - i);
    const std::uint32_t n1 = counts_[i];
    const std::uint32_t n2 = other.counts_[i];
    const std::size_t points = std::min(end1, end2) - i;
    if (n2 > 0) {
      const double share = detail::EarlierShare(n1, n2, kTimeScale);
      detail::MixValues(mean_->ValArray() + i, other.mean_->ValArray() + i, points, share);
      detail::MixValues(meanSquare_->ValArray() + i, other.meanSquare_->ValArray() + i, points,
                        share);
      std::fill_n(counts_.begin() + static_cast<std::ptrdiff_t>(i), points,
                  detail::JointCount(n1, n2));
    }
    i += points;
  }
  mean_->Expandieren(other.mean_.get());
  meanSquare_->Expandieren(other.meanSquare_.get());
  learnt_ = true;
  current_ = false;
  return MergeStatus::kOk;
}

}  // namespace limes
