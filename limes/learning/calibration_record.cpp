#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

#include "limes/learning/calibration.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/memory_errors.h"

namespace limes {

/// Numbers of a calibration in file order; the parts follow, the largest above first, then with
/// both sides the largest below first.
struct CLimitCalibration::SHead {
  std::uint8_t sides = 0;
  std::int64_t count = 0;
  detail::ScoreMoments::Words above{};
  detail::ScoreMoments::Words below{};

  static constexpr auto Fields(auto& h) { return std::tie(h.sides, h.count, h.above, h.below); }
};

namespace {

/// A score as Add keeps it.
bool IsKept(double score) {
  return score >= kLowestScore && score <= kHighestScore && !(score == 0.0 && std::signbit(score));
}

void PutParts(detail::RecordWriter& out, std::span<const SPartScores> parts, ScoreSides sides) {
  for (const SPartScores& part : parts) {
    out.Put(part.above);
    if (sides == ScoreSides::kBoth) {
      out.Put(part.below);
    }
  }
}

bool GetParts(detail::RecordReader& in, std::vector<SPartScores>& parts, std::size_t count,
              ScoreSides sides) {
  parts.resize(count);
  return std::all_of(parts.begin(), parts.end(), [&](SPartScores& part) {
    return in.Get(part.above) && (sides == ScoreSides::kOne || in.Get(part.below)) &&
           IsKept(part.above) && IsKept(part.below);
  });
}

}  // namespace

/// Whether the parts are the largest of one set of parts, and all of a short one.
bool CLimitCalibration::IsConsistent() const {
  CLimitCalibration again(sides_);
  std::array<SPartScores, 2 * kKept> room;
  const std::span<const SPartScores> parts = Kept(room);
  for (const SPartScores& part : parts) {
    if (!again.Add(part)) {
      return false;
    }
  }
  const bool same = again.highest_ == highest_ && again.deepest_ == deepest_;
  const bool all = again.count_ == count_ && again.above_ == above_ && again.below_ == below_;
  return same && (all || count_ > static_cast<std::int64_t>(kKept));
}

bool CLimitCalibration::WriteState(CFileStream& file) const {
  return detail::IfMemoryAllows(false, [&] {
    SHead head;
    head.sides = static_cast<std::uint8_t>(sides_);
    head.count = count_;
    head.above = above_.ToWords();
    head.below = below_.ToWords();
    detail::RecordWriter record;
    detail::BeginLearnState(record, detail::LearnStateKind::kCalibration);
    record.PutFields(head);
    PutParts(record, highest_, sides_);
    PutParts(record, deepest_, sides_);
    detail::FinishLearnState(record, file);
    return true;
  });
}

LearnStateStatus CLimitCalibration::ReadState(CFileStream& file) {
  return detail::IfMemoryAllows(LearnStateStatus::kMemory, [&] {
    std::vector<std::uint8_t> payload;
    const LearnStateStatus status =
        detail::ReadLearnState(file, detail::LearnStateKind::kCalibration, payload);
    if (status != LearnStateStatus::kOk) {
      return status;
    }
    CMemoryStream stream{std::span<const std::uint8_t>(payload)};
    detail::RecordReader in(stream);
    SHead head;
    constexpr std::int64_t kMost = std::int64_t{1} << 53;
    if (!in.GetFields(head) || head.sides < 1 || head.sides > 2 || head.count < 0 ||
        head.count > kMost) {
      return LearnStateStatus::kContent;
    }
    CLimitCalibration read(static_cast<ScoreSides>(head.sides));
    read.count_ = head.count;
    read.above_ = detail::ScoreMoments(head.above);
    read.below_ = detail::ScoreMoments(head.below);
    const auto kept = std::min(static_cast<std::size_t>(head.count), kKept);
    if (!read.MakeRoom()) {
      return LearnStateStatus::kMemory;
    }
    if (!GetParts(in, read.highest_, kept, read.sides_) ||
        (head.sides == 2 && !GetParts(in, read.deepest_, kept, read.sides_)) ||
        stream.Remaining() != 0 || !read.IsOrdered() || !read.IsConsistent()) {
      return LearnStateStatus::kContent;
    }
    *this = std::move(read);
    return LearnStateStatus::kOk;
  });
}

}  // namespace limes
