#pragma once

#include <cstddef>
#include <map>
#include <string_view>
#include <vector>

#include "limes/export.h"
#include "limes/platform/text.h"

namespace limes {

class CFileStream;

/// One line of a resource list: columns separated by blanks. One thread at a time.
class LIMES_EXPORT CResourceEntry {
 public:
  CResourceEntry() = default;
  explicit CResourceEntry(std::u16string_view text) : text_(text) {}

  const wide_string& Text() const { return text_; }

  /// Reads numbers after a scan format (see limes::Scan): fields read.
  template <class... Targets>
  int Scan(std::u16string_view format, Targets*... targets) const {
    return limes::Scan(text_, format, targets...);
  }

  /// Number in a column, from 0; 0.0 when it is missing or no number. O(length).
  float Float(unsigned column) const;

  /// Replaces a column by a number in its shortest exact form; columns before it that are missing
  /// become "0". Columns above 999 are ignored. O(length).
  void SetFloat(unsigned column, float value);

 private:
  wide_string text_;
};

/// An ordered list of lines. One thread at a time.
class LIMES_EXPORT CResourceList {
 public:
  std::size_t Size() const { return entries_.size(); }
  bool IsEmpty() const { return entries_.empty(); }
  const CResourceEntry& operator[](std::size_t i) const { return entries_[i]; }
  CResourceEntry& operator[](std::size_t i) { return entries_[i]; }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

  /// Appends a line and returns it; valid until the next change of the list.
  CResourceEntry& Append(std::u16string_view text = {});
  void Clear() { entries_.clear(); }

 private:
  std::vector<CResourceEntry> entries_;
};

/// Store of named lists, as a host keeps them in its resource files. One thread at a time.
class LIMES_EXPORT CResourceSea {
 public:
  bool HasList(std::u16string_view name) const { return List(name) != nullptr; }

  /// A list by its exact name; null when there is none.
  CResourceList* List(std::u16string_view name);
  const CResourceList* List(std::u16string_view name) const;

  /// The list of that name, made when there is none.
  CResourceList& MakeList(std::u16string_view name);

  /// Removes a list; false when there is none.
  bool RemoveList(std::u16string_view name);

  const std::map<wide_string, CResourceList, std::less<>>& Lists() const { return lists_; }

  /// Replaces the content by a UTF-8 text of "[name]" lines, each followed by the lines of its
  /// list. Blank lines and lines that begin with '#' are passed over; a '\\' in front of a line
  /// makes it an entry whatever follows. A name that comes again continues its list. False, with
  /// the content unchanged, when a line stands before the first name, a name is not closed,
  /// the stream fails, or memory is short. O(n).
  [[nodiscard]] bool Load(CFileStream& file);

  /// Writes that text, lists by name; false when the stream fails. Line ends inside of names and
  /// lines become blanks. O(n).
  [[nodiscard]] bool Save(CFileStream& file) const;

 private:
  std::map<wide_string, CResourceList, std::less<>> lists_;
};

}  // namespace limes
