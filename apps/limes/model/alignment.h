#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "apps/limes/errors.h"
#include "limes/learning/sided.h"
#include "recordings/measurement.h"

namespace limes::host {

/// The learnt mean of a quantity, NaN where nothing is learnt; empty without any.
struct SLearntMean {
  double x0 = 0.0;
  double dx = 1.0;
  std::vector<float> values;
};

/// Moves the curves of parts along x to where they are most like what is learnt, and adds how far
/// each lay off as a single value, "shift of NAME" in the unit of x, positive where it came late. A
/// curve that is not clearly like the mean, or would be moved as far as it may or further, stays
/// where it is; its shift cannot be told then, and is NaN.
class CAlignment {
 public:
  /// lag: the most that curves are moved, in x. sides: that are limited; where it is one, the shift
  /// is its magnitude, to that side.
  CAlignment(double lag, Sides sides) : lag_(lag), sides_(sides) {}

  /// The part with its curves moved; until the next one. meanOf(name) tells what is learnt. Throws
  /// CInputError without a curve, and where x has no equal steps or the lag is less than one. O(lag
  /// n).
  const SPart& Align(const SPart& part,
                     const std::function<SLearntMean(const std::string&)>& meanOf);

  /// Why a shift of the part that was aligned last cannot be told; empty when it can.
  std::string Unknown(const std::string& shift) const;

  /// Why that part is not to be learnt: a curve lies as far off as it may be moved. Empty when all
  /// is well.
  const std::string& AtEdge() const { return atEdge_; }

  /// Where another mean, learnt elsewhere, lies beside this one, if not at the same place but for
  /// half a step: "0.5 later there than here". Empty when it does.
  std::string OtherPlace(const SLearntMean& here, const SLearntMean& there) const;

  static std::string NameOf(const std::string& quantity) { return kPrefix + quantity; }
  static bool IsShift(const std::string& name) { return name.starts_with(kPrefix); }

 private:
  static constexpr const char* kPrefix = "shift of ";

  /// Steps that the lag is; 0 when it is less than one.
  std::size_t Lag(double dx, const SLearntMean& mean) const;

  double ShiftOf(SQuantity& quantity, const SLearntMean& mean, const std::string& part);

  double lag_;
  Sides sides_;
  SPart aligned_;
  std::map<std::string, std::string> unknown_;
  std::string atEdge_;
};

}  // namespace limes::host
