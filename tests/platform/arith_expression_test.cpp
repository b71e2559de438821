#include "limes/platform/arith_expression.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace limes {
namespace {

std::string Postfix(const CExpression& expression) {
  std::string text;
  for (const CExpression::Token& token : expression.Tokens()) {
    text += WideToUtf8(token.text) + " ";
  }
  return text;
}

TEST(ArithExpression, TokensAndInfix) {
  constexpr struct {
    const char16_t* text;
    const char* postfix;
    const char* infix;
  } kCases[] = {
      {u"", "", ""},
      {u"m/s²", "m s 2 ^ / ", "m/s²"},
      {u"m²/s", "m 2 ^ s / ", "m^2/s"},
      {u"m/s^2", "m s 2 ^ / ", "m/s^2"},
      {u"Hz^(-1)", "Hz -1 ^ ", "Hz^(-1)"},
      {u"Hz^-1", "Hz -1 ^ ", "Hz^(-1)"},
      {u" a  b * c ", "a  b c * ", "a  b*c"},
      {u"a-(b-c)", "a b c - - ", "a-(b-c)"},
      {u"(a-b)-c", "a b - c - ", "a-b-c"},
      {u"(a+b)*c", "a b + c * ", "(a+b)*c"},
      {u"a/(b*c)", "a b c * / ", "a/(b*c)"},
      {u"(a*b)^2^c", "a b * 2 ^ c ^ ", "(a*b)^2^c"},
      {u"a^(b^c)", "a b c ^ ^ ", "a^(b^c)"},
      {u"dB(m/s)²", "m s / dB() 2 ^ ", "dB(m/s)²"},
      {u"(-a)*b", "a -() b * ", "(-a)*b"},
      {u"%²", "% 2 ^ ", "%^2"},
      {u"f((-a))", "a -() f() ", "f((-a))"},
      {u"(-1)", "-1 ", "(-1)"},
      {u"m²³", "m 2 ^ 3 ^ ", "m^2³"},
  };
  for (const auto& c : kCases) {
    CArithExpression expression;
    expression.Process(c.text);
    EXPECT_EQ(Postfix(expression), c.postfix);
    EXPECT_EQ(WideToUtf8(expression.Infix()), c.infix);
  }
}

TEST(ArithExpression, RefusesWhatIsNone) {
  CArithExpression expression;
  expression.Process(u"a");
  const std::u16string texts[] = {u"a+",
                                  u"²",
                                  u"(a",
                                  u"a)",
                                  u"  ",
                                  std::u16string(1000000, u'('),
                                  std::u16string(65, u'(') + u"a",
                                  std::u16string(300, u'a')};
  for (const std::u16string& text : texts) {
    EXPECT_THROW(expression.Process(text), std::invalid_argument);
    EXPECT_EQ(Postfix(expression), "a ");
  }
  const CExpression::Token operand = {CExpression::Kind::kOperand, u"a"};
  EXPECT_THROW(expression.SetTokens({{CExpression::Kind::kOperator, u"+"}}), std::invalid_argument);
  EXPECT_THROW(expression.SetTokens({operand, operand}), std::invalid_argument);
  EXPECT_EQ(Postfix(expression), "a ");
}

}  // namespace
}  // namespace limes
