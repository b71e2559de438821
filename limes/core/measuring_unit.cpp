#include "limes/core/measuring_unit.h"

#include <algorithm>
#include <atomic>

#include "limes/platform/memory_errors.h"

namespace limes {
namespace {

std::atomic<std::uint32_t> g_globalFlags = 0;

constexpr std::u16string_view kPrefixes = u"fpn\u00B5m-kMGT";
constexpr char16_t kTimes = u'\u00B7';  ///< behind a factor that no prefix stands for
constexpr int kNoPrefix = 5;            ///< place of '-' in kPrefixes

/// The low 16 bits, as all exponents and powers keep them.
constexpr short Narrow(int value) { return static_cast<short>(static_cast<std::uint16_t>(value)); }

void AppendNumber(wide_string& text, int value) {
  const unsigned magnitude =
      value < 0 ? 0U - static_cast<unsigned>(value) : static_cast<unsigned>(value);
  if (value < 0) {
    text += u'-';
  }
  char16_t digits[10];
  std::size_t n = 0;
  unsigned rest = magnitude;
  do {
    digits[n++] = static_cast<char16_t>(u'0' + rest % 10);
    rest /= 10;
  } while (rest != 0);
  while (n > 0) {
    text += digits[--n];
  }
}

void AppendPower(wide_string& text, int power) {
  if (power == 1) {
    return;
  }
  if (text.find_first_of(u"*/^()") != wide_string::npos) {
    text.insert(text.begin(), u'(');
    text += u')';
  }
  if (power == 2 || power == 3) {
    text += power == 2 ? u'\u00B2' : u'\u00B3';
    return;
  }
  text += power < 0 ? u"^(" : u"^";
  AppendNumber(text, power);
  if (power < 0) {
    text += u')';
  }
}

/// The thousands that a text shows before a unit: floor of a third of the exponent per power.
int PrefixIndex(int exponent, int power) {
  const int q = power == 0 ? 0 : exponent / power;
  return q >= 0 ? q / 3 : -((2 - q) / 3);
}

bool IsLevelText(std::u16string_view text) { return text.substr(0, 3) == u"dB("; }

wide_string Level(std::u16string_view text) {
  wide_string level = u"dB(";
  level += text;
  level += u')';
  return level;
}

}  // namespace

static_assert(sizeof(SMeasuringUnitPOD) == 16);

SMeasuringUnitPOD::SMeasuringUnitPOD(const CMeasuringUnit& other)
    : SMeasuringUnitPOD(other.fields_) {}

CMeasuringUnit::CMeasuringUnit() : text_(1, u'-') {}

CMeasuringUnit::CMeasuringUnit(commonUnits unit, short exponent, short power, float logref) {
  Take(With(unit, exponent, power, logref));
}

CMeasuringUnit::CMeasuringUnit(std::u16string_view text, short exponent, short power,
                               float logref) {
  if (exponent == 0 && power == 1) {
    Parse(text);
  } else {
    Take(With(UnitStrings::theStrings().FindOrAdd(UpToZero(text)), exponent, power, logref));
  }
}

CMeasuringUnit::CMeasuringUnit(const CMeasuringUnit& other, bool /*deep*/)
    : CMeasuringUnit(other) {}

CMeasuringUnit& CMeasuringUnit::operator=(const CMeasuringUnit& other) {
  text_ = other.text_;  // alone may fail
  fields_ = other.fields_;
  return *this;
}

void CMeasuringUnit::copy(const CMeasuringUnit& other, bool /*deep*/) { *this = other; }

void CMeasuringUnit::_construct(bool keepFields) {
  if (keepFields) {
    Take(fields_);
    return;
  }
  fields_ = NoFields();
  text_.clear();
}

void CMeasuringUnit::Take(const SMeasuringUnitPOD& fields) {
  fields_ = fields;
  if (!detail::IfMemoryAllows([&] { text_ = ShownText(fields); })) {
    text_.assign(1, u'?');  // fits without memory
  }
}

SMeasuringUnitPOD CMeasuringUnit::With(std::uint32_t unit, short exponent, short power,
                                       float logref) const {
  SMeasuringUnitPOD fields = fields_;
  fields.unit = unit;
  fields.exponent = exponent;
  fields.power = power;
  fields.logref = logref;
  fields.flags = (fields.flags & ~kLogarithmic) | (logref != 0.0F ? kLogarithmic : 0);
  return fields;
}

void CMeasuringUnit::set(std::uint32_t unit, short exponent, short power, float logref) {
  Take(With(unit, exponent, power, logref));
}

bool CMeasuringUnit::set(std::u16string_view text) {
  return detail::IfMemoryAllows(false, [&] { return Parse(text); });
}

bool CMeasuringUnit::setA(const char* text) {
  constexpr std::size_t kMaxText = 256;
  const std::string_view all = text == nullptr ? std::string_view() : text;
  return detail::IfMemoryAllows(false,
                                [&] { return Parse(Cp1252ToWide(all.substr(0, kMaxText))); });
}

CMeasuringUnit& CMeasuringUnit::power(short n) {
  SMeasuringUnitPOD fields = fields_;
  fields.exponent = Narrow(fields.exponent * n);
  fields.power = Narrow(fields.power * n);
  Take(fields);
  return *this;
}

bool CMeasuringUnit::root(short n) {
  if (n == 0 || fields_.power % n != 0 || fields_.power / n == 0) {
    return false;
  }
  SMeasuringUnitPOD fields = fields_;
  fields.power = Narrow(fields.power / n);
  fields.exponent = Narrow(fields.exponent / n);
  Take(fields);
  return true;
}

void CMeasuringUnit::invert() {
  if (fields_.logref != 0.0F) {
    return;
  }
  SMeasuringUnitPOD fields = fields_;
  const std::uint32_t reciprocal = UnitStrings::inverseIndex(fields.unit);
  if (reciprocal != 0) {
    fields.unit = reciprocal;
  } else {
    fields.power = Narrow(-fields.power);
  }
  fields.exponent = Narrow(-fields.exponent);
  Take(fields);
}

CMeasuringUnit& CMeasuringUnit::logref(float reference) {
  fields_ = With(fields_.unit, fields_.exponent, fields_.power, reference);
  return *this;
}

void CMeasuringUnit::set_log(bool on) {
  fields_.flags = (fields_.flags & ~kLogarithmic) | (on ? kLogarithmic : 0);
}

void CMeasuringUnit::clearExponent() {
  SMeasuringUnitPOD fields = fields_;
  fields.exponent = 0;
  Take(fields);
}

void CMeasuringUnit::clearPower() {
  SMeasuringUnitPOD fields = fields_;
  fields.power = 0;  // kept: 0, not 1
  Take(fields);
}

const char* CMeasuringUnit::prefixunitA() const {
  constexpr std::size_t kMaxText = 255;
  thread_local std::array<char, kMaxText + 1> buffer;
  const std::string text = WideToCp1252(text_).substr(0, kMaxText);
  *std::copy(text.begin(), text.end(), buffer.begin()) = '\0';
  return buffer.data();
}

const wide_string& CMeasuringUnit::baseunit() const {
  return UnitStrings::theStrings()[fields_.unit];
}

wide_string CMeasuringUnit::mainunit() const {
  wide_string text = baseunit();
  AppendPower(text, fields_.power);
  return is_log() && !IsLevelText(text_) ? Level(text) : text;
}

wide_string CMeasuringUnit::ExactText() const {
  const auto& [unit, exponent, power, logref, flags] = fields_;
  const int shown = 3 * PrefixIndex(exponent, power) * power;
  if (unit == 0 || shown == exponent) {
    return text_;
  }
  wide_string text = u"10^";
  AppendNumber(text, exponent);
  text += u' ';
  SMeasuringUnitPOD whole = fields_;
  whole.exponent = 0;
  return text + ShownText(whole);
}

bool CMeasuringUnit::operator==(std::u16string_view text) const { return text_ == text; }

bool CMeasuringUnit::operator==(const CMeasuringUnit& other) const {
  return SMeasuringUnitPOD::Fields(fields_) == SMeasuringUnitPOD::Fields(other.fields_);
}

std::uint32_t CMeasuringUnit::GlobalFlags() {
  return g_globalFlags.load(std::memory_order_relaxed);
}

void CMeasuringUnit::SetGlobalFlags(std::uint32_t flags) {
  g_globalFlags.store(flags, std::memory_order_relaxed);
}

bool CMeasuringUnit::TestGlobalFlag(unsigned bit) {
  return ((GlobalFlags() >> (bit % 32)) & 1U) != 0;
}

void CMeasuringUnit::SetGlobalFlag(unsigned bit, bool on) {
  const std::uint32_t mask = std::uint32_t{1} << (bit % 32);
  if (on) {
    g_globalFlags.fetch_or(mask, std::memory_order_relaxed);
  } else {
    g_globalFlags.fetch_and(~mask, std::memory_order_relaxed);
  }
}

wide_string CMeasuringUnit::ShownText(const SMeasuringUnitPOD& fields) {
  if (fields.unit == 0) {
    return wide_string(1, u'-');
  }
  const bool isLevel = (fields.flags & kLogarithmic) != 0;
  wide_string text = UnitStrings::theStrings()[fields.unit];
  if (isLevel && fields.unit == pascal && TestGlobalFlag(kShowDbA)) {
    text = u"dB(A)";
  } else if (isLevel && TestGlobalFlag(kShowPlainDb) &&
             (fields.unit == gravity || fields.unit == metrePerSecond2 ||
              fields.unit == metrePerSecond)) {
    text = u"dB";
  } else if (isLevel && !IsLevelText(text)) {
    text = Level(text);
  }
  const int k = PrefixIndex(fields.exponent, fields.power);
  const int place = kNoPrefix + k;
  if (k != 0 && place >= 0 && place < static_cast<int>(kPrefixes.size())) {
    text.insert(text.begin(), kPrefixes[static_cast<std::size_t>(place)]);
  } else if (k != 0) {
    wide_string factor = u"10^";
    AppendNumber(factor, 3 * k);
    factor += kTimes;
    text.insert(0, factor);
  }
  AppendPower(text, fields.power);
  return text;
}

}  // namespace limes
