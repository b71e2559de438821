#pragma once

#include <cstddef>
#include <vector>

#include "limes/learning/aligned_row.h"

namespace limes::detail {

/// Eigenvalues and eigenvectors of symmetric matrices by Householder's reduction and the QL method
/// with implicit shifts (Martin, Reinsch, Wilkinson, Numerische Mathematik 11, 1968, 181; Dubrulle,
/// Martin, Wilkinson, 12, 1968, 377): only + - * / and roots in a fixed order, so the same bits on
/// every machine. Keeps its memory. Rows are padded as in mode_loops.h.
class SymmetricEigen {
 public:
  /// Makes room for matrices of up to n rows. Throws std::bad_alloc.
  void MakeRoom(std::size_t n);

  /// Rows from one to the next.
  std::size_t Stride() const { return stride_; }

  /// The matrix, to be filled before Solve: finite numbers, both halves. Zeros in the padding.
  double* Matrix() { return a_.data(); }

  /// The count largest eigenvalues of a matrix of n rows, largest first, with their vectors.
  /// O(n^3).
  void Solve(std::size_t n, std::size_t count);

  double Value(std::size_t k) const { return values_[order_[k]]; }

  /// Of unit length; n numbers, Stride() from one to the next.
  const double* Vectors() const { return result_.data(); }

 private:
  void Reduce(std::size_t n);
  void Diagonalise(std::size_t n);
  void Sort(std::size_t n);
  void Reflect(double* vectors, std::size_t count, std::size_t n);

  std::size_t stride_ = 0;
  AlignedRow a_;        ///< becomes the vectors of the reflections, row k of step k
  AlignedRow rotated_;  ///< rows: eigenvectors of the tridiagonal matrix
  AlignedRow result_;
  AlignedRow values_;
  AlignedRow beside_;  ///< the diagonal beside the main one
  AlignedRow betas_;   ///< 2 / v'v of each reflection; 0: none
  AlignedRow work_;
  std::vector<std::size_t> order_;
};

}  // namespace limes::detail
