#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace limes::recordings {

/// Revolutions at each sample of a signal, rising.
struct SRevolutions {
  std::vector<double> turns;  ///< of the samples from first on
  std::size_t first = 0;
};

/// Of a speed in revolutions per second at the samples, by the trapezoidal rule. No turns where a
/// speed is not above 0.
SRevolutions TurnsOfSpeed(std::span<const float> speed, double dx);

/// Of pulses, so many a revolution: where the signal rises through the middle of its range, having
/// been below its lower quarter; between two of them the speed is constant. No turns with fewer
/// than two, and where one is missing or one too many.
SRevolutions TurnsOfPulses(std::span<const float> pulses, double perTurn);

/// A signal over the angle: samples at equal parts of a revolution, by a windowed sinc (Oppenheim,
/// Schafer, Discrete-Time Signal Processing, 3rd ed. 2010, sections 4.4 and 7.6), 32 samples wide.
/// Never coarser than the signal was sampled, so that nothing is folded.
struct SAngleSignal {
  std::vector<float> values;
  std::vector<double> times;  ///< of each value, in samples of the signal
  std::uint32_t perTurn = 0;  ///< a power of two
};

/// atLeast: values of a revolution. Empty when a revolution would take more than most, or
/// all of them 64 times as many as the signal has samples.
SAngleSignal OverAngle(std::span<const float> signal, const SRevolutions& revolutions,
                       double atLeast, std::uint32_t most);

}  // namespace limes::recordings
