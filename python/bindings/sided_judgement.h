#pragma once

#include <map>
#include <span>
#include <string>
#include <vector>

#include "bindings.h"
#include "limes/learning/sided.h"

namespace limes::python {

/// A run of points beyond the limit of a side.
struct SRegion : SCurveExcess {
  std::string side;
};

/// What the limits of all sides say of a part: the numbers are those of the side that decides, or
/// comes nearest to.
struct SSidedJudgement : SPartJudgement {
  std::string side;
  std::map<std::string, SPartJudgement> sides;
  std::vector<SRegion> regions;
};

inline const char* SideText(Side side) { return side == Side::kUpper ? "upper" : "lower"; }

SSidedJudgement JudgementOf(const CSidedJudgement& judged, std::span<const Side> limited);

void BindSidedJudgement(py::module_& module);

}  // namespace limes::python
