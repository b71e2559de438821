#include "recordings/forming/spectrum.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace limes::recordings {

CLevelSpectrum::CLevelSpectrum(std::uint32_t n, double reference)
    : n_(n), reference_(reference), window_(n), powers_(n) {
  for (std::uint32_t i = 0; i < n; ++i) {
    const double w = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * i / n);
    window_[i] = static_cast<float>(w);
    windowSum_ += w;
  }
}

void CLevelSpectrum::Form(std::span<const float> signal, std::vector<float>& levels) {
  levels.clear();
  const std::size_t count = powers_.Sum(signal, window_, n_ / 2, power_);
  if (count == 0) {
    return;
  }
  for (const double sum : power_) {
    const double mean = sum / static_cast<double>(count);
    const double rms = std::sqrt(2.0 * mean) / windowSum_;
    levels.push_back(static_cast<float>(20.0 * std::log10(std::max(rms, 1e-12) / reference_)));
  }
}

}  // namespace limes::recordings
