#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "limes/core/measuring_unit.h"
#include "limes/export.h"
#include "limes/learning/judgement.h"
#include "limes/learning/part_margin.h"
#include "limes/learning/signal_health.h"
#include "limes/signals/extended_curve.h"

namespace limes {

/// Which limit a learner holds: a lower one is learnt from the values with their sign changed.
enum class Side { kUpper, kLower };

/// A single value as it was measured, for the checked calls of its learner.
struct SValuePart {
  SValuePart(double measured) : value(measured) {}
  SValuePart(double measured, const CMeasuringUnit& itsUnit, double itsResolution = 0.0)
      : value(measured), unit(itsUnit), resolution(itsResolution) {}

  double value;
  std::optional<CMeasuringUnit> unit;  ///< not given: none, as of values learnt without one

  /// Smallest difference the measurement can show, in the unit; 0: that of a double. A value that
  /// went through a float has std::fabs(value) / (1 << 24).
  double resolution = 0.0;
};

/// A measured curve or track, for the checked calls of their learners. Refers to the curve and to
/// the mask, which must stay until the call is over.
struct SCurvePart {
  SCurvePart(const CSigCurve& measured, std::span<const std::uint8_t> itsCovered = {},
             SignalHealth itsHealth = SignalHealth::kUnknown)
      : curve(measured), covered(itsCovered), health(itsHealth) {}

  /// Grid, units, name and values; of an extended curve the valid ones count.
  const CSigCurve& curve;

  /// For each value of the curve 0 where nothing was measured nearby; empty: measured everywhere.
  std::span<const std::uint8_t> covered;

  /// Of the recording that the curve was made of. Unknown: a curve of kLeastConstant points and
  /// more that are all the same counts as constant, clipping is not looked for.
  SignalHealth health;
};

/// kOk, kReference for the same unit with another reference, else kUnit.
LIMES_EXPORT PartStatus CompareUnits(const CMeasuringUnit& part, const CMeasuringUnit& learnt);

/// Least shares of a curve and of a track that are judged for a pass, unless others are given. Of
/// a track every part covers a range of its own.
inline constexpr double kMinShareOfCurve = 0.9;
inline constexpr double kMinShareOfTrack = 0.5;

/// Which parts may be learnt.
struct SPartRule {
  /// Least share of the template's grid that a curve must cover, and least share of the curve that
  /// the template must cover, 0 to 1. Tracks grow to what they see.
  double minShare = kMinShareOfCurve;
  bool allowShort = false;     ///< learn all the same; the judged range narrows for good
  bool allowConstant = false;  ///< learn a curve that has one value only
};

/// A part drawn on the learnt grid: made once, then learnt or judged for both sides. Keeps its
/// memory from part to part. One thread at a time.
class LIMES_EXPORT CFittedPart {
 public:
  /// Draws a part on a learnt grid and compares the two: kOk, or the first of these that is
  /// wrong: kNoValues, kNotFinite, kUnit, kReference, kXUnit, kStep, kNoCommonPoint, kMemory.
  /// Narrowed, it counts as valid only where the grid is. O(n).
  [[nodiscard]] PartStatus Fit(const SCurvePart& part, const CSigCurveExt& grid, bool narrow);

  /// Whether a part can be the first one, whose grid the others are drawn on: also kGaps.
  [[nodiscard]] PartStatus CheckTemplate(const SCurvePart& part, const SPartRule& rule);

  /// Changes the sign of the values to that of a side; Fit leaves them as measured. O(n).
  void TurnTo(Side side);
  bool IsMirrored() const { return side_ == Side::kLower; }

  const CSigCurveExt& Curve() const { return curve_; }
  CSigCurveExt& Curve() { return curve_; }

  /// For each point of the grid 1 where the part was measured; empty when it was everywhere in
  /// the curve's valid range.
  std::span<const std::uint8_t> Covered() const { return {covered_.data(), covered_.size()}; }

  /// The points that are covered and count in a mask, either of which may be empty.
  std::span<const std::uint8_t> Masked(std::span<const std::uint8_t> mask);

  /// Share of the grid that the part covers, and of the part that lies on the grid, 0 to 1.
  double GridShare() const { return gridShare_; }
  double PartShare() const { return partShare_; }

  /// Points of the part, in steps of the grid.
  double PartPoints() const { return partPoints_; }

  /// As given, else silent, constant or healthy as the values say, unknown where they tell nothing.
  SignalHealth Health() const { return health_; }

  /// What the part needs before it can be learnt.
  struct SRoom {
    bool start = false;  ///< it becomes the template
    std::uint32_t before = 0;
    std::uint32_t behind = 0;  ///< points to add to the grid of a track

    bool IsNeeded() const { return start || before > 0 || behind > 0; }
  };
  SRoom room;

  /// Unless null, takes every point that is judged by a limit that is not widened.
  CPartMargin* margin = nullptr;

  /// Keeps the points of an array that the part does not cover; PutBack restores them.
  template <class T>
  void Keep(const T* values, std::vector<T>& kept) const {
    for (std::size_t i = 0, j = 0; i < covered_.size(); ++i) {
      if (covered_[i] == 0) {
        kept[j++] = values[i];
      }
    }
  }
  template <class T>
  void PutBack(T* values, const std::vector<T>& kept) const {
    for (std::size_t i = 0, j = 0; i < covered_.size(); ++i) {
      if (covered_[i] == 0) {
        values[i] = kept[j++];
      }
    }
  }

  /// Room for what Keep takes, so that learning allocates nothing.
  std::vector<float> keptMean;
  std::vector<float> keptSquare;
  std::vector<std::uint32_t> keptCounts;

 private:
  PartStatus Check(const SCurvePart& part);
  void FindGaps(std::int64_t first, std::int64_t last);

  CSigCurveExt curve_;
  CSigCurveExt gapped_;  ///< the part with NaN where it was not measured
  std::vector<std::uint8_t> covered_;
  std::vector<std::uint8_t> masked_;
  double gridShare_ = 0.0;
  double partShare_ = 0.0;
  double partPoints_ = 0.0;
  SignalHealth health_ = SignalHealth::kUnknown;
  Side side_ = Side::kUpper;
};

/// The same of a single value.
struct SFittedValue {
  void TurnTo(Side wanted) {
    value = wanted == side ? value : -value;
    side = wanted;
  }

  double value = 0.0;
  double resolution = 0.0;
  std::optional<CMeasuringUnit> unit;
  PartStatus status = PartStatus::kOk;
  Side side = Side::kUpper;
  CFittedPart::SRoom room;
  CPartMargin* margin = nullptr;
};

}  // namespace limes
