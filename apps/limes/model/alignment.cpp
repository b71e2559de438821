#include "apps/limes/model/alignment.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

#include "apps/limes/errors.h"
#include "limes/learning/curve_shift.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
constexpr double kRounding = 1e-6;  ///< of a step
constexpr double kSamePlace = 0.5;  ///< of a step

/// The values of a quantity on the grid of the mean, as they were measured.
std::vector<float> OnGridOf(const SLearntMean& mean, const SQuantity& q) {
  std::vector<float> placed(mean.values.size(), kNone);
  const double offset = std::round((q.x0 - mean.x0) / mean.dx);
  for (std::size_t i = 0; i < q.values.size(); ++i) {
    const double at = offset + static_cast<double>(i);
    const bool covered = q.covered.empty() || q.covered[i] != 0;
    if (covered && at >= 0.0 && at < static_cast<double>(placed.size())) {
      placed[static_cast<std::size_t>(at)] = q.values[i];
    }
  }
  return placed;
}

}  // namespace

const SPart& CAlignment::Align(const SPart& part,
                               const std::function<SLearntMean(const std::string&)>& meanOf) {
  atEdge_.clear();
  unknown_.clear();
  aligned_ = part;
  std::vector<SQuantity> shifts;
  for (SQuantity& q : aligned_.quantities) {
    if (q.single) {
      continue;
    }
    if (!q.x.empty()) {
      throw CInputError(part.name, "quantity " + recordings::Quoted(q.name) +
                                       " has no equal steps of x, which --align needs");
    }
    SQuantity& shift = shifts.emplace_back();
    shift.name = NameOf(q.name);
    shift.single = true;
    shift.unit = q.xUnit;
    shift.value = ShiftOf(q, meanOf(q.name), part.name);
  }
  if (shifts.empty()) {
    throw CInputError(part.name, "has no curve that --align could move");
  }
  std::move(shifts.begin(), shifts.end(), std::back_inserter(aligned_.quantities));
  return aligned_;
}

std::string CAlignment::Unknown(const std::string& shift) const {
  const auto found = unknown_.find(shift);
  return found == unknown_.end() ? "" : found->second;
}

std::string CAlignment::OtherPlace(const SLearntMean& here, const SLearntMean& there) const {
  SQuantity mean;
  mean.x0 = there.x0;
  mean.dx = there.dx;
  mean.values = there.values;
  const SCurveShift found = FindShift(OnGridOf(here, mean), here.values, Lag(there.dx, here));
  if (found.basis == ShiftBasis::kUnclear) {
    return "to means that are too unlike to tell whether they lie at the same place";
  }
  if (std::fabs(found.shift) <= kSamePlace) {
    return "";
  }
  return recordings::NumberText(Shown(static_cast<float>(std::fabs(found.shift) * here.dx))) +
         (found.shift > 0.0 ? " later there than here" : " earlier there than here");
}

std::size_t CAlignment::Lag(double dx, const SLearntMean& mean) const {
  const double lag = std::floor(lag_ / dx + kRounding);
  return lag >= 1.0 ? static_cast<std::size_t>(
                          std::min(lag, std::max(1.0, static_cast<double>(mean.values.size()))))
                    : 0;
}

double CAlignment::ShiftOf(SQuantity& q, const SLearntMean& mean, const std::string& part) {
  const std::size_t lag = Lag(q.dx, mean);
  if (lag == 0) {
    throw CInputError(part, "quantity " + recordings::Quoted(q.name) +
                                ": --align is less than a step of x, " +
                                recordings::NumberText(q.dx));
  }
  if (mean.values.empty()) {
    return 0.0;  // the first part, to which all others are moved
  }
  const SCurveShift found = FindShift(OnGridOf(mean, q), mean.values, lag);
  if (found.basis == ShiftBasis::kAtEdge) {
    atEdge_ = "quantity " + recordings::Quoted(q.name) +
              " lies as far off what is learnt as --align reaches, or further";
    unknown_[NameOf(q.name)] = "its curve lies as far off as --align reaches, or further";
    return kNone;
  }
  if (found.basis == ShiftBasis::kUnclear) {
    unknown_[NameOf(q.name)] = "its curve is too unlike what is learnt to tell";
    return kNone;
  }
  q.x0 -= static_cast<double>(found.steps) * q.dx;
  const double shift = found.shift * q.dx;
  return sides_ == Sides::kBoth    ? shift
         : sides_ == Sides::kUpper ? std::fabs(shift)
                                   : -std::fabs(shift);
}

}  // namespace limes::host
