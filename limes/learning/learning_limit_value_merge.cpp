// Joining what two limits of a value have learnt.
#include <algorithm>

#include "limes/learning/learning_limit_value.h"
#include "limes/platform/memory_errors.h"

namespace limes {

MergeStatus CLernenderGrenzwert::Merge(const CLernenderGrenzwert& other) {
  const SState& later = other.state_;
  if (const MergeStatus status = detail::CheckAveraging(state_, later);
      status != MergeStatus::kOk) {
    return status;
  }
  if (later.count == 0) {
    return MergeStatus::kOk;
  }
  std::optional<CMeasuringUnit> unit;
  if (!detail::IfMemoryAllows([&] { unit = later.unit; })) {
    return MergeStatus::kMemory;
  }
  if (state_.count == 0 && !state_.unit) {
    state_.unit.swap(unit);
  } else if (UnitOrNone(unit) != UnitOrNone(state_.unit)) {
    return MergeStatus::kUnit;
  }
  const detail::SJoin join(state_.generator, state_.count, later.generator);
  const auto mix = [share = join.share](double& mine, double theirs) {
    mine = share == 0.0 ? theirs : share * mine + (1.0 - share) * theirs;
  };
  if (state_.exact.on || later.exact.on) {
    const SExact theirs = later.ExactOrPlain();
    SExact& exact = state_.exact;
    exact = state_.count == 0 ? theirs : state_.ExactOrPlain();
    const double d = theirs.origin - exact.origin;
    mix(exact.mean, theirs.mean + d);
    mix(exact.square, theirs.square + d * (2.0 * theirs.mean + d));
    exact.step = std::max(exact.step, theirs.step);
  }
  mix(state_.mean, later.mean);
  mix(state_.meanSquare, later.meanSquare);
  state_.generator.SetTime(join.time);
  state_.count = detail::JointCount(state_.count, later.count);
  state_.last = later.last;
  GrenzwertErneuern(1.0F);
  return MergeStatus::kOk;
}

}  // namespace limes
