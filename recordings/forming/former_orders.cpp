// Orders over the angle: the part of CFormer that needs a speed.
#include <algorithm>
#include <cmath>

#include "recordings/errors.h"
#include "recordings/forming/former.h"
#include "recordings/forming/free_steps.h"
#include "recordings/forming/steps.h"
#include "recordings/forming/time_signal.h"
#include "recordings/text.h"

namespace limes::recordings {

/// Takes the channel of the speed out of the part.
SRevolutions CFormer::TakeSpeed(SPart& part) {
  const auto found = std::find_if(part.quantities.begin(), part.quantities.end(),
                                  [&](const SQuantity& q) { return q.name == *settings_.speed; });
  if (found == part.quantities.end()) {
    throw CInputError(part.name, "no channel " + Quoted(*settings_.speed) +
                                     ", as --speed needs it (--use must name it, too)");
  }
  SQuantity speed = std::move(*found);
  part.quantities.erase(found);
  SRevolutions revolutions;
  if (settings_.pulses) {
    revolutions = TurnsOfPulses(speed.values, *settings_.pulses);
    if (revolutions.turns.empty()) {
      Refuse(part.name, speed,
             " holds fewer than two pulses, or some are missing or too many between others");
    }
    return revolutions;
  }
  const std::string unit = speed.unit.Display();
  const bool perMinute = unit == "1/min" || unit == "rpm" || unit == "min-1" || unit == "U/min";
  if (!perMinute && unit != "Hz" && unit != "1/s") {
    Refuse(part.name, speed,
           " is in " + (unit.empty() ? "no unit" : unit) +
               ": a speed is told in 1/min, rpm, Hz or 1/s (--pulses N: pulses per revolution)");
  }
  ScaleBy(perMinute ? 1.0 / 60.0 : 1.0, speed.values);
  revolutions = TurnsOfSpeed(speed.values, speed.dx * Seconds(part.name, speed));
  if (revolutions.turns.empty()) {
    Refuse(part.name, speed, " is not above 0 everywhere, as orders need it");
  }
  return revolutions;
}

void CFormer::FormOrders(SPart& part) {
  const SRevolutions revolutions = TakeSpeed(part);
  const auto range = RangeOf(*settings_.orders).value_or(std::pair(0.0, 0.0));
  std::vector<SQuantity> formed;
  for (SQuantity& q : part.quantities) {
    FormSignal(part.name, q);
    if (revolutions.first + revolutions.turns.size() > q.values.size()) {
      Refuse(part.name, q, " is shorter than the channel of the speed");
    }
    q.recorded.time =
        RecordedTime(q, std::span(q.values).subspan(revolutions.first, revolutions.turns.size()));
    // Twice the highest order, and something for the filter between the samples.
    const SAngleSignal angle = OverAngle(q.values, revolutions, 2.56 * range.second,
                                         static_cast<std::uint32_t>(kMostSegment * range.first));
    if (angle.perTurn == 0) {
      Refuse(part.name, q, ": the speed falls too low for orders");
    }
    const double rate = 1.0 / (q.dx * Seconds(part.name, q));
    if (settings_.orderCuts.empty()) {
      FormOrderSpectrum(part.name, angle, q);
      formed.push_back(std::move(q));
    } else {
      FormOrderCuts(part.name, angle, rate, q, formed);
    }
  }
  part.quantities = std::move(formed);
}

void CFormer::FormOrderSpectrum(const std::string& part, const SAngleSignal& angle, SQuantity& q) {
  const auto [step, most] = RangeOf(*settings_.orders).value_or(std::pair(1.0, 1.0));
  const auto turns = static_cast<std::uint32_t>(std::lround(1.0 / step));
  const double reference = Reference(q.unit);
  Spectrum(angle.perTurn * turns, reference).Form(angle.values, levels_);
  if (levels_.empty()) {
    Refuse(part, q, ": fewer than " + std::to_string(turns) + " revolutions, as orders need them");
  }
  levels_.resize(std::min(levels_.size(), static_cast<std::size_t>(std::lround(most / step))));
  q.values = levels_;
  q.x0 = q.dx = step;
  q.xUnit = ParseUnit("order");
  q.unit = LevelUnit(q.unit, reference);
}

void CFormer::FormOrderCuts(const std::string& part, const SAngleSignal& angle, double rate,
                            const SQuantity& q, std::vector<SQuantity>& to) {
  const double step = RangeOf(*settings_.orders).value_or(std::pair(1.0, 1.0)).first;
  const auto turns = static_cast<std::uint32_t>(std::lround(1.0 / step));
  const std::size_t n = std::size_t{angle.perTurn} * turns;
  const double reference = Reference(q.unit);
  std::vector<SQuantity> cuts(settings_.orderCuts.size());
  for (std::size_t start = 0; start + n < angle.values.size(); start += n / 2) {
    const double speed = turns * rate / (angle.times[start + n] - angle.times[start]);
    Spectrum(static_cast<std::uint32_t>(n), reference)
        .Form(std::span(angle.values).subspan(start, n), levels_);
    for (std::size_t i = 0; i < cuts.size(); ++i) {
      double order = 0.0;
      ParseNumber(settings_.orderCuts[i], order);
      const auto bin = static_cast<std::size_t>(std::lround(order / step));
      cuts[i].x.push_back(static_cast<float>(60.0 * speed));
      cuts[i].values.push_back(levels_.at(bin - 1));
    }
  }
  for (std::size_t i = 0; i < cuts.size(); ++i) {
    SQuantity& cut = cuts[i];
    const std::vector<double> x(cut.x.begin(), cut.x.end());
    if (x.size() < 2 || TakeFreeSteps(x, cut.x)) {
      Refuse(part, q,
             x.size() < 2 ? ": fewer than two segments of " + std::to_string(turns) + " revolutions"
                          : ": the speed must rise or fall all the time for order cuts");
    }
    cut.name = q.name + " order " + settings_.orderCuts[i];
    cut.x0 = x.front();
    cut.dx = std::fabs(MeanStep(x));
    cut.xUnit = ParseUnit("1/min");
    cut.unit = LevelUnit(q.unit, reference);
    cut.health = q.health;
    cut.recorded = q.recorded;
    to.push_back(std::move(cut));
  }
}

}  // namespace limes::recordings
