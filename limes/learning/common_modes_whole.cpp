// How far a part lies out as a whole.
#include <algorithm>
#include <cmath>

#include "limes/learning/common_modes.h"
#include "limes/learning/mode_loops.h"

namespace limes {

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
  return std::max((1.0 - whole_.shrink) * lambda_[direction] + whole_.shrink, whole_.rest);
}

/// Of the part whose deviations in spreads stand in part_, 0 where it was not measured.
double CCommonModes::WholeOf(std::span<const double> part, bool gaps) {
  double square = 0.0;
  detail::AddDots(part_.data(), part_.data(), Stride(), 1, Stride(), &square);
  std::fill(along_.begin(), along_.end(), 0.0);
  detail::AddDots(part_.data(), modes_.data(), Stride(), lambda_.size(), Stride(), along_.data());
  double points = 0.0;
  for (std::size_t i = 0; i < part.size(); ++i) {
    points += inverse_[i] > 0.0 && !std::isnan(part[i]) ? 1.0 : 0.0;
  }
  if (!(points > 0.0)) {
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
  return std::sqrt(sum / points);
}

/// The squared distance in the covariance of the points that were measured, which is that of all
/// points cut to them: rest I + V diag(l) V', inverted by Woodbury's formula and Cholesky's
/// decomposition.
double CCommonModes::SquareWithGaps(std::span<const double> part, double square) {
  double* const matrix = room_.eigen.Matrix();
  const std::size_t stride = room_.eigen.Stride();
  const double rest = whole_.rest;
  std::size_t count = 0;
  while (count < lambda_.size() && VarianceAlong(count) > rest) {
    ++count;  // variances fall: those behind are the rest's
  }
  double explained = 0.0;
  for (std::size_t r = 0; r < count; ++r) {
    double* const row = matrix + r * stride;
    std::transform(part.begin(), part.end(),
                   modes_.begin() + static_cast<std::ptrdiff_t>(r * Stride()), deviation_.begin(),
                   [](double x, double v) { return std::isnan(x) ? 0.0 : v; });
    std::fill_n(row, stride, 0.0);
    detail::AddDots(deviation_.data(), modes_.data(), Stride(), r + 1, Stride(), row);
    row[r] += rest / (VarianceAlong(r) - rest);
    for (std::size_t c = 0; c <= r; ++c) {
      const double* const other = matrix + c * stride;
      for (std::size_t j = 0; j < c; ++j) {
        row[c] -= row[j] * other[j];
      }
      row[c] =
          c == r ? std::sqrt(std::max(row[c], kLeastShrink * kLeastShrink)) : row[c] / other[c];
    }
    for (std::size_t j = 0; j < r; ++j) {
      along_[r] -= row[j] * along_[j];
    }
    along_[r] /= row[r];
    explained += along_[r] * along_[r];
  }
  return std::max(square - explained, 0.0) / rest;
}

}  // namespace limes
