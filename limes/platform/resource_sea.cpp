#include "limes/platform/resource_sea.h"

#include <algorithm>
#include <string>
#include <utility>

#include "limes/platform/file_stream.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/record_io.h"

namespace limes {

namespace {

constexpr std::u16string_view kBlanks = u" \t\r\n\v\f";
constexpr unsigned kMaxColumn = 999;

/// Where a column of the text begins and how long it is; the end of the text and 0 when missing.
struct Place {
  std::size_t begin, length;
};

Place FindColumn(std::u16string_view text, unsigned column) {
  std::size_t at = 0;
  for (unsigned i = 0;; ++i) {
    at = text.find_first_not_of(kBlanks, at);
    if (at == text.npos) {
      return {text.size(), 0};
    }
    const std::size_t end = std::min(text.find_first_of(kBlanks, at), text.size());
    if (i == column) {
      return {at, end - at};
    }
    at = end;
  }
}

/// Text with blanks for line ends, which would break the lines of a file. Also what is read is made
/// so, else names that differ in them would be one when they are written.
wide_string OneLine(wide_string text) {
  std::replace_if(
      text.begin(), text.end(), [](char16_t c) { return c == u'\n' || c == u'\r'; }, u' ');
  return text;
}

/// Reads the stream to its end in pieces; false when it fails.
bool ReadAll(CFileStream& file, std::string& text) {
  constexpr std::size_t kPiece = 65536;
  std::size_t got = 0;
  do {
    const std::size_t at = text.size();
    text.resize(at + kPiece);
    got = std::min(file.Read(text.data() + at, kPiece), kPiece);
    text.resize(at + got);
  } while (got > 0);
  return file.Remaining() <= 0;
}

/// Takes the next line without its end ("\n" or "\r\n") from the text.
std::string_view NextLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  if (!line.empty() && line.back() == '\r') {
    line.remove_suffix(1);
  }
  return line;
}

bool Parse(std::string_view text, std::map<wide_string, CResourceList, std::less<>>& lists) {
  if (text.starts_with("\xEF\xBB\xBF")) {
    text.remove_prefix(3);  // byte-order mark
  }
  CResourceList* list = nullptr;
  while (!text.empty()) {
    std::string_view line = NextLine(text);
    if (line.find_first_not_of(" \t\v\f") == line.npos || line[0] == '#') {
      continue;
    }
    if (line[0] == '[') {
      const std::size_t close = line.find_last_not_of(" \t\v\f");
      if (close == 0 || line[close] != ']') {
        return false;
      }
      list = &lists[OneLine(Utf8ToWide(line.substr(1, close - 1)))];
      continue;
    }
    if (list == nullptr) {
      return false;
    }
    if (line[0] == '\\') {
      line.remove_prefix(1);
    }
    list->Append(OneLine(Utf8ToWide(line)));
  }
  return true;
}

}  // namespace

float CResourceEntry::Float(unsigned column) const {
  const Place place = FindColumn(text_, column);
  float value = 0.0F;
  limes::Scan(std::u16string_view(text_).substr(place.begin, place.length), u"%f", &value);
  return value;
}

void CResourceEntry::SetFloat(unsigned column, float value) {
  if (column > kMaxColumn) {
    return;
  }
  while (FindColumn(text_, column).length == 0) {
    text_ += text_.empty() || kBlanks.find(text_.back()) != kBlanks.npos ? u"0" : u" 0";
  }
  const Place place = FindColumn(text_, column);
  text_.replace(place.begin, place.length, Format(u"%s", value));
}

CResourceEntry& CResourceList::Append(std::u16string_view text) {
  return entries_.emplace_back(text);
}

CResourceList* CResourceSea::List(std::u16string_view name) {
  const auto at = lists_.find(name);
  return at == lists_.end() ? nullptr : &at->second;
}

const CResourceList* CResourceSea::List(std::u16string_view name) const {
  const auto at = lists_.find(name);
  return at == lists_.end() ? nullptr : &at->second;
}

CResourceList& CResourceSea::MakeList(std::u16string_view name) {
  return lists_[wide_string(name)];
}

bool CResourceSea::RemoveList(std::u16string_view name) {
  const auto at = lists_.find(name);
  if (at == lists_.end()) {
    return false;
  }
  lists_.erase(at);
  return true;
}

bool CResourceSea::Load(CFileStream& file) {
  return detail::IfMemoryAllows(false, [&] {
    std::string text;
    std::map<wide_string, CResourceList, std::less<>> lists;
    const bool read = ReadAll(file, text) && Parse(text, lists);
    if (read) {
      lists_.swap(lists);
    }
    return read;
  });
}

bool CResourceSea::Save(CFileStream& file) const try {
  return detail::IfMemoryAllows([&] {
    std::string text;
    for (const auto& [name, list] : lists_) {
      text += '[' + WideToUtf8(OneLine(name)) + "]\n";
      for (const CResourceEntry& entry : list) {
        const std::string line = WideToUtf8(OneLine(entry.Text()));
        // A line that would read as something else is marked as an entry.
        const bool mark = line.find_first_not_of(" \t\v\f") == line.npos || line[0] == '#' ||
                          line[0] == '[' || line[0] == '\\';
        text += (mark ? "\\" : "") + line + '\n';
      }
    }
    file.Write(text.data(), text.size());
  });
} catch (const CFileStream::failure&) {
  return false;
}

}  // namespace limes
