#include "recordings/forming/spectrum.h"

#include <kiss_fftr.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <numbers>

namespace limes::recordings {

struct CLevelSpectrum::Transform {
  explicit Transform(std::uint32_t n)
      : plan(kiss_fftr_alloc(static_cast<int>(n), 0, nullptr, nullptr)), bins(n / 2 + 1) {
    if (plan == nullptr) {
      throw std::bad_alloc();
    }
  }
  ~Transform() { kiss_fftr_free(plan); }
  Transform(const Transform&) = delete;
  Transform& operator=(const Transform&) = delete;

  kiss_fftr_cfg plan;
  std::vector<kiss_fft_cpx> bins;
};

CLevelSpectrum::CLevelSpectrum(std::uint32_t n, double reference)
    : n_(n),
      reference_(reference),
      window_(n),
      segment_(n),
      power_(n / 2 - 1),
      transform_(std::make_unique<Transform>(n)) {
  for (std::uint32_t i = 0; i < n; ++i) {
    const double w = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * i / n);
    window_[i] = static_cast<float>(w);
    windowSum_ += w;
  }
}

CLevelSpectrum::~CLevelSpectrum() = default;

void CLevelSpectrum::Form(std::span<const float> signal, std::vector<float>& levels) {
  levels.clear();
  std::fill(power_.begin(), power_.end(), 0.0);
  std::size_t count = 0;
  for (std::size_t start = 0; start + n_ <= signal.size(); start += n_ / 2, ++count) {
    for (std::uint32_t i = 0; i < n_; ++i) {
      segment_[i] = window_[i] * signal[start + i];
    }
    kiss_fftr(transform_->plan, segment_.data(), transform_->bins.data());
    for (std::size_t k = 0; k < power_.size(); ++k) {
      const double re = transform_->bins[k + 1].r;
      const double im = transform_->bins[k + 1].i;
      power_[k] += re * re + im * im;
    }
  }
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
