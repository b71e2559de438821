#include "limes/core/unit_conversion.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <numeric>
#include <utility>

#include "limes/core/measuring_unit.h"
#include "limes/platform/conversions.h"

namespace limes {
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

  bool Ten(int exponent) { return Multiply(10, 1, exponent); }

  void Count(std::string_view kind, int power) {
    if ((powers[kind] += power) == 0) {
      powers.erase(kind);
    }
  }

  /// Multiplies by a power of another meaning; the offset is the caller's.
  bool Add(const SMeaning& other, int power) {
    for (const auto& [kind, own] : other.powers) {
      Count(kind, own * power);
    }
    return Multiply(other.factor, other.divisor, power);
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
      return power && meaning_.Add(inner.meaning_, sign * *power) &&
             (names_ += inner.names_) < kMostNames;
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
          return meaning_.Ten(exponent * power) && Add(known, power);
        }
      }
    }
    return false;
  }

  template <class Known>
  bool Add(const Known& known, int power) {
    meaning_.Count(known.kind, known.power * power);
    return meaning_.Multiply(known.factor, known.divisor, power);
  }

  static constexpr int kMostNames = 16;
  std::u16string_view text_;
  std::size_t at_ = 0;
  int names_ = 0;
  bool powered_ = false;
  SMeaning meaning_;
};

std::optional<SMeaning> MeaningOf(std::u16string_view text) {
  constexpr std::size_t kLongest = 64;
  for (const auto& [whole, meant] : kWholes) {
    text = text == whole ? meant : text;
  }
  return text.size() > kLongest ? std::nullopt : CUnitParser(text).Parse();
}

std::optional<SUnitConversion> Between(const SMeaning& a, const SMeaning& b) {
  SMeaning ratio;
  if (a.powers != b.powers || !ratio.Multiply(a.factor, a.divisor, 1) ||
      !ratio.Multiply(b.factor, b.divisor, -1)) {
    return std::nullopt;
  }
  const auto factor = static_cast<double>(ratio.factor);
  const auto divisor = static_cast<double>(ratio.divisor);
  constexpr double kHundred = 100.0;
  return SUnitConversion{
      factor,
      (static_cast<double>(a.offset) * factor - static_cast<double>(b.offset) * divisor) / kHundred,
      divisor};
}

constexpr int kMostPower = 16;

/// The built-in units in kilograms, metres, seconds and what cannot be told by these; the others
/// mean themselves.
constexpr std::pair<commonUnits, std::u16string_view> kBuiltIn[] = {
    {commonUnits::newton, u"kg·m/s²"},
    {commonUnits::second, u"s"},
    {commonUnits::hertz, u"1/s"},
    {commonUnits::rpm, u"rev/min"},
    {commonUnits::revolution, u"rev"},
    {commonUnits::volt, u"kg·m²/(s³·A)"},
    {commonUnits::pascal, u"kg/(m·s²)"},
    {commonUnits::newtonMetre, u"kg·m²/s²"},
    {commonUnits::celsius, u"°C"},
    {commonUnits::metrePerSecond2, u"m/s²"},
    {commonUnits::gravity, u"980665·m/(100000·s²)"},
    {commonUnits::metre, u"m"},
    {commonUnits::degree, u"°"},
    {commonUnits::radian, u"rad"},
    {commonUnits::kilometrePerHour, u"km/h"},
    {commonUnits::milePerHour, u"5280·ft/h"},
    {commonUnits::metrePerSecond, u"m/s"},
    {commonUnits::radianPerSecond, u"rad/s"},
    {commonUnits::radianPerSecond2, u"rad/s²"},
    {commonUnits::ampere, u"A"},
    {commonUnits::bar, u"100000·kg/(m·s²)"},
    {commonUnits::watt, u"kg·m²/s³"},
};

/// Of the base unit alone; empty for one that means itself only.
std::optional<SMeaning> MeaningOfBase(const CMeasuringUnit& unit) {
  if (unit.empty()) {
    return SMeaning();
  }
  for (const auto& [builtIn, meant] : kBuiltIn) {
    if (unit.Unit_e() == builtIn) {
      return CUnitParser(meant).Parse();
    }
  }
  return unit.Unit_e() < CMeasuringUnit::kBuiltInUnits ? std::nullopt : MeaningOf(unit.baseunit());
}

/// Linear, with power and exponent.
std::optional<SMeaning> MeaningOf(const CMeasuringUnit& unit) {
  const auto base = MeaningOfBase(unit);
  SMeaning all;
  if (!base || std::abs(unit.Power()) > kMostPower || !all.Add(*base, unit.Power()) ||
      !all.Ten(unit.Exponent()) || (base->offset != 0 && unit.Exponent() != 0)) {
    return std::nullopt;
  }
  all.offset = unit.Power() == 1 ? base->offset : 0;
  return all;
}

std::optional<SUnitConversion> BetweenLinear(const CMeasuringUnit& from, const CMeasuringUnit& to) {
  if (from.Unit_e() == to.Unit_e() && from.Power() == to.Power()) {
    SMeaning a;
    SMeaning b;
    const bool exact = a.Ten(from.Exponent()) && b.Ten(to.Exponent());
    return exact ? Between(a, b) : std::nullopt;
  }
  const auto a = MeaningOf(from);
  const auto b = MeaningOf(to);
  return a && b ? Between(*a, *b) : std::nullopt;
}

/// The exponent by which a meaning is that many times another; empty when it is no power of ten.
std::optional<short> ExponentOver(const SMeaning& meaning, SMeaning other) {
  const auto ratio = Between(meaning, other);
  if (!ratio || ratio->offset != 0.0) {
    return std::nullopt;
  }
  const auto exponent = static_cast<short>(std::lround(std::log10(ratio->Step(1.0))));
  if (!other.Ten(exponent)) {
    return std::nullopt;
  }
  const auto rest = Between(meaning, other);
  return rest && rest->IsIdentity() ? std::optional(exponent) : std::nullopt;
}

/// The unit of a meaning, with the power nearest to 1; empty when no built-in one has it, and for a
/// mere power of ten, which no text shows.
std::optional<CMeasuringUnit> UnitOf(const SMeaning& meaning) {
  constexpr short kPowers[] = {1, -1, 2, -2, 3, -3, 4, -4};
  if (const auto exponent = ExponentOver(meaning, SMeaning())) {
    return *exponent == 0 ? std::optional(CMeasuringUnit(CMeasuringUnit::none, 0)) : std::nullopt;
  }
  for (const short power : kPowers) {
    for (const auto& [builtIn, meant] : kBuiltIn) {
      const auto unit = MeaningOf(CMeasuringUnit(builtIn, 0, power));
      if (const auto exponent = unit ? ExponentOver(meaning, *unit) : std::nullopt) {
        return CMeasuringUnit(builtIn, *exponent, power);
      }
    }
  }
  return std::nullopt;
}

/// a times a power of b, 1 or -1.
std::optional<CMeasuringUnit> Combined(const CMeasuringUnit& a, const CMeasuringUnit& b,
                                       int power) {
  if (a.is_log() || b.is_log()) {
    return std::nullopt;
  }
  if (a.Unit_e() == b.Unit_e() || b.empty()) {
    const bool same = !b.empty();
    const int exponent = a.Exponent() + power * b.Exponent();
    const int powers = a.Power() + (same ? power * b.Power() : 0);
    const bool isNumber = powers == 0 || a.empty();  // of which no text would show the exponent
    if (exponent != SaturateTo<short>(exponent) || powers != SaturateTo<short>(powers) ||
        (isNumber && exponent != 0)) {
      return std::nullopt;
    }
    CMeasuringUnit unit;
    unit.set(powers == 0 ? 0 : a.Unit_e(), static_cast<short>(exponent),
             static_cast<short>(powers == 0 ? 1 : powers), 0.0F);
    return unit;
  }
  auto meaning = MeaningOf(a);
  const auto other = MeaningOf(b);
  if (!meaning || !other || !meaning->Add(*other, power)) {
    return std::nullopt;
  }
  meaning->offset = 0;
  return UnitOf(*meaning);
}

}  // namespace

std::optional<SUnitConversion> ConversionBetween(std::u16string_view from, std::u16string_view to) {
  const auto a = MeaningOf(from);
  const auto b = MeaningOf(to);
  return a && b ? Between(*a, *b) : std::nullopt;
}

std::optional<SUnitConversion> CMeasuringUnit::ConversionTo(const CMeasuringUnit& other) const {
  if (*this == other) {
    return SUnitConversion();
  }
  if (is_log() != other.is_log()) {
    return std::nullopt;
  }
  const auto linear = BetweenLinear(*this, other);
  if (!is_log() || !linear) {
    return linear;
  }
  // L = 20 log10(value / reference), whatever the unit.
  const double ratio = linear->Step(double{Logref()}) / double{other.Logref()};
  constexpr double kDbPerDecade = 20.0;
  return std::isfinite(ratio) && ratio > 0.0
             ? std::optional(SUnitConversion{1.0, kDbPerDecade * std::log10(ratio), 1.0})
             : std::nullopt;
}

bool CMeasuringUnit::SameDimension(const CMeasuringUnit& other) const {
  return ConversionTo(other).has_value();
}

std::optional<CMeasuringUnit> operator*(const CMeasuringUnit& a, const CMeasuringUnit& b) {
  return Combined(a, b, 1);
}

std::optional<CMeasuringUnit> operator/(const CMeasuringUnit& a, const CMeasuringUnit& b) {
  return Combined(a, b, -1);
}

}  // namespace limes
