#include "limes/learning/learn_merge.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "limes/kernels/averaging_factors.h"

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

std::int32_t JointTime(std::int32_t n1, std::int32_t n2, std::int32_t timeScale) {
  // What the generator counts to by itself, unless a state stands beyond that already.
  const std::int64_t end = std::max({std::int64_t{CExpAverFacGenerator::kSaturated} * timeScale,
                                     std::int64_t{n1}, std::int64_t{n2}});
  return static_cast<std::int32_t>(std::min(
      {std::int64_t{n1} + n2, end, std::int64_t{std::numeric_limits<std::int32_t>::max()}}));
}

}  // namespace detail
}  // namespace limes
