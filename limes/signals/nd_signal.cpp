#include "limes/signals/nd_signal.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <utility>

#include "limes/kernels/value_loops.h"
#include "limes/platform/memory_errors.h"

namespace limes {

using detail::IfMemoryAllows;

CDimDescription::CDimDescription(const CMeasuringUnit& unit, std::u16string_view name, float start,
                                 float stop, float step)
    : unit_(unit), name_(name), start_(start), stop_(stop), step_(step) {}

CDimDescription::CDimDescription(CFileStream& file) {
  static_cast<void>(CDimDescription::ReadFromFile(file));
}

void CDimDescription::SetStartStopStep(float start, float stop, float step) {
  start_ = start;
  stop_ = stop;
  step_ = step;
}

bool CDimDescription::operator==(const CDimDescription& other) const {
  return unit_ == other.unit_ && name_ == other.name_ && start_ == other.start_ &&
         stop_ == other.stop_ && step_ == other.step_;
}

CDimDescriptionVec::CDimDescriptionVec(std::size_t n) : dims_(n) {}

CDimDescriptionVec::CDimDescriptionVec(CFileStream& file) {
  static_cast<void>(CDimDescriptionVec::ReadFromFile(file));
}

void CDimDescriptionVec::clear() { dims_.clear(); }

void CDimDescriptionVec::resize(std::size_t n) { dims_.resize(n); }

void CDimDescriptionVec::push_back(const CDimDescription& dim) { dims_.push_back(dim); }

void CDimDescriptionVec::erase(std::size_t i) {
  if (i < dims_.size()) {
    dims_.erase(dims_.begin() + static_cast<std::ptrdiff_t>(i));
  }
}

CSigNDBase::CSigNDBase(std::uint32_t rows, std::uint32_t columns) {
  static_cast<void>(Reshape(rows, columns));
}

CSigNDBase::CSigNDBase(CSigNDBase&& other) noexcept
    : CStorable(other),
      rows_(std::exchange(other.rows_, 0)),
      columns_(std::exchange(other.columns_, 0)),
      dims_(std::move(other.dims_)),
      values_(std::move(other.values_)) {
  other.clear();
}

CSigNDBase& CSigNDBase::operator=(CSigNDBase&& other) noexcept {
  if (this != &other) {
    CStorable::operator=(other);
    rows_ = other.rows_;
    columns_ = other.columns_;
    std::swap(dims_, other.dims_);
    values_.swap(other.values_);
    other.clear();
  }
  return *this;
}

bool CSigNDBase::Reshape(std::uint32_t rows, std::uint32_t columns) {
  const std::uint64_t count = std::uint64_t{rows} * columns;
  std::vector<float> values;
  if (count > UINT32_MAX ||
      !IfMemoryAllows([&] { values.resize(static_cast<std::size_t>(count)); })) {
    return false;
  }
  rows_ = count > 0 ? rows : 0;
  columns_ = count > 0 ? columns : 0;
  dims_.clear();
  values_.swap(values);
  return true;
}

void CSigNDBase::clear() {
  rows_ = 0;
  columns_ = 0;
  dims_.clear();
  values_.clear();
}

const CDimDescription& CSigNDBase::describe(std::uint32_t i) const {
  static const CDimDescription none;
  return i < dims_.size() ? dims_[i] : none;
}

bool CSigNDBase::describe(std::uint32_t i, const CDimDescription& dim) {
  return i < rows_ && IfMemoryAllows([&] {
           CDimDescription added = dim;
           if (dims_.size() < rows_) {
             dims_.resize(rows_);
           }
           std::swap(dims_[i], added);
         });
}

float CSigNDBase::getVal(std::uint32_t i, std::uint32_t j) const {
  return i < rows_ && j < columns_ ? row(i)[j] : std::numeric_limits<float>::quiet_NaN();
}

bool CSigNDBase::setVal(std::uint32_t i, std::uint32_t j, float value) {
  if (i >= rows_ || j >= columns_) {
    return false;
  }
  row(i)[j] = value;
  return true;
}

std::span<float> CSigNDBase::row(std::uint32_t i) {
  return i < rows_ ? std::span<float>(values_).subspan(std::size_t{i} * columns_, columns_)
                   : std::span<float>();
}

std::span<const float> CSigNDBase::row(std::uint32_t i) const {
  return const_cast<CSigNDBase&>(*this).row(i);
}

std::vector<float> CSigNDBase::col(std::uint32_t j) const {
  std::vector<float> values;
  static_cast<void>(getCol(j, values));
  return values;
}

bool CSigNDBase::getRow(std::uint32_t i, std::vector<float>& values) const {
  return i < rows_ && IfMemoryAllows([&] {
           const std::span<const float> from = row(i);
           values.assign(from.begin(), from.end());
         });
}

bool CSigNDBase::getCol(std::uint32_t j, std::vector<float>& values) const {
  return j < columns_ && IfMemoryAllows([&] {
           values.resize(rows_);
           for (std::uint32_t i = 0; i < rows_; ++i) {
             values[i] = row(i)[j];
           }
         });
}

bool CSigNDBase::setRow(std::uint32_t i, std::span<const float> values) {
  if (i >= rows_ || values.size() != columns_) {
    return false;
  }
  detail::MoveValues(row(i).data(), values.data(), values.size());
  return true;
}

bool CSigNDBase::setCol(std::uint32_t j, std::span<const float> values) {
  if (j >= columns_ || values.size() != rows_) {
    return false;
  }
  for (std::uint32_t i = 0; i < rows_; ++i) {
    row(i)[j] = values[i];
  }
  return true;
}

bool CSigNDBase::append(std::span<const float> values) { return append(values, nullptr); }

bool CSigNDBase::append(std::span<const float> values, const CDimDescription& dim) {
  return append(values, &dim);
}

bool CSigNDBase::append(std::span<const float> values, const CDimDescription* dim) {
  if (values.empty() || (rows_ > 0 && values.size() != columns_) ||
      values_.size() + values.size() > UINT32_MAX) {
    return false;
  }
  const std::size_t former = values_.size();
  const std::size_t total = former + values.size();
  const float* const own = values_.data();
  const bool isOwnRow =
      std::greater_equal<>()(values.data(), own) && std::less<>()(values.data(), own + former);
  const std::ptrdiff_t at = isOwnRow ? values.data() - own : 0;
  CDimDescription added;
  if (!IfMemoryAllows([&] {
        if (dim != nullptr) {
          added = *dim;
        }
        if (total > values_.capacity()) {
          values_.reserve(std::max(total, 2 * former));  // so that many rows cost their values only
        }
        if (dims_.size() <= rows_ && (dim != nullptr || !dims_.empty())) {
          dims_.resize(rows_ + std::size_t{1});
        }
      })) {
    return false;
  }
  values_.resize(total);  // nothing fails from here on
  detail::MoveValues(values_.data() + former, isOwnRow ? values_.data() + at : values.data(),
                     values.size());
  if (dim != nullptr) {
    std::swap(dims_[rows_], added);
  }
  ++rows_;
  columns_ = static_cast<std::uint32_t>(values.size());
  return true;
}

bool CSigNDBase::append(const CSigNDBase& other) {
  const std::uint64_t columns = std::uint64_t{columns_} + other.columns_;
  if (rows_ != other.rows_ || !(dims_ == other.dims_) || columns * rows_ > UINT32_MAX) {
    return false;
  }
  std::vector<float> joined;
  if (!IfMemoryAllows([&] { joined.reserve(values_.size() + other.values_.size()); })) {
    return false;
  }
  for (std::uint32_t i = 0; i < rows_; ++i) {
    const std::span<const float> left = std::as_const(*this).row(i);
    const std::span<const float> right = other.row(i);
    joined.insert(joined.end(), left.begin(), left.end());
    joined.insert(joined.end(), right.begin(), right.end());
  }
  columns_ = static_cast<std::uint32_t>(columns);
  values_.swap(joined);
  return true;
}

CSigNDBase CSigNDBase::slice(std::initializer_list<std::uint32_t> rows) const {
  return slice(std::span<const std::uint32_t>(rows.begin(), rows.size()));
}

CSigNDBase CSigNDBase::slice(std::span<const std::uint32_t> rows) const {
  CSigNDBase part;
  const bool known = rows.size() <= UINT32_MAX &&
                     std::all_of(rows.begin(), rows.end(), [this](auto i) { return i < rows_; });
  if (!known || !part.Reshape(static_cast<std::uint32_t>(rows.size()), columns_)) {
    return {};
  }
  for (std::uint32_t i = 0; i < part.rows_; ++i) {
    detail::MoveValues(part.row(i).data(), row(rows[i]).data(), columns_);
    if (!dims_.empty() && !part.describe(i, describe(rows[i]))) {
      return {};
    }
  }
  return part;
}

bool CSigNDBase::range(std::uint32_t i, float& lo, float& hi) const {
  return row(i).empty() ? defRange(i, lo, hi) : valRange(i, lo, hi);
}

bool CSigNDBase::defRange(std::uint32_t i, float& lo, float& hi) const {
  if (i >= dims_.size()) {
    return false;
  }
  lo = dims_[i].Start();
  hi = dims_[i].Stop();
  return true;
}

bool CSigNDBase::valRange(std::uint32_t i, float& lo, float& hi) const {
  const std::span<const float> values = row(i);
  const auto first =
      std::find_if(values.begin(), values.end(), [](float v) { return !std::isnan(v); });
  if (first == values.end()) {
    return false;
  }
  const detail::SBounds bounds =
      detail::FindBounds(&*first, static_cast<std::size_t>(values.end() - first));
  lo = bounds.min;
  hi = bounds.max;
  return true;
}

bool CSigNDBase::operator==(const CSigNDBase& other) const {
  return rows_ == other.rows_ && columns_ == other.columns_ && dims_ == other.dims_ &&
         values_ == other.values_;
}

}  // namespace limes
