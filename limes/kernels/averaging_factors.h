#pragma once

#include <concepts>
#include <cstdint>
#include <tuple>
#include <type_traits>

#include "limes/export.h"
#include "limes/platform/conversions.h"

namespace limes {

/// Weights of a running mean M <- a M + (1 - a) x: a step counter n and a time scale T in steps.
///
/// With the factor of step n, M is exactly the mean of all n values, the k-th with the weight
/// q^(n - k), q = e^(-1/T); from T = 10000 on the plain mean. A small value; one thread at a time.
class LIMES_EXPORT CExpAverFacGenerator {
 public:
  /// Time scale from which nothing is forgotten; the default.
  static constexpr std::int32_t kNoForgetting = 10000;

  /// Time scales to which steps are counted; a time set beyond forgets whatever the time scale.
  static constexpr std::int32_t kSaturated = 45;

  /// Step 1, no forgetting.
  CExpAverFacGenerator() = default;

  /// A negative time becomes 0, a negative time scale 10000.
  CExpAverFacGenerator(std::int32_t time, std::int32_t timeScale);

  void ResetTime() { time_ = 0; }
  void SetTime(std::int32_t time) { time_ = time < 0 ? 0 : time; }

  /// A negative time scale becomes 10000; 0 is kept.
  void SetTimeScale(std::int32_t timeScale) {
    timeScale_ = timeScale < 0 ? kNoForgetting : timeScale;
  }

  std::int32_t GetTime() const { return time_; }
  std::int32_t GetTimeScale() const { return timeScale_; }

  /// Takes a step, unless 45 time scales are reached (the factor is constant from there on): the
  /// time after it.
  std::int32_t operator++();
  std::int32_t TimeStep() { return ++*this; }

  /// The same step; the time before it.
  std::int32_t operator++(int);

  float CurrentFactor() const { return GetFactor(time_, timeScale_); }
  float CurrentCorrFactor() const { return GetCorrFactor(time_, timeScale_); }

  /// Weight a of the mean so far at step n: (q - q^n) / (1 - q^n); 0 for n <= 1 or T <= 0, q beyond
  /// 45 time scales, (n - 1) / n for T >= 10000. NaN for a NaN T.
  static float GetFactor(std::int32_t n, double timeScale);

  /// The same for integers of any type; a step beyond 2^31 - 1 is that one.
  template <std::integral Step, class Time>
  requires std::is_arithmetic_v<Time>
  static float GetFactor(Step n, Time timeScale) {
    return GetFactor(SaturateTo<std::int32_t>(n), static_cast<double>(timeScale));
  }

  /// Factor that takes the bias from the variance Q - M^2 of such means: W^2 / (W^2 - V) with the
  /// sums W of the weights and V of their squares; n / (n - 1) for the plain mean; 1 for n <= 1 or
  /// T <= 0.
  static float GetCorrFactor(std::int32_t n, std::int32_t timeScale);

  /// Time and time scale as learn states keep them; the reader checks that none is negative.
  static constexpr auto Fields(auto& g) { return std::tie(g.time_, g.timeScale_); }

 private:
  std::int32_t time_ = 1;
  std::int32_t timeScale_ = kNoForgetting;
};

}  // namespace limes
