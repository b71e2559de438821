// Curves as text, in both directions.
//
//   # limes curve
//   # name: Gear noise              a line end in it is written \n, a backslash twice
//   # x unit: Hz
//   # y unit: dB(Pa)
//   # y fields: 0 1 2e-05 1 Pa      exponent, power, reference, level: all that the text may lose
//   # x: 0 1000                     x min and x max, one step behind the last value
//   # valid: 0 1000
//   0<TAB>61.5                      one line per value
#include <array>
#include <charconv>
#include <cmath>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "limes/learning/curve_assistant.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

constexpr std::string_view kHead = "# limes curve";
constexpr std::size_t kPiece = 65536;    ///< bytes read or written at a time
constexpr std::size_t kLongest = 65536;  ///< bytes of a line
constexpr double kStepTolerance = 1e-4;  ///< of a step

void AppendNumber(std::string& text, float value) {
  std::array<char, 32> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  text.append(digits.data(), end);
}

/// The number at the start of the text, which is then removed with blanks before it.
template <class Number>
bool TakeNumber(std::string_view& text, Number& value) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc()) {
    return false;
  }
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

bool IsBlank(std::string_view text) { return text.find_first_not_of(" \t") == text.npos; }

bool TakePair(std::string_view text, float& a, float& b) {
  return TakeNumber(text, a) && TakeNumber(text, b) && IsBlank(text);
}

std::string Escaped(std::u16string_view name) {
  std::string escaped;
  for (const char c : WideToUtf8(name)) {
    if (c == '\\' || c == '\n' || c == '\r') {
      escaped += '\\';
    }
    escaped += c == '\n' ? 'n' : c == '\r' ? 'r' : c;
  }
  return escaped;
}

wide_string Unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '\\' && i + 1 < text.size();
    const char c = text[escape ? ++i : i];
    plain += escape && c == 'n' ? '\n' : escape && c == 'r' ? '\r' : c;
  }
  return Utf8ToWide(plain);
}

void AppendUnit(std::string& text, std::string_view axis, const CMeasuringUnit& unit) {
  if (unit.empty()) {
    return;
  }
  text.append("# ").append(axis).append(" unit: ").append(Escaped(unit.ExactText())).append("\n");
  text.append("# ").append(axis).append(" fields: ").append(std::to_string(unit.Exponent()));
  text.append(" ").append(std::to_string(unit.Power())).append(" ");
  AppendNumber(text, unit.Logref());
  text.append(unit.is_log() ? " 1 " : " 0 ").append(Escaped(unit.baseunit())).append("\n");
}

/// Fields of a unit before its base unit; nothing when they are malformed.
std::optional<CMeasuringUnit> UnitOfFields(std::string_view text) {
  std::int16_t exponent = 0;
  std::int16_t power = 0;
  float reference = 0.0F;
  int level = 0;
  if (!TakeNumber(text, exponent) || !TakeNumber(text, power) || !TakeNumber(text, reference) ||
      !TakeNumber(text, level) || !text.starts_with(' ')) {
    return std::nullopt;
  }
  const wide_string base = Unescaped(text.substr(1));
  CMeasuringUnit unit;
  unit.set(CMeasuringUnit::UnitStrings::theStrings().FindOrAdd(base), exponent, power, reference);
  unit.set_log(level != 0);
  unit._construct(true);
  return unit;
}

/// Lines of a stream, without their ends.
class LineReader {
 public:
  explicit LineReader(CFileStream& file) : file_(file) {}

  /// False at the end, and for a line that is too long.
  bool Next(std::string& line) {
    line.clear();
    for (;;) {
      const std::size_t end = buffer_.find('\n', at_);
      const std::size_t stop = std::min(end, buffer_.size());
      line.append(buffer_, at_, stop - at_);
      if (line.size() > kLongest) {
        tooLong_ = true;
        return false;
      }
      if (end != buffer_.npos) {
        at_ = end + 1;
        break;
      }
      if (!Fill()) {
        if (line.empty()) {
          return false;
        }
        break;
      }
    }
    if (line.ends_with('\r')) {
      line.pop_back();
    }
    return true;
  }

  bool TooLong() const { return tooLong_; }

 private:
  bool Fill() {
    buffer_.resize(kPiece);
    buffer_.resize(file_.Read(buffer_.data(), kPiece));
    at_ = 0;
    return !buffer_.empty();
  }

  CFileStream& file_;
  std::string buffer_;
  std::size_t at_ = 0;
  bool tooLong_ = false;
};

/// Collects what a text says and makes the curve of it.
class CurveBuilder {
 public:
  /// Takes a line of the head; unknown keys and other remarks are passed over.
  bool TakeHead(std::string_view line) {
    const std::size_t colon = line.find(": ");
    if (!line.starts_with("# ") || colon == line.npos) {
      return true;
    }
    const std::string_view key = line.substr(2, colon - 2);
    const std::string_view value = line.substr(colon + 2);
    if (key == "name") {
      name_ = Unescaped(value);
    } else if (key == "x unit" || key == "y unit") {
      UnitOf(key).text = Unescaped(value);
    } else if (key == "x fields" || key == "y fields") {
      std::optional<CMeasuringUnit>& unit = UnitOf(key).fields;
      unit = UnitOfFields(value);
      return unit.has_value();
    } else if (key == "x") {
      hasAxis_ = TakePair(value, xMin_, xMax_) && std::isfinite(xMin_) && std::isfinite(xMax_);
      return hasAxis_;
    } else if (key == "valid") {
      hasValid_ = TakePair(value, vMin_, vMax_);
      return hasValid_;
    }
    return true;
  }

  bool TakePoint(std::string_view line) {
    float x = 0.0F;
    float y = 0.0F;
    if (!TakePair(line, x, y)) {
      return false;
    }
    x_.push_back(x);
    y_.push_back(y);
    return true;
  }

  bool IsEmpty() const { return y_.empty(); }

  /// The axis from the points themselves, unless the head told it; false when the points do not
  /// lie on it.
  bool FindAxis() {
    if (!hasAxis_ && x_.size() < 2) {
      return false;
    }
    const auto n = static_cast<double>(x_.size());
    const double first = hasAxis_ ? xMin_ : x_.front();
    const double step = hasAxis_ ? (double{xMax_} - double{xMin_}) / n
                                 : (double{x_.back()} - double{x_.front()}) / (n - 1.0);
    for (std::size_t i = 0; i < x_.size(); ++i) {
      const double expected = first + static_cast<double>(i) * step;
      // Digits of a float: an x far from 0 cannot say its step more finely.
      const double digits = 2e-7 * std::fmax(std::fabs(expected), std::fabs(first));
      if (!(std::fabs(x_[i] - expected) <= kStepTolerance * step + (hasAxis_ ? digits : 0.0))) {
        return false;
      }
    }
    if (!hasAxis_) {
      xMin_ = x_.front();
      xMax_ = static_cast<float>(first + n * step);
    }
    return xMin_ < xMax_;
  }

  bool Build(CSigCurveExt& c) const {
    if (y_.size() > CSigRaw::kMaxWords) {
      return false;
    }
    CSigCurveExt made = CSigCurveExt::Make(static_cast<int>(y_.size()), xMin_, xMax_);
    if (made.DLen() != y_.size() || !made.SetName(name_)) {
      return false;
    }
    std::copy(y_.begin(), y_.end(), made.ValArray());
    made.SetXUnit(xUnit_.Unit());
    made.SetYUnit(yUnit_.Unit());
    if (hasValid_) {
      made.SetVMinMax(vMin_, vMax_);
    }
    return c.Copy(made, true);
  }

 private:
  /// What a head says of a unit; its fields count before its text.
  struct SUnit {
    CMeasuringUnit Unit() const {
      return fields ? *fields : text.empty() ? CMeasuringUnit() : CMeasuringUnit::FromText(text);
    }

    wide_string text;
    std::optional<CMeasuringUnit> fields;
  };

  SUnit& UnitOf(std::string_view key) { return key[0] == 'x' ? xUnit_ : yUnit_; }

  wide_string name_;
  SUnit xUnit_;
  SUnit yUnit_;
  float xMin_ = 0.0F;
  float xMax_ = 0.0F;
  float vMin_ = 0.0F;
  float vMax_ = 0.0F;
  bool hasAxis_ = false;
  bool hasValid_ = false;
  std::vector<float> x_;
  std::vector<float> y_;
};

std::string HeadOf(const CSigCurveExt& c) {
  std::string text(kHead);
  text.append("\n# name: ").append(Escaped(c.Name())).append("\n");
  AppendUnit(text, "x", c.XUnit());
  AppendUnit(text, "y", c.YUnit());
  const auto range = [&text](std::string_view key, float a, float b) {
    text.append("# ").append(key).append(": ");
    AppendNumber(text, a);
    text += ' ';
    AppendNumber(text, b);
    text += '\n';
  };
  range("x", c.XMin(), c.XMax());
  range("valid", c.VMin(), c.VMax());
  return text;
}

}  // namespace

const wide_char* Text(CurveTextStatus status) {
  switch (status) {
    case CurveTextStatus::kOk:
      return u"ok";
    case CurveTextStatus::kEmpty:
      return u"no values";
    case CurveTextStatus::kHeader:
      return u"a line of the head is malformed";
    case CurveTextStatus::kNumber:
      return u"a line is no pair of numbers";
    case CurveTextStatus::kSteps:
      return u"x does not rise in equal steps";
    case CurveTextStatus::kMemory:
      return u"memory is short";
  }
  return u"unknown";
}

bool CSigCurveAssistent::TextExport(const CSigCurveExt& c, CFileStream& file) try {
  std::string text = HeadOf(c);
  text.reserve(kPiece + 100);
  for (std::uint32_t i = 0; i < c.DLen(); ++i) {
    AppendNumber(text, c.GetPoint(static_cast<int>(i)));
    text += '\t';
    AppendNumber(text, c.ValArray()[i]);
    text += '\n';
    if (text.size() >= kPiece) {
      file.Write(text.data(), text.size());
      text.clear();
    }
  }
  file.Write(text.data(), text.size());
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

CurveTextStatus CSigCurveAssistent::TextImport(CFileStream& file, CSigCurveExt& c) try {
  LineReader lines(file);
  CurveBuilder builder;
  std::string line;
  while (lines.Next(line)) {
    if (line.starts_with('#')) {
      if (!builder.TakeHead(line)) {
        return CurveTextStatus::kHeader;
      }
    } else if (!IsBlank(line) && !builder.TakePoint(line)) {
      return CurveTextStatus::kNumber;
    }
  }
  if (lines.TooLong()) {
    return CurveTextStatus::kNumber;
  }
  if (builder.IsEmpty()) {
    return CurveTextStatus::kEmpty;
  }
  if (!builder.FindAxis()) {
    return CurveTextStatus::kSteps;
  }
  return builder.Build(c) ? CurveTextStatus::kOk : CurveTextStatus::kMemory;
} catch (const std::bad_alloc&) {
  return CurveTextStatus::kMemory;
}

}  // namespace limes
