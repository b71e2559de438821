#include "limes/display/vis_data_array.h"

#include <algorithm>
#include <cmath>

#include "limes/platform/memory_errors.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"

namespace limes {

namespace {

bool IsGrid(double x0, double dx) { return std::isfinite(x0) && std::isfinite(dx) && dx > 0.0; }

/// The index of a place on a grid, kept within 0 and count.
std::size_t Clamped(double index, std::size_t count) {
  return !(index > 0.0)                        ? 0
         : index >= static_cast<double>(count) ? count
                                               : static_cast<std::size_t>(index);
}

/// The values that fall on the cell of pixel p of n: those from its edge to the next, else the
/// nearest one.
template <class Between, class Nearest>
SVisIndices OfPixel(const CVisAxis& axis, std::size_t p, std::size_t n, Between between,
                    Nearest nearest) {
  const auto at = [&](double share) {
    return axis.ValueAt(axis.First() + share * (axis.Last() - axis.First()));
  };
  const double count = static_cast<double>(n);
  const double pixel = static_cast<double>(p);
  const double last =
      p + 1 == n ? std::nextafter(axis.Range().high, HUGE_VAL) : at((pixel + 1.0) / count);
  const SVisIndices found = between(p == 0 ? axis.Range().low : at(pixel / count), last);
  return found.IsEmpty() ? nearest(at((pixel + 0.5) / count)) : found;
}

}  // namespace

bool CVisDataArray::Clear(std::size_t columns, double x0, double dx) {
  if (columns == 0 || !IsGrid(x0, dx)) {
    return false;
  }
  columns_ = columns;
  x0_ = x0;
  dx_ = dx;
  ts_.clear();
  values_.clear();
  dirty_ = {};
  return true;
}

bool CVisDataArray::Set(const CSigCurveArray& curves) {
  CVisDataArray made;
  const bool good = detail::IfMemoryAllows(false, [&] {
    std::vector<float> row;
    for (int i = 0; i < curves.Anzahl(); ++i) {
      const CSigCurveExt* const curve = curves[i];
      if (curve == nullptr || curve->DLen() == 0) {
        continue;
      }
      const double dx =
          (double{curve->XMax()} - double{curve->XMin()}) / static_cast<double>(curve->DLen());
      if (made.columns_ == 0 && !made.Clear(curve->DLen(), double{curve->XMin()}, dx)) {
        return false;
      }
      const double shift = std::round((double{curve->XMin()} - made.x0_) / made.dx_);
      const SIndexRange valid = curve->ValidIndices();
      row.assign(made.columns_, std::nanf(""));
      for (std::int64_t k = valid.first; k <= valid.last; ++k) {
        const double column = static_cast<double>(k) + shift;
        if (column >= 0.0 && column < static_cast<double>(made.columns_)) {
          row[static_cast<std::size_t>(column)] = curve->Values()[static_cast<std::size_t>(k)];
        }
      }
      if (!made.Append(double{curve->Date()}, row)) {
        return false;
      }
    }
    return made.Rows() > 0;
  });
  if (good) {
    *this = std::move(made);
  }
  return good;
}

bool CVisDataArray::Append(double t, std::span<const float> values) {
  if (columns_ == 0 || !std::isfinite(t) || (!ts_.empty() && !(t > ts_.back()))) {
    return false;
  }
  return detail::IfMemoryAllows([&] {
    ts_.reserve(ts_.size() + 1 > ts_.capacity() ? 2 * ts_.size() + 1 : ts_.capacity());
    const std::size_t before = values_.size();
    values_.resize(before + columns_, std::nanf(""));
    std::copy_n(values.begin(), std::min(values.size(), columns_),
                values_.begin() + static_cast<std::ptrdiff_t>(before));
    ts_.push_back(t);
    dirty_.Add({ts_.size() - 1, ts_.size()});
  });
}

SVisRange CVisDataArray::XRange() const {
  SVisRange range;
  if (columns_ > 0) {
    range.Add(XOf(0));
    range.Add(XOf(columns_ - 1));
  }
  return range;
}

SVisRange CVisDataArray::TRange() const {
  SVisRange range;
  if (!ts_.empty()) {
    range.Add(ts_.front());
    range.Add(ts_.back());
  }
  return range;
}

SVisRange CVisDataArray::ValueRange() const {
  const SVisExtremes all = VisExtremesOf(values_);
  SVisRange range;
  range.Add(all.low);
  range.Add(all.high);
  return range;
}

std::vector<CVisDataArray::STrace> CVisDataArray::Waterfall(const CVisAxis& x, const CVisAxis& t,
                                                            const CVisAxis& values,
                                                            std::size_t columns) const {
  std::vector<STrace> traces;
  SVisIndices on = ColumnsBetween(x.Range().low, std::nextafter(x.Range().high, HUGE_VAL));
  on.first -= on.first > 0 ? 1 : 0;
  on.last += on.last < columns_ ? 1 : 0;
  std::vector<double> xs = VisMiddles(on.IsEmpty() ? 0 : on.last - on.first, columns);
  for (double& place : xs) {
    place = x0_ + (static_cast<double>(on.first) + place) * dx_;
  }
  for (std::size_t row = Rows(); row-- > 0 && !xs.empty();) {
    if (ts_[row] < t.Range().low || ts_[row] > t.Range().high) {
      continue;
    }
    STrace& trace = traces.emplace_back();
    trace.row = row;
    trace.base = t.PlaceOf(ts_[row]);
    const CVisAxis y(values.Range(), trace.base, trace.base + values.Last() - values.First(),
                     values.Scale());
    trace.runs =
        VisLine(xs, VisThinned(Row(row).subspan(on.first, on.last - on.first), columns), x, y);
  }
  return traces;
}

SVisIndices CVisDataArray::ColumnsBetween(double low, double high) const {
  return {Clamped(std::ceil((low - x0_) / dx_), columns_),
          Clamped(std::ceil((high - x0_) / dx_), columns_)};
}

SVisIndices CVisDataArray::RowsBetween(double low, double high) const {
  const auto at = [this](double t) {
    return static_cast<std::size_t>(std::lower_bound(ts_.begin(), ts_.end(), t) - ts_.begin());
  };
  return {at(low), at(high)};
}

SVisIndices CVisDataArray::NearestColumn(double x) const {
  const double at = std::floor((x - x0_) / dx_ + 0.5);
  if (!(at >= 0.0 && at < static_cast<double>(columns_))) {
    return {};
  }
  return {static_cast<std::size_t>(at), static_cast<std::size_t>(at) + 1};
}

/// Nothing beyond half the distance to the neighbour inside of the first and the last row, which
/// stands for a step; a single row stands alone.
SVisIndices CVisDataArray::NearestRow(double t) const {
  if (ts_.empty() || std::isnan(t)) {
    return {};
  }
  std::size_t row = RowsBetween(t, t).first;
  if (row == ts_.size() || (row > 0 && t - ts_[row - 1] < ts_[row] - t)) {
    --row;
  }
  const std::size_t beside =
      t < ts_[row] ? (row > 0 ? row - 1 : row + 1) : (row + 1 < ts_.size() ? row + 1 : row - 1);
  const double step = beside < ts_.size() ? std::fabs(ts_[beside] - ts_[row]) : 0.0;
  return std::fabs(t - ts_[row]) <= step / 2.0 ? SVisIndices{row, row + 1} : SVisIndices{};
}

std::vector<SVisExtremes> CVisDataArray::Cells(const CVisAxis& x, const CVisAxis& t,
                                               std::size_t width, std::size_t height) const {
  std::vector<SVisExtremes> cells(width * height);
  std::vector<SVisIndices> columns(width);
  for (std::size_t c = 0; c < width; ++c) {
    columns[c] = OfPixel(
        x, c, width, [this](double low, double high) { return ColumnsBetween(low, high); },
        [this](double at) { return NearestColumn(at); });
  }
  SVisIndices before;
  for (std::size_t r = 0; r < height; ++r) {
    const SVisIndices rows = OfPixel(
        t, r, height, [this](double low, double high) { return RowsBetween(low, high); },
        [this](double at) { return NearestRow(at); });
    const auto line = cells.begin() + static_cast<std::ptrdiff_t>(r * width);
    if (r > 0 && rows.first == before.first && rows.last == before.last) {
      std::copy_n(line - static_cast<std::ptrdiff_t>(width), width, line);
    }
    for (std::size_t row = rows.first;
         row < rows.last && !(r > 0 && rows.first == before.first && rows.last == before.last);
         ++row) {
      for (std::size_t c = 0; c < width; ++c) {
        if (!columns[c].IsEmpty()) {
          line[static_cast<std::ptrdiff_t>(c)].Add(VisExtremesOf(
              Row(row).subspan(columns[c].first, columns[c].last - columns[c].first)));
        }
      }
    }
    before = rows;
  }
  return cells;
}

bool CVisDataArray::At(const CVisAxis& x, const CVisAxis& t, const SVisPoint& place,
                       std::size_t& row, std::size_t& column) const {
  const SVisIndices columns = NearestColumn(x.ValueAt(place.x));
  const SVisIndices rows = NearestRow(t.ValueAt(place.y));
  if (columns.IsEmpty() || rows.IsEmpty()) {
    return false;
  }
  row = rows.first;
  column = columns.first;
  return true;
}

SVisIndices CVisDataArray::TakeDirty() {
  const SVisIndices dirty = dirty_;
  dirty_ = {};
  return dirty;
}

}  // namespace limes
