#include "recordings/forming/spectral_filter.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <kissfft.hh>

namespace limes::recordings {
namespace {

// The poles of IEC 61672-1:2013, annex E, in Hz, and the levels at 1 kHz.
constexpr double kPole1 = 20.598997;
constexpr double kPole2 = 107.65265;
constexpr double kPole3 = 737.86223;
constexpr double kPole4 = 12194.217;

double PlainC(double f) {
  const double square = f * f;
  return kPole4 * kPole4 * square / ((square + kPole1 * kPole1) * (square + kPole4 * kPole4));
}

double PlainA(double f) {
  const double square = f * f;
  return PlainC(f) * square /
         (std::sqrt(square + kPole2 * kPole2) * std::sqrt(square + kPole3 * kPole3));
}

/// The smallest number from n on without prime factors above 5, which is even.
std::size_t FastLength(std::size_t n) {
  for (n += n % 2;; n += 2) {
    std::size_t rest = n;
    for (const std::size_t factor : {std::size_t{2}, std::size_t{3}, std::size_t{5}}) {
      while (rest % factor == 0) {
        rest /= factor;
      }
    }
    if (rest == 1) {
      return n;
    }
  }
}

}  // namespace

double WeightingC(double f) { return PlainC(f) / PlainC(1000.0); }
double WeightingA(double f) { return PlainA(f) / PlainA(1000.0); }

struct CSpectralFilter::Plans {
  explicit Plans(std::size_t n) : length(n), there(n, false), back(n, true) {}

  std::size_t length;
  kissfft<double> there;
  kissfft<double> back;
};

CSpectralFilter::CSpectralFilter() = default;
CSpectralFilter::~CSpectralFilter() = default;

void CSpectralFilter::Transform(std::span<const float> signal, std::size_t n) {
  if (!plans_ || plans_->length != n) {
    plans_ = std::make_unique<Plans>(n);
  }
  signal_.assign(n, 0.0);
  std::copy(signal.begin(), signal.end(), signal_.begin());
  spectrum_.resize(n);
  plans_->there.transform(signal_.data(), spectrum_.data());
}

void CSpectralFilter::TransformBack() {
  plans_->back.transform(spectrum_.data(), signal_.data());
  const double factor = 1.0 / static_cast<double>(signal_.size());
  for (std::complex<double>& value : signal_) {
    value *= factor;
  }
}

void CSpectralFilter::Weight(std::vector<float>& signal, double dx,
                             const std::function<double(double)>& gain) {
  const auto silence =
      static_cast<std::size_t>(std::min(0.5 / dx, static_cast<double>(signal.size())));
  const std::size_t n = FastLength(signal.size() + silence);
  Transform(signal, n);
  for (std::size_t k = 0; 2 * k <= n; ++k) {
    const double factor = gain(static_cast<double>(k) / (static_cast<double>(n) * dx));
    spectrum_[k] *= factor;
    if (k > 0 && 2 * k < n) {
      spectrum_[n - k] *= factor;
    }
  }
  TransformBack();
  for (std::size_t i = 0; i < signal.size(); ++i) {
    signal[i] = static_cast<float>(signal_[i].real());
  }
}

void CSpectralFilter::Envelope(std::vector<float>& signal, double dx, double low, double high) {
  const std::size_t n = FastLength(2 * signal.size());
  Transform(signal, n);
  for (std::size_t k = 0; k < n; ++k) {
    const double f = static_cast<double>(k) / (static_cast<double>(n) * dx);
    spectrum_[k] *= 2 * k < n && f >= low && f <= high ? 2.0 : 0.0;
  }
  TransformBack();
  for (std::size_t i = 0; i < signal.size(); ++i) {
    signal[i] = static_cast<float>(std::abs(signal_[i]));
  }
}

}  // namespace limes::recordings
