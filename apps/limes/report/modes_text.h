#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "apps/limes/model/model.h"

namespace limes::host {

/// "3 modes of 152 points, explaining of the variance 41 %, 22 %, 9 %; amounts up to 4.3 spreads",
/// or what they wait for; empty without modes.
std::string ModesText(CModel& model);

/// What one spread of each mode adds to each curve, as curves to be drawn; the first ones.
std::vector<SLearntSummary> ModeCurves(CModel& model, std::size_t most);

/// How much of the variance the common modes explain, and how much of them is still good; nothing
/// without modes.
void PrintModes(std::ostream& out, CModel& model);

/// The same as one JSON object, with the modes as curves.
void PrintModesJson(std::ostream& out, CModel& model);

}  // namespace limes::host
