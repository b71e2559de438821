#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace limes::recordings {

/// Summed power of the discrete Fourier transforms of the segments of a signal. Segments are
/// transformed side by side, one in each lane of a vector, so that each gives the same bits in any
/// company and on every processor.
///
/// n samples are transformed as n/2 complex numbers by Stockham's algorithm with the radices 4, 2,
/// 3 and 5 (Van Loan, Computational Frameworks for the Fast Fourier Transform, 1992, sections 1.7
/// and 4.3); where n/2 has other prime factors KissFFT does it, one segment after the other.
class CSegmentPowers {
 public:
  /// n: samples of a segment, even, at least 4.
  explicit CSegmentPowers(std::uint32_t n);
  ~CSegmentPowers();
  CSegmentPowers(const CSegmentPowers&) = delete;
  CSegmentPowers& operator=(const CSegmentPowers&) = delete;

  /// Sums of the powers of bins 1 ... n/2 - 1 over the segments window * signal[i * hop ...], as
  /// many as the signal holds: their number. The window has n values. O(m log n).
  std::size_t Sum(std::span<const float> signal, std::span<const float> window, std::size_t hop,
                  std::vector<double>& powers);

 private:
  struct Room;

  std::uint32_t n_;
  std::unique_ptr<Room> room_;
};

}  // namespace limes::recordings
