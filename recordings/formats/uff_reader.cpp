#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "limes/platform/text.h"
#include "recordings/errors.h"
#include "recordings/formats/byte_cursor.h"
#include "recordings/formats/channel_file.h"
#include "recordings/formats/number_format.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr std::size_t kLineKept = 512;  ///< bytes of a line that are looked at

std::string Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r");
  return first == std::string_view::npos
             ? std::string()
             : std::string(text.substr(first, text.find_last_not_of(" \t\r") - first + 1));
}

/// Empty for what stands where there is nothing.
std::string Named(std::string_view text) {
  const std::string trimmed = Trimmed(text);
  return trimmed == "NONE" ? "" : trimmed;
}

/// Lines of a file; of a longer one only the beginning is kept.
class CLines {
 public:
  explicit CLines(const CByteCursor& at) : at_(at), place_(at.Place()) {}

  bool Next(std::string& line) {
    line.clear();
    bool any = false;
    for (;;) {
      if (used_ == held_ && !Fill()) {
        return any;
      }
      any = true;
      const char* const first = buffer_.data() + used_;
      const char* const last = buffer_.data() + held_;
      const char* const end = std::find(first, last, '\n');
      if (line.size() < kLineKept) {
        line.append(first, std::min<std::size_t>(static_cast<std::size_t>(end - first),
                                                 kLineKept - line.size()));
      }
      used_ += static_cast<std::size_t>(end - first) + (end < last ? 1 : 0);
      place_ += static_cast<std::uint64_t>(end - first) + (end < last ? 1 : 0);
      if (end < last) {
        if (line.ends_with('\r')) {
          line.pop_back();
        }
        return true;
      }
    }
  }

  std::uint64_t Place() const { return place_; }  ///< of the next line
  void GoTo(std::uint64_t place) {
    at_.GoTo(place);
    place_ = place;
    used_ = held_ = 0;
  }
  CByteCursor At() const {
    CByteCursor at = at_;
    at.GoTo(place_);
    return at;
  }
  [[noreturn]] void Fail(const std::string& reason) const { At().Fail(reason); }

 private:
  bool Fill() {
    used_ = 0;
    held_ = at_.ReadSome(buffer_.data(), buffer_.size());
    return held_ > 0;
  }

  CByteCursor at_;
  std::uint64_t place_;
  std::array<char, 8192> buffer_{};
  std::size_t used_ = 0;
  std::size_t held_ = 0;
};

bool IsDelimiter(std::string_view line) {
  return line.starts_with("    -1") && Trimmed(line) == "-1";
}

std::string_view Columns(std::string_view line, std::size_t first, std::size_t count) {
  return line.substr(std::min(first, line.size()), count);
}

double Number(const CLines& lines, std::string_view text, const char* what) {
  std::string number = Trimmed(text);
  std::replace(number.begin(), number.end(), 'D', 'E');
  std::replace(number.begin(), number.end(), 'd', 'e');
  double value = 0.0;
  if (!number.empty() && !ParseNumber(number, value)) {
    lines.Fail(std::string(what) + " " + Quoted(number) + " is not a finite number");
  }
  return value;
}

std::uint64_t Count(const CLines& lines, std::string_view text, const char* what) {
  constexpr double kMost = 1e15;
  const double value = Number(lines, text, what);
  if (!(value >= 0.0 && value <= kMost && value == std::floor(value))) {
    lines.Fail(std::string(what) + " " + Quoted(Trimmed(text)) + " is not a count");
  }
  return static_cast<std::uint64_t>(value);
}

/// What stands for an axis: quantity, label and unit.
struct SAxisRecord {
  std::uint64_t type = 0;
  std::string label;
  std::string unit;
};

/// Columns count bytes or, in UTF-8, characters: then a blank parts label and unit.
SAxisRecord AxisRecord(const CLines& lines, const std::string& line) {
  constexpr std::size_t kLabel = 26;
  constexpr std::size_t kUnit = 47;
  constexpr std::size_t kWidth = 20;
  const std::u16string wide = Utf8ToWide(TextOfFile(line));
  SAxisRecord axis;
  axis.type = Count(lines, Columns(line, 0, 10), "the kind of an axis");
  if (wide.size() == line.size() || wide.size() < kUnit || wide[kUnit - 1] == u' ') {
    const auto cut = [&](std::size_t first) {
      return Named(WideToUtf8(wide.substr(std::min(first, wide.size()), kWidth)));
    };
    axis.label = cut(kLabel);
    axis.unit = cut(kUnit);
  } else {
    axis.label = Named(TextOfFile(Columns(line, kLabel, kWidth)));
    axis.unit = Named(TextOfFile(Columns(line, kUnit, kWidth)));
  }
  return axis;
}

/// Base units of the systems of dataset 164; the unit of an axis follows where its label is blank.
std::string UnitOfKind(std::uint64_t kind, std::uint64_t system) {
  constexpr struct {
    std::uint64_t system;
    const char* length;
    const char* force;
    const char* pressure;
  } kSystems[] = {
      {1, "m", "N", "Pa"},    {2, "ft", "lbf", "psf"}, {3, "m", "kgf", "kgf/m2"},
      {5, "mm", "mN", "kPa"}, {7, "in", "lbf", "psi"}, {10, "mm", "N", "MPa"},
  };
  switch (kind) {
    case 17:
      return "s";
    case 18:
      return "Hz";
    case 19:
      return "1/min";
    default:
      break;
  }
  for (const auto& s : kSystems) {
    if (s.system == system) {
      const std::string length = s.length;
      return kind == 8                 ? length
             : kind == 11              ? length + "/s"
             : kind == 12              ? length + "/s2"
             : kind == 9 || kind == 13 ? s.force
             : kind == 15              ? s.pressure
                                       : "";
    }
  }
  return "";
}

/// Where the values of a function lie.
struct SFunction {
  bool binary = false;
  bool even = true;
  SNumberFormat format;               ///< of the values in a point; x is no complex number
  std::vector<std::uint8_t> columns;  ///< widths of a line of text
  std::uint64_t count = 0;
  std::uint64_t data = 0;   ///< place of the first value
  std::uint64_t next = 0;   ///< text: point that is read next ...
  std::uint64_t place = 0;  ///< ... from the line here

  std::size_t Floats() const { return (even ? 0U : 1U) + (format.complex ? 2U : 1U); }
  std::size_t FloatBytes() const { return format.Bytes() / (format.complex ? 2 : 1); }
  std::size_t PointBytes() const { return Floats() * FloatBytes(); }
};

/// Universal files: runs of datasets, of which functions (58) are read.
class CUff : public CChannelFile {
 public:
  CUff(CFileStream& stream, const std::string& path) : lines_(CByteCursor(stream, path, "UFF")) {
    std::string line;
    while (lines_.Next(line)) {
      if (IsDelimiter(line)) {
        ReadDataset();
      } else if (!Trimmed(line).empty()) {
        lines_.Fail("a dataset opens with a line of -1, not with " + Quoted(Trimmed(line)));
      }
    }
    if (functions_.empty()) {
      throw CInputError(path, "holds no function (dataset 58)" +
                                  (others_.empty() ? "" : "; there are datasets " + others_));
    }
    UnitsByKind();
    if (complex_) {
      notes_.emplace_back("complex values are read as their magnitude");
    }
    if (ratio_) {
      notes_.emplace_back(
          "units are those of the ordinate's label; the unit of its denominator is left out");
    }
  }

  void Read(std::size_t channel, std::uint64_t first, std::span<double> values) override {
    ReadPoints(functions_[channel], first, values, false);
  }
  void ReadX(std::size_t channel, std::uint64_t first, std::span<double> x) override {
    ReadPoints(functions_[channel], first, x, true);
  }

 private:
  std::string NextLine(const char* what) {
    std::string line;
    if (!lines_.Next(line)) {
      lines_.Fail(std::string("cut short: ends in ") + what);
    }
    return line;
  }

  void ReadDataset() {
    const std::string head = NextLine("the number of a dataset");
    const std::string number = Trimmed(Columns(head, 0, 6));
    if (number == "58") {
      ReadFunction(head);
      return;
    }
    if (number == "164") {
      system_ = Count(lines_, Columns(NextLine("units"), 0, 10), "the system of units");
    }
    if (others_.size() < kLineKept) {
      others_ += (others_.empty() ? "" : ", ") + Escaped(number);
    }
    std::string line;
    do {
      if (!lines_.Next(line)) {
        lines_.Fail("cut short: dataset " + Quoted(number) + " has no closing -1");
      }
    } while (!IsDelimiter(line));
  }

  void ReadFunction(const std::string& head) {
    constexpr std::uint64_t kTextLines = 11;
    SFunction function;
    std::uint64_t bytes = 0;
    std::uint64_t textLines = kTextLines;
    function.binary = Columns(head, 6, 1) == "b";
    if (function.binary) {
      function.format.bigEndian = Count(lines_, Columns(head, 7, 6), "the byte order") == 2;
      if (Count(lines_, Columns(head, 13, 6), "the format of floats") != 2) {
        lines_.Fail("floats are not of IEEE 754, which is the only format that is read");
      }
      textLines = Count(lines_, Columns(head, 19, 12), "the number of lines of text");
      bytes = Count(lines_, Columns(head, 31, 12), "the number of bytes");
      if (textLines < kTextLines) {
        lines_.Fail("a function has 11 lines of text, not " + std::to_string(textLines));
      }
    }
    SFileChannel channel = ReadHead(function);
    for (; textLines > kTextLines; --textLines) {
      NextLine("lines of text");
    }
    function.data = function.place = lines_.Place();
    function.binary ? SkipBinary(function, bytes) : SkipText(function);
    channel.count = function.count;
    if (function.count > 0) {
      channels_.push_back(std::move(channel));
      functions_.push_back(std::move(function));
    }
  }

  SFileChannel ReadHead(SFunction& function) {
    const std::string id = Named(TextOfFile(NextLine("ID lines")));
    for (int i = 0; i < 4; ++i) {
      NextLine("ID lines");
    }
    const std::string entity = Named(TextOfFile(Columns(NextLine("record 6"), 31, 10)));
    const std::string form = NextLine("record 7");
    SFileChannel channel;
    SetForm(function, form);
    const SAxisRecord x = AxisRecord(lines_, NextLine("the x axis"));
    const SAxisRecord y = AxisRecord(lines_, NextLine("the ordinate"));
    const SAxisRecord denominator = AxisRecord(lines_, NextLine("the denominator"));
    NextLine("the z axis");
    const std::string number = "function " + std::to_string(functions_.size() + 1);
    channel.name = !id.empty()        ? id
                   : !entity.empty()  ? entity
                   : !y.label.empty() ? y.label
                                      : number;
    channel.xUnit = x.unit;
    channel.unit = y.unit;
    kinds_.push_back({x.type, y.type});
    complex_ = complex_ || function.format.complex;
    ratio_ = ratio_ || !denominator.unit.empty();
    channel.hasX = !function.even;
    if (function.even) {
      channel.x0 = Number(lines_, Columns(form, 30 + 0, 13), "the first x");
      channel.dx = Number(lines_, Columns(form, 43, 13), "the step");
    }
    return channel;
  }

  void SetForm(SFunction& function, const std::string& form) const {
    const std::uint64_t type = Count(lines_, Columns(form, 0, 10), "the ordinate's type");
    function.count = Count(lines_, Columns(form, 10, 10), "the number of values");
    const std::uint64_t spacing = Count(lines_, Columns(form, 20, 10), "the spacing");
    if ((type != 2 && type != 4 && type != 5 && type != 6) || spacing > 1) {
      lines_.Fail("ordinate type " + std::to_string(type) + " with spacing " +
                  std::to_string(spacing) + " is not known");
    }
    const bool wide = type == 4 || type == 6;
    function.even = spacing == 1;
    function.format.complex = type >= 5;
    function.format.type = wide ? NumberType::kFloat64 : NumberType::kFloat32;
    if (!wide) {
      function.columns.assign(6, 13);
    } else if (function.even) {
      function.columns.assign(4, 20);
    } else if (type == 4) {
      function.columns = {13, 20, 13, 20};
    } else {
      function.columns = {13, 20, 20};
    }
  }

  /// Of count and bytes neither is trusted unless they agree; line ends may count as data.
  void SkipBinary(const SFunction& function, std::uint64_t bytes) {
    constexpr std::uint64_t kLineEnd = 2;
    CByteCursor at = lines_.At();
    at.Need(function.count, function.PointBytes(), "function of values");
    const std::uint64_t needed = function.count * function.PointBytes();
    if (bytes < needed || bytes - needed > kLineEnd) {
      at.Fail(std::to_string(function.count) + " values take " + std::to_string(needed) +
              " bytes, but " + std::to_string(bytes) + " are stated");
    }
    at.Skip(bytes);
    lines_.GoTo(at.Place());
    std::string line = NextLine("the closing -1");
    if (Trimmed(line).empty()) {
      line = NextLine("the closing -1");
    }
    if (!IsDelimiter(line)) {
      lines_.Fail("the values are not followed by a line of -1");
    }
  }

  /// The floats of a line: columns part them, not blanks, and the last line may be filled up.
  template <class Take>
  static void ForEachFloat(const SFunction& function, std::string_view line, Take take) {
    std::size_t at = 0;
    for (const std::size_t width : function.columns) {
      const std::string_view text = Columns(line, at, width);
      if (text.find_first_not_of(" \t\r") == std::string_view::npos) {
        return;
      }
      take(text);
      at += width;
    }
  }

  void SkipText(const SFunction& function) {
    std::uint64_t floats = 0;
    std::string line;
    for (;;) {
      if (!lines_.Next(line)) {
        lines_.Fail("cut short: " + std::to_string(function.count) + " values are stated, " +
                    std::to_string(floats / function.Floats()) + " and no closing -1 are there");
      }
      if (IsDelimiter(line)) {
        break;
      }
      ForEachFloat(function, line, [&](std::string_view) { ++floats; });
    }
    if (floats / function.Floats() < function.count) {
      lines_.Fail(std::to_string(function.count) + " values are stated, " +
                  std::to_string(floats / function.Floats()) + " are there");
    }
  }

  void UnitsByKind() {
    bool told = false;
    for (std::size_t i = 0; i < channels_.size(); ++i) {
      for (auto [unit, kind] : {std::pair(&channels_[i].xUnit, kinds_[i].first),
                                std::pair(&channels_[i].unit, kinds_[i].second)}) {
        if (unit->empty()) {
          *unit = UnitOfKind(kind, system_);
          told = told || !unit->empty();
        }
      }
    }
    if (told) {
      notes_.emplace_back("units that the file does not name follow from the kind of the axis");
    }
  }

  void ReadPoints(SFunction& function, std::uint64_t first, std::span<double> to, bool x) {
    function.binary ? ReadBinary(function, first, to, x) : ReadText(function, first, to, x);
  }

  void ReadBinary(const SFunction& function, std::uint64_t first, std::span<double> to, bool x) {
    CByteCursor at = lines_.At();
    at.GoTo(function.data + first * function.PointBytes());
    bytes_.resize(to.size() * function.PointBytes());
    at.Read(bytes_.data(), bytes_.size());
    SNumberFormat format = function.format;
    format.complex = format.complex && !x;
    const std::size_t behindX = function.even || x ? 0 : function.FloatBytes();
    ReadNumbers(format, bytes_.data() + behindX, function.PointBytes(), to);
  }

  /// From the start of a line on that was reached before, or from the start of the function.
  void ReadText(SFunction& function, std::uint64_t first, std::span<double> to, bool x) {
    if (function.next > first) {
      function.next = 0;
      function.place = function.data;
    }
    CLines lines(lines_.At());
    lines.GoTo(function.place);
    std::uint64_t index = function.next * function.Floats();
    double real = 0.0;
    std::string line;
    while (index < (first + to.size()) * function.Floats()) {
      if (index % function.Floats() == 0) {
        function.next = index / function.Floats();
        function.place = lines.Place();
      }
      if (!lines.Next(line)) {
        lines.Fail("cannot be read on");
      }
      ForEachFloat(function, line, [&](std::string_view text) {
        const std::uint64_t point = index / function.Floats();
        const std::size_t part =
            static_cast<std::size_t>(index % function.Floats()) + (function.even ? 1 : 0);
        ++index;
        if (point < first || point >= first + to.size() || (part == 0) != x) {
          return;
        }
        const double value = Number(lines, text, "value");
        real = part < 2 ? value : real;
        to[static_cast<std::size_t>(point - first)] = part < 2 ? value : std::hypot(real, value);
      });
    }
  }

  CLines lines_;
  std::vector<SFunction> functions_;
  std::vector<std::pair<std::uint64_t, std::uint64_t>> kinds_;  ///< of x and ordinate
  std::string others_;                                          ///< numbers of other datasets
  std::uint64_t system_ = 0;
  bool complex_ = false;
  bool ratio_ = false;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace

std::unique_ptr<CChannelFile> OpenUff(CFileStream& stream, const std::string& path) {
  return std::make_unique<CUff>(stream, path);
}

}  // namespace limes::recordings
