#pragma once

#include <ranges>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

#include "limes/learning/judgement.h"
#include "limes/platform/text.h"
#include "limes/signals/curve.h"

namespace limes::test {

/// Fields as one text to compare: numbers with six digits, enumerations as their numbers, elements
/// of ranges and values of curves one after the other, all with blanks between.
template <class... Fields>
std::string Shown(const Fields&... fields);

/// Verdict, share and range judged; then what lies at the largest deviation.
inline std::string Shown(const SCurveJudgement& j) {
  return Shown(j.verdict, j.share, j.x0, j.x1, "at", j.x, j.deviation, j.rms, j.value, j.limit,
               j.mean, j.spread);
}

/// Range and points of the run; then what lies at the largest excess.
inline std::string Shown(const SCurveExcess& r) {
  return Shown(r.x0, r.x1, r.points, "at", r.x, r.index, r.excess, r.value, r.limit, r.mean,
               r.spread);
}

inline std::string Shown(const SValueJudgement& j) {
  return Shown(j.verdict, j.value, j.limit, j.mean, j.spread, j.deviation);
}

template <class Field>
std::string ShownField(const Field& field) {
  if constexpr (std::is_convertible_v<Field, std::u16string_view>) {
    return WideToUtf8(field);
  } else if constexpr (std::is_convertible_v<Field, std::string_view>) {
    return std::string(field);
  } else if constexpr (std::is_base_of_v<CSigCurve, Field>) {
    return ShownField(field.Values());
  } else if constexpr (std::ranges::range<Field>) {
    std::string all;
    for (const auto& element : field) {
      all.append(all.empty() ? "" : " ").append(Shown(element));
    }
    return all;
  } else if constexpr (std::is_same_v<Field, Verdict>) {
    return WideToUtf8(limes::Text(field));
  } else if constexpr (std::is_enum_v<Field>) {
    return std::to_string(static_cast<int>(field));
  } else {
    std::ostringstream out;
    field != field ? out << "nan" : out << +field;  // whatever the sign of the NaN
    return out.str();
  }
}

template <class... Fields>
std::string Shown(const Fields&... fields) {
  std::string all;
  (all.append(all.empty() ? "" : " ").append(ShownField(fields)), ...);
  return all;
}

}  // namespace limes::test
