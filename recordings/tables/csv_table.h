#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "recordings/part_reader.h"
#include "recordings/tables/csv_reader.h"
#include "recordings/tables/dialect.h"

namespace limes::recordings {

struct SColumn {
  std::string header;  ///< as it stands in the file
  std::string name;    ///< without the unit
  std::string unit;    ///< what stands in brackets at the end; empty without
};

/// "Gear noise [dB(Pa)]" as name and unit; round: also "Gear noise (dB)", which without it counts
/// where the unit is known.
SColumn ParseHeader(std::string_view header, bool round = false);

/// Whether a cell holds words: neither a number, nor what programs write where they have none.
bool IsWords(std::string_view cell);

/// A table with a header line. Rows are checked for their number of cells and filtered.
class CCsvTable {
 public:
  /// Reads the header. Without a header line the columns are called "1", "2", ...
  CCsvTable(CFileStream& file, const SReadContext& context);

  /// Columns of which Number<T> will be asked: they are read with the row where that is plain.
  template <class T>
  void ExpectNumbers(const std::vector<std::size_t>& columns);

  /// The next row that meets all conditions; false at the end. Cells are valid until the next call.
  bool NextRow(std::vector<std::string_view>& cells);

  const std::vector<SColumn>& Columns() const { return columns_; }

  /// Position of the column with this name or header; throws CInputError when none or several.
  std::size_t Find(std::string_view name) const;
  std::optional<std::size_t> TryFind(std::string_view name) const;

  /// The columns of values: those named, in that order; else all from first on but those to be
  /// skipped and the others. Throws CInputError when there is none.
  std::vector<std::size_t> Choose(const std::vector<std::string>& use,
                                  const std::vector<std::string>& skip, std::size_t first,
                                  std::vector<std::size_t> others) const;

  /// Number of the last row among all data rows of the file, from 1.
  std::uint64_t RowNumber() const { return row_; }
  void GoTo(const CCsvReader::SPlace& place, std::uint64_t row);

  CCsvReader& Reader() { return reader_; }
  const std::string& Name() const { return reader_.Name(); }

  /// The cell as float or double, or an error that names line and column.
  template <class T>
  T Number(const std::vector<std::string_view>& cells, std::size_t column) const;

 private:
  struct SFilter {
    std::size_t column;
    std::string value;
    std::optional<double> number;
  };

  void TakeDialect(const SReadContext& context);
  bool IsNumber(std::string_view cell, double& number) const;
  void TakeUnits(const std::vector<std::string_view>& cells, const SReadContext& context);
  void TakeHeader(const std::vector<std::string_view>& cells, const SReadContext& context);
  void CheckCellCount(std::vector<std::string_view>& cells) const;
  void CountPlain();
  bool Passes(const std::vector<std::string_view>& cells) const;

  CCsvReader reader_;
  SDialect dialect_;
  std::vector<SColumn> columns_;
  std::vector<SFilter> filters_;
  std::vector<std::string_view> pending_;  ///< first row of a file without header
  bool hasPending_ = false;
  std::vector<CellKind> kinds_;  ///< of the columns; empty when no numbers are expected
  std::vector<double> numbers_;  ///< of the last row
  bool isPlain_ = false;         ///< the last row has numbers
  std::int64_t others_ = 0;      ///< rows that were not plain, less those that were
  std::uint64_t row_ = 0;
};

}  // namespace limes::recordings
