#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

#include "limes/learning/calibration.h"
#include "limes/learning/learn_record.h"

namespace limes {

/// Numbers of a calibration in file order; the parts follow, the largest above first, then with
/// both sides the largest below first.
struct CLimitCalibration::SHead {
  std::uint8_t sides = 0;
  std::int64_t count = 0;
  detail::ScoreMoments above;
  detail::ScoreMoments below;

  static constexpr auto Fields(auto& h) {
    return std::tuple_cat(std::tie(h.sides, h.count), detail::ScoreMoments::Fields(h.above),
                          detail::ScoreMoments::Fields(h.below));
  }
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
  return detail::WriteLearnState(
      file, detail::LearnStateKind::kCalibration, [this](detail::RecordWriter& record) {
        record.PutFields(SHead{static_cast<std::uint8_t>(sides_), count_, above_, below_});
        PutParts(record, highest_, sides_);
        PutParts(record, deepest_, sides_);
        return true;
      });
}

LearnStateStatus CLimitCalibration::ReadState(CFileStream& file) {
  const auto get = [](detail::RecordReader& in, CLimitCalibration& read,
                      std::uint16_t /*version*/) {
    SHead head;
    constexpr std::int64_t kMost = std::int64_t{1} << 53;
    if (!in.GetFields(head) || head.sides < 1 || head.sides > 2 || head.count < 0 ||
        head.count > kMost) {
      return LearnStateStatus::kContent;
    }
    read = CLimitCalibration(static_cast<ScoreSides>(head.sides));
    read.count_ = head.count;
    read.above_ = head.above;
    read.below_ = head.below;
    const auto kept = std::min(static_cast<std::size_t>(head.count), kKept);
    if (!read.MakeRoom()) {
      return LearnStateStatus::kMemory;
    }
    const bool whole = GetParts(in, read.highest_, kept, read.sides_) &&
                       (head.sides == 1 || GetParts(in, read.deepest_, kept, read.sides_)) &&
                       read.IsOrdered() && read.IsConsistent();
    return whole ? LearnStateStatus::kOk : LearnStateStatus::kContent;
  };
  const auto commit = [this](CLimitCalibration& read) { *this = std::move(read); };
  return detail::ReadLearnState<CLimitCalibration>(file, detail::LearnStateKind::kCalibration, get,
                                                   commit);
}

}  // namespace limes
