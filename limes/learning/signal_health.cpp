#include "limes/learning/signal_health.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

#include "limes/platform/cpu_clones.h"

namespace limes {
namespace {

struct SExtremes {
  float lowest;
  float highest;
};

/// Of the values that are numbers.
LIMES_CLONES SExtremes ExtremesOf(const float* samples, std::size_t n) {
  constexpr std::size_t kLanes = 16;
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  std::array<float, kLanes> lowest;
  std::array<float, kLanes> highest;
  lowest.fill(kInfinity);
  highest.fill(-kInfinity);
  const auto take = [&](std::size_t lane, float x) {
    lowest[lane] = x < lowest[lane] ? x : lowest[lane];
    highest[lane] = x > highest[lane] ? x : highest[lane];
  };
  std::size_t i = 0;
  for (; i + kLanes <= n; i += kLanes) {
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC unroll 1
#endif
    for (std::size_t j = 0; j < kLanes; ++j) {
      take(j, samples[i + j]);
    }
  }
  for (; i < n; ++i) {
    take(0, samples[i]);
  }
  return {*std::min_element(lowest.begin(), lowest.end()),
          *std::max_element(highest.begin(), highest.end())};
}

/// How often a recording lies at its outermost value on one side.
struct SOutermost {
  float level = 0.0F;
  std::size_t samples = 0;    ///< at the outermost value
  std::size_t next = 0;       ///< at the next value inside
  std::size_t stretches = 0;  ///< of samples at the outermost value, one after the other
  std::size_t longOnes = 0;   ///< of 3 samples and more
};

SOutermost OutermostOf(std::span<const float> samples, float sign) {
  constexpr float kLowest = -std::numeric_limits<float>::infinity();
  SOutermost most;
  most.level = kLowest;
  float inside = kLowest;
  for (const float sample : samples) {
    const float x = sign * sample;
    if (x > most.level) {
      inside = most.level;
      most.level = x;
    } else if (x > inside && x < most.level) {
      inside = x;
    }
  }
  std::size_t length = 0;
  for (const float sample : samples) {
    const float x = sign * sample;
    most.next += x == inside ? 1 : 0;
    length = x == most.level ? length + 1 : 0;
    most.samples += length > 0 ? 1 : 0;
    most.stretches += length == 1 ? 1 : 0;
    most.longOnes += length == 3 ? 1 : 0;
  }
  return most;
}

/// Of noise the outermost values are the rarest ones, and lie there one at a time.
bool IsPiledUp(const SOutermost& most) {
  constexpr std::size_t kLongOnes = 3;
  constexpr std::size_t kStretches = 8;
  constexpr std::size_t kTimesNext = 4;
  return most.longOnes >= kLongOnes ||
         (most.stretches >= kStretches && most.samples >= kTimesNext * most.next);
}

/// Signals of few values, as switches, rest at the outermost ones without being clipped.
bool HasManyValues(std::span<const float> samples) {
  std::array<float, 32> values;
  std::size_t count = 0;
  for (const float sample : samples) {
    const auto end = values.begin() + static_cast<std::ptrdiff_t>(count);
    if (std::find(values.begin(), end, sample) == end) {
      if (count == values.size()) {
        return true;
      }
      values[count++] = sample;
    }
  }
  return false;
}

/// As IsPiledUp of the side whose outermost value is known; most recordings lie there too seldom.
bool IsPiledUpAt(float level, std::span<const float> samples, float sign) {
  constexpr std::size_t kLeast = 8;  // fewer are neither 3 long stretches nor 8 stretches
  std::size_t count = 0;
  for (const float sample : samples) {
    count += sample == level ? 1 : 0;
  }
  return count >= kLeast && IsPiledUp(OutermostOf(samples, sign));
}

/// Only what swings about 0, as sound and vibration: other curves may rest at their largest value.
bool IsClipped(std::span<const float> samples) {
  const auto [lowest, highest] = ExtremesOf(samples.data(), samples.size());
  const float larger = std::max(highest, -lowest);
  const bool swings = std::min(highest, -lowest) >= 0.125F * larger;
  return swings &&
         ((2.0F * highest >= larger && IsPiledUpAt(highest, samples, 1.0F)) ||
          (-2.0F * lowest >= larger && IsPiledUpAt(lowest, samples, -1.0F))) &&
         HasManyValues(samples);
}

}  // namespace

const wide_char* Text(SignalHealth health) {
  switch (health) {
    case SignalHealth::kUnknown:
      return u"unknown";
    case SignalHealth::kHealthy:
      return u"healthy";
    case SignalHealth::kSilent:
      return u"silent";
    case SignalHealth::kConstant:
      return u"constant";
    case SignalHealth::kClipped:
      return u"clipped";
  }
  return u"";
}

SignalHealth HealthOf(std::span<const float> samples) {
  if (samples.size() < 2) {
    return SignalHealth::kUnknown;
  }
  const float first = samples.front();
  if (std::all_of(samples.begin(), samples.end(), [first](float x) { return x == first; })) {
    return samples.size() < kLeastConstant ? SignalHealth::kUnknown
           : first == 0.0F                 ? SignalHealth::kSilent
                                           : SignalHealth::kConstant;
  }
  return IsClipped(samples) ? SignalHealth::kClipped : SignalHealth::kHealthy;
}

}  // namespace limes
