#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace limes::recordings {

/// What is wanted of a cell.
enum class CellKind : std::uint8_t { kText, kFloat, kDouble };

/// How the cells of a row are written.
struct SRowStyle {
  char separator = ',';
  char decimal = '.';
};

/// Splits a row and reads its numbers in one go, as CCsvReader and ParseNumber do one by one. first
/// to last: the row and what is behind it, or as much of it as is there.
///
/// Returns the end of the row, where a line feed or carriage return stands; last when the row may
/// go on behind it; null for any row that is not plain: other than one cell per kind (and an empty
/// one at the end), quotes, what is no number or none that is read here. cells and numbers have as
/// many places as kinds and hold the row in the first case, numbers of floats without a change.
/// O(n).
const char* SplitNumbers(const char* first, const char* last, const SRowStyle& style,
                         std::span<const CellKind> kinds, std::vector<std::string_view>& cells,
                         std::vector<double>& numbers);

}  // namespace limes::recordings
