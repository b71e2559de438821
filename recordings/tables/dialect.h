#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace limes::recordings {

/// How a table is written. A setting that nothing shows keeps its usual value.
struct SDialect {
  char separator = ',';
  char decimal = '.';
  bool decimalShown = false;  ///< a number tells which, or somebody; integers fit both
  bool decimalSaid = false;   ///< somebody said which, so that the other mark parts thousands
  bool unitsRow = false;      ///< the line below the names holds units
  bool trailing = false;      ///< each line ends with a separator
  std::uint64_t skipped = 0;  ///< lines in front of the header

  /// For a note: empty where all is as usual.
  std::string Told() const;

  /// Whether a point may part thousands as well as decimals.
  bool IsUnsure() const { return separator == ';' && !decimalShown; }

  /// Whether two files of a run are written alike as far as they show it.
  bool FitsTo(const SDialect& other) const {
    return separator == other.separator &&
           (!decimalShown || !other.decimalShown || decimal == other.decimal);
  }

  /// A number as written here, also with separators between thousands; false for anything else.
  /// Throws std::invalid_argument, which tells both readings, for one that may be either.
  template <class T>
  bool Parse(std::string_view cell, T& value) const;
};

/// Checks the words of --table: what they do not name is detected. Returns the first that is no
/// such word; nothing when all are.
std::optional<std::string> UnknownTableWord(const std::vector<std::string>& words);

/// By the first kilobytes of a table, the last of which may be cut off within a line. O(n).
SDialect DetectDialect(std::string_view start, bool header, const std::vector<std::string>& words);

}  // namespace limes::recordings
