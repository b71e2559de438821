#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace limes::host {

enum class Fault { kNone, kToothDamage, kBearing, kWrongMounting };

const char* FaultText(Fault fault);

/// Housing acceleration of a one-stage gearbox at constant speed, in m/s^2.
///
/// Input shaft 25 Hz with 23 teeth, so meshing at 575 Hz:
///   a(t) = sum_h A_h (1 + 0.05 cos 2 pi 25 t) cos(2 pi 575 h t + phase_h), h = 1 ... 4
///        + B cos(2 pi 25 t + phase) + rolling noise of the bearings (band around 2.4 kHz)
///        + sensor noise.
/// From part to part the meshing levels scatter by 1 dB, unbalance and rolling noise by 1.5 dB.
/// Faults add to that:
///   tooth damage    one blow per turn (25 Hz) that rings at 1.7 kHz for 4 ms,
///   bearing         blows at 89.5 Hz with 2 % jitter that ring at 3.1 kHz for 1.5 ms,
///   wrong mounting  misalignment: orders 1 and 2 of the shaft grow, meshing is modulated by 60 %.
/// Random numbers come from the generator's raw bits, so that a seed repeats on every system.
class CSimulatedBench {
 public:
  static constexpr std::uint32_t kSamplingRate = 12800;
  static constexpr std::uint32_t kSamples = 12800;

  explicit CSimulatedBench(std::uint32_t seed) : random_(seed) {}

  /// How much louder the bearings roll from now on than at first.
  void SetWear(double decibels) { wear_ = decibels; }

  /// The next part.
  std::vector<float> Measure(Fault fault);

 private:
  double Uniform();
  double Normal();
  double Scatter(double decibels);
  void AddMeshing(std::vector<double>& a, Fault fault);
  void AddShaft(std::vector<double>& a, Fault fault);
  void AddNoise(std::vector<double>& a);
  void AddBlows(std::vector<double>& a, double rate, double jitter, double ring, double decay,
                double strength);

  std::mt19937 random_;
  double wear_ = 0.0;
};

}  // namespace limes::host
