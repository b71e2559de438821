#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "limes/c/limit_handle.h"

// What a caller gives, in the library's words. What is wrong is thrown as SFailure.

namespace limes::c {

/// Empty for null, no unit for an empty text.
std::optional<CMeasuringUnit> UnitOf(const char* text);

SRatedRule RuleOf(const limes_rule& rule);
limes_rule RuleOf(const SRatedRule& rule);

Side SideOf(limes_side side);

/// A curve of the caller's values, and the mask of those that count.
struct SGivenCurve {
  SGivenCurve(SLastCurve& last, const limes_curve* given);

  CSigCurveExt& curve;
  std::span<const std::uint8_t> covered;
};

}  // namespace limes::c
