#include "apps/limes/model/quantity_model.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/number_text.h"
#include "recordings/text.h"

namespace limes::host {

namespace {

/// The strength of a single value of 0, as a plain 0 says that none is known.
constexpr double kZero = std::numeric_limits<double>::min();

}  // namespace

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

std::string CQuantityModel::TooShort() const {
  const double least = settings_.minShare * leastRecorded_.time;
  // Of times that are the same but for rounding, none is shorter.
  if (!(least > 0.0) || recorded_.time >= least * (1.0 - 1e-9)) {
    return "";
  }
  return "measured for only " + Percent(recorded_.time / leastRecorded_.time) +
         " of the time of good parts";
}

void CQuantityModel::TakeRecorded(const SQuantity& quantity) {
  recorded_ = quantity.recorded;
  isFormed_ = recorded_.rms > 0.0 || recorded_.time > 0.0;
  if (isFormed_ || settings_.tracks) {
    return;
  }
  const bool decibel = unit_.IsDecibel();
  const auto square = [decibel](double x) { return decibel ? std::pow(10.0, 0.1 * x) : x * x; };
  double sum = single_ ? square(quantity.value) : 0.0;
  for (const float value : quantity.values) {
    sum += square(double{value});
  }
  recorded_.rms =
      std::sqrt(sum / static_cast<double>(std::max<std::size_t>(quantity.values.size(), 1)));
}

bool CQuantityModel::IsFarWeaker() const {
  return leastRecorded_.rms > kZero && recorded_.rms < 0.2 * leastRecorded_.rms;
}

std::string CQuantityModel::WeakerText() const {
  return "no signal: its rms is " + Percent(recorded_.rms / leastRecorded_.rms) +
         " of that of the quietest good part";
}

std::string CQuantityModel::TooQuiet() const {
  return IsFarWeaker() && (isFormed_ || !single_) ? WeakerText() : "";
}

std::string CQuantityModel::NoSignal() const {
  return isFormed_ && recorded_.rms < 0.1 * leastRecorded_.rms ? WeakerText() : "";
}

void CQuantityModel::LearnRecorded() {
  const auto keepLeast = [](double x, double& least) {
    if (x > 0.0) {
      least = least > 0.0 ? std::min(least, x) : x;
    }
  };
  keepLeast(recorded_.time, leastRecorded_.time);
  keepLeast(single_ && !isFormed_ ? std::max(recorded_.rms, kZero) : recorded_.rms,
            leastRecorded_.rms);
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
  std::string difference =
      Difference(settings_, other.settings_,
                 {"--tracks", "--cut",        "--detrend",  "--spectrum", "--resolution", "--bands",
                  "--level",  "--weighting",  "--envelope", "--single",   "--orders",     "--sides",
                  "--align",  "--time-scale", "--base",     "--reject",   "--factor",     "--cover",
                  "--sure",   "--width",      "--modes"});
  if (!difference.empty()) {
    return difference;
  }
  recorded_ = other.leastRecorded_;
  LearnRecorded();
  return JoinStates(other);
}

}  // namespace limes::host
