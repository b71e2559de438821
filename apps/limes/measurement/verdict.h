#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "apps/limes/measurement/drift.h"
#include "limes/learning/judgement.h"
#include "limes/learning/limit_sureness.h"
#include "limes/learning/part.h"
#include "limes/learning/part_margin.h"

namespace limes::host {

/// "OK", "NOK" or "not judged".
const char* VerdictText(Verdict verdict);
Verdict VerdictFromText(const std::string& text);

/// "upper" or "lower".
const char* SideText(Side side);
Side SideFromText(const std::string& text);

/// The record itself or a constant one.
template <class T, class Record>
concept SameRecord = std::same_as<std::remove_const_t<T>, Record>;

/// Where a field of a record stands outside the program.
struct SField {
  const char* name;        ///< in JSON; null: not there
  const char* column;      ///< in the store's table; null: not there
  std::int64_t since = 1;  ///< version of the tables that has the column
};

/// Of CPartMargin; none where the limit was widened.
using TCorners = std::vector<CPartMargin::SCorner>;

/// One quantity against one of its limits. The numbers are empty when it was not judged; those of
/// the place are the ones at the largest excess. Both sides in the sign of the measurement.
struct SQuantityVerdict {
  std::string name;
  Side side = Side::kUpper;
  Verdict verdict = Verdict::kNotJudged;
  std::optional<double> maxDeviation;  ///< positive beyond the limit
  std::optional<double> excessInS;     ///< the same divided by the spread there; empty for spread 0
  std::optional<double> largestInS;    ///< largest value - mean - base in S: the factor that passes
  std::optional<double> largestInSX;   ///< where that is
  std::optional<double> x;             ///< empty for a single value
  std::optional<double> value;
  std::optional<double> limit;
  std::optional<double> mean;
  std::optional<double> spread;
  std::optional<double> rmsDeviation;
  std::optional<double> factor;            ///< in the limit, of tracks where most was learnt
  double judgedShare = 0.0;                ///< of the limit's range, 0 to 1
  std::optional<SLimitSureness> sureness;  ///< of the limit; empty when it was not stored
  std::string unit;
  std::string xUnit;
  std::optional<std::string> reason;  ///< why it was not judged
  TCorners corners;                   ///< what tells the factor that passes at any base
};

/// Unit of how much of a common mode is in a part.
inline constexpr const char* kModeUnit = "spreads";

/// How far all points together lie out.
inline constexpr const char* kWholeName = "whole part";
inline bool IsWhole(const SQuantityVerdict& q) {
  return q.unit == kModeUnit && q.name == kWholeName;
}

/// Whether it is a common mode of all points, whose amount was judged, or the whole of them.
inline bool IsMode(const SQuantityVerdict& q) {
  return IsWhole(q) || (q.unit == kModeUnit && q.name.starts_with("mode "));
}

/// Calls visit(SField, field of each) for every field of a record that is shown or stored, in the
/// order of JSON. The store keeps name and units with the quantity.
void VisitFields(auto visit, SameRecord<SQuantityVerdict> auto&... v) {
  visit(SField{"name", nullptr}, v.name...);
  visit(SField{"side", "side"}, v.side...);
  visit(SField{"verdict", "verdict"}, v.verdict...);
  visit(SField{"max_deviation", "max_deviation"}, v.maxDeviation...);
  visit(SField{"excess_in_s", "excess_in_s"}, v.excessInS...);
  visit(SField{"x", "x"}, v.x...);
  visit(SField{"value", "value"}, v.value...);
  visit(SField{"limit", "limit_value"}, v.limit...);
  visit(SField{"mean", "mean"}, v.mean...);
  visit(SField{"spread", "spread"}, v.spread...);
  visit(SField{"rms_deviation", "rms_deviation"}, v.rmsDeviation...);
  visit(SField{"judged_share", "judged_share"}, v.judgedShare...);
  visit(SField{"unit", nullptr}, v.unit...);
  visit(SField{"largest_in_s", "largest_in_s", 5}, v.largestInS...);
  visit(SField{"largest_in_s_x", "largest_in_s_x", 5}, v.largestInSX...);
  visit(SField{"reason", "reason", 5}, v.reason...);
  visit(SField{nullptr, "corners", 6}, v.corners...);
  visit(SField{"factor", "factor", 6}, v.factor...);
}

/// Of the limit, where it is known.
void VisitFields(auto visit, SameRecord<SLimitSureness> auto&... s) {
  visit(SField{"learnt", "learnt", 2}, s.parts...);
  visit(SField{"effective_parts", "effective_parts", 2}, s.effectiveParts...);
  visit(SField{"chance_per_point", "chance_per_point", 2}, s.rejectedPerPoint...);
}

/// A region beyond a limit, or a single value.
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

/// The store keeps quantity and side as the place of their verdict.
void VisitFields(auto visit, SameRecord<SDefect> auto& d) {
  visit(SField{"quantity", nullptr}, d.quantity);
  visit(SField{"side", nullptr}, d.side);
  visit(SField{"from", "x_from", 2}, d.from);
  visit(SField{"to", "x_to", 2}, d.to);
  visit(SField{"x", "place"}, d.place);
  visit(SField{"excess", "excess", 2}, d.excess);
  visit(SField{"value", "value"}, d.value);
  visit(SField{"limit", "limit_value"}, d.limit);
  visit(SField{"mean", "mean"}, d.mean);
  visit(SField{"unit", "unit"}, d.unit);
  visit(SField{nullptr, "priority"}, d.priority);
  visit(SField{nullptr, "code"}, d.code);
  visit(SField{nullptr, "type"}, d.type);
  visit(SField{nullptr, "text"}, d.text);
}

/// Scores of a whole part, the largest of its quantities and points beyond what was learnt before
/// it, and of all points together; empty while too few parts were learnt, and the whole where it is
/// not asked for.
struct SScores {
  std::optional<double> above;
  std::optional<double> below;
  std::optional<double> whole{};
};

void VisitFields(auto visit, SameRecord<SScores> auto& s) {
  visit(SField{"score_above", "score_above", 6}, s.above);
  visit(SField{"score_below", "score_below", 6}, s.below);
  visit(SField{nullptr, "score_whole", 9}, s.whole);
}

/// What stands for the limits of all variants together.
inline constexpr const char* kAllVariants = "all variants";

struct SPartVerdict {
  std::string part;
  std::optional<std::string> label;
  Verdict verdict = Verdict::kNotJudged;
  SScores scores{};
  std::vector<SQuantityVerdict> quantities;
  std::vector<SDefect> defects;  ///< most important first

  std::vector<SDriftFound> drifts{};  ///< alarms that it gave

  std::string
      variant{};  ///< of the part; empty where variants are not told apart, or it is unknown
  std::string limitOf{};  ///< variant whose limits judged; kAllVariants; empty: without variants
  std::optional<std::string> reason{};  ///< why the part as a whole was not judged

  std::optional<std::int64_t> content{};  ///< tells what was measured apart (ContentOf)
  std::string rule{};  ///< of a stored verdict: the settings it was given by, as JSON; may be empty
  std::int64_t id = 0;               ///< in the store
  std::int64_t run = 0;              ///< that judged it
  std::optional<std::int64_t> at{};  ///< when it was judged, in ms since 1970 UTC
};

}  // namespace limes::host
