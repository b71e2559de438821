#pragma once

#include <complex>
#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace limes::recordings {

/// Frequency weightings of IEC 61672-1:2013, annex E, equations (E.1) and (E.6), as a factor on the
/// amplitude; 1 at 1 kHz. f in Hz.
double WeightingA(double f);
double WeightingC(double f);

/// Filters a whole signal by its discrete Fourier transform: exact at every frequency up to half
/// the sampling rate and without phase. Keeps its memory from signal to signal.
class CSpectralFilter {
 public:
  CSpectralFilter();
  ~CSpectralFilter();

  /// The signal with each frequency multiplied by gain(f). dx: step in seconds. Zeros are put
  /// behind it, half a second or as much as it is long, so that its end does not reach its start.
  /// O(n log n).
  void Weight(std::vector<float>& signal, double dx, const std::function<double(double)>& gain);

  /// The magnitude of the analytic signal (Bendat, Piersol, Random Data, 4th ed. 2010, section
  /// 13.1) of what lies between two frequencies. O(n log n).
  void Envelope(std::vector<float>& signal, double dx, double low, double high);

 private:
  struct Plans;

  void Transform(std::span<const float> signal, std::size_t n);
  void TransformBack();

  std::unique_ptr<Plans> plans_;
  std::vector<std::complex<double>> signal_;
  std::vector<std::complex<double>> spectrum_;
};

}  // namespace limes::recordings
