#include "limes/learning/symmetric_eigen.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "limes/learning/mode_loops.h"
#include "limes/platform/cpu_clones.h"

namespace limes::detail {
namespace {

constexpr double kNoLength = 1e-280;  ///< square of what is too short to be turned

/// The whole lanes before number i.
constexpr std::size_t LanesBefore(std::size_t i) { return i / kModeLanes * kModeLanes; }

double Dot(const double* x, const double* y, std::size_t padded) {
  double sum = 0.0;
  AddDots(x, y, padded, 1, padded, &sum);
  return sum;
}

/// row -= v[j] w + w[j] v for the rows and columns j from first on.
LIMES_CLONES void TakeOff(double* __restrict a, std::size_t stride, std::size_t first,
                          std::size_t n, const double* __restrict v, const double* __restrict w) {
  for (std::size_t j = first; j < n; ++j) {
    double* const row = a + j * stride;
    for (std::size_t i = LanesBefore(first); i < stride; ++i) {
      row[i] -= v[j] * w[i] + w[j] * v[i];
    }
  }
}

/// rows[k] -= factors[k] v, for count rows.
LIMES_CLONES void TakeOffEach(double* __restrict rows, std::size_t stride, std::size_t count,
                              std::size_t n, const double* __restrict v,
                              const double* __restrict factors) {
  for (std::size_t k = 0; k < count; ++k) {
    for (std::size_t i = 0; i < n; ++i) {
      rows[k * stride + i] -= factors[k] * v[i];
    }
  }
}

/// Turns two rows into each other.
LIMES_CLONES void Rotate(double* __restrict low, double* __restrict high, std::size_t n, double c,
                         double s) {
  for (std::size_t i = 0; i < n; ++i) {
    const double h = high[i];
    high[i] = s * low[i] + c * h;
    low[i] = c * low[i] - s * h;
  }
}

}  // namespace

void SymmetricEigen::MakeRoom(std::size_t n) {
  stride_ = PaddedRow(n);
  for (AlignedRow* const matrix : {&a_, &rotated_, &result_}) {
    matrix->assign(n * stride_, 0.0);
  }
  for (AlignedRow* const row : {&values_, &beside_, &betas_, &work_}) {
    row->assign(stride_, 0.0);
  }
  order_.assign(n, 0);
}

/// To tridiagonal form: values_ the diagonal, beside_[k] between k and k + 1.
void SymmetricEigen::Reduce(std::size_t n) {
  double* const w = work_.data();
  for (std::size_t k = 0; k < n; ++k) {
    double* const v = a_.data() + k * stride_;
    values_[k] = v[k];
    beside_[k] = k + 1 < n ? v[k + 1] : 0.0;
    betas_[k] = 0.0;
    if (k + 2 >= n) {
      continue;
    }
    std::fill(v, v + k + 1, 0.0);
    const std::size_t first = LanesBefore(k + 1);
    const std::size_t rest = stride_ - first;
    const double square = Dot(v + first, v + first, rest);
    const double tail = square - v[k + 1] * v[k + 1];
    if (!(tail > kNoLength)) {
      continue;
    }
    const double length = std::copysign(std::sqrt(square), v[k + 1]);
    beside_[k] = -length;
    v[k + 1] += length;
    const double beta = 1.0 / (length * v[k + 1]);
    betas_[k] = beta;
    std::fill(w, w + stride_, 0.0);
    AddDots(v + first, a_.data() + (k + 1) * stride_ + first, stride_, n - k - 1, rest, w + k + 1);
    const double half = 0.5 * beta * beta * Dot(v + first, w + first, rest);
    for (std::size_t i = first; i < stride_; ++i) {
      w[i] = beta * w[i] - half * v[i];
    }
    TakeOff(a_.data(), stride_, k + 1, n, v, w);
  }
}

/// The rows of rotated_ become the eigenvectors of the tridiagonal matrix, values_ its values.
void SymmetricEigen::Diagonalise(std::size_t n) {
  constexpr double kNothing = 0x1p-52;
  constexpr int kMostTurns = 50;  // two are enough but for a matrix that was made up
  std::fill_n(rotated_.begin(), n * stride_, 0.0);
  double largest = 0.0;
  for (std::size_t i = 0; i < n; ++i) {
    rotated_[i * stride_ + i] = 1.0;
    largest = std::max(largest, std::fabs(values_[i]) + std::fabs(beside_[i]));
  }
  double* const d = values_.data();
  double* const e = beside_.data();
  for (std::size_t l = 0; l < n; ++l) {
    for (int turn = 0; turn < kMostTurns; ++turn) {
      std::size_t m = l;
      while (m + 1 < n && std::fabs(e[m]) > kNothing * (std::fabs(d[m]) + std::fabs(d[m + 1])) &&
             std::fabs(e[m]) > kNothing * kNothing * largest) {
        ++m;
      }
      if (m == l) {
        break;
      }
      double g = (d[l + 1] - d[l]) / (2.0 * e[l]);
      double r = std::sqrt(g * g + 1.0);
      g = d[m] - d[l] + e[l] / (g + std::copysign(r, g));
      double s = 1.0;
      double c = 1.0;
      double p = 0.0;
      bool splits = false;
      for (std::size_t i = m; i-- > l && !splits;) {
        const double f = s * e[i];
        const double b = c * e[i];
        r = std::sqrt(f * f + g * g);
        e[i + 1] = r;
        if (r == 0.0) {
          d[i + 1] -= p;
          e[m] = 0.0;
          splits = true;
          continue;
        }
        s = f / r;
        c = g / r;
        g = d[i + 1] - p;
        r = (d[i] - g) * s + 2.0 * c * b;
        p = s * r;
        d[i + 1] = g + p;
        g = c * r - b;
        Rotate(rotated_.data() + i * stride_, rotated_.data() + (i + 1) * stride_, stride_, c, s);
      }
      if (splits) {
        continue;
      }
      d[l] -= p;
      e[l] = g;
      e[m] = 0.0;
    }
  }
}

void SymmetricEigen::Sort(std::size_t n) {
  order_.resize(n);
  std::iota(order_.begin(), order_.end(), std::size_t{0});
  std::sort(order_.begin(), order_.end(), [this](std::size_t i, std::size_t k) {
    return values_[i] != values_[k] ? values_[i] > values_[k] : i < k;
  });
}

void SymmetricEigen::Solve(std::size_t n, std::size_t count) {
  Reduce(n);
  Diagonalise(n);
  Sort(n);
  for (std::size_t k = 0; k < count; ++k) {
    std::copy_n(rotated_.data() + order_[k] * stride_, stride_, result_.data() + k * stride_);
  }
  constexpr std::size_t kTogether = 16;  // stay in the cache
  for (std::size_t k = 0; k < count; k += kTogether) {
    Reflect(result_.data() + k * stride_, std::min(kTogether, count - k), n);
  }
}

/// From vectors of the tridiagonal matrix to those of the one that was reduced.
void SymmetricEigen::Reflect(double* vectors, std::size_t count, std::size_t n) {
  double* const factors = work_.data();
  for (std::size_t step = n; step-- > 0;) {
    if (betas_[step] != 0.0) {
      const std::size_t first = LanesBefore(step + 1);
      const double* const v = a_.data() + step * stride_ + first;
      std::fill_n(factors, count, 0.0);
      AddDots(v, vectors + first, stride_, count, stride_ - first, factors);
      std::transform(factors, factors + count, factors,
                     [beta = betas_[step]](double dot) { return beta * dot; });
      TakeOffEach(vectors + first, stride_, count, stride_ - first, v, factors);
    }
  }
}

}  // namespace limes::detail
