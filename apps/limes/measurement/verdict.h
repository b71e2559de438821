#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "limes/learning/judgement.h"
#include "limes/learning/limit_sureness.h"

namespace limes::host {

/// "OK", "NOK" or "not judged".
const char* VerdictText(Verdict verdict);
Verdict VerdictFromText(const std::string& text);

enum class Side { kUpper, kLower };

/// "upper" or "lower".
const char* SideText(Side side);
Side SideFromText(const std::string& text);

/// One quantity against one of its limits. The numbers are empty when it was not judged; those of
/// the place are the ones at the largest excess. Both sides in the sign of the measurement.
struct SQuantityVerdict {
  std::string name;
  Side side = Side::kUpper;
  Verdict verdict = Verdict::kNotJudged;
  std::optional<double> maxDeviation;  ///< positive beyond the limit
  std::optional<double> excessInS;     ///< the same divided by the spread there; empty for spread 0
  std::optional<double> x;             ///< empty for a single value
  std::optional<double> value;
  std::optional<double> limit;
  std::optional<double> mean;
  std::optional<double> spread;
  std::optional<double> rmsDeviation;
  double judgedShare = 0.0;                ///< of the limit's range, 0 to 1
  std::optional<SLimitSureness> sureness;  ///< of the limit; empty when it was not stored
  std::string unit;
  std::string xUnit;
};

struct SDefect {
  std::string quantity;
  Side side = Side::kUpper;
  std::int32_t priority = 0;
  std::int32_t code = 0;
  std::uint32_t type = 0;
  double value = 0.0;
  double limit = 0.0;
  double mean = 0.0;
  double place = 0.0;
  std::optional<double> excess;  ///< over the limit
  std::optional<double> from;    ///< of the region beyond the limit; empty for a single value
  std::optional<double> to;
  std::string unit;
  std::string text;  ///< the report line
};

struct SPartVerdict {
  std::string part;
  std::optional<std::string> label;
  Verdict verdict = Verdict::kNotJudged;
  std::vector<SQuantityVerdict> quantities;
  std::vector<SDefect> defects;  ///< most important first
};

}  // namespace limes::host
