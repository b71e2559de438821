#include "limes/kernels/row_lines.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "limes/kernels/element_loops.h"
#include "limes/kernels/resample_bins.h"
#include "limes/kernels/value_loops.h"
#include "limes/platform/cpu_clones.h"

// g++ would gather vectors from single values, which takes longer than moving these.
#if defined(__GNUC__) && !defined(__clang__)
#define LIMES_ONE_BY_ONE __attribute__((optimize("no-tree-vectorize")))
#else
#define LIMES_ONE_BY_ONE
#endif

namespace limes::detail {

RowLines::RowLines(int count, int outputs) : count_(static_cast<std::size_t>(count)) {
  constexpr std::int64_t kMostSteps = 16;
  if (outputs / count >= kMostSteps) {
    return;
  }
  lengths_.assign(count_, 1.0F);
  BinWalk walk(outputs, count, -1.0F, 1);
  std::vector<std::int32_t> sources(static_cast<std::size_t>(outputs), count - 1);
  sources[0] = 0;
  std::int64_t longest = 1;
  for (int i = 1, end = 1; i < count && end < outputs; ++i) {
    const int start = end;
    end = walk.Next();
    longest = std::max<std::int64_t>(longest, end - start);
    if (longest > kMostSteps || longest * count > std::numeric_limits<std::int32_t>::max()) {
      return;
    }
    lengths_[static_cast<std::size_t>(i)] = static_cast<float>(end - start);
    for (int p = start; p < end; ++p) {
      sources[static_cast<std::size_t>(p)] = (p + 1 < end ? (p + 1 - start) * count : 0) + i;
    }
  }
  steps_.resize(longest > 2 ? count_ : 0);
  table_.resize(count_ * static_cast<std::size_t>(longest));
  sources_ = std::move(sources);
}

namespace {

/// The first outputs of all lines, and steps where any line has more than two outputs.
LIMES_CLONES void BeginLines(const float* values, const float* lengths, std::size_t n,
                             float* __restrict steps, float* __restrict first) {
  for (std::size_t i = 1; i < n; ++i) {
    const float step = (values[i] - values[i - 1]) / lengths[i];
    steps[i] = step;
    first[i] = lengths[i] == 2.0F ? (values[i - 1] + values[i]) * 0.5F : values[i - 1] + step;
  }
}

LIMES_CLONES void Midpoints(const float* values, std::size_t n, float* __restrict first) {
  for (std::size_t i = 1; i < n; ++i) {
    first[i] = (values[i - 1] + values[i]) * 0.5F;
  }
}

LIMES_CLONES void AddSteps(const float* former, const float* steps, std::size_t n,
                           float* __restrict next) {
  for (std::size_t i = 0; i < n; ++i) {
    next[i] = former[i] + steps[i];
  }
}

LIMES_ONE_BY_ONE void Pick(const float* table, const std::int32_t* sources, std::size_t n,
                           float* __restrict row) {
  LIMES_UNROLL
  for (std::size_t i = 0; i < n; ++i) {
    row[i] = table[sources[i]];
  }
}

}  // namespace

void RowLines::Draw(const float* values, float* row) const {
  float* const table = table_.data();
  MoveValues(table, values, count_);
  if (!steps_.empty()) {
    BeginLines(values, lengths_.data(), count_, steps_.data(), table + count_);
  } else if (table_.size() > count_) {
    Midpoints(values, count_, table + count_);
  }
  for (std::size_t at = 2 * count_; at < table_.size(); at += count_) {
    AddSteps(table + (at - count_), steps_.data(), count_, table + at);
  }
  Pick(table, sources_.data(), sources_.size(), row);
}

}  // namespace limes::detail
