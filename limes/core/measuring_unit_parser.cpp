#include <algorithm>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <vector>

#include "limes/core/measuring_unit.h"
#include "limes/platform/arith_expression.h"
#include "limes/platform/print_window.h"

namespace limes {
namespace {

using Token = CExpression::Token;
using Kind = CExpression::Kind;

constexpr std::u16string_view kSyntax = u"+-*/^()\u00B2\u00B3";
constexpr std::u16string_view kOperators = u"+-*/^()";
constexpr int kMaxPower = 1000;
constexpr std::int64_t kMaxNumber = 1'000'000'000;  ///< on the way to a power
constexpr std::int64_t kMaxFactor = 30000;          ///< of an exponent that is written out
constexpr std::u16string_view kNotParsed = u"...";
constexpr float kHearingThreshold = 2e-5F;  ///< Pa, the reference of sound pressure levels

int PrefixExponent(char16_t letter) {
  switch (letter) {
    case u'f':
      return -15;
    case u'p':
      return -12;
    case u'n':
      return -9;
    case u'u':
    case u'\u00B5':
      return -6;
    case u'm':
      return -3;
    case u'k':
      return 3;
    case u'M':
      return 6;
    case u'G':
      return 9;
    case u'T':
      return 12;
    default:
      return 0;
  }
}

bool HasPrefix(std::u16string_view base) {
  return base.size() > 1 && kOperators.find(base[1]) == std::u16string_view::npos &&
         PrefixExponent(base[0]) != 0;
}

/// Start of the complete operand that ends before index end of the tokens.
std::size_t OperandStart(const std::vector<Token>& tokens, std::size_t end) {
  std::size_t wanted = 1;
  std::size_t at = end;
  while (wanted > 0) {
    --at;  // the expression is complete, so the operand begins before the first token
    if (tokens[at].kind == Kind::kOperand) {
      --wanted;
    } else if (tokens[at].kind == Kind::kOperator) {
      ++wanted;
    }
  }
  return at;
}

/// Takes an integer off the front of a text; nothing when there is none that is small enough.
std::optional<std::int64_t> TakeInteger(std::u16string_view& text) {
  const bool negative = text.starts_with(u'-');
  std::u16string_view rest = text.substr(negative ? 1 : 0);
  std::int64_t value = 0;
  std::size_t digits = 0;
  for (; digits < rest.size() && rest[digits] >= u'0' && rest[digits] <= u'9'; ++digits) {
    value = std::min(value * 10 + (rest[digits] - u'0'), kMaxNumber + 1);
  }
  if (digits == 0 || value > kMaxNumber) {
    return std::nullopt;
  }
  text = rest.substr(digits);
  return negative ? -value : value;
}

std::int64_t PowerNumber(std::u16string_view text) {
  const std::optional<std::int64_t> value = TakeInteger(text);
  if (!value.has_value() || !text.empty()) {
    throw std::invalid_argument("power is no integer");
  }
  return *value;
}

/// Value of a power operand: integers with + - * and signs. The limit holds for the result.
int Evaluate(const std::vector<Token>& tokens, std::size_t begin, std::size_t end) {
  std::vector<std::int64_t> stack;
  for (std::size_t i = begin; i < end; ++i) {
    const Token& token = tokens[i];
    if (token.kind == Kind::kOperand) {
      stack.push_back(PowerNumber(token.text));
      continue;
    }
    if (token.kind == Kind::kFunction) {
      if (token.text != u"-()") {
        throw std::invalid_argument("power is no integer");
      }
      stack.back() = -stack.back();
      continue;
    }
    const std::int64_t right = stack.back();
    stack.pop_back();
    std::int64_t& left = stack.back();
    if (token.text == u"+") {
      left += right;
    } else if (token.text == u"-") {
      left -= right;
    } else if (token.text == u"*") {
      left *= right;
    } else {
      throw std::invalid_argument("power is no integer");
    }
    if (std::abs(left) > kMaxNumber) {
      throw std::invalid_argument("power out of range");
    }
  }
  if (std::abs(stack.back()) > kMaxPower) {
    throw std::invalid_argument("power out of range");
  }
  return static_cast<int>(stack.back());
}

/// The general way, through the expression's tokens: the base with its prefix, and its power.
wide_string ParseExpression(std::u16string_view text, int& power) {
  CArithExpression expression;
  expression.Process(text);
  const std::vector<Token>& tokens = expression.Tokens();
  if (tokens.size() >= 3 && tokens.back().text == u"^") {
    const std::size_t end = tokens.size() - 1;
    const std::size_t start = OperandStart(tokens, end);
    power = Evaluate(tokens, start, end);
    expression.SetTokens(
        std::vector<Token>(tokens.begin(), tokens.begin() + static_cast<std::ptrdiff_t>(start)));
  }
  return expression.Infix();
}

bool IsSuperscript(char16_t c) { return c == u'\u00B2' || c == u'\u00B3'; }

/// Removes the name at the front; false when there is none, or one with a blank at an end.
bool TakeName(std::u16string_view& rest) {
  const std::size_t n = std::min(rest.find_first_of(kSyntax), rest.size());
  if (n == 0 || rest[0] == u' ' || rest[n - 1] == u' ') {
    return false;
  }
  rest.remove_prefix(n);
  return true;
}

/// What ParseExpression gives for a, a², a/b, a/b² and a/b^c, whose infix form is the text itself;
/// false for every other text.
bool ParsePlain(std::u16string_view text, std::u16string_view& base, int& power) {
  constexpr std::size_t kMaxPlain = 64;
  std::u16string_view rest = text;
  if (text.size() > kMaxPlain || !TakeName(rest)) {
    return false;
  }
  if (rest.size() == 1 && IsSuperscript(rest[0])) {
    power = rest[0] == u'\u00B2' ? 2 : 3;
    text.remove_suffix(1);
  } else if (!rest.empty()) {
    if (rest[0] != u'/') {
      return false;
    }
    rest.remove_prefix(1);
    if (!TakeName(rest)) {
      return false;
    }
    if (rest.size() > 1 && rest[0] == u'^') {
      rest.remove_prefix(1);
      if (!TakeName(rest) || !rest.empty()) {
        return false;
      }
    } else if (rest.size() > 1 || (rest.size() == 1 && !IsSuperscript(rest[0]))) {
      return false;
    }
  }
  base = text;
  return true;
}

std::u16string_view Inside(std::u16string_view text, std::size_t from, std::size_t wrapping) {
  return text.size() <= wrapping ? std::u16string_view()
                                 : text.substr(from, text.size() - wrapping);
}

/// A text taken apart: the fields but the unit, and the text to look that up by.
struct Parsed {
  SMeasuringUnitPOD fields;
  std::u16string_view base;
  wide_string infix;  ///< holds the base where that is no part of the text

  void SetLevel(float reference) {
    fields.logref = reference;
    fields.flags = 1;
  }

  /// Splits off a prefix letter.
  void TakePrefix() {
    if (HasPrefix(base)) {
      fields.exponent = static_cast<short>(PrefixExponent(base[0]) * fields.power);
      base.remove_prefix(1);
    }
  }
};

/// Takes a text of at least two characters apart, but for a prefix; false when nothing is left to
/// look up.
bool Parse(std::u16string_view text, Parsed& out) {
  std::u16string_view s = text;
  if (s.substr(0, 3) == u"dB(") {
    s = Inside(text, 3, 4);
    out.SetLevel(1.0F);
  }
  const std::size_t n = s.size();
  if (n > 3 && s[0] == u'(' && s[n - 2] == u')' && IsSuperscript(s[n - 1])) {
    out.fields.power = s[n - 1] == u'\u00B3' ? 3 : 2;
    s = text.substr(1, n - 3);  // kept: from the text as given, also inside "dB("
  }
  int count = 1;
  if (!ParsePlain(s, out.base, count)) {
    try {
      out.infix = ParseExpression(s, count);
      out.base = out.infix;
    } catch (const std::invalid_argument& error) {
      PrWinPrintf(u"CMeasuringUnit::set(): Invalid argument: %s caused: %s\n", text, error.what());
      out.base = kNotParsed;
      count = 1;
    }
  }
  out.fields.power = static_cast<short>(out.fields.power + count - 1);
  return !out.base.empty();
}

/// Takes "²", "³", "^n" or "^(n)" off the end of a text, and the parentheses that it stands behind.
bool TakePower(std::u16string_view& text, std::int64_t& power) {
  std::u16string_view base = text;
  std::optional<std::int64_t> n;
  if (!base.empty() && IsSuperscript(base.back())) {
    n = base.back() == u'\u00B2' ? 2 : 3;
    base.remove_suffix(1);
  } else if (const std::size_t caret = base.rfind(u'^'); caret != base.npos) {
    std::u16string_view number = base.substr(caret + 1);
    const bool wrapped = number.starts_with(u'(') && number.ends_with(u')');
    number = wrapped ? Inside(number, 1, 2) : number;
    n = TakeInteger(number);
    if (!number.empty()) {
      return false;
    }
    base = base.substr(0, caret);
  }
  if (base.starts_with(u'(') && base.ends_with(u')')) {
    base = Inside(base, 1, 2);
  } else if (base.find_first_of(kOperators) != base.npos) {
    return false;
  }
  if (!n.has_value() || std::abs(power * *n) > kMaxPower) {
    return false;
  }
  text = base;
  power *= *n;
  return true;
}

/// Takes a factor "10^n" before the given character off the front of a text.
std::optional<std::int64_t> TakeFactor(std::u16string_view& text, char16_t end) {
  std::u16string_view rest = text.substr(std::min<std::size_t>(text.size(), 3));
  const std::optional<std::int64_t> n = text.starts_with(u"10^") ? TakeInteger(rest) : std::nullopt;
  if (!n.has_value() || !rest.starts_with(end) || std::abs(*n) > kMaxFactor) {
    return std::nullopt;
  }
  text = rest.substr(1);
  return n;
}

/// The prefix at the front of a text as people write it, taken off; 0 when there is none.
std::int64_t TakeWrittenPrefix(std::u16string_view& text) {
  constexpr char16_t kGreekMu = u'\u03BC';
  if (const auto factor = TakeFactor(text, u'\u00B7')) {
    return *factor;
  }
  const bool greek = text.size() > 1 && text[0] == kGreekMu;
  if (!greek && !HasPrefix(text)) {
    return 0;
  }
  const int exponent = greek ? PrefixExponent(u'\u00B5') : PrefixExponent(text[0]);
  text.remove_prefix(1);
  return exponent;
}

/// Reads what may stand around a base unit as it is shown, from outside to inside, until what is
/// left is in the table; false when that never is.
bool ParseShown(std::u16string_view text, Parsed& out) {
  const CMeasuringUnit::UnitStrings& strings = CMeasuringUnit::UnitStrings::theStrings();
  const std::size_t whole = text.size();
  const std::optional<std::int64_t> factor = TakeFactor(text, u' ');
  std::int64_t power = 1;
  std::int64_t prefix = 0;
  bool level = false;
  while (!text.empty()) {
    // Text that is another spelling only here.
    int unit = text == u"rad/s^2" ? static_cast<int>(commonUnits::radianPerSecond2) : -1;
    if (text == u"dB(A)") {
      unit = commonUnits::pascal;
      level = true;
    } else if (unit < 0) {
      unit = strings.Find(text);
    }
    if (unit > 0 || (unit == 0 && text.size() == whole)) {
      out.fields.unit = static_cast<std::uint32_t>(unit);
      out.fields.power = static_cast<short>(power);
      out.fields.exponent = static_cast<short>(factor.value_or(prefix * power));
      if (level) {
        out.SetLevel(unit == commonUnits::pascal ? kHearingThreshold : 1.0F);
      }
      return true;
    }
    if (text.starts_with(u"dB(") && text.ends_with(u')')) {
      text = Inside(text, 3, 4);
      level = true;
    } else if (!TakePower(text, power)) {
      prefix = prefix == 0 ? TakeWrittenPrefix(text) : 0;
      if (prefix == 0) {
        return false;
      }
    }
  }
  return false;
}

}  // namespace

bool CMeasuringUnit::Parse(std::u16string_view text) {
  Parsed parsed{.fields = NoFields(), .base = text, .infix = {}};
  if (text.empty()) {
    Take(parsed.fields);
    return false;
  }
  if (text == u"dB(A)" || text == u"dB(Pa)") {
    parsed.SetLevel(kHearingThreshold);
    parsed.fields.unit = pascal;
  } else if (text.size() == 1 || limes::Parse(text, parsed)) {
    parsed.TakePrefix();
    parsed.fields.unit = UnitStrings::theStrings().FindOrAdd(UpToZero(parsed.base));
  } else {
    fields_ = parsed.fields;
    text_.clear();
    return false;
  }
  Take(parsed.fields);
  return true;
}

CMeasuringUnit CMeasuringUnit::FromText(std::u16string_view text, bool* exact) {
  CMeasuringUnit unit;
  Parsed parsed{.fields = NoFields(), .base = text, .infix = {}};
  bool known = ParseShown(text, parsed);
  if (!known && !text.empty()) {  // a record without a text registers the empty one
    UnitStrings& strings = UnitStrings::theStrings();
    parsed = {.fields = NoFields(), .base = text, .infix = {}};
    if (text.size() > 1 && (!limes::Parse(text, parsed) || parsed.base == kNotParsed)) {
      parsed = {.fields = NoFields(), .base = text, .infix = {}};
    }
    const std::u16string_view whole = parsed.base;
    parsed.TakePrefix();
    int number = strings.Find(parsed.base);
    known = number > 0;
    if (!known) {  // a prefix of something unknown is none
      number = static_cast<int>(strings.FindOrAdd(UpToZero(whole)));
      parsed.fields.exponent = 0;
    }
    parsed.fields.unit = static_cast<std::uint32_t>(number);
    if (number == 0) {
      parsed.fields = NoFields();
    }
  }
  unit.Take(parsed.fields);
  if (exact != nullptr) {
    // A prefix before one of these is more likely another unit: kg, ft, kn, Gy.
    const std::uint32_t n = parsed.fields.unit;
    const bool doubtful = (n >= number && n <= axisZ) || n == gravity || n == dateTime;
    *exact = known && !(doubtful && parsed.fields.exponent != 0);
  }
  return unit;
}

}  // namespace limes
