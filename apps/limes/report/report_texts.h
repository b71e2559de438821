#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/limes/measurement/settings.h"
#include "apps/limes/report/report.h"
#include "limes/learning/tolerance.h"

namespace limes::host {

/// A time as stored, without the letters in it: "2024-02-29 12:34:56".
std::string TimeText(const std::string& started);

/// By how many spreads a quantity lies beyond its limit, which ranks quantities and parts; of one
/// without a spread a number beyond all others.
double InSpreads(const SQuantityVerdict& q);

/// The quantity with the largest excess in spreads; null when none has a deviation.
const SQuantityVerdict* Worst(const SPartVerdict& verdict);

/// "16.7 dB(Pa) beyond the upper limit".
std::string DistanceText(double excess, Side side, const std::string& unit);

/// "16.7 dB(Pa) beyond the upper limit of 89.8 at 1125 Hz (1112.5 … 1137.5)".
std::string DefectText(const SDefect& defect, const std::string& xUnit);

/// The largest deviation of a quantity that has one, in the same words.
std::string DeviationText(const SQuantityVerdict& q);

/// Where a defect lies: "1125 Hz (1112.5 … 1137.5)"; empty for a single value.
std::string PlaceText(const SDefect& defect, const std::string& xUnit);

/// The rule of a quantity's limits: "mean ± (3 × spread + 3 dB(Pa))".
std::string RuleText(const SSettings& settings, const std::vector<const SLearntSummary*>& sides);

/// "drift: noise has moved up for 57 parts until gear:12, most at 120 Hz".
std::string DriftText(const SDriftFound& drift);

/// "9.5 .. 10.5 mm", "up to 10.5 mm".
std::string ToleranceText(const STolerance& tolerance, const std::string& unit);

/// The folder that all parts come from, which their names then need not repeat.
class CCommonFolder {
 public:
  void Add(const std::string& part);

  /// Empty, or ends in a slash.
  std::string Name() const { return folder_.value_or(""); }

  /// A part's name in it.
  std::string Inside(const std::string& part) const;

 private:
  std::optional<std::string> folder_;
};

}  // namespace limes::host
