#pragma once

#include <cstddef>
#include <cstdint>

namespace limes::detail {

// Loops over rows of doubles, all padded with zeros to whole kModeLanes: the same bits on every
// machine, as each sum is kept in that many lanes.

inline constexpr std::size_t kModeLanes = 8;

/// n rounded up to whole lanes.
constexpr std::size_t PaddedRow(std::size_t n) {
  return (n + kModeLanes - 1) / kModeLanes * kModeLanes;
}

/// out[r] += sum of x[i] rows[r stride + i], for count rows.
void AddDots(const double* x, const double* rows, std::size_t stride, std::size_t count,
             std::size_t n, double* out);

/// out[r outStride + c] += sum of rows r and c, for count rows and c up to r; some beyond, alike.
void AddProducts(const double* rows, std::size_t stride, std::size_t count, std::size_t n,
                 double* out, std::size_t outStride);

/// x -= factors[r] row r, one row after the other.
void SubtractRows(double* x, const double* rows, std::size_t stride, std::size_t count,
                  std::size_t n, const double* factors);

/// out row k = sum over r of factors[k factorStride + r] row r; out is none of the rows.
void CombineRows(double* out, std::size_t outStride, std::size_t outs, const double* rows,
                 std::size_t stride, std::size_t count, std::size_t n, const double* factors,
                 std::size_t factorStride);

/// y = x w.
void MultiplyRow(double* y, const double* x, const double* w, std::size_t n);

/// How many of n values are numbers, and how many lie beyond +- most.
struct SModeCounts {
  std::int64_t measured = 0;
  std::int64_t beyond = 0;
};
SModeCounts CountModeValues(const double* x, std::size_t n, double most);

/// The largest (x - expected - base) / spread and (expected - x - base) / spread of n points, where
/// they lie first; of those with a spread above 0 and a number x, -infinity without any.
struct SFarthest {
  double above;
  double below;
  std::size_t aboveAt = 0;
  std::size_t belowAt = 0;
};
SFarthest FarthestOut(const double* x, const double* expected, const double* spread, std::size_t n,
                      double base);

/// Learns n values x of the weight a: d = x - m, m += a d, and the sum of squares q, of which a
/// share is kept, about the new m. NaN in x: d is 0, m and q / sum stay; before is the sum of the
/// weights without this part. Then S = sqrt(q / sum) and 1 / S, both 0 where S is at most 2^-24
/// |m|.
struct SModeValues {
  double* mean;
  double* square;
  double* spread;
  double* inverse;
};
void LearnModeValues(const SModeValues& values, double* d, const double* x, std::size_t n, double a,
                     double share, double before, double sum);

/// S and 1 / S alone.
void SpreadModeValues(const SModeValues& values, std::size_t n, double sum);

/// y = share y + x x.
void AddSquares(double* y, const double* x, std::size_t n, double share);

/// y = m + s y.
void ExpectValues(double* y, const double* m, const double* s, std::size_t n);

}  // namespace limes::detail
