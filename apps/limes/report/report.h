#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "apps/limes/measurement/settings.h"
#include "apps/limes/measurement/verdict.h"

namespace limes::host {

/// One line per part and its defects for people; colours only when asked for.
void PrintVerdict(std::ostream& out, const SPartVerdict& verdict, bool colours);

/// One JSON object and a line end. The field names are a contract with scripts.
void PrintVerdictJson(std::ostream& out, const SPartVerdict& verdict);

/// Counts of a test run.
struct SCounts {
  std::uint64_t parts = 0;
  std::uint64_t ok = 0;
  std::uint64_t nok = 0;
  std::uint64_t notJudged = 0;
  std::uint64_t good = 0;         ///< parts labelled good
  std::uint64_t bad = 0;          ///< parts labelled otherwise
  std::uint64_t falseAlarms = 0;  ///< labelled good, verdict NOK
  std::uint64_t misses = 0;       ///< labelled otherwise, verdict OK

  void Add(const SPartVerdict& verdict, const std::string& goodLabel);
};

/// A line per quantity and side: how sure the limits are that a part was judged by.
void PrintSureness(std::ostream& out, const SPartVerdict& verdict);

void PrintCounts(std::ostream& out, const SCounts& counts);

/// A learnt quantity and side at a glance.
struct SLearntSummary {
  std::string name;
  Side side = Side::kUpper;
  SLimitSureness sureness;
  std::string kind;  ///< curve, track or value
  std::int64_t parts = 0;
  std::size_t points = 0;
  double xFirst = 0.0;  ///< valid range of the learnt curves
  double xLast = 0.0;
  double step = 0.0;
  std::string xUnit;
  std::string unit;
  std::vector<std::int64_t> learntAt;  ///< parts per point; empty for a value
  std::vector<float> mean;  ///< over the learnt range, in the sign of the measurement; NaN: none
  std::vector<float> spread;
  std::vector<float> limit;
};

void PrintSummary(std::ostream& out, const SLearntSummary& summary, const SSettings& settings);
void PrintSummaryJson(std::ostream& out, const SLearntSummary& summary, const SSettings& settings);

}  // namespace limes::host
