#include "limes/display/vis_data_vector.h"

#include <algorithm>
#include <cmath>

#include "limes/kernels/value_bounds.h"
#include "limes/platform/memory_errors.h"
#include "limes/signals/curve.h"

namespace limes {

namespace {

constexpr std::size_t kBlock = 256;  ///< values of which the extremes are kept

std::size_t FirstOf(std::size_t column, std::size_t values, std::size_t columns) {
  return column * values / columns;
}

}  // namespace

void SVisExtremes::Add(const SVisExtremes& other) {
  low = other.low < low || std::isnan(low) ? other.low : low;
  high = other.high > high || std::isnan(high) ? other.high : high;
}

SVisExtremes VisExtremesOf(std::span<const float> values) {
  const auto first =
      std::find_if(values.begin(), values.end(), [](float value) { return std::isfinite(value); });
  if (first == values.end()) {
    return {};
  }
  const detail::SBounds bounds =
      detail::BoundsOfBin(&*first, static_cast<std::size_t>(values.end() - first));
  if (std::isfinite(bounds.min) && std::isfinite(bounds.max)) {
    return {bounds.min, bounds.max};
  }
  SVisExtremes found{*first, *first};  // there are infinities
  for (auto value = first; value != values.end(); ++value) {
    if (std::isfinite(*value)) {
      found.Add({*value, *value});
    }
  }
  return found;
}

void VisThin(std::span<const float> values, std::span<SVisExtremes> columns) {
  std::size_t first = 0;
  for (std::size_t c = 0; c < columns.size(); ++c) {
    const std::size_t last = FirstOf(c + 1, values.size(), columns.size());
    columns[c] = VisExtremesOf(values.subspan(first, last - first));
    first = last;
  }
}

std::vector<SVisExtremes> VisThinned(std::span<const float> values, std::size_t columns) {
  std::vector<SVisExtremes> thinned(std::min(values.size(), std::max<std::size_t>(columns, 2)));
  VisThin(values, thinned);
  return thinned;
}

std::vector<double> VisMiddles(std::size_t values, std::size_t columns) {
  std::vector<double> middles(std::min(values, std::max<std::size_t>(columns, 2)));
  for (std::size_t c = 0; c < middles.size(); ++c) {
    middles[c] = (static_cast<double>(FirstOf(c, values, middles.size())) +
                  static_cast<double>(FirstOf(c + 1, values, middles.size())) - 1.0) /
                 2.0;
  }
  return middles;
}

void SVisIndices::Add(const SVisIndices& other) {
  if (IsEmpty()) {
    *this = other;
  } else if (!other.IsEmpty()) {
    first = std::min(first, other.first);
    last = std::max(last, other.last);
  }
}

bool CVisDataVector::Set(std::span<const float> values, double x0, double dx) {
  if (!std::isfinite(x0) || !std::isfinite(dx) || !(dx > 0.0)) {
    return false;
  }
  return detail::IfMemoryAllows([&] {
    std::vector<float> copy(values.begin(), values.end());
    std::vector<SVisExtremes> blocks((values.size() + kBlock - 1) / kBlock);
    values_.swap(copy);
    blocks_.swap(blocks);
    x0_ = x0;
    dx_ = dx;
    dirty_ = {};
    FormBlocks({0, values_.size()});
  });
}

bool CVisDataVector::Set(const CSigCurve& curve) {
  const SIndexRange indices = curve.ValidIndices();
  const double dx =
      (double{curve.XMax()} - double{curve.XMin()}) / static_cast<double>(curve.DLen());
  return Set(curve.ValidValues(), double{curve.XMin()} + static_cast<double>(indices.first) * dx,
             dx);
}

bool CVisDataVector::Append(std::span<const float> values) {
  const std::size_t before = values_.size();
  return detail::IfMemoryAllows([&] {
    blocks_.reserve((before + values.size() + kBlock - 1) / kBlock);
    values_.insert(values_.end(), values.begin(), values.end());
    blocks_.resize((values_.size() + kBlock - 1) / kBlock);
    FormBlocks({before, values_.size()});
  });
}

void CVisDataVector::Replace(std::size_t first, std::span<const float> values) {
  if (first < values_.size()) {
    const std::size_t count = std::min(values.size(), values_.size() - first);
    std::copy_n(values.begin(), count, values_.begin() + static_cast<std::ptrdiff_t>(first));
    FormBlocks({first, first + count});
  }
}

/// Brings the blocks of what has changed up to date, and notes it.
void CVisDataVector::FormBlocks(const SVisIndices& changed) {
  for (std::size_t b = changed.first / kBlock; b * kBlock < changed.last; ++b) {
    const std::size_t first = b * kBlock;
    blocks_[b] =
        VisExtremesOf(std::span(values_).subspan(first, std::min(kBlock, values_.size() - first)));
  }
  dirty_.Add(changed);
}

SVisRange CVisDataVector::XRange() const {
  SVisRange range;
  if (!values_.empty()) {
    range.Add(XOf(0));
    range.Add(XOf(values_.size() - 1));
  }
  return range;
}

SVisRange CVisDataVector::YRange() const {
  const SVisExtremes all = Extremes({0, values_.size()});
  SVisRange range;
  range.Add(all.low);
  range.Add(all.high);
  return range;
}

SVisExtremes CVisDataVector::Extremes(const SVisIndices& indices) const {
  const std::size_t last = std::min(indices.last, values_.size());
  if (indices.first >= last) {
    return {};
  }
  const std::span<const float> all(values_);
  const std::size_t from = (indices.first + kBlock - 1) / kBlock;
  const std::size_t to = last / kBlock;
  if (from >= to) {
    return VisExtremesOf(all.subspan(indices.first, last - indices.first));
  }
  SVisExtremes found = VisExtremesOf(all.subspan(indices.first, from * kBlock - indices.first));
  for (std::size_t b = from; b < to; ++b) {
    found.Add(blocks_[b]);
  }
  found.Add(VisExtremesOf(all.subspan(to * kBlock, last - to * kBlock)));
  return found;
}

/// Index of the first value at or behind x; the number of values when there is none.
std::size_t CVisDataVector::IndexFrom(double x) const {
  const double at = std::ceil((x - x0_) / dx_);
  return !(at > 0.0)                                 ? 0
         : at >= static_cast<double>(values_.size()) ? values_.size()
                                                     : static_cast<std::size_t>(at);
}

CVisDataVector::SView CVisDataVector::View(const CVisAxis& x, std::size_t columns) const {
  SView view;
  if (values_.empty()) {
    return view;
  }
  const std::size_t from = IndexFrom(x.Range().low);
  const std::size_t first = from - (from > 0 ? 1 : 0);
  std::size_t to = IndexFrom(x.Range().high);
  to = std::min(to + 1, values_.size());
  const std::size_t count = to - first;
  const std::size_t most = std::max<std::size_t>(columns, 2);
  const auto add = [&](std::size_t begin, std::size_t end) {
    if (begin < end) {
      view.xs.push_back((XOf(begin) + XOf(end - 1)) / 2.0);
      view.columns.push_back(Extremes({begin, end}));
    }
  };
  std::size_t begin = first;
  for (std::size_t c = 1; c <= std::min(count, most); ++c) {
    std::size_t end = first + FirstOf(c, count, std::min(count, most));
    if (x.Scale() != VisScale::kLinear && count > most) {
      const double share = static_cast<double>(c) / static_cast<double>(most);
      end = c == most ? to
                      : std::clamp(IndexFrom(x.ValueAt(x.First() + share * (x.Last() - x.First()))),
                                   begin, to);
    }
    add(begin, end);
    begin = end;
  }
  return view;
}

bool CVisDataVector::At(const CVisAxis& x, double place, SPoint& point) const {
  const double at = std::round((x.ValueAt(place) - x0_) / dx_);
  if (values_.empty() || std::isnan(at)) {
    return false;
  }
  const std::size_t last = values_.size() - 1;
  point.index = !(at > 0.0)                       ? 0
                : at >= static_cast<double>(last) ? last
                                                  : static_cast<std::size_t>(at);
  point.x = XOf(point.index);
  point.value = values_[point.index];
  const double pixel = x.Last() < x.First() ? -0.5 : 0.5;
  point.around = Extremes({point.index, point.index + 1});
  point.around.Add(
      Extremes({IndexFrom(x.ValueAt(place - pixel)), IndexFrom(x.ValueAt(place + pixel))}));
  return true;
}

SVisIndices CVisDataVector::TakeDirty() {
  const SVisIndices dirty = dirty_;
  dirty_ = {};
  return dirty;
}

SVisPlaces CVisDataVector::PlacesOf(const SVisIndices& indices, const CVisAxis& x) const {
  SVisPlaces places;
  if (indices.IsEmpty() || values_.empty()) {
    return places;
  }
  const double low = XOf(indices.first - (indices.first > 0 ? 1 : 0));
  const double high = XOf(std::min(indices.last, values_.size() - 1));
  if (low <= x.Range().high && high >= x.Range().low) {
    places.Add(x.PlaceInside(low));
    places.Add(x.PlaceInside(high));
  }
  return places;
}

}  // namespace limes
