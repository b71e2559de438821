#include "recordings/forming/bands.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace limes::recordings {

std::vector<float> HannWindow(std::uint32_t n) {
  std::vector<float> window(n);
  for (std::uint32_t i = 0; i < n; ++i) {
    window[i] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * i / n));
  }
  return window;
}

CBandPower::CBandPower(std::uint32_t n, double rate)
    : n_(n), resolution_(rate / n), window_(HannWindow(n)), powers_(n) {}

bool CBandPower::Take(std::span<const float> signal) {
  const std::size_t count = powers_.Sum(signal, window_, n_ / 2, power_);
  const double windowSum = 0.5 * n_;
  for (double& power : power_) {
    power *= 2.0 / (static_cast<double>(count) * windowSum * windowSum);
  }
  return count > 0;
}

double CBandPower::Between(double low, double high) const {
  constexpr double kNoiseBandwidth = 1.5;  // of Hann's window, in bins
  const double first = low / resolution_;
  const double last = high / resolution_;
  double sum = 0.0;
  for (std::size_t i = 0; i < power_.size(); ++i) {
    const double bin = static_cast<double>(i + 1);
    const double share = std::min(last, bin + 0.5) - std::max(first, bin - 0.5);
    sum += std::max(share, 0.0) * power_[i];
  }
  return sum / kNoiseBandwidth;
}

std::vector<SBand> BandsOf(unsigned perOctave, const CBandPower& power) {
  const int step = perOctave == 1 ? 3 : 1;
  const double toEdge = std::pow(10.0, 0.05 * step);
  std::vector<SBand> bands;
  for (int number = step; number < 100; number += step) {
    const double middle = std::pow(10.0, 0.1 * number);
    const SBand band{number, middle / toEdge, middle * toEdge};
    if (band.high - band.low >= power.Resolution() && band.low >= power.Lowest() &&
        band.high <= power.Highest()) {
      bands.push_back(band);
    }
  }
  return bands;
}

}  // namespace limes::recordings
