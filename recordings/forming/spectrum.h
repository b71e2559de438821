#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "recordings/forming/segment_powers.h"

namespace limes::recordings {

/// Level spectrum of a time signal: averaged power of half overlapped segments under a periodic
/// Hann window (Welch, "The use of fast Fourier transform for the estimation of power spectra",
/// IEEE Trans. Audio Electroacoust. 15, 1967).
///
/// Bin k = 1 ... n/2 - 1 lies at k / (n * dx); the bins of the constant part and of half the
/// sampling rate are left out. A sine with rms amplitude A that meets a bin shows
/// 20 log10(A / reference) there. Amplitudes below 1e-12 count as 1e-12.
class CLevelSpectrum {
 public:
  /// n: even, at least 4. reference: positive, in the unit of the signal.
  CLevelSpectrum(std::uint32_t n, double reference);
  /// Levels of the n/2 - 1 bins in decibels; empty when the signal is shorter than n. O(m log n).
  void Form(std::span<const float> signal, std::vector<float>& levels);

  std::uint32_t Length() const { return n_; }

 private:
  std::uint32_t n_;
  double reference_;
  double windowSum_ = 0.0;
  std::vector<float> window_;
  std::vector<double> power_;
  CSegmentPowers powers_;
};

}  // namespace limes::recordings
