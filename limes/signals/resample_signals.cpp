// The operations of the resampling tool that take curves and arrays.

#include <algorithm>
#include <iterator>
#include <limits>
#include <span>

#include "limes/kernels/resample_bins.h"
#include "limes/kernels/resample_tool.h"
#include "limes/kernels/row_lines.h"
#include "limes/kernels/value_loops.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"

namespace limes {

namespace {

constexpr unsigned kMaxCount = std::numeric_limits<int>::max();

/// Combines the curves of a row. A row of one curve is only pointed at: read once and written
/// nowhere.
class RowMaximum {
 public:
  RowMaximum(float* line, std::size_t n) : line_(line), size_(n) {}

  void Add(const float* values, std::size_t n) {
    if (n < size_) {
      Flush();
      AddShort(values, n);
      return;
    }
    waiting_.source[waitingCount_] = values;
    ++waitingCount_;
    if (waitingCount_ == std::size(waiting_.source)) {
      Flush();
    }
  }

  bool Empty() const { return count_ == 0 && waitingCount_ == 0; }

  /// All values of the row; those that no curve has are 0.
  const float* Values() {
    if (count_ == 0 && waitingCount_ == 1) {
      return waiting_.source[0];
    }
    Flush();
    std::fill(line_ + count_, line_ + size_, 0.0F);
    return line_;
  }

 private:
  /// Combines the waiting curves, all of full length.
  void Flush() {
    if (waitingCount_ == 0) {
      return;
    }
    if (count_ < size_) {
      AddShort(waiting_.source[0], size_);
    }
    // The maximum with a curve once more changes nothing.
    std::fill(waiting_.source + waitingCount_, std::end(waiting_.source),
              waiting_.source[waitingCount_ - 1]);
    detail::RaiseEight(line_, waiting_, size_);
    waitingCount_ = 0;
  }

  void AddShort(const float* values, std::size_t n) {
    for (std::size_t i = 0; i < std::min(n, count_); ++i) {
      line_[i] = line_[i] > values[i] ? line_[i] : values[i];
    }
    if (n > count_) {
      detail::MoveValues(line_ + count_, values + count_, n - count_);
      count_ = n;
    }
  }

  float* line_;
  std::size_t size_;
  std::size_t count_ = 0;  ///< values in the line
  detail::SEight waiting_ = {};
  std::size_t waitingCount_ = 0;
};

}  // namespace

void CResampleTool::Resample1d(const CSigCurve* src, CSigCurve* dst, InterpOpts opts) {
  if (src == nullptr || dst == nullptr) {
    return;
  }
  const std::span<const float> values = src->ValidValues();
  Resample1d(values.data(), static_cast<int>(values.size()), dst->ValArray(),
             static_cast<int>(dst->DLen()), opts);
}

bool CResampleTool::Resample1d(const CSigCurve* src, std::int32_t* dst, unsigned n, int maxValue,
                               InterpOpts opts) {
  if (src == nullptr || dst == nullptr || src->DLen() == 0 || n == 0 || n > kMaxCount) {
    return false;
  }
  const float* values = src->ValArray();
  if (src->DLen() != n) {
    if (!Adjust1dPuffer(n)) {
      return false;
    }
    Resample1d(values, static_cast<int>(src->DLen()), line_.data(), static_cast<int>(n), opts);
    values = line_.data();
  }
  float lo = 0.0F;
  float hi = 0.0F;
  src->GetYRange(lo, hi);
  IntConversion(values, n, lo, hi, dst, maxValue);
  return true;
}

/// What of the array goes into the grid.
struct CResampleTool::GridPlan {
  float from = 0.0F;
  float to = 0.0F;
  unsigned first = 0;      ///< sample of every curve
  unsigned count = 0;      ///< samples of a row
  detail::SBins bins;      ///< of a row that becomes shorter
  detail::RowLines lines;  ///< of a row that becomes longer
};

bool CResampleTool::PlanGrid(const CSigCurveArray& array, GridPlan& plan) const {
  const CSigCurveExt* const curve = array[0];
  if (array.Anzahl() < 2 || curve == nullptr || curve->DLen() == 0) {
    return false;
  }
  plan = {array.TMin(), array.TMax(), 0, curve->DLen(), {}, {}};
  if (!(plan.from < plan.to)) {
    return false;
  }
  if (sectionEnabled_) {
    if (!(section_.zFrom < section_.zTo) || !(section_.xFrom <= section_.xTo)) {
      return false;
    }
    const int i0 = curve->GetIndex(section_.xFrom);
    const int i1 = curve->GetIndex(section_.xTo);
    if (i1 < i0) {  // the curve's x falls
      return false;
    }
    plan = {section_.zFrom,
            section_.zTo,
            static_cast<unsigned>(i0),
            static_cast<unsigned>(i1 - i0 + 1),
            {},
            {}};
  }
  return true;
}

bool CResampleTool::Resample2d(const CSigCurveArray* array, unsigned width, unsigned height) {
  GridPlan plan;
  if (array == nullptr || width == 0 || height == 0 || width > kMaxCount ||
      !PlanGrid(*array, plan) || !Adjust1dPuffer((*array)[0]->DLen())) {
    return false;
  }
  const auto count = static_cast<int>(plan.count);
  if (!detail::IfMemoryAllows([&] {
        if (width <= plan.count) {
          plan.bins = detail::SBins(count, static_cast<int>(width));
        } else {
          plan.lines = detail::RowLines(count, static_cast<int>(width));
        }
      }) ||
      !Adjust2dPuffer(width, height)) {
    return false;
  }
  FillRows(*array, plan);
  return true;
}

void CResampleTool::FillRows(const CSigCurveArray& array, const GridPlan& plan) {
  const float step = (plan.to - plan.from) / static_cast<float>(height_);
  float boundary = plan.from;
  int curve = array.FindeKurveHinter(plan.from, 0);
  unsigned last = 0;
  for (unsigned r = 0; r < height_ && curve < array.Anzahl(); ++r) {
    boundary += step;
    if (FillRow(array, plan, boundary, curve, PZeile(r))) {
      Interpol2dy(last, r);
      last = r;
    }
  }
  for (unsigned r = last + 1; r < height_ && curve == array.Anzahl(); ++r) {
    std::copy_n(PZeile(last), width_, PZeile(r));
  }
}

/// Fills a row from the curves before the boundary; false when there is none.
bool CResampleTool::FillRow(const CSigCurveArray& array, const GridPlan& plan, float boundary,
                            int& curve, float* row) {
  RowMaximum combined(line_.data(), plan.count);
  for (; curve < array.Anzahl(); ++curve) {
    const CSigCurveExt* const next = array[curve];
    if (next == nullptr) {
      continue;
    }
    if (!(next->Date() < boundary)) {
      break;
    }
    if (next->DLen() > plan.first) {
      combined.Add(next->ValArray() + plan.first, std::min(next->DLen() - plan.first, plan.count));
    }
  }
  if (combined.Empty()) {
    return false;
  }
  const float* const values = combined.Values();
  if (!plan.lines.Empty()) {
    plan.lines.Draw(values, row);
  } else if (width_ > plan.count) {
    Resample1dDmUi(values, static_cast<int>(plan.count), row, static_cast<int>(width_));
  } else {
    const CSigCurveExt* const next = array[curve];
    const bool more = next != nullptr && next->DLen() > plan.first;
    detail::MaximaOfBins(values, plan.bins, more ? next->ValArray() + plan.first : values, row);
    std::fill(row + plan.bins.ends.size(), row + width_, values[plan.count - 1]);
  }
  return true;
}

void CResampleTool::Interpol2dy(unsigned r0, unsigned r1) {
  if (r1 >= height_ || r1 <= std::uint64_t{r0} + 1) {
    return;
  }
  const float factor = 1.0F / static_cast<float>(r1 - r0);
  const float* const from = PZeile(r0);
  const float* const to = PZeile(r1);
  float* const row = PZeile(r0 + 1);
  for (std::size_t i = 0; i < width_; ++i) {
    row[i] = from[i] + (to[i] - from[i]) * factor;
  }
  for (unsigned r = r0 + 2; r < r1; ++r) {
    std::copy_n(row, width_, PZeile(r));
  }
}

}  // namespace limes
