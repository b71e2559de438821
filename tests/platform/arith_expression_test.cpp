#include "limes/platform/arith_expression.h"

#include <stdexcept>

#include "tests/support/show.h"

namespace limes::test {
namespace {

std::string Postfix(const CExpression& expression) {
  std::string text;
  for (const CExpression::Token& token : expression.Tokens()) {
    text.append(text.empty() ? "" : " ").append(WideToUtf8(token.text));
  }
  return text;
}

TEST(ArithExpression, TokensAndInfix) {
  for (const auto& [text, shown] :
       Rows(": : ; m/s²: m s 2 ^ /: m/s²; m²/s: m 2 ^ s /: m^2/s; m/s^2: m s 2 ^ /: m/s^2; "
            "Hz^(-1): Hz -1 ^: Hz^(-1); Hz^-1: Hz -1 ^: Hz^(-1);  a  b * c : a  b c *: a  b*c; "
            "a-(b-c): a b c - -: a-(b-c); (a-b)-c: a b - c -: a-b-c; "
            "(a+b)*c: a b + c *: (a+b)*c; a/(b*c): a b c * /: a/(b*c); "
            "(a*b)^2^c: a b * 2 ^ c ^: (a*b)^2^c; a^(b^c): a b c ^ ^: a^(b^c); "
            "dB(m/s)²: m s / dB() 2 ^: dB(m/s)²; (-a)*b: a -() b *: (-a)*b; %²: % 2 ^: %^2; "
            "f((-a)): a -() f(): f((-a)); (-1): -1: (-1); m²³: m 2 ^ 3 ^: m^2³")) {
    CArithExpression expression;
    expression.Process(text);
    EXPECT_EQ(Postfix(expression) + ": " + WideToUtf8(expression.Infix()), shown)
        << WideToUtf8(text);
  }
}

TEST(ArithExpression, RefusesWhatIsNone) {
  CArithExpression expression;
  expression.Process(u"a");
  for (const std::u16string& text :
       {std::u16string(u"a+"), std::u16string(u"²"), std::u16string(u"(a"), std::u16string(u"a)"),
        std::u16string(u"  "), std::u16string(1000000, u'('), std::u16string(65, u'(') + u"a",
        std::u16string(300, u'a')}) {
    EXPECT_THROW(expression.Process(text), std::invalid_argument);
    EXPECT_EQ(Postfix(expression), "a");
  }
  const CExpression::Token operand = {CExpression::Kind::kOperand, u"a"};
  EXPECT_THROW(expression.SetTokens({{CExpression::Kind::kOperator, u"+"}}), std::invalid_argument);
  EXPECT_THROW(expression.SetTokens({operand, operand}), std::invalid_argument);
  EXPECT_EQ(Postfix(expression), "a");
}

}  // namespace
}  // namespace limes::test
