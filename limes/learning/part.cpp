#include "limes/learning/part.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "limes/learning/curve_fit.h"
#include "limes/learning/learning_loops.h"
#include "limes/platform/memory_errors.h"

namespace limes {
namespace {

constexpr double kStepTolerance = 1e-4;  ///< relative; other steps are another quantity

/// What the bounds of a grid, held in float, leave open of its step.
double StepRounding(const CSigCurve& curve) {
  return double{std::numeric_limits<float>::epsilon()} *
         std::max(std::fabs(curve.XMin()), std::fabs(curve.XMax())) / curve.DLen();
}

PartStatus CheckUnits(const CSigCurve& part, const CSigCurve& grid) {
  if (part.XUnit() != grid.XUnit()) {
    return PartStatus::kXUnit;
  }
  return CompareUnits(part.YUnit(), grid.YUnit());
}

}  // namespace

PartStatus CompareUnits(const CMeasuringUnit& part, const CMeasuringUnit& learnt) {
  if (part == learnt) {
    return PartStatus::kOk;
  }
  const bool sameBase = part.Unit_e() == learnt.Unit_e() && part.Exponent() == learnt.Exponent() &&
                        part.Power() == learnt.Power();
  return sameBase ? PartStatus::kReference : PartStatus::kUnit;
}

/// What can be said of a part alone.
PartStatus CFittedPart::Check(const SCurvePart& part) {
  const detail::SGrid grid(part.curve);
  if (part.curve.DLen() == 0 || !grid.IsUsable() ||
      (!part.covered.empty() && part.covered.size() != part.curve.DLen())) {
    return PartStatus::kNoValues;
  }
  const float* const values = part.curve.ValArray();
  const float* same = nullptr;  // the value that all have
  bool constant = true;
  std::size_t points = 0;
  if (part.covered.empty()) {
    points = static_cast<std::size_t>(grid.last - grid.first + 1);
    same = values + grid.first;
    if (!detail::AreFinite(same, same, points)) {
      return PartStatus::kNotFinite;
    }
    constant = std::all_of(same, same + points, [same](float value) { return value == *same; });
  }
  for (std::int64_t i = grid.first; i <= grid.last && !part.covered.empty(); ++i) {
    if (part.covered[static_cast<std::size_t>(i)] == 0) {
      continue;
    }
    if (!std::isfinite(values[i])) {
      return PartStatus::kNotFinite;
    }
    constant = constant && (same == nullptr || *same == values[i]);
    same = values + i;
    ++points;
  }
  if (same == nullptr) {
    return PartStatus::kNoValues;
  }
  health_ = part.health;
  if (health_ == SignalHealth::kUnknown && (!constant || points >= kLeastConstant)) {
    health_ = !constant       ? SignalHealth::kHealthy
              : *same == 0.0F ? SignalHealth::kSilent
                              : SignalHealth::kConstant;
  }
  return PartStatus::kOk;
}

PartStatus CFittedPart::CheckTemplate(const SCurvePart& part, const SPartRule& rule) {
  room = {};
  room.start = true;
  if (const PartStatus status = Check(part); status != PartStatus::kOk) {
    return status;
  }
  const detail::SGrid grid(part.curve);
  for (std::int64_t i = grid.first; i <= grid.last && !part.covered.empty(); ++i) {
    if (part.covered[static_cast<std::size_t>(i)] == 0) {
      return PartStatus::kGaps;
    }
  }
  if (health_ == SignalHealth::kClipped) {
    return PartStatus::kClipped;
  }
  const bool constant = health_ == SignalHealth::kSilent || health_ == SignalHealth::kConstant;
  return constant && !rule.allowConstant ? PartStatus::kNoSignal : PartStatus::kOk;
}

PartStatus CFittedPart::Fit(const SCurvePart& part, const CSigCurveExt& grid, bool narrow) {
  return detail::IfMemoryAllows(PartStatus::kMemory, [&] {
    room = {};
    side_ = Side::kUpper;
    covered_.clear();
    gridShare_ = partShare_ = partPoints_ = 0.0;
    if (const PartStatus status = Check(part); status != PartStatus::kOk) {
      return status;
    }
    if (const PartStatus status = CheckUnits(part.curve, grid); status != PartStatus::kOk) {
      return status;
    }
    detail::SGrid to(grid);
    const SIndexRange valid{to.first, to.last};
    to.first = 0;
    to.last = std::int64_t{grid.DLen()} - 1;
    const detail::SGrid from(part.curve);
    if (!to.IsUsable()) {
      return PartStatus::kNothingLearnt;
    }
    const double tolerance =
        kStepTolerance * to.step + StepRounding(part.curve) + StepRounding(grid);
    if (std::fabs(from.step - to.step) > tolerance) {
      return PartStatus::kStep;
    }
    const SIndexRange range = detail::CoveredRange(from, to);
    if (range.IsEmpty()) {
      return PartStatus::kNoCommonPoint;
    }
    curve_.MakeSameSize(grid);
    if (curve_.DLen() != grid.DLen()) {
      return PartStatus::kMemory;
    }
    const CSigCurve* source = &part.curve;
    if (!part.covered.empty()) {
      gapped_ = part.curve;
      if (gapped_.DLen() != part.curve.DLen()) {
        return PartStatus::kMemory;
      }
      for (std::size_t i = 0; i < part.covered.size(); ++i) {
        if (part.covered[i] == 0) {
          gapped_.ValArray()[i] = std::numeric_limits<float>::quiet_NaN();
        }
      }
      source = &gapped_;
    }
    detail::FillFitted(*source, from, to, range, CSigCurveAssistent::Binning::kMean,
                       curve_.ValArray());
    if (!part.covered.empty()) {
      FindGaps(range.first, range.last);
    }
    const auto points = covered_.empty()
                            ? static_cast<std::ptrdiff_t>(range.Size())
                            : std::count(covered_.begin(), covered_.end(), std::uint8_t{1});
    gridShare_ = static_cast<double>(points) / grid.DLen();
    partPoints_ =
        std::round(static_cast<double>(from.last - from.first) * from.step / to.step) + 1.0;
    partShare_ = std::min(1.0, static_cast<double>(range.Size()) / partPoints_);
    SIndexRange counts = range;
    if (narrow) {
      counts = {std::max(range.first, valid.first), std::min(range.last, valid.last)};
      detail::SetValidPoints(curve_, counts, grid, valid);
    } else {
      curve_.SetVMinMax(grid.GetPoint(static_cast<int>(range.first)),
                        grid.GetPoint(static_cast<int>(range.last)));
    }
    if (points == 0 || counts.IsEmpty()) {
      return PartStatus::kNoCommonPoint;
    }
    if (std::u16string_view(curve_.Name()) != part.curve.Name() &&
        !curve_.SetName(part.curve.Name())) {
      return PartStatus::kMemory;
    }
    curve_.TakeUnits(part.curve);
    return PartStatus::kOk;
  });
}

/// The points that were drawn from a value that is missing.
void CFittedPart::FindGaps(std::int64_t first, std::int64_t last) {
  covered_.assign(curve_.DLen(), 0);
  masked_ = covered_;  // room for Masked
  std::size_t gaps = curve_.DLen();
  for (std::int64_t i = first; i <= last; ++i) {
    const bool there = !std::isnan(curve_.ValArray()[i]);
    covered_[static_cast<std::size_t>(i)] = there ? 1 : 0;
    gaps -= there ? 1 : 0;
  }
  keptMean.resize(std::max(keptMean.size(), gaps));
  keptSquare.resize(std::max(keptSquare.size(), gaps));
  keptCounts.resize(std::max(keptCounts.size(), gaps));
}

std::span<const std::uint8_t> CFittedPart::Masked(std::span<const std::uint8_t> mask) {
  if (covered_.empty() || mask.empty()) {
    return covered_.empty() ? mask : Covered();
  }
  for (std::size_t i = 0; i < std::min(masked_.size(), mask.size()); ++i) {
    masked_[i] = covered_[i] & mask[i];
  }
  return masked_;
}

void CFittedPart::TurnTo(Side side) {
  if (side != side_) {
    curve_.MirrorY();
    side_ = side;
  }
}

}  // namespace limes
