#include "limes/learning/learn_merge.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "limes/learning/curve_fit.h"
#include "limes/learning/learning_loops.h"
#include "limes/signals/extended_curve.h"

namespace limes {

const wide_char* Text(MergeStatus status) {
  switch (status) {
    case MergeStatus::kOk:
      return u"the learn states were joined";
    case MergeStatus::kGrid:
      return u"the x axes differ";
    case MergeStatus::kRange:
      return u"the learnt x ranges have nothing in common";
    case MergeStatus::kUnit:
      return u"the units differ";
    case MergeStatus::kRule:
      return u"the rules of the limits differ";
    case MergeStatus::kTimeScale:
      return u"the time scales differ";
    case MergeStatus::kFactor:
      return u"a learning factor from outside tells no weights";
    case MergeStatus::kMemory:
      return u"memory is short";
  }
  return u"";
}

namespace detail {

double EarlierShare(std::int64_t n1, std::int64_t n2, std::int32_t timeScale) {
  if (n2 <= 0) {
    return 1.0;
  }
  if (n1 <= 0 || timeScale <= 0) {
    return 0.0;
  }
  const auto earlier = static_cast<double>(n1);
  const auto later = static_cast<double>(n2);
  using Generator = CExpAverFacGenerator;
  if (timeScale >= Generator::kNoForgetting &&
      n1 <= Generator::kSaturated * std::int64_t{timeScale}) {
    return earlier / (earlier + later);
  }
  const double scale = timeScale;
  return std::exp(-later / scale) * std::expm1(-earlier / scale) /
         std::expm1(-(earlier + later) / scale);
}

MergeStatus CheckCurves(const CSigCurveExt* a, const CSigCurveExt* b) {
  if (a == nullptr || b == nullptr || a->DLen() != b->DLen()) {
    return MergeStatus::kGrid;
  }
  const double near = kSamePlace * std::fabs(double{a->XMax()} - a->XMin()) / a->DLen();
  if (!(std::fabs(double{a->XMin()} - b->XMin()) <= near) ||
      !(std::fabs(double{a->XMax()} - b->XMax()) <= near)) {
    return MergeStatus::kGrid;
  }
  return a->XUnit() == b->XUnit() && a->YUnit() == b->YUnit() ? MergeStatus::kOk
                                                              : MergeStatus::kUnit;
}

void MixMeans(const SLearntMeans& mine, const SLearntMeans& later, std::size_t i, std::size_t n,
              double share) {
  MixValues(mine.mean->ValArray() + i, later.mean->ValArray() + i, n, share);
  MixValues(mine.meanSquare->ValArray() + i, later.meanSquare->ValArray() + i, n, share);
}

SJoin::SJoin(const CExpAverFacGenerator& earlier, std::int32_t count,
             const CExpAverFacGenerator& later) {
  const std::int32_t scale = earlier.GetTimeScale();
  const std::int64_t n1 = count == 0 ? 0 : earlier.GetTime();
  const std::int64_t n2 = later.GetTime();
  share = EarlierShare(n1, std::max<std::int64_t>(n2, 1), scale);
  // What the generator counts to by itself, unless a state stands beyond that already.
  const std::int64_t end =
      std::max({std::int64_t{CExpAverFacGenerator::kSaturated} * scale, n1, n2});
  time = static_cast<std::int32_t>(
      std::min({n1 + n2, end, std::int64_t{std::numeric_limits<std::int32_t>::max()}}));
}

}  // namespace detail
}  // namespace limes
