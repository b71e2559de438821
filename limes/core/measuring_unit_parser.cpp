#include <algorithm>
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

int PowerNumber(std::u16string_view text) {
  const bool negative = text.substr(0, 1) == u"-";
  int value = 0;
  for (const char16_t c : text.substr(negative ? 1 : 0)) {
    if (c < u'0' || c > u'9') {
      throw std::invalid_argument("power is no integer");
    }
    value = value * 10 + (c - u'0');
    if (value > kMaxPower) {
      throw std::invalid_argument("power out of range");
    }
  }
  return negative ? -value : value;
}

/// Value of a power operand: integers with + - * and signs.
int Evaluate(const std::vector<Token>& tokens, std::size_t begin, std::size_t end) {
  std::vector<int> stack;
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
    const int right = stack.back();
    stack.pop_back();
    int& left = stack.back();
    if (token.text == u"+") {
      left += right;
    } else if (token.text == u"-") {
      left -= right;
    } else if (token.text == u"*") {
      left *= right;
    } else {
      throw std::invalid_argument("power is no integer");
    }
    if (left > kMaxPower || left < -kMaxPower) {
      throw std::invalid_argument("power out of range");
    }
  }
  return stack.back();
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

}  // namespace

bool CMeasuringUnit::ParseFields(std::u16string_view text, std::u16string_view& base,
                                 wide_string& infix) {
  _construct(false);
  if (text.empty()) {
    buildstringrep();
    return false;
  }
  if (text.size() == 1) {
    base = text;
    return true;
  }
  if (text == u"dB(A)" || text == u"dB(Pa)") {
    SetFields(pascal, 0, 1, kHearingThreshold);
    base = u"Pa";
    return true;
  }
  std::u16string_view s = text;
  if (s.substr(0, 3) == u"dB(") {
    s = Inside(text, 3, 4);
    SetLogarithmic(true);
    logref_ = 1.0F;
  }
  const std::size_t n = s.size();
  if (n > 3 && s[0] == u'(' && s[n - 2] == u')' && IsSuperscript(s[n - 1])) {
    power_ = s[n - 1] == u'\u00B3' ? 3 : 2;
    s = text.substr(1, n - 3);  // kept: from the text as given, also inside "dB("
  }
  int count = 1;
  if (!ParsePlain(s, base, count)) {
    try {
      infix = ParseExpression(s, count);
      base = infix;
    } catch (const std::invalid_argument& error) {
      PrWinPrintf(u"CMeasuringUnit::set(): Invalid argument: %s caused: %s\n", text, error.what());
      base = u"...";
      count = 1;
    }
  }
  if (base.empty()) {
    return false;
  }
  power_ = static_cast<short>(power_ + count - 1);
  if (HasPrefix(base)) {
    exponent_ = static_cast<short>(PrefixExponent(base[0]) * power_);
    base.remove_prefix(1);
  }
  return true;
}

bool CMeasuringUnit::set(std::u16string_view text) {
  std::u16string_view base;
  wide_string infix;
  if (!ParseFields(text, base, infix)) {
    return false;
  }
  unit_ = UnitStrings::theStrings().FindOrAdd(UpToZero(base));
  buildstringrep();
  return true;
}

CMeasuringUnit CMeasuringUnit::FromText(std::u16string_view text, bool* exact) {
  CMeasuringUnit unit;
  std::u16string_view base;
  wide_string infix;
  bool known = false;
  UnitStrings& strings = UnitStrings::theStrings();
  // A record without a text registers the empty one.
  const int whole = text.empty()         ? -1
                    : text == u"rad/s^2" ? static_cast<int>(radianPerSecond2)
                                         : strings.Find(text);
  if (whole >= 0) {
    unit.set(static_cast<std::uint32_t>(whole), 0, 1, 0.0F);
    known = true;
  } else if (unit.ParseFields(text, base, infix)) {
    known = strings.Find(base) > 0;
    unit.unit_ = strings.FindOrAdd(base);
    unit.buildstringrep();
    // A prefix before one of these is more likely another unit: kg, ft, kn, Gy.
    const bool doubtful = (unit.unit_ >= number && unit.unit_ <= axisZ) || unit.unit_ == gravity ||
                          unit.unit_ == dateTime;
    known = known && !(doubtful && unit.exponent_ != 0);
  }
  if (exact != nullptr) {
    *exact = known;
  }
  return unit;
}

}  // namespace limes
