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

/// A unit text taken apart: the base with its prefix, and the power behind it.
struct Parsed {
  wide_string base;
  int power = 1;
};

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

/// The general way: through the expression's tokens.
Parsed ParseExpression(std::u16string_view text) {
  CArithExpression expression;
  expression.Process(text);
  Parsed parsed;
  const std::vector<Token>& tokens = expression.Tokens();
  if (tokens.size() >= 3 && tokens.back().text == u"^") {
    const std::size_t end = tokens.size() - 1;
    const std::size_t start = OperandStart(tokens, end);
    parsed.power = Evaluate(tokens, start, end);
    expression.SetTokens(
        std::vector<Token>(tokens.begin(), tokens.begin() + static_cast<std::ptrdiff_t>(start)));
  }
  parsed.base = expression.Infix();
  return parsed;
}

/// The texts with an operator that most files hold; their infix form is the text itself.
bool IsCommonQuotient(std::u16string_view text) {
  if (HasPrefix(text)) {
    text.remove_prefix(1);
  }
  return text == u"m/s\u00B2" || text == u"m/s" || text == u"rad/s" || text == u"rad/s\u00B2" ||
         text == u"m/h" || text == u"m/s^2";
}

/// What ParseExpression gives for a plain name, with ² or ³ or nothing behind it, and for common
/// quotients; false for every other text.
bool ParsePlain(std::u16string_view text, Parsed& parsed) {
  constexpr std::size_t kMaxPlain = 64;
  if (text.empty() || text.size() > kMaxPlain || text.front() == u' ' || text.back() == u' ') {
    return false;
  }
  const std::size_t end = text.find_first_of(kSyntax);
  if (end == std::u16string_view::npos || IsCommonQuotient(text)) {
    parsed.base = text;
    return true;
  }
  if (end == 0 || end + 1 != text.size() || text[end - 1] == u' ' ||
      (text[end] != u'\u00B2' && text[end] != u'\u00B3')) {
    return false;
  }
  parsed.base = text.substr(0, end);
  parsed.power = text[end] == u'\u00B2' ? 2 : 3;
  return true;
}

std::u16string_view Inside(std::u16string_view text, std::size_t from, std::size_t wrapping) {
  return text.size() <= wrapping ? std::u16string_view()
                                 : text.substr(from, text.size() - wrapping);
}

}  // namespace

bool CMeasuringUnit::set(std::u16string_view text) {
  _construct(false);
  UnitStrings& strings = UnitStrings::theStrings();
  if (text.empty()) {
    buildstringrep();
    return false;
  }
  if (text.size() == 1) {
    set(strings.FindOrAdd(text), 0, 1, 0.0F);
    return true;
  }
  if (text == u"dB(A)" || text == u"dB(Pa)") {
    set(pascal, 0, 1, kHearingThreshold);
    return true;
  }
  std::u16string_view s = text;
  if (s.substr(0, 3) == u"dB(") {
    s = Inside(text, 3, 4);
    SetLogarithmic(true);
    logref_ = 1.0F;
  }
  const std::size_t n = s.size();
  int power = 1;
  if (n > 3 && s[0] == u'(' && s[n - 2] == u')' &&
      (s[n - 1] == u'\u00B2' || s[n - 1] == u'\u00B3')) {
    power = s[n - 1] == u'\u00B3' ? 3 : 2;
    s = text.substr(1, n - 3);  // kept: from the text as given, also inside "dB("
  }
  Parsed parsed;
  if (!ParsePlain(s, parsed)) {
    try {
      parsed = ParseExpression(s);
    } catch (const std::invalid_argument& error) {
      PrWinPrintf(u"CMeasuringUnit::set(): Invalid argument: %s caused: %s\n", text, error.what());
      parsed = {u"...", 1};
    }
  }
  power_ = static_cast<short>(power);
  if (parsed.base.empty()) {
    return false;
  }
  power_ = static_cast<short>(power + parsed.power - 1);
  if (HasPrefix(parsed.base)) {
    exponent_ = static_cast<short>(PrefixExponent(parsed.base[0]) * power_);
    unit_ = strings.FindOrAdd(std::u16string_view(parsed.base).substr(1));
  } else {
    unit_ = strings.FindOrAdd(parsed.base);
  }
  buildstringrep();
  return true;
}

CMeasuringUnit CMeasuringUnit::FromText(std::u16string_view text, bool* exact) {
  CMeasuringUnit unit;
  bool known = false;
  const int whole = text == u"rad/s^2" ? static_cast<int>(radianPerSecond2)
                                       : UnitStrings::theStrings().Find(text);
  if (whole >= 0) {
    unit.set(static_cast<std::uint32_t>(whole), 0, 1, 0.0F);
    known = true;
  } else if (unit.set(text)) {
    // A prefix before one of these is more likely another unit: kg, ft, kn, Gy.
    const bool doubtful = unit.exponent_ != 0 && ((unit.unit_ >= number && unit.unit_ <= axisZ) ||
                                                  unit.unit_ == gravity || unit.unit_ == dateTime);
    known = unit.unit_ != 0 && !doubtful;
  }
  if (exact != nullptr) {
    *exact = known;
  }
  return unit;
}

}  // namespace limes
