#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "recordings/forming/segment_powers.h"

namespace limes::recordings {

/// Periodic window of Hann; the noise in a bin is that of 1.5 bins.
std::vector<float> HannWindow(std::uint32_t n);

/// Mean square of what lies between two frequencies of a time signal: the averaged power spectrum
/// (Welch, as in CLevelSpectrum) summed over the bins, those that are covered in part counted in
/// part, over the noise bandwidth of the window.
class CBandPower {
 public:
  /// n: samples of a segment, even, at least 4. rate: samples a second.
  CBandPower(std::uint32_t n, double rate);

  /// Takes a signal; false when it is shorter than a segment. O(m log n).
  bool Take(std::span<const float> signal);

  /// Frequencies in Hz, within those of Lowest and Highest. O(bins).
  double Between(double low, double high) const;

  double Resolution() const { return resolution_; }
  double Lowest() const { return 0.5 * resolution_; }
  double Highest() const { return 0.5 * (static_cast<double>(n_) - 1.0) * resolution_; }

 private:
  std::uint32_t n_;
  double resolution_;
  std::vector<float> window_;
  std::vector<double> power_;  ///< mean square of a sine in each bin, from the first above 0 on
  CSegmentPowers powers_;
};

/// An octave or third-octave band.
struct SBand {
  int number = 0;  ///< 10 log10 of the middle in Hz: 30 is 1 kHz
  double low = 0.0;
  double high = 0.0;
};

/// The bands of IEC 61260-1:2014, equations (1) to (6), base ten, that such a power spectrum tells:
/// at least one bin wide. Middle 1000 Hz * 10^(3 m / (10 b)), edges a factor of 10^(3 / (20 b))
/// below and above, b bands per octave: 1, whose numbers are 3 apart, or 3.
std::vector<SBand> BandsOf(unsigned perOctave, const CBandPower& power);

}  // namespace limes::recordings
