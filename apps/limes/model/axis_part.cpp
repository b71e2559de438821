#include "apps/limes/model/axis_part.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "apps/limes/errors.h"
#include "limes/platform/text.h"
#include "recordings/forming/free_steps.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr double kStepTolerance = 1e-4;   ///< relative; other steps are another quantity
constexpr double kPlaceTolerance = 0.01;  ///< of a step; closer grids are the same

}  // namespace

CAxisPart::CAxisPart(std::string name, SUnit xUnit, SUnit unit, std::uint32_t spectrum)
    : name_(std::move(name)),
      xUnit_(std::move(xUnit)),
      unit_(std::move(unit)),
      spectrum_(spectrum) {}

void CAxisPart::Take(const SQuantity& measured, const std::string& part, const CSigCurveExt* grid,
                     bool snap) {
  SQuantity drawn;
  if (!measured.x.empty()) {
    const std::string what = part + ": quantity " + Quoted(name_);
    drawn = grid == nullptr ? DrawnOnOwnGrid(measured, what)
                            : DrawnOnGrid(measured, what, grid->XMin(),
                                          (double{grid->XMax()} - grid->XMin()) / grid->DLen());
  }
  const SQuantity& q = measured.x.empty() ? measured : drawn;
  const std::size_t n = q.values.size();
  if (n == 0 || n > std::numeric_limits<std::int32_t>::max()) {
    throw CInputError(part, "quantity " + Quoted(name_) + " has no values or too many");
  }
  auto x0 = static_cast<float>(q.x0);
  auto x1 = static_cast<float>(q.x0 + q.dx * static_cast<double>(n));
  const float resolution =
      8.0F * std::numeric_limits<float>::epsilon() * std::max(std::fabs(x0), std::fabs(x1));
  if (!std::isfinite(x0) || !std::isfinite(x1) || !(q.dx > double{resolution})) {
    throw CInputError(part, "quantity " + Quoted(name_) + ": steps of " + NumberText(q.dx) +
                                " from " + NumberText(q.x0) +
                                " on are too fine for single precision");
  }
  if (snap && grid != nullptr && grid->DLen() == n) {
    const double tolerance = kPlaceTolerance * q.dx + double{resolution};
    if (std::fabs(double{x0} - grid->XMin()) <= tolerance &&
        std::fabs(double{x1} - grid->XMax()) <= tolerance) {
      x0 = grid->XMin();
      x1 = grid->XMax();
    }
  }
  if (curve_.DLen() != n) {
    curve_ = CSigCurveExt::Make(static_cast<int>(n), x0, x1);
    if (curve_.DLen() != n) {
      throw std::bad_alloc();
    }
    curve_.SetName(Utf8ToWide(name_).c_str());
    curve_.SetXUnit(xUnit_.unit);
    curve_.SetYUnit(unit_.unit);
  }
  curve_.SetXMinMax(x0, x1);
  curve_.SetVIMinMax(0, static_cast<std::int32_t>(n) - 1);  // to the last value, not a step behind
  std::copy(q.values.begin(), q.values.end(), curve_.ValArray());
  covered_ = q.covered;
  health_ = measured.health;
  if (grid != nullptr) {
    CheckStep(q.dx, part, *grid);
  }
}

void CAxisPart::CheckStep(double dx, const std::string& part, const CSigCurveExt& grid) const {
  const double n = grid.DLen();
  const double step = (double{grid.XMax()} - grid.XMin()) / n;
  const double rounding = std::numeric_limits<float>::epsilon() *
                          std::max(std::fabs(grid.XMin()), std::fabs(grid.XMax())) / n;
  if (std::fabs(dx - step) > kStepTolerance * step + rounding) {
    const std::string quantity = "quantity " + Quoted(name_);
    const std::string rate = Rate(dx);
    throw CInputError(
        part, rate.empty()
                  ? quantity + " has steps of " + Place(dx) + ", in the store " + Place(step)
                  : quantity + " is sampled at " + rate + ", learnt at " + Rate(step));
  }
}

std::string CAxisPart::Rate(double dx) const {
  const std::string unit = xUnit_.Display();
  const bool spectrum = unit == "Hz" && spectrum_ > 0;
  if (!spectrum && unit != "s") {
    return "";
  }
  const double rate = spectrum ? dx * spectrum_ : 1.0 / dx;
  const double whole = std::round(rate);  // but for the rounding of the grid's bounds
  const bool isWhole = std::fabs(rate - whole) <= 1e-6 * rate && rate < 1e15;
  return (isWhole ? std::to_string(static_cast<std::int64_t>(whole))
                  : NumberText(Shown(static_cast<float>(rate)))) +
         " Hz";
}

std::string CAxisPart::Place(double x) const {
  const std::string unit = xUnit_.Display();
  return NumberText(Shown(static_cast<float>(x))) + (unit.empty() ? "" : " " + unit);
}

std::string CAxisPart::Covered() const {
  return "quantity " + Quoted(name_) + " covers x from " + Place(curve_.XMin()) + " to " +
         Place(curve_.GetPoint(static_cast<int>(curve_.DLen()) - 1));
}

}  // namespace limes::host
