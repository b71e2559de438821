#include "recordings/formats/npy_header.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "recordings/text.h"

namespace limes::recordings {
namespace {

/// The head is a literal of Python: a dictionary of texts, tuples, lists and words.
class CLiteral {
 public:
  CLiteral(std::string_view text, const CByteCursor& at) : text_(text), at_(at) {}

  bool Take(char c) {
    SkipBlanks();
    if (text_.empty() || text_[0] != c) {
      return false;
    }
    text_.remove_prefix(1);
    return true;
  }
  void Expect(char c) {
    if (!Take(c)) {
      Fail();
    }
  }
  std::string Text() {
    SkipBlanks();
    const char mark = text_.empty() ? ' ' : text_[0];
    const auto end = mark == '\'' || mark == '"' ? text_.find(mark, 1) : std::string_view::npos;
    if (end == std::string_view::npos) {
      Fail();
    }
    std::string text(text_.substr(1, end - 1));
    text_.remove_prefix(end + 1);
    return text;
  }
  bool Truth() {
    SkipBlanks();
    const bool yes = text_.starts_with("True");
    if (!yes && !text_.starts_with("False")) {
      Fail();
    }
    text_.remove_prefix(yes ? 4 : 5);
    return yes;
  }
  std::uint64_t Number() {
    SkipBlanks();
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text_.data(), text_.data() + text_.size(), value);
    if (error != std::errc()) {
      Fail();
    }
    text_.remove_prefix(static_cast<std::size_t>(end - text_.data()));
    Take('L');
    return value;
  }
  std::vector<std::uint64_t> Tuple() {
    std::vector<std::uint64_t> numbers;
    Expect('(');
    while (!Take(')')) {
      numbers.push_back(Number());
      if (!Take(',')) {
        Expect(')');
        break;
      }
    }
    return numbers;
  }
  [[noreturn]] void Fail() const {
    at_.Fail("the head of an array is malformed at " + Quoted(text_));
  }

 private:
  void SkipBlanks() {
    const auto first = text_.find_first_not_of(" \t\n");
    text_.remove_prefix(first == std::string_view::npos ? text_.size() : first);
  }

  std::string_view text_;
  const CByteCursor& at_;
};

/// "<f8": byte order, kind and size.
void AddField(SNpyHeader& header, const std::string& name, const std::string& type,
              const CByteCursor& at) {
  constexpr struct {
    std::string_view kind;
    NumberType type;
    bool complex;
  } kKinds[] = {
      {"b1", NumberType::kUint8, false},   {"i1", NumberType::kInt8, false},
      {"u1", NumberType::kUint8, false},   {"i2", NumberType::kInt16, false},
      {"u2", NumberType::kUint16, false},  {"i4", NumberType::kInt32, false},
      {"u4", NumberType::kUint32, false},  {"i8", NumberType::kInt64, false},
      {"u8", NumberType::kUint64, false},  {"f2", NumberType::kFloat16, false},
      {"f4", NumberType::kFloat32, false}, {"f8", NumberType::kFloat64, false},
      {"c8", NumberType::kFloat32, true},  {"c16", NumberType::kFloat64, true},
  };
  const std::string_view kind = std::string_view(type).substr(type.empty() ? 0 : 1);
  SNpyField field{name, {}, header.itemBytes, false};
  std::uint64_t bytes = 0;
  for (const auto& known : kKinds) {
    if (known.kind == kind) {
      field.number = true;
      field.format = {known.type, type[0] == '>', known.complex};
      bytes = field.format.Bytes();
    }
  }
  if (!field.number) {
    header.otherType = type;
    const std::string_view digits = kind.substr(kind.empty() ? 0 : 1);
    std::from_chars(digits.data(), digits.data() + digits.size(), bytes);
    const bool wide = kind.starts_with('U');
    constexpr std::uint64_t kMost = std::uint64_t{1} << 40;
    at.Require(bytes < kMost, "an item is too large");
    bytes *= wide ? 4 : 1;
    if (name.empty() && (wide || kind.starts_with('S'))) {
      header.textBytes = bytes;
      header.wideText = wide;
    }
    if (bytes == 0 && !kind.starts_with('O') && !kind.starts_with('S') && !wide) {
      at.Fail("items are of the unknown type " + Quoted(type));
    }
    bytes = kind.starts_with('O') ? 8 : bytes;
  }
  header.itemBytes += bytes;
  header.fields.push_back(std::move(field));
}

void ReadFields(CLiteral& head, SNpyHeader& header, const CByteCursor& at) {
  if (!head.Take('[')) {
    AddField(header, "", head.Text(), at);
    return;
  }
  while (!head.Take(']')) {
    head.Expect('(');
    const std::string name = TextOfFile(head.Text());
    head.Expect(',');
    AddField(header, name, head.Text(), at);
    head.Expect(')');
    head.Take(',');
  }
}

}  // namespace

std::uint64_t SNpyHeader::Items() const {
  std::uint64_t items = 1;
  for (const std::uint64_t length : shape) {
    if (__builtin_mul_overflow(items, length, &items)) {
      return UINT64_MAX;
    }
  }
  return items;
}

SNpyHeader ReadNpyHeader(CByteCursor& at) {
  at.Require(at.GetText(6) == "\x93NUMPY", "an array does not begin with its mark");
  const auto version = at.Get<std::uint8_t>();
  at.Skip(1);
  at.Require(version >= 1 && version <= 3, "the version of an array is not 1, 2 or 3");
  const std::uint64_t bytes = version == 1 ? at.Get<std::uint16_t>() : at.Get<std::uint32_t>();
  const std::string text = at.GetText(bytes);
  CLiteral head(text, at);
  SNpyHeader header;
  head.Expect('{');
  while (!head.Take('}')) {
    const std::string key = head.Text();
    head.Expect(':');
    if (key == "descr") {
      ReadFields(head, header, at);
    } else if (key == "fortran_order") {
      header.fortran = head.Truth();
    } else if (key == "shape") {
      header.shape = head.Tuple();
    } else {
      head.Fail();
    }
    head.Take(',');
  }
  if (header.otherType.find('O') == std::string::npos) {  // pickled objects have any length
    at.Need(header.Items(), header.itemBytes, "the array");
  }
  return header;
}

}  // namespace limes::recordings
