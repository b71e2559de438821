#include "limes/kernels/averaging_factors.h"

#include <cmath>
#include <limits>

namespace limes {

CExpAverFacGenerator::CExpAverFacGenerator(std::int32_t time, std::int32_t timeScale) {
  SetTime(time);
  SetTimeScale(timeScale);
}

std::int32_t CExpAverFacGenerator::operator++() {
  if (time_ < kSaturated * std::int64_t{timeScale_} &&
      time_ < std::numeric_limits<std::int32_t>::max()) {
    ++time_;
  }
  return time_;
}

std::int32_t CExpAverFacGenerator::operator++(int) {
  const std::int32_t before = time_;
  ++*this;
  return before;
}

float CExpAverFacGenerator::GetFactor(std::int32_t n, double timeScale) {
  if (timeScale <= 0.0 || n <= 1) {
    return 0.0F;
  }
  const double q = std::exp(-1.0 / timeScale);
  if (n / timeScale > kSaturated) {
    return static_cast<float>(q);
  }
  if (timeScale >= kNoForgetting) {
    return static_cast<float>((n - 1.0) / n);
  }
  return static_cast<float>(1.0 / (1.0 + (1.0 - q) / (q - std::exp(-n / timeScale))));
}

float CExpAverFacGenerator::GetCorrFactor(std::int32_t n, std::int32_t timeScale) {
  if (timeScale <= 0 || n <= 1) {
    return 1.0F;
  }
  const double scale = timeScale;
  const double q = std::exp(-1.0 / scale);
  if (n / scale > kSaturated) {
    return static_cast<float>((1.0 + q) / (2.0 * q));
  }
  if (timeScale >= kNoForgetting) {
    return static_cast<float>(n / (n - 1.0));
  }
  const double end = std::exp(-n / scale);
  return static_cast<float>((1.0 + q) * (1.0 - end) / (2.0 * (q - end)));
}

}  // namespace limes
