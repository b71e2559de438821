#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace limes::detail {

/// Straight lines between samples, as Resample1dUpInterpol draws them, for many rows of the same
/// length: where each output comes from is found once. Lines of many outputs are left to it.
class RowLines {
 public:
  RowLines() = default;
  RowLines(int count, int outputs);

  bool Empty() const { return sources_.empty(); }

  /// All outputs of a row. One thread at a time. O(outputs).
  void Draw(const float* values, float* row) const;

 private:
  std::size_t count_ = 0;
  std::vector<float> lengths_;         ///< outputs from the sample before to this one
  std::vector<std::int32_t> sources_;  ///< place of each output in the table
  mutable std::vector<float> steps_;   ///< to each output of the line to a sample
  mutable std::vector<float> table_;   ///< the samples, all first outputs, all second ones ...
};

}  // namespace limes::detail
