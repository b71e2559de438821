// Curves as text, in both directions.
//
//   # limes curve
//   # name: Gear noise              a line end in it is written \n, a backslash twice
//   # x unit: Hz
//   # y unit: dB(Pa)
//   # y fields: 0 1 2e-05 1 Pa      exponent, power, reference, level: all that the text may lose
//   # x: 0 1000                     x min and x max, one step behind the last value
//   # valid: 0 1000
//   # valid points: 0 999         only where the grid does not tell them
//   # date: 3.5                   these three only unless 0, 0 and 1
//   # number: 4
//   # scale: 2
//   0<TAB>61.5                      one line per value
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "limes/learning/curve_assistant.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/text.h"
#include "limes/signals/extended_curve.h"

namespace limes {
namespace {

constexpr std::string_view kHead = "# limes curve";
constexpr std::size_t kPiece = 65536;    ///< bytes read or written at a time
constexpr std::size_t kLongest = 65536;  ///< bytes of a line
constexpr double kStepTolerance = 1e-4;  ///< of a step
constexpr double kFloatDigits = 1e-6;    ///< of x: a dozen roundings to float

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
  if constexpr (std::is_same_v<Number, float>) {
    double wide = 0.0;  // others write what is 0 in single precision
    if (error == std::errc::result_out_of_range && TakeNumber(text, wide) && std::fabs(wide) < 1) {
      value = static_cast<float>(wide);
      return true;
    }
  }
  if (error != std::errc()) {
    return false;
  }
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

bool ArePoints(std::int64_t first, std::int64_t last, std::int64_t n) {
  return first >= 0 && first < n && last >= -1 && last < n;
}

bool IsBlank(std::string_view text) { return text.find_first_not_of(" \t") == text.npos; }

template <class A, class B>
bool TakePair(std::string_view text, A& a, B& b) {
  return TakeNumber(text, a) && TakeNumber(text, b) && IsBlank(text);
}

template <class Number>
bool TakeSingle(std::string_view text, Number& value) {
  return TakeNumber(text, value) && IsBlank(text);
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

/// What a head says of a unit; the fields count before the text. Nothing is registered before
/// Unit().
class UnitLines {
 public:
  void SetText(std::string_view text) { text_ = Unescaped(text); }

  /// False when the fields are malformed.
  bool SetFields(std::string_view text) {
    hasFields_ = TakeNumber(text, exponent_) && TakeNumber(text, power_) &&
                 TakeNumber(text, reference_) && TakeNumber(text, level_) && text.starts_with(' ');
    if (hasFields_) {
      base_ = Unescaped(text.substr(1));
    }
    return hasFields_;
  }

  CMeasuringUnit Unit() const {
    if (!hasFields_) {
      return text_.empty() ? CMeasuringUnit() : CMeasuringUnit::FromText(text_);
    }
    CMeasuringUnit unit;
    unit.set(CMeasuringUnit::UnitStrings::theStrings().FindOrAdd(base_), exponent_, power_,
             reference_);
    unit.set_log(level_ != 0);
    unit._construct(true);
    return unit;
  }

 private:
  wide_string text_;
  wide_string base_;
  std::int16_t exponent_ = 0;
  std::int16_t power_ = 0;
  float reference_ = 0.0F;
  int level_ = 0;
  bool hasFields_ = false;
};

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
      UnitOf(key).SetText(value);
    } else if (key == "x fields" || key == "y fields") {
      return UnitOf(key).SetFields(value);
    } else if (key == "x") {
      hasAxis_ = TakePair(value, xMin_, xMax_) && std::isfinite(xMin_) && std::isfinite(xMax_);
      return hasAxis_;
    } else if (key == "valid") {
      hasValid_ = TakePair(value, vMin_, vMax_);
      return hasValid_;
    } else if (key == "valid points") {
      hasPoints_ = TakePair(value, iMin_, iMax_);
      return hasPoints_;
    } else if (key == "date") {
      return TakeSingle(value, date_);
    } else if (key == "number") {
      return TakeSingle(value, curveId_);
    } else if (key == "scale") {
      return TakeSingle(value, scale_);
    }
    return true;
  }

  bool TakePoint(std::string_view line) {
    double x = 0.0;
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
    // Points of a curve are computed in float, whose digits may tell less than a small step.
    const double digits =
        hasAxis_ ? kFloatDigits * std::fmax(std::fabs(xMin_), std::fabs(xMax_)) : 0.0;
    for (std::size_t i = 0; i < x_.size(); ++i) {
      const double expected = first + static_cast<double>(i) * step;
      if (!(std::fabs(x_[i] - expected) <= kStepTolerance * step + digits)) {
        return false;
      }
    }
    if (!hasAxis_) {
      const double end = first + n * step;
      if (!(std::fmax(std::fabs(first), std::fabs(end)) <= std::numeric_limits<float>::max())) {
        return false;
      }
      xMin_ = static_cast<float>(first);
      xMax_ = static_cast<float>(end);
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
    made.Date(date_);
    made.CurveId(curveId_);
    made.SetScaleFactor(scale_);
    if (hasValid_) {
      made.SetVMinMax(vMin_, vMax_);
    }
    const auto n = static_cast<std::int64_t>(y_.size());
    if (hasValid_ && hasPoints_ && vMin_ == vMin_ && vMax_ == vMax_ && ArePoints(iMin_, iMax_, n)) {
      made.RestoreValidRange(vMin_, vMax_, iMin_, iMax_);
    }
    return c.Copy(made, true);
  }

 private:
  UnitLines& UnitOf(std::string_view key) { return key[0] == 'x' ? xUnit_ : yUnit_; }

  wide_string name_;
  UnitLines xUnit_;
  UnitLines yUnit_;
  float xMin_ = 0.0F;
  float xMax_ = 0.0F;
  float vMin_ = 0.0F;
  float vMax_ = 0.0F;
  std::int32_t iMin_ = 0;
  std::int32_t iMax_ = -1;
  float date_ = 0.0F;
  std::int32_t curveId_ = 0;
  float scale_ = 1.0F;
  bool hasAxis_ = false;
  bool hasValid_ = false;
  bool hasPoints_ = false;
  std::vector<double> x_;  ///< as written: a step may be finer than a float says at x
  std::vector<float> y_;
};

/// The valid range is the one that its x values give on the curve's grid.
bool GridTellsRange(const CSigCurveExt& c) {
  return c.VMin() >= c.XMin() && c.VMax() <= c.XMax() && c.IMin() == c.GetIndex(c.VMin()) &&
         c.IMax() == c.GetIndex(c.VMax());
}

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
  if (!GridTellsRange(c) && ArePoints(c.IMin(), c.IMax(), c.DLen())) {
    text.append("# valid points: ").append(std::to_string(c.IMin()));
    text.append(" ").append(std::to_string(c.IMax())).append("\n");
  }
  const auto single = [&text](std::string_view key, float value) {
    text.append("# ").append(key).append(": ");
    AppendNumber(text, value);
    text += '\n';
  };
  if (std::bit_cast<std::uint32_t>(c.Date()) != 0) {
    single("date", c.Date());
  }
  if (c.CurveId() != 0) {
    text.append("# number: ").append(std::to_string(c.CurveId())).append("\n");
  }
  if (c.ScaleFactor() != 1.0F) {
    single("scale", c.ScaleFactor());
  }
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

bool CSigCurveAssistent::TextExport(const CSigCurveExt& c, CFileStream& file) {
  return detail::IfMemoryAllows(false, [&] {
    std::string text = HeadOf(c);
    // The last point is finite when all are.
    if (c.DLen() == 0 || !(c.XMin() < c.XMax()) || text.size() > kLongest ||
        !std::isfinite(c.GetPoint(static_cast<int>(c.DLen()) - 1))) {
      return false;
    }
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
  });
}

CurveTextStatus CSigCurveAssistent::TextImport(CFileStream& file, CSigCurveExt& c) {
  return detail::IfMemoryAllows(CurveTextStatus::kMemory, [&] {
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
  });
}

}  // namespace limes
