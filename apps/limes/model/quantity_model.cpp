#include "apps/limes/model/quantity_model.h"

#include <utility>

#include "apps/limes/errors.h"
#include "recordings/text.h"

namespace limes::host {

CQuantityModel::CQuantityModel(const SSettings& settings, std::string name, SUnit xUnit, SUnit unit,
                               bool single)
    : settings_(settings),
      name_(std::move(name)),
      xUnit_(std::move(xUnit)),
      unit_(std::move(unit)),
      single_(single) {}

void CQuantityModel::TakeModes(std::optional<double> effective, std::span<const double> spread) {
  modesEffective_ = effective;
  around_.assign(spread.begin(), spread.end());
}

void CQuantityModel::TakeExpected(std::span<const double> expected) {
  expected_.assign(expected.begin(), expected.end());
}

void CQuantityModel::CheckUnits(const SQuantity& q, const std::string& part) const {
  if (q.single != single_) {
    throw CInputError(
        part, "quantity " + Quoted(name_) + " is a " +
                  (q.single ? "value, in the store a curve" : "curve, in the store a value"));
  }
  const auto check = [&](const char* what, const SUnit& found, const SUnit& known) {
    if (!(found == known)) {
      throw CInputError(part, "quantity " + Quoted(name_) + " is in " + found.DisplayFull() + what +
                                  ", in the store in " + known.DisplayFull());
    }
  };
  check("", q.unit, unit_);
  check(" over x", q.xUnit, xUnit_);
}

std::string CQuantityModel::Join(CQuantityModel& other) {
  const auto units = [](const SUnit& x, const SUnit& y) {
    return y.DisplayFull() + (x.IsNone() ? "" : " over " + x.DisplayFull());
  };
  if (other.single_ != single_) {
    return other.single_ ? "is a value there, a curve here" : "is a curve there, a value here";
  }
  if (!(other.xUnit_ == xUnit_) || !(other.unit_ == unit_)) {
    return "the units differ: " + units(other.xUnit_, other.unit_) + " there, " +
           units(xUnit_, unit_) + " here";
  }
  const std::string difference =
      Difference(settings_, other.settings_,
                 {"--tracks", "--cut",   "--detrend",    "--spectrum", "--resolution",
                  "--bands",  "--level", "--weighting",  "--envelope", "--single",
                  "--orders", "--sides", "--time-scale", "--base",     "--reject",
                  "--factor", "--cover", "--sure",       "--width",    "--modes"});
  return difference.empty() ? JoinStates(other) : difference;
}

}  // namespace limes::host
