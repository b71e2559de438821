// The lossless record of a curve learning tool.
#include <new>
#include <span>
#include <tuple>
#include <vector>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learn_record.h"
#include "limes/platform/file_stream.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

/// Rule and counts of a tool.
struct SToolHead {
  float base = 0.0F;
  float factor = 0.0F;
  float width = 0.0F;
  std::int32_t count = 0;
  std::int32_t stale = 0;
  std::int32_t externalOn = 0;
  float external = 0.0F;
  std::int32_t time = 0;
  std::int32_t timeScale = 0;

  static constexpr auto Fields(auto& h) {
    return std::tie(h.base, h.factor, h.width, h.count, h.stale, h.externalOn, h.external, h.time,
                    h.timeScale);
  }

  bool IsConsistent() const {
    return time >= 0 && timeScale >= 0 && externalOn >= 0 && externalOn <= 1;
  }
};

}  // namespace

bool CKurvenLernWerkzeug::WriteState(CFileStream& file) const {
  if (mean_ == nullptr || meanSquare_ == nullptr || mean_->DLen() != meanSquare_->DLen()) {
    return false;
  }
  const SToolHead head = {base_,
                          factor_,
                          width_,
                          count_,
                          stale_,
                          externalOn_,
                          external_,
                          generator_->GetTime(),
                          generator_->GetTimeScale()};
  try {
    constexpr std::size_t kTexts = 1024;  // heads, names and units, roughly
    detail::RecordWriter record;
    record.Reserve(sizeof(float) * (std::size_t{mean_->DLen()} + meanSquare_->DLen()) + kTexts);
    detail::BeginLearnState(record, detail::LearnStateKind::kCurve);
    record.PutFields(head);
    detail::PutText(record, name_);
    if (!detail::PutCurve(record, *mean_) || !detail::PutCurve(record, *meanSquare_)) {
      return false;  // nothing is written that could not be read
    }
    detail::FinishLearnState(record, file);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

LearnStateStatus CKurvenLernWerkzeug::ReadState(CFileStream& file) {
  try {
    std::vector<std::uint8_t> payload;
    LearnStateStatus status = detail::ReadLearnState(file, detail::LearnStateKind::kCurve, payload);
    if (status != LearnStateStatus::kOk) {
      return status;
    }
    CMemoryStream stream{std::span<const std::uint8_t>(payload)};
    detail::RecordReader in(stream);
    SToolHead head;
    CKurvenLernWerkzeug read;
    if (!in.GetFields(head) || !head.IsConsistent() || !detail::GetText(in, read.name_)) {
      return LearnStateStatus::kContent;
    }
    if (!Make(read.mean_, 0) || !Make(read.meanSquare_, 0)) {
      return LearnStateStatus::kMemory;
    }
    status = detail::GetCurve(in, *read.mean_);
    if (status == LearnStateStatus::kOk) {
      status = detail::GetCurve(in, *read.meanSquare_);
    }
    if (status != LearnStateStatus::kOk) {
      return status;
    }
    if (stream.Remaining() != 0 || read.mean_->DLen() != read.meanSquare_->DLen()) {
      return LearnStateStatus::kContent;
    }
    read.Bildungsregel(head.base, head.factor, head.width);
    read.count_ = head.count;
    read.stale_ = head.stale;
    read.externalOn_ = head.externalOn;
    read.external_ = head.external;
    *read.generator_ = CExpAverFacGenerator(head.time, head.timeScale);
    name_.reserve(read.name_.size());
    *this = read;  // fails nowhere, with room for the name
  } catch (const std::bad_alloc&) {
    return LearnStateStatus::kMemory;
  }
  return LearnStateStatus::kOk;
}

}  // namespace limes
