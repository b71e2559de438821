// How far a part lies out as a whole.
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "limes/learning/common_modes.h"
#include "limes/learning/mode_loops.h"

namespace limes {
namespace {

/// Solves count equations by elimination, the largest of a column first; b becomes the solution.
void SolveInPlace(double* matrix, std::size_t stride, std::size_t count, double* b) {
  for (std::size_t k = 0; k < count; ++k) {
    std::size_t pivot = k;
    for (std::size_t r = k + 1; r < count; ++r) {
      pivot = std::fabs(matrix[r * stride + k]) > std::fabs(matrix[pivot * stride + k]) ? r : pivot;
    }
    double* const row = matrix + k * stride;
    if (pivot != k) {
      std::swap_ranges(row, row + count, matrix + pivot * stride);
      std::swap(b[k], b[pivot]);
    }
    for (std::size_t r = k + 1; r < count && row[k] != 0.0; ++r) {
      double* const other = matrix + r * stride;
      const double factor = other[k] / row[k];
      for (std::size_t c = k + 1; c < count; ++c) {
        other[c] -= factor * row[c];
      }
      b[r] -= factor * b[k];
    }
  }
  for (std::size_t k = count; k-- > 0;) {
    const double* const row = matrix + k * stride;
    for (std::size_t c = k + 1; c < count; ++c) {
      b[k] -= row[c] * b[c];
    }
    b[k] = row[k] != 0.0 ? b[k] / row[k] : 0.0;
  }
}

}  // namespace

double CCommonModes::WholeLimit(const SCalibratedLimit& limit) {
  return std::exp(0.5 * limit.whole);
}

/// Shrinks the covariance of the points in spreads, of which all variances are 1; what the sketch
/// holds no more is spread evenly over the other directions.
void CCommonModes::FormWhole() {
  if (!hasWhole_) {
    return;
  }
  const auto varying =
      std::count_if(inverse_.begin(), inverse_.end(), [](double v) { return v > 0.0; });
  const auto p = static_cast<double>(varying);
  const double n = Counting();
  double held = 0.0;
  double squares = 0.0;
  for (const double lambda : lambda_) {
    held += lambda;
    squares += lambda * lambda;
  }
  const double apart = squares - p;  // of the variances from equal ones
  const double shrink = ((1.0 - 2.0 / p) * squares + p * p) / ((n + 1.0 - 2.0 / p) * apart);
  whole_.directions = static_cast<std::uint32_t>(lambda_.size());
  whole_.shrink = apart > 0.0 ? std::clamp(shrink, kLeastShrink, 1.0) : 1.0;
  const double others = std::max(p - static_cast<double>(lambda_.size()), 1.0);
  whole_.rest = (1.0 - whole_.shrink) * std::max(p - held, 0.0) / others + whole_.shrink;
}

double CCommonModes::VarianceAlong(std::size_t direction) const {
  return (1.0 - whole_.shrink) * lambda_[direction] + whole_.shrink;
}

/// Of the part whose deviations in spreads stand in part_, 0 where it was not measured.
double CCommonModes::WholeOf(std::span<const double> part, bool gaps) {
  double square = 0.0;
  detail::AddDots(part_.data(), part_.data(), Stride(), 1, Stride(), &square);
  std::fill(along_.begin(), along_.end(), 0.0);
  detail::AddDots(part_.data(), modes_.data(), Stride(), lambda_.size(), Stride(), along_.data());
  std::int64_t points = 0;
  for (std::size_t i = 0; i < part.size(); ++i) {
    points += static_cast<std::int64_t>(inverse_[i] > 0.0) &
              static_cast<std::int64_t>(!std::isnan(part[i]));
  }
  if (points == 0) {
    return 0.0;
  }
  double sum = 0.0;
  if (gaps) {
    sum = SquareWithGaps(part, square);
  } else {
    double left = square;
    for (std::size_t k = 0; k < lambda_.size(); ++k) {
      left -= along_[k] * along_[k];
      sum += along_[k] * along_[k] / VarianceAlong(k);
    }
    sum += std::max(left, 0.0) / whole_.rest;
  }
  const double whole = std::sqrt(sum / static_cast<double>(points));
  return std::isnan(whole) ? std::numeric_limits<double>::infinity() : whole;  // of overflows
}

/// The squared distance in the covariance of the points that were measured, which is that of all
/// points cut to them: rest I + V diag(l) V', inverted by Woodbury's formula, as (|z|^2 - b'
/// diag(l) y) / rest with b = V'z and (rest I + V'V diag(l)) y = b.
double CCommonModes::SquareWithGaps(std::span<const double> part, double square) {
  double* const matrix = room_.eigen.Matrix();
  const std::size_t stride = room_.eigen.Stride();
  const std::size_t count = lambda_.size();
  const double rest = whole_.rest;
  for (std::size_t r = 0; r < count; ++r) {
    double* const row = matrix + r * stride;
    std::transform(part.begin(), part.end(),
                   modes_.begin() + static_cast<std::ptrdiff_t>(r * Stride()), deviation_.begin(),
                   [](double x, double v) { return std::isnan(x) ? 0.0 : v; });
    std::fill_n(row, stride, 0.0);
    detail::AddDots(deviation_.data(), modes_.data(), Stride(), count, Stride(), row);
    for (std::size_t c = 0; c < count; ++c) {
      row[c] *= VarianceAlong(c) - rest;
    }
    row[r] += rest;
    gaps_[r] = along_[r];
  }
  SolveInPlace(matrix, stride, count, gaps_.data());
  double explained = 0.0;
  for (std::size_t r = 0; r < count; ++r) {
    explained += along_[r] * (VarianceAlong(r) - rest) * gaps_[r];
  }
  return std::max(square - explained, 0.0) / rest;
}

}  // namespace limes
