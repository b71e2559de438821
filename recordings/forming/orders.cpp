#include "recordings/forming/orders.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

namespace limes::recordings {
namespace {

constexpr std::size_t kTaps = 32;
constexpr std::size_t kPhases = 512;

/// The Bessel function I0 by its series (NIST Digital Library of Mathematical Functions, 10.25.2).
double BesselI0(double x) {
  double term = 1.0;
  double sum = 1.0;
  for (int k = 1; term > 1e-17 * sum; ++k) {
    term *= 0.25 * x * x / (static_cast<double>(k) * k);
    sum += term;
  }
  return sum;
}

/// Weights of the neighbours for each place between two samples, by Kaiser's window.
std::vector<double> SincTable() {
  constexpr double kShape = 8.0;
  constexpr double kHalf = kTaps / 2.0;
  std::vector<double> table((kPhases + 1) * kTaps);
  for (std::size_t phase = 0; phase <= kPhases; ++phase) {
    for (std::size_t tap = 0; tap < kTaps; ++tap) {
      const double at = static_cast<double>(tap) - (kHalf - 1.0) -
                        static_cast<double>(phase) / static_cast<double>(kPhases);
      const double angle = std::numbers::pi * at;
      const double inside = std::max(1.0 - at * at / (kHalf * kHalf), 0.0);
      table[phase * kTaps + tap] = (at == 0.0 ? 1.0 : std::sin(angle) / angle) *
                                   BesselI0(kShape * std::sqrt(inside)) / BesselI0(kShape);
    }
  }
  return table;
}

/// The signal between its samples; beyond its ends it is 0.
float ValueAt(std::span<const float> signal, double at) {
  static const std::vector<double> kTable = SincTable();
  const double whole = std::floor(at);
  const double place = (at - whole) * static_cast<double>(kPhases);
  const auto phase = std::min(static_cast<std::size_t>(place), kPhases - 1);
  const double share = place - static_cast<double>(phase);
  const double* const row = kTable.data() + phase * kTaps;
  const auto start =
      static_cast<std::ptrdiff_t>(whole) - static_cast<std::ptrdiff_t>(kTaps / 2 - 1);
  double sum = 0.0;
  for (std::size_t tap = 0; tap < kTaps; ++tap) {
    const std::ptrdiff_t i = start + static_cast<std::ptrdiff_t>(tap);
    if (i >= 0 && i < static_cast<std::ptrdiff_t>(signal.size())) {
      sum +=
          (row[tap] + share * (row[tap + kTaps] - row[tap])) * signal[static_cast<std::size_t>(i)];
    }
  }
  return static_cast<float>(sum);
}

/// Whether no pulse is missing or one too many: between two of them the time is not much longer,
/// nor much shorter, than before and behind, however fast the speed rises or falls.
bool AreRegular(std::span<const double> places) {
  constexpr double kMost = 1.75;  // a pulse that is missing doubles the time
  for (std::size_t i = 2; i + 1 < places.size(); ++i) {
    const double time = places[i] - places[i - 1];
    const auto [shorter, longer] =
        std::minmax({places[i - 1] - places[i - 2], places[i + 1] - places[i]});
    if (time > kMost * longer || time * kMost < shorter) {
      return false;
    }
  }
  return true;
}

}  // namespace

SRevolutions TurnsOfSpeed(std::span<const float> speed, double dx) {
  SRevolutions result;
  if (!std::all_of(speed.begin(), speed.end(), [](float v) { return v > 0.0F; })) {
    return result;
  }
  double turns = 0.0;
  for (std::size_t i = 0; i < speed.size(); ++i) {
    turns += i == 0 ? 0.0 : 0.5 * dx * (double{speed[i - 1]} + speed[i]);
    result.turns.push_back(turns);
  }
  return result;
}

SRevolutions TurnsOfPulses(std::span<const float> pulses, double perTurn) {
  SRevolutions result;
  if (pulses.empty()) {
    return result;
  }
  const auto [low, high] = std::minmax_element(pulses.begin(), pulses.end());
  const double middle = 0.5 * (double{*low} + *high);
  const double quarter = 0.75 * *low + 0.25 * *high;
  std::vector<double> places;
  bool armed = false;
  for (std::size_t i = 0; i < pulses.size() && *high > *low; ++i) {
    armed = armed || pulses[i] < quarter;
    if (armed && pulses[i] >= middle) {
      const double before = i > 0 ? pulses[i - 1] : pulses[i];
      const double rise = pulses[i] - before;
      places.push_back(static_cast<double>(i) - (rise > 0.0 ? (pulses[i] - middle) / rise : 0.0));
      armed = false;
    }
  }
  if (places.size() < 2 || !AreRegular(places)) {
    return result;
  }
  result.first = static_cast<std::size_t>(std::ceil(places.front()));
  std::size_t pulse = 0;
  for (std::size_t i = result.first; static_cast<double>(i) <= places.back(); ++i) {
    while (pulse + 2 < places.size() && places[pulse + 1] <= static_cast<double>(i)) {
      ++pulse;
    }
    const double share =
        (static_cast<double>(i) - places[pulse]) / (places[pulse + 1] - places[pulse]);
    result.turns.push_back((static_cast<double>(pulse) + share) / perTurn);
  }
  return result;
}

SAngleSignal OverAngle(std::span<const float> signal, const SRevolutions& revolutions,
                       double atLeast, std::uint32_t most) {
  SAngleSignal result;
  const std::vector<double>& turns = revolutions.turns;
  double slowest = 1.0 / atLeast;  // revolutions a sample
  for (std::size_t i = 1; i < turns.size(); ++i) {
    slowest = std::min(slowest, turns[i] - turns[i - 1]);
  }
  constexpr double kMostTimes = 64.0;  // as many values as samples
  if (turns.size() < 2 || !(1.0 / slowest <= most) ||
      (turns.back() - turns.front()) / slowest > kMostTimes * static_cast<double>(signal.size())) {
    return result;
  }
  result.perTurn = std::bit_ceil(static_cast<std::uint32_t>(std::ceil(1.0 / slowest)));
  std::size_t i = 0;
  for (std::size_t j = 0;; ++j) {
    const double turn = turns.front() + static_cast<double>(j) / result.perTurn;
    while (i + 1 < turns.size() && turns[i + 1] < turn) {
      ++i;
    }
    if (i + 1 == turns.size()) {
      return result;
    }
    const double at =
        static_cast<double>(revolutions.first + i) + (turn - turns[i]) / (turns[i + 1] - turns[i]);
    result.times.push_back(at);
    result.values.push_back(ValueAt(signal, at));
  }
}

}  // namespace limes::recordings
