#include "recordings/unit_conversion.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>

#include "limes/platform/text.h"

namespace limes::recordings {
namespace {

/// A unit as factor over divisor times powers of kinds, which are told apart by name alone.
struct SMeaning {
  std::uint64_t factor = 1;
  std::uint64_t divisor = 1;
  std::int64_t offset = 0;  ///< hundredths that are added to a value before the factor
  std::map<std::string_view, int> powers;

  bool Multiply(std::uint64_t by, std::uint64_t over, int power) {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 53;  // exact in double
    for (; power != 0; power += power < 0 ? 1 : -1) {
      const bool fits = !__builtin_mul_overflow(factor, power > 0 ? by : over, &factor) &&
                        !__builtin_mul_overflow(divisor, power > 0 ? over : by, &divisor);
      const std::uint64_t common = fits ? std::gcd(factor, divisor) : 1;
      factor /= common;
      divisor /= common;
      if (!fits || factor > kMost || divisor > kMost) {
        return false;
      }
    }
    return true;
  }
};

/// Names of units: factor over divisor of the kind, to its power.
constexpr struct {
  std::u16string_view name;
  std::string_view kind;
  bool prefixed = false;
  std::uint64_t factor = 1;
  std::uint64_t divisor = 1;
  int power = 1;
  std::int64_t offset = 0;
} kNames[] = {
    {u"m", "m", true},
    {u"in", "m", false, 127, 5000},
    {u"inch", "m", false, 127, 5000},
    {u"ft", "m", false, 381, 1250},
    {u"s", "s", true},
    {u"sec", "s"},
    {u"min", "s", false, 60},
    {u"h", "s", false, 3600},
    {u"d", "s", false, 86400},
    {u"g", "g", true},
    {u"t", "g", false, 1000000},
    {u"K", "K", true},
    {u"°C", "K", false, 1, 1, 1, 27315},
    {u"°F", "K", false, 5, 9, 1, 45967},
    {u"Pa", "Pa", true},
    {u"bar", "Pa", true, 100000},
    {u"l", "m", true, 1, 1000, 3},
    {u"L", "m", true, 1, 1000, 3},
    {u"ccm", "m", false, 1, 1000000, 3},
    {u"N", "N", true},
    {u"Nm", "Nm", true},
    {u"J", "J", true},
    {u"Ws", "J", true},
    {u"Wh", "J", true, 3600},
    {u"W", "W", true},
    {u"V", "V", true},
    {u"A", "A", true},
    {u"Ω", "Ω", true},
    {u"Ohm", "Ω", true},
    {u"ohm", "Ω", true},
    {u"F", "F", true},
    {u"C", "C", true},
    {u"H", "H", true},
    {u"T", "T", true},
    {u"Hz", "Hz", true},
    {u"S", "S", true},
    {u"mol", "mol", true},
    {u"%", "%"},
    {u"°", "°"},
    {u"deg", "°"},
    {u"rad", "rad", true},
    {u"rev", "rev"},
    {u"ord", "ord"},
    {u"cd", "cd"},
    {u"lm", "lm"},
    {u"lx", "lx"},
    {u"U", "rev"},
};

/// Units that are known as a whole: turns are counted in them, but not written.
constexpr std::pair<std::u16string_view, std::u16string_view> kWholes[] = {
    {u"rpm", u"rev/min"},   {u"1/min", u"rev/min"}, {u"min-1", u"rev/min"}, {u"min^-1", u"rev/min"},
    {u"r/min", u"rev/min"}, {u"mph", u"5280·ft/h"}, {u"kph", u"km/h"},      {u"hours", u"h"},
    {u"degC", u"°C"},       {u"degF", u"°F"},
};

constexpr std::pair<char16_t, int> kPrefixes[] = {
    {u'f', -15}, {u'p', -12}, {u'n', -9}, {u'u', -6}, {u'µ', -6}, {u'μ', -6}, {u'm', -3},
    {u'c', -2},  {u'd', -1},  {u'h', 2},  {u'k', 3},  {u'M', 6},  {u'G', 9},  {u'T', 12},
};

class CUnitParser {
 public:
  explicit CUnitParser(std::u16string_view text) : text_(text) {}

  std::optional<SMeaning> Parse() {
    const bool good = Product(1, 0) && at_ == text_.size() && names_ > 0;
    if (names_ > 1 || powered_) {
      meaning_.offset = 0;  // °C/min and K/min are the same
    }
    return good ? std::optional(meaning_) : std::nullopt;
  }

 private:
  bool Product(int sign, int depth) {
    constexpr int kMostDepth = 8;
    if (depth > kMostDepth || !Factor(sign, depth)) {
      return false;
    }
    while (at_ < text_.size() && text_[at_] != u')') {
      const char16_t c = text_[at_];
      const bool over = c == u'/';
      if (!over && c != u'·' && c != u'⋅' && c != u'*' && c != u' ') {
        return false;
      }
      ++at_;
      if (!Factor(over ? -sign : sign, depth)) {
        return false;
      }
    }
    return true;
  }

  /// A name, a number or what stands in brackets, to a power.
  bool Factor(int sign, int depth) {
    const std::size_t begin = at_;
    if (at_ < text_.size() && text_[at_] == u'(') {
      const std::size_t end = text_.find(u')', at_);
      CUnitParser inner(text_.substr(at_ + 1, end - at_ - 1));
      if (end == std::u16string_view::npos || !inner.Product(1, depth + 1) ||
          inner.at_ != inner.text_.size()) {
        return false;
      }
      at_ = end + 1;
      const auto power = Power();
      powered_ = true;
      return power && Add(inner.meaning_, sign * *power) && (names_ += inner.names_) < kMostNames;
    }
    constexpr std::u16string_view kEnds = u"/·⋅*()^²³-0123456789 ";
    at_ = std::min(text_.find_first_of(kEnds, at_), text_.size());
    if (at_ == begin) {
      return Number(sign);
    }
    const std::u16string_view name = text_.substr(begin, at_ - begin);
    const auto power = Power();
    return power && ++names_ < kMostNames && Name(name, sign * *power);
  }

  bool Number(int sign) {
    constexpr std::uint64_t kMost = 10'000'000;
    std::uint64_t number = 0;
    const std::size_t begin = at_;
    for (; at_ < text_.size() && text_[at_] >= u'0' && text_[at_] <= u'9' && number < kMost;
         ++at_) {
      number = number * 10 + static_cast<std::uint64_t>(text_[at_] - u'0');
    }
    return at_ > begin && number > 0 && meaning_.Multiply(number, 1, sign);
  }

  /// ², ³, ^2, 2, -1; 1 where nothing stands.
  std::optional<int> Power() {
    if (at_ < text_.size() && (text_[at_] == u'²' || text_[at_] == u'³')) {
      powered_ = true;
      return text_[at_++] == u'²' ? 2 : 3;
    }
    std::size_t at = at_;
    at += text_.substr(at, 1) == u"^" ? 1 : 0;
    const bool negative = text_.substr(at, 1) == u"-";
    at += negative ? 1 : 0;
    const bool digit = at < text_.size() && text_[at] >= u'1' && text_[at] <= u'9';
    if (!digit) {
      return at == at_ ? std::optional(1) : std::nullopt;
    }
    powered_ = true;
    const int power = text_[at] - u'0';
    at_ = at + 1;
    return negative ? -power : power;
  }

  bool Name(std::u16string_view name, int power) {
    for (const auto& known : kNames) {
      if (known.name == name) {
        meaning_.offset = known.offset;
        return Add(known, power);
      }
    }
    for (const auto& [letter, exponent] : kPrefixes) {
      for (const auto& known : kNames) {
        if (known.prefixed && name[0] == letter && known.name == name.substr(1)) {
          return Ten(exponent * power) && Add(known, power);
        }
      }
    }
    return false;
  }

  template <class Known>
  bool Add(const Known& known, int power) {
    if constexpr (std::is_same_v<Known, SMeaning>) {
      for (const auto& [kind, own] : known.powers) {
        Count(kind, own * power);
      }
    } else {
      Count(known.kind, known.power * power);
    }
    return meaning_.Multiply(known.factor, known.divisor, power);
  }

  void Count(std::string_view kind, int power) {
    if ((meaning_.powers[kind] += power) == 0) {
      meaning_.powers.erase(kind);
    }
  }

  bool Ten(int exponent) { return meaning_.Multiply(10, 1, exponent); }

  static constexpr int kMostNames = 16;
  std::u16string_view text_;
  std::size_t at_ = 0;
  int names_ = 0;
  bool powered_ = false;
  SMeaning meaning_;
};

std::optional<SMeaning> MeaningOf(const SUnit& unit) {
  constexpr std::size_t kLongest = 64;
  if (unit.IsNone() || unit.IsDecibel()) {
    return std::nullopt;
  }
  const wide_string exact = unit.text.empty() ? unit.unit.ExactText() : Utf8ToWide(unit.text);
  std::u16string_view text(exact);
  for (const auto& [whole, meant] : kWholes) {
    text = text == whole ? meant : text;
  }
  return text.size() > kLongest ? std::nullopt : CUnitParser(text).Parse();
}

template <class T>
void ConvertAll(std::vector<T>& values, const SUnitConversion& conversion) {
  for (T& value : values) {
    value = static_cast<T>(conversion(double{value}));
  }
}

bool IsLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

}  // namespace

std::optional<SUnitConversion> ConversionBetween(const SUnit& from, const SUnit& to) {
  if (from == to) {
    return SUnitConversion();
  }
  const auto a = MeaningOf(from);
  const auto b = MeaningOf(to);
  if (!a || !b || a->powers != b->powers) {
    return std::nullopt;
  }
  SMeaning ratio;
  if (!ratio.Multiply(a->factor, a->divisor, 1) || !ratio.Multiply(b->factor, b->divisor, -1)) {
    return std::nullopt;
  }
  const auto factor = static_cast<double>(ratio.factor);
  const auto divisor = static_cast<double>(ratio.divisor);
  constexpr double kHundred = 100.0;
  return SUnitConversion{
      factor,
      (static_cast<double>(a->offset) * factor - static_cast<double>(b->offset) * divisor) /
          kHundred,
      divisor};
}

void Convert(SQuantity& q, const SUnitConversion& values, const SUnit& unit,
             const SUnitConversion& x, const SUnit& xUnit) {
  q.unit = unit;
  q.xUnit = xUnit;
  if (!values.IsIdentity()) {
    ConvertAll(q.values, values);
    q.value = q.single ? values(q.value) : q.value;
  }
  if (!x.IsIdentity()) {
    q.x0 = x(q.x0);
    q.dx = x.Step(q.dx);
    ConvertAll(q.x, x);
  }
}

std::string UsualSpelling(std::string_view text) {
  constexpr std::pair<std::string_view, std::string_view> kOthers[] = {
      {"degC", "°C"},
      {"deg C", "°C"},
      {"℃", "°C"},
      {"deg", "°"},
  };
  for (const auto& [other, usual] : kOthers) {
    if (text == other) {
      return std::string(usual);
    }
  }
  for (const std::string_view torque : {"N·m", "N⋅m", "N*m", "N m", "N.m"}) {
    if (text.ends_with(torque) && text.size() <= torque.size() + 2) {
      return std::string(text.substr(0, text.size() - torque.size())) + "Nm";
    }
  }
  wide_string wide = Utf8ToWide(text);
  if (const std::size_t stars = wide.find(u"**"); stars != wide_string::npos) {
    wide.erase(stars, 2);
  }
  const std::size_t n = wide.size();
  const bool power = n > 1 && (wide[n - 1] == u'2' || wide[n - 1] == u'3') && IsLetter(wide[n - 2]);
  if (power) {
    wide[n - 1] = wide[n - 1] == u'2' ? u'²' : u'³';
    return WideToUtf8(wide);
  }
  return std::string(text);
}

}  // namespace limes::recordings
