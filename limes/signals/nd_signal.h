#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "limes/core/measuring_unit.h"
#include "limes/export.h"
#include "limes/platform/storable.h"
#include "limes/platform/text.h"

namespace limes {

class CSigCurve;
class CSigCurveArray;
class CSigCurveExt;
class CSigPairs;

/// One dimension of a table of values: unit, name and range. One thread at a time.
class LIMES_EXPORT CDimDescription : public CStorable {
 public:
  CDimDescription() = default;
  CDimDescription(const CMeasuringUnit& unit, std::u16string_view name, float start, float stop,
                  float step);

  /// Reads the record.
  explicit CDimDescription(CFileStream& file);

  const CMeasuringUnit& Unit() const { return unit_; }
  const wide_string& Name() const { return name_; }
  float Start() const { return start_; }
  float Stop() const { return stop_; }
  float Step() const { return step_; }

  void SetUnit(const CMeasuringUnit& unit) { unit_ = unit; }
  void SetName(std::u16string_view name) { name_ = name; }
  void SetStartStopStep(float start, float stop, float step);

  /// Equal units and names, and each number exactly equal.
  bool operator==(const CDimDescription& other) const;

  /// Writes the header; always false.
  // kept: texts of these records are neither written nor read, so the record ends here
  [[nodiscard]] bool WriteToFile(CFileStream& file) const override;

  /// Reads the header, of which the version must be this object's; always false.
  [[nodiscard]] bool ReadFromFile(CFileStream& file) override;

 private:
  CMeasuringUnit unit_;
  wide_string name_;
  float start_ = 0.0F;
  float stop_ = 0.0F;
  float step_ = 0.0F;
};

/// The descriptions of several dimensions. One thread at a time.
class LIMES_EXPORT CDimDescriptionVec : public CStorable {
 public:
  CDimDescriptionVec() = default;
  explicit CDimDescriptionVec(std::size_t n);

  /// Reads the record; empty when that fails.
  explicit CDimDescriptionVec(CFileStream& file);

  /// One description per signal, of its x axis (with the step for curves, step 0 for pairs); null
  /// ones are left out. A line goes to the print window for each that differs from the first; all
  /// are kept.
  explicit CDimDescriptionVec(std::span<const CSigCurve* const> curves);
  explicit CDimDescriptionVec(std::span<const CSigPairs* const> pairs);

  std::size_t size() const { return dims_.size(); }
  bool empty() const { return dims_.empty(); }
  void clear();
  void resize(std::size_t n);
  void push_back(const CDimDescription& dim);
  void erase(std::size_t i);

  /// Description i, which must lie below the size.
  CDimDescription& operator[](std::size_t i) { return dims_[i]; }
  const CDimDescription& operator[](std::size_t i) const { return dims_[i]; }
  auto begin() { return dims_.begin(); }
  auto end() { return dims_.end(); }
  auto begin() const { return dims_.begin(); }
  auto end() const { return dims_.end(); }

  bool operator==(const CDimDescriptionVec& other) const { return dims_ == other.dims_; }

  /// Writes header, count and the descriptions up to the first that fails.
  [[nodiscard]] bool WriteToFile(CFileStream& file) const override;

  /// Reads such a record; false, with nothing changed, when it fails: with any description.
  [[nodiscard]] bool ReadFromFile(CFileStream& file) override;

 private:
  std::vector<CDimDescription> dims_;
};

/// Table of float values: one row per dimension, one column per point, row by row in memory. Value
/// (i, j) is that of dimension i at point j. The rows may have descriptions, also
/// ahead of their values; only a table without any has a complete file record. At most 2^32 - 1
/// values; rows without values do not exist. Access to a value or a row takes O(1), what copies or
/// stores the table O(values). One thread at a time.
class LIMES_EXPORT CSigNDBase : public CStorable {
 public:
  CSigNDBase() = default;

  /// rows times columns values of 0 without descriptions; an empty table when memory is short.
  CSigNDBase(std::uint32_t rows, std::uint32_t columns);

  CSigNDBase(const CSigNDBase& other) = default;
  CSigNDBase& operator=(const CSigNDBase& other) = default;

  /// The other is empty afterwards. O(1).
  CSigNDBase(CSigNDBase&& other) noexcept;
  CSigNDBase& operator=(CSigNDBase&& other) noexcept;

  bool empty() const { return values_.empty(); }
  void clear();

  /// Number of rows: dimensions.
  std::uint32_t xdim() const { return rows_; }

  /// Values per row: points.
  std::uint32_t ydim() const { return columns_; }

  CDimDescriptionVec& describe() { return dims_; }
  const CDimDescriptionVec& describe() const { return dims_; }

  /// Description of row i; an empty one when there is none.
  const CDimDescription& describe(std::uint32_t i) const;

  /// Sets the description of row i, the other rows have one then too. False, with nothing changed,
  /// without such a row and when memory is short.
  bool describe(std::uint32_t i, const CDimDescription& dim);

  /// Value (i, j), NaN outside.
  float getVal(std::uint32_t i, std::uint32_t j) const;

  /// False outside.
  bool setVal(std::uint32_t i, std::uint32_t j, float value);

  /// The values of row i, empty when there is none; valid until the table grows.
  std::span<float> row(std::uint32_t i);
  std::span<const float> row(std::uint32_t i) const;

  /// Copy of column j, empty when there is none. O(rows).
  std::vector<float> col(std::uint32_t j) const;

  std::span<float> operator[](std::uint32_t i) { return row(i); }
  std::span<const float> operator[](std::uint32_t i) const { return row(i); }

  /// Copies a row (column) out; false, with values untouched, when there is none.
  bool getRow(std::uint32_t i, std::vector<float>& values) const;
  bool getCol(std::uint32_t j, std::vector<float>& values) const;

  /// Overwrites a row (column); false when there is none or the number of values is another.
  bool setRow(std::uint32_t i, std::span<const float> values);
  bool setCol(std::uint32_t j, std::span<const float> values);

  /// Overwrites row i from an iterator over at least ydim() values, such as the x or y of pairs.
  template <std::input_iterator Iterator>
  bool setRow(std::uint32_t i, Iterator values) {
    for (float& value : row(i)) {
      value = *values;
      ++values;
    }
    return i < rows_;
  }

  /// Adds a row, whose length an empty table takes. Without a description it keeps the one that is
  /// there for it, or gets an empty one if others have any. False, with nothing changed, for
  /// another length or none, and when memory is short. O(length) on average.
  bool append(std::span<const float> values);
  bool append(std::span<const float> values, const CDimDescription& dim);

  /// Adds the other's points behind each row. False unless both have the same descriptions, and
  /// when memory is short. O(values).
  bool append(const CSigNDBase& other);

  /// The rows of these indices in this order, with their descriptions; empty when one is wrong and
  /// when memory is short.
  CSigNDBase slice(std::span<const std::uint32_t> rows) const;
  CSigNDBase slice(std::initializer_list<std::uint32_t> rows) const;

  /// Range of row i: that of the values, or without any that of the description. False, with lo
  /// and hi untouched, when there is neither.
  bool range(std::uint32_t i, float& lo, float& hi) const;

  /// Start and stop of the description.
  bool defRange(std::uint32_t i, float& lo, float& hi) const;

  /// Smallest and largest value of the row, NaN passed over. O(ydim).
  bool valRange(std::uint32_t i, float& lo, float& hi) const;

  /// Step of description i, 0.0 without one.
  float step(std::uint32_t i) const { return describe(i).Step(); }

  /// Equal sizes, descriptions and values; a NaN is equal to nothing.
  bool operator==(const CSigNDBase& other) const;

  /// Writes header, sizes, descriptions, value count and values.
  // kept: after a failure, so with any description, the count is left out but the values are not
  [[nodiscard]] bool WriteToFile(CFileStream& file) const override;

  /// Reads a record that was complete; false, with nothing changed, for any other and when memory
  /// is short. Never allocates more than the stream still holds.
  [[nodiscard]] bool ReadFromFile(CFileStream& file) override;

 protected:
  /// Values of 0 without descriptions; false, with nothing changed, when memory is short.
  bool Reshape(std::uint32_t rows, std::uint32_t columns);

 private:
  bool append(std::span<const float> values, const CDimDescription* dim);

  std::uint32_t rows_ = 0;
  std::uint32_t columns_ = 0;
  CDimDescriptionVec dims_;
  std::vector<float> values_;  ///< always rows times columns
};

/// Sizes of a display in three dimensions.
struct SFancyDims {
  std::uint32_t x = 0;
  std::uint32_t y = 0;
  std::uint32_t z = 0;

  bool operator==(const SFancyDims&) const = default;
};

/// Display settings of a table. One thread at a time.
class LIMES_EXPORT CSightSeeing : public CStorable {
 public:
  const SFancyDims& Dims() const { return dims_; }
  void SetDims(const SFancyDims& dims) { dims_ = dims; }

  bool operator==(const CSightSeeing& other) const { return dims_ == other.dims_; }

  /// Header and the three sizes.
  [[nodiscard]] bool WriteToFile(CFileStream& file) const override;
  [[nodiscard]] bool ReadFromFile(CFileStream& file) override;

 private:
  SFancyDims dims_;
};

/// Table of values with descriptive texts and display settings. Row 0 holds the x values, every
/// further row the y values of one signal. One thread at a time.
class LIMES_EXPORT CSigND : public CSigNDBase {
 public:
  CSigND() = default;

  /// Row 0: x of the first signal, rows 1..: y of every signal, as long as the shortest; null ones
  /// are left out. Descriptions: x unit and range, then y units and ranges. O(values).
  explicit CSigND(std::span<const CSigCurve* const> curves);
  explicit CSigND(std::span<const CSigPairs* const> pairs);

  const std::string& Name() const { return texts_[0]; }
  const std::string& Mode() const { return texts_[1]; }
  const std::string& Channel() const { return texts_[2]; }
  const std::string& Location() const { return texts_[3]; }
  const std::string& Instrument() const { return texts_[4]; }
  const std::string& Parameters() const { return texts_[5]; }

  void Name(std::string_view text) { texts_[0] = text; }
  void Mode(std::string_view text) { texts_[1] = text; }
  void Channel(std::string_view text) { texts_[2] = text; }
  void Location(std::string_view text) { texts_[3] = text; }
  void Instrument(std::string_view text) { texts_[4] = text; }
  void Parameters(std::string_view text) { texts_[5] = text; }

  CSightSeeing& SightSeeing() { return sightSeeing_; }
  const CSightSeeing& SightSeeing() const { return sightSeeing_; }

  /// Pairs with x from row i and y from row j; none when there is no such row.
  CSigPairs SigPairs(std::uint32_t i, std::uint32_t j) const;

  /// The same into a given signal, which keeps what it has beside pairs and units: number of pairs,
  /// 0 when memory is short.
  int SigPairs(CSigPairs& pairs, std::uint32_t i, std::uint32_t j) const;

  /// Rows 1.. as curves over x, at T = row - 1. Empty unless there are at least two points, and
  /// the x of row 0 rise in equal steps up to 1e-4 of one, and when memory is short.
  CSigCurveArray SigCurveArray() const;

  /// Writes the table's record; always false.
  // kept: texts of these records are neither written nor read, so the record ends here
  [[nodiscard]] bool WriteToFile(CFileStream& file) const override;

  /// Always false, with nothing changed: there is no complete record.
  [[nodiscard]] bool ReadFromFile(CFileStream& file) override;

  /// Reads what follows the table's record: texts and settings. Always false.
  [[nodiscard]] bool ReadMembersFromFile(CFileStream& file);

 private:
  template <class Signal>
  void Fill(std::span<const Signal* const> signals);
  float CommonStep() const;
  std::unique_ptr<CSigCurveExt> CurveOf(std::uint32_t i, float step) const;

  std::array<std::string, 6> texts_;
  CSightSeeing sightSeeing_;
};

}  // namespace limes
