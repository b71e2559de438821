#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/limes/errors.h"
#include "limes/learning/part.h"
#include "limes/signals/extended_curve.h"
#include "recordings/measurement.h"

namespace limes::host {

/// A measured quantity as a curve at equal steps.
class CAxisPart {
 public:
  /// name, xUnit, unit: of the quantity that is learnt. spectrum: samples of a spectrum, or 0.
  CAxisPart(std::string name, SUnit xUnit, SUnit unit, std::uint32_t spectrum);

  /// Takes a quantity over. What has no equal steps is drawn on the learnt grid, without one (null)
  /// on a grid of its own. snap: a grid that is the learnt one but for rounding becomes that one.
  /// Throws CInputError, also when the steps are not those of the grid.
  void Take(const SQuantity& quantity, const std::string& part, const CSigCurveExt* grid,
            bool snap);

  /// For the library's checked calls; holds until the next part is taken.
  SCurvePart Part() const { return {curve_, covered_, health_}; }

  /// A place on the x axis with its unit.
  std::string Place(double x) const;

  /// What the quantity covers, for messages.
  std::string Covered() const;

 private:
  void CheckStep(double dx, const std::string& part, const CSigCurveExt& grid) const;

  /// The sampling rate that a step comes of; empty where x is no time and no spectrum of one.
  std::string Rate(double dx) const;

  std::string name_;
  SUnit xUnit_;
  SUnit unit_;
  std::uint32_t spectrum_;
  CSigCurveExt curve_;
  std::vector<std::uint8_t> covered_;
  SignalHealth health_ = SignalHealth::kUnknown;
};

}  // namespace limes::host
