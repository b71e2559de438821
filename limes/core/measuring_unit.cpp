#include "limes/core/measuring_unit.h"

#include <algorithm>
#include <atomic>

namespace limes {
namespace {

std::atomic<std::uint32_t> g_globalFlags = 0;

constexpr std::u16string_view kPrefixes = u"fpn\u00B5m-kMGT";
constexpr int kNoPrefix = 5;  ///< place of '-' in kPrefixes

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
    : unit(other.Unit_e()),
      exponent(other.Exponent()),
      power(other.Power()),
      logref(other.Logref()),
      flags(other.Flags()) {}

CMeasuringUnit::CMeasuringUnit() : text_(1, u'-') {}

CMeasuringUnit::CMeasuringUnit(commonUnits unit, short exponent, short power, float logref) {
  set(unit, exponent, power, logref);
}

CMeasuringUnit::CMeasuringUnit(std::u16string_view text, short exponent, short power,
                               float logref) {
  if (exponent == 0 && power == 1) {
    set(text);
  } else {
    set(UnitStrings::theStrings().FindOrAdd(UpToZero(text)), exponent, power, logref);
  }
}

CMeasuringUnit::CMeasuringUnit(const CMeasuringUnit& other, bool /*deep*/)
    : CMeasuringUnit(other) {}

CMeasuringUnit& CMeasuringUnit::operator=(const CMeasuringUnit& other) {
  text_ = other.text_;  // alone may fail
  unit_ = other.unit_;
  exponent_ = other.exponent_;
  power_ = other.power_;
  logref_ = other.logref_;
  flags_ = other.flags_;
  return *this;
}

void CMeasuringUnit::copy(const CMeasuringUnit& other, bool /*deep*/) { *this = other; }

void CMeasuringUnit::_construct(bool keepFields) {
  if (keepFields) {
    buildstringrep();
    return;
  }
  SetFields(0, 0, 1, 0.0F);
  flags_ = 0;
  text_.clear();
}

void CMeasuringUnit::SetFields(std::uint32_t unit, short exponent, short power, float logref) {
  unit_ = unit;
  exponent_ = exponent;
  power_ = power;
  logref_ = logref;
  SetLogarithmic(logref != 0.0F);
}

void CMeasuringUnit::set(std::uint32_t unit, short exponent, short power, float logref) {
  SetFields(unit, exponent, power, logref);
  buildstringrep();
}

bool CMeasuringUnit::setA(const char* text) {
  constexpr std::size_t kMaxText = 256;
  const std::string_view all = text == nullptr ? std::string_view() : text;
  return set(Cp1252ToWide(all.substr(0, kMaxText)));
}

CMeasuringUnit& CMeasuringUnit::power(short n) {
  exponent_ = Narrow(exponent_ * n);
  power_ = Narrow(power_ * n);
  buildstringrep();
  return *this;
}

bool CMeasuringUnit::root(short n) {
  if (n == 0 || power_ % n != 0 || power_ / n == 0) {
    return false;
  }
  power_ = Narrow(power_ / n);
  exponent_ = Narrow(exponent_ / n);
  buildstringrep();
  return true;
}

void CMeasuringUnit::invert() {
  if (logref_ != 0.0F) {
    return;
  }
  const std::uint32_t reciprocal = UnitStrings::inverseIndex(unit_);
  if (reciprocal != 0) {
    unit_ = reciprocal;
  } else {
    power_ = Narrow(-power_);
  }
  exponent_ = Narrow(-exponent_);
  buildstringrep();
}

CMeasuringUnit& CMeasuringUnit::logref(float reference) {
  logref_ = reference;
  SetLogarithmic(reference != 0.0F);
  return *this;
}

void CMeasuringUnit::set_log(bool on) { SetLogarithmic(on); }

void CMeasuringUnit::clearExponent() {
  exponent_ = 0;
  buildstringrep();
}

void CMeasuringUnit::clearPower() {
  power_ = 0;  // kept: 0, not 1
  buildstringrep();
}

const char* CMeasuringUnit::prefixunitA() const {
  constexpr std::size_t kMaxText = 255;
  thread_local std::array<char, kMaxText + 1> buffer;
  const std::string text = WideToCp1252(text_).substr(0, kMaxText);
  *std::copy(text.begin(), text.end(), buffer.begin()) = '\0';
  return buffer.data();
}

const wide_string& CMeasuringUnit::baseunit() const { return UnitStrings::theStrings()[unit_]; }

wide_string CMeasuringUnit::mainunit() const {
  wide_string text = baseunit();
  AppendPower(text, power_);
  return is_log() && !IsLevelText(text_) ? Level(text) : text;
}

wide_string CMeasuringUnit::ExactText() const {
  const int shown = 3 * PrefixIndex(exponent_, power_) * power_;
  if (unit_ == 0 || shown == exponent_) {
    return text_;
  }
  wide_string text = u"10^";
  AppendNumber(text, exponent_);
  text += u' ';
  CMeasuringUnit whole = *this;
  whole.clearExponent();
  text += whole.text_;
  return text;
}

bool CMeasuringUnit::operator==(const CMeasuringUnit& other) const {
  return unit_ == other.unit_ && exponent_ == other.exponent_ && power_ == other.power_ &&
         logref_ == other.logref_ && flags_ == other.flags_;
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

bool CMeasuringUnit::IsPlainLevel() const {
  return is_log() && TestGlobalFlag(kShowPlainDb) &&
         (unit_ == gravity || unit_ == metrePerSecond2 || unit_ == metrePerSecond);
}

void CMeasuringUnit::buildstringrep() {
  if (unit_ == 0) {
    text_.assign(1, u'-');
    return;
  }
  const wide_string& base = baseunit();
  if (is_log() && unit_ == pascal && TestGlobalFlag(kShowDbA)) {
    text_ = u"dB(A)";
  } else if (IsPlainLevel()) {
    text_ = u"dB";
  } else if (is_log() && !IsLevelText(base)) {
    text_ = Level(base);
  } else {
    text_ = base;
  }
  const int k = PrefixIndex(exponent_, power_);
  if (k != 0) {
    const int place = kNoPrefix + k;
    if (place >= 0 && place < static_cast<int>(kPrefixes.size())) {
      text_.insert(text_.begin(), kPrefixes[static_cast<std::size_t>(place)]);
    } else {
      wide_string factor = u"10^";
      AppendNumber(factor, 3 * k);
      factor += u'\u00B7';
      text_.insert(0, factor);
    }
  }
  AppendPower(text_, power_);
}

}  // namespace limes
