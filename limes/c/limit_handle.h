#pragma once

#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include "limes/c/boundary.h"
#include "limes/learning/rated_limit.h"

namespace limes::c {

using ValueLimit = CRatedLimit<CLernenderGrenzwert>;
using CurveLimit = CRatedLimit<CKurvenLernWerkzeug>;
using TrackLimit = CRatedLimit<CTrackLernWerkzeug>;
using PreciseLimit = CRatedLimit<CPreciseCurveTool>;
using AnyLimit = std::variant<ValueLimit, CurveLimit, TrackLimit, PreciseLimit>;
// A handle never lacks its limit, whatever failed.
static_assert(std::is_nothrow_move_constructible_v<AnyLimit>);

/// The curve given last, so that the next one on its grid brings its values only.
struct SLastCurve {
  CSigCurveExt curve;
  double x0 = 0.0;
  double dx = 0.0;
  double reference = 0.0;
  std::string xUnit;
  std::string unit;
  bool isSet = false;

  bool IsLike(const limes_curve& given) const;
};

}  // namespace limes::c

struct limes_limit {
  explicit limes_limit(limes::c::AnyLimit made) : any(std::move(made)) {}

  limes::c::AnyLimit any;
  limes::CSidedJudgement judgement;
  limes::c::SLastCurve last;
  bool judged = false;
  std::string error;
};

namespace limes::c {

/// Caught, with the reason kept by the limit.
template <class Action>
limes_status Guarded(limes_limit* limit, Action action) noexcept {
  return limit == nullptr ? LIMES_ARGUMENT : Caught(&limit->error, action);
}

/// Of a limit that is only read, whose error is still its own to change.
template <class Action>
limes_status Guarded(const limes_limit* limit, Action action) noexcept {
  return Guarded(const_cast<limes_limit*>(limit), action);
}

/// Makes a limit, or null.
template <class Make>
limes_status MakeLimit(limes_limit** limit, Make make) noexcept {
  if (limit == nullptr) {
    return LIMES_ARGUMENT;
  }
  *limit = nullptr;
  return Caught(nullptr, [&] { *limit = new limes_limit(make()); });
}

/// Throws SFailure with LIMES_ARGUMENT where a side is not limited.
void RequireSide(const limes_limit& limit, Side side);

/// The same, and LIMES_NOTHING before a part was judged.
void RequireJudged(const limes_limit& limit, Side side);

}  // namespace limes::c
