#include "limes/c/limit_handle.h"

namespace limes::c {

bool SLastCurve::IsLike(const limes_curve& given) const {
  const auto same = [](const std::string& known, const char* text) {
    return known == (text == nullptr ? "" : text);
  };
  return isSet && curve.DLen() == given.count && x0 == given.x0 && dx == given.dx &&
         reference == given.reference && same(xUnit, given.x_unit) && same(unit, given.unit);
}

void RequireSide(const limes_limit& limit, Side side) {
  const Sides sides = std::visit([](const auto& known) { return known.Rule().sides; }, limit.any);
  Require(sides == Sides::kBoth || (sides == Sides::kUpper) == (side == Side::kUpper),
          "this side is not limited");
}

void RequireJudged(const limes_limit& limit, Side side) {
  RequireSide(limit, side);
  if (!limit.judged) {
    throw SFailure{LIMES_NOTHING, "no part was judged yet"};
  }
}

}  // namespace limes::c
