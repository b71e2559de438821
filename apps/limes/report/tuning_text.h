#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "apps/limes/report/tuning.h"

namespace limes::host {

/// What other rules would have made of the parts of a store, in the order of the tables.
struct STuned {
  STried now;                 ///< by the trial that was asked for
  std::vector<STried> rates;  ///< at its base and sides
  std::vector<STried> factors;
  std::vector<STried> bases;  ///< with its factor
  std::vector<STried> sides;
  std::optional<CTuning::SLeastError> least;
  std::vector<STunedPart> parts;  ///< at its base
};

/// Tries a trial and its neighbours. O(parts).
STuned Tune(CTuning& tuning, const STrial& trial);

/// Tables for people, and the parts that lie nearest to the limit.
void PrintTuned(std::ostream& out, const CTuning& tuning, const STuned& tuned);

/// One object per trial, then one per part, and line ends. The field names are a contract with
/// scripts.
void PrintTunedJson(std::ostream& out, const CTuning& tuning, const STuned& tuned);

/// Shares of good parts rejected and bad parts passed (without labels of all parts) over the
/// factor, as SVG.
std::string DrawTuned(const CTuning& tuning, const STuned& tuned);

}  // namespace limes::host
