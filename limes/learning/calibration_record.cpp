#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

#include "limes/learning/calibration.h"
#include "limes/learning/learn_record.h"

namespace limes {

/// Numbers of a calibration in file order; with parts as a whole their moments follow. Then the
/// parts, the largest above first, with both sides the largest below first, with parts as a whole
/// the largest of these first.
struct CLimitCalibration::SHead {
  std::uint8_t sides = 0;  ///< with parts as a whole kWholeToo more
  std::int64_t count = 0;
  detail::ScoreMoments above;
  detail::ScoreMoments below;

  static constexpr auto Fields(auto& h) {
    return std::tuple_cat(std::tie(h.sides, h.count), detail::ScoreMoments::Fields(h.above),
                          detail::ScoreMoments::Fields(h.below));
  }
};

namespace {

constexpr std::uint8_t kWholeToo = 4;

/// A score as Add keeps it.
bool IsKept(double score) {
  return score >= kLowestScore && score <= kHighestScore && !(score == 0.0 && std::signbit(score));
}

void PutParts(detail::RecordWriter& out, std::span<const SPartScores> parts, ScoreSides sides,
              bool whole) {
  for (const SPartScores& part : parts) {
    out.Put(part.above);
    if (sides == ScoreSides::kBoth) {
      out.Put(part.below);
    }
    if (whole) {
      out.Put(part.whole);
    }
  }
}

bool GetParts(detail::RecordReader& in, std::vector<SPartScores>& parts, std::size_t count,
              ScoreSides sides, bool whole) {
  parts.resize(count);
  return std::all_of(parts.begin(), parts.end(), [&](SPartScores& part) {
    return in.Get(part.above) && (sides == ScoreSides::kOne || in.Get(part.below)) &&
           (!whole || in.Get(part.whole)) && IsKept(part.above) && IsKept(part.below) &&
           IsKept(part.whole);
  });
}

}  // namespace

/// Whether the parts are the largest of one set of parts, and all of a short one.
bool CLimitCalibration::IsConsistent() const {
  CLimitCalibration again(sides_, hasWhole_);
  std::array<SPartScores, 3 * kKept> room;
  const std::span<const SPartScores> parts = Kept(room);
  for (const SPartScores& part : parts) {
    if (!again.Add(part)) {
      return false;
    }
  }
  const bool same =
      again.highest_ == highest_ && again.deepest_ == deepest_ && again.farthest_ == farthest_;
  const bool all = again.count_ == count_ && again.above_ == above_ && again.below_ == below_ &&
                   again.whole_ == whole_;
  return same && (all || count_ > static_cast<std::int64_t>(kKept));
}

bool CLimitCalibration::WriteState(CFileStream& file) const {
  return detail::WriteLearnState(
      file, detail::LearnStateKind::kCalibration, [this](detail::RecordWriter& record) {
        const unsigned sides = static_cast<unsigned>(sides_) + (hasWhole_ ? kWholeToo : 0U);
        record.PutFields(SHead{static_cast<std::uint8_t>(sides), count_, above_, below_});
        if (hasWhole_) {
          record.PutFields(whole_);
        }
        for (const Parts* const parts : {&highest_, &deepest_, &farthest_}) {
          PutParts(record, *parts, sides_, hasWhole_);
        }
        return true;
      });
}

LearnStateStatus CLimitCalibration::ReadState(CFileStream& file) {
  const auto get = [](detail::RecordReader& in, CLimitCalibration& read,
                      std::uint16_t /*version*/) {
    SHead head;
    constexpr std::int64_t kMost = std::int64_t{1} << 53;
    const bool got = in.GetFields(head);
    const int sides = head.sides & ~kWholeToo;
    const bool whole = head.sides != sides;
    if (!got || sides < 1 || sides > 2 || head.count < 0 || head.count > kMost) {
      return LearnStateStatus::kContent;
    }
    read = CLimitCalibration(static_cast<ScoreSides>(sides), whole);
    if (whole && !in.GetFields(read.whole_)) {
      return LearnStateStatus::kContent;
    }
    read.count_ = head.count;
    read.above_ = head.above;
    read.below_ = head.below;
    const auto kept = std::min(static_cast<std::size_t>(head.count), kKept);
    if (!read.MakeRoom()) {
      return LearnStateStatus::kMemory;
    }
    const bool all = GetParts(in, read.highest_, kept, read.sides_, whole) &&
                     (sides == 1 || GetParts(in, read.deepest_, kept, read.sides_, whole)) &&
                     (!whole || GetParts(in, read.farthest_, kept, read.sides_, whole)) &&
                     read.IsOrdered() && read.IsConsistent();
    return all ? LearnStateStatus::kOk : LearnStateStatus::kContent;
  };
  const auto commit = [this](CLimitCalibration& read) { *this = std::move(read); };
  return detail::ReadLearnState<CLimitCalibration>(file, detail::LearnStateKind::kCalibration, get,
                                                   commit);
}

}  // namespace limes
