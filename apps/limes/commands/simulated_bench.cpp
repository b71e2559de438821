#include "apps/limes/commands/simulated_bench.h"

#include <cmath>
#include <numbers>

namespace limes::host {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kShaft = 25.0;
constexpr double kTeeth = 23.0;
constexpr double kStep = 1.0 / CSimulatedBench::kSamplingRate;

}  // namespace

const char* FaultText(Fault fault) {
  switch (fault) {
    case Fault::kToothDamage:
      return "tooth_damage";
    case Fault::kBearing:
      return "bearing";
    case Fault::kWrongMounting:
      return "wrong_mounting";
    case Fault::kNone:
      break;
  }
  return "good";
}

double CSimulatedBench::Uniform() { return (static_cast<double>(random_()) + 0.5) / 4294967296.0; }

/// Box and Muller, "A note on the generation of random normal deviates" (1958).
double CSimulatedBench::Normal() {
  const double radius = std::sqrt(-2.0 * std::log(Uniform()));
  return radius * std::cos(kTwoPi * Uniform());
}

/// A factor around 1 with this standard deviation of its level.
double CSimulatedBench::Scatter(double decibels) {
  return std::pow(10.0, decibels * Normal() / 20.0);
}

void CSimulatedBench::AddMeshing(std::vector<double>& a, Fault fault) {
  constexpr double kAmplitudes[] = {2.0, 0.9, 0.5, 0.25};
  const double depth = fault == Fault::kWrongMounting ? 0.6 : 0.05;
  const double turn = kTwoPi * Uniform();
  double harmonic = 0.0;
  for (const double amplitude : kAmplitudes) {
    harmonic += 1.0;
    const double strength = amplitude * Scatter(1.0);
    const double phase = kTwoPi * Uniform();
    for (std::size_t i = 0; i < a.size(); ++i) {
      const double t = static_cast<double>(i) * kStep;
      a[i] += strength * (1.0 + depth * std::cos(kTwoPi * kShaft * t + turn)) *
              std::cos(kTwoPi * kShaft * kTeeth * harmonic * t + phase);
    }
  }
}

void CSimulatedBench::AddShaft(std::vector<double>& a, Fault fault) {
  const bool wrong = fault == Fault::kWrongMounting;
  const double first = (wrong ? 1.2 : 0.3) * Scatter(1.5);
  const double second = (wrong ? 0.8 : 0.05) * Scatter(1.5);
  const double phase = kTwoPi * Uniform();
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double angle = kTwoPi * kShaft * static_cast<double>(i) * kStep + phase;
    a[i] += first * std::cos(angle) + second * std::cos(2.0 * angle);
  }
}

/// Rolling noise: white noise through a resonator of 2.4 kHz; sensor noise: white.
void CSimulatedBench::AddNoise(std::vector<double>& a) {
  constexpr double kRadius = 0.9;
  const double angle = kTwoPi * 2400.0 * kStep;
  const double strength = 0.06 * Scatter(1.5) * std::pow(10.0, wear_ / 20.0);
  double y1 = 0.0;
  double y2 = 0.0;
  for (double& value : a) {
    const double y =
        strength * Normal() + 2.0 * kRadius * std::cos(angle) * y1 - kRadius * kRadius * y2;
    y2 = y1;
    y1 = y;
    value += y + 0.01 * Normal();
  }
}

void CSimulatedBench::AddBlows(std::vector<double>& a, double rate, double jitter, double ring,
                               double decay, double strength) {
  const double length = static_cast<double>(a.size()) * kStep;
  for (double blow = Uniform() / rate; blow < length; blow += (1.0 + jitter * Normal()) / rate) {
    const double height = strength * Scatter(1.0);
    const auto first = static_cast<std::size_t>(std::ceil(blow / kStep));
    for (std::size_t i = first; i < a.size(); ++i) {
      const double t = static_cast<double>(i) * kStep - blow;
      if (t > 8.0 * decay) {
        break;
      }
      a[i] += height * std::exp(-t / decay) * std::sin(kTwoPi * ring * t);
    }
  }
}

std::vector<float> CSimulatedBench::Measure(Fault fault) {
  std::vector<double> a(kSamples, 0.0);
  AddMeshing(a, fault);
  AddShaft(a, fault);
  AddNoise(a);
  if (fault == Fault::kToothDamage) {
    AddBlows(a, kShaft, 0.0, 1700.0, 0.004, 3.0);
  } else if (fault == Fault::kBearing) {
    AddBlows(a, 89.5, 0.02, 3100.0, 0.0015, 2.5);
  }
  return {a.begin(), a.end()};
}

}  // namespace limes::host
