#include "limes/platform/arith_expression.h"

#include <algorithm>
#include <initializer_list>
#include <stdexcept>
#include <utility>

namespace limes {
namespace {

using Kind = CExpression::Kind;
using Token = CExpression::Token;

constexpr std::size_t kMaxLength = 256;
constexpr int kMaxNesting = 64;
constexpr std::u16string_view kSyntax = u"+-*/^()\u00B2\u00B3";

bool IsInteger(std::u16string_view text) {
  return !text.empty() && text.find_first_not_of(u"0123456789") == std::u16string_view::npos;
}

wide_string Joined(std::initializer_list<std::u16string_view> parts) {
  wide_string text;
  for (const std::u16string_view part : parts) {
    text.append(part);
  }
  return text;
}

class Parser {
 public:
  explicit Parser(std::u16string_view text) : text_(text) {}

  std::vector<Token> Parse() {
    Expression(false);
    if (at_ < text_.size()) {
      throw std::invalid_argument("unexpected character");
    }
    return std::move(tokens_);
  }

 private:
  bool Take(char16_t c) {
    SkipBlanks();
    if (at_ < text_.size() && text_[at_] == c) {
      ++at_;
      return true;
    }
    return false;
  }

  void SkipBlanks() {
    while (at_ < text_.size() && text_[at_] == u' ') {
      ++at_;
    }
  }

  void Operator(char16_t c, bool superscript = false) {
    tokens_.push_back({Kind::kOperator, wide_string(1, c), superscript});
  }

  void Negate(std::size_t first) {
    if (tokens_.size() == first + 1 && IsInteger(tokens_.back().text)) {
      tokens_.back().text = Joined({u"-", tokens_.back().text});
    } else {
      tokens_.push_back({Kind::kFunction, u"-()", false});
    }
  }

  void Expression(bool negative) {
    const std::size_t first = tokens_.size();
    Term();
    if (negative) {
      Negate(first);
    }
    while (true) {
      if (Take(u'+')) {
        Term();
        Operator(u'+');
      } else if (Take(u'-')) {
        Term();
        Operator(u'-');
      } else {
        return;
      }
    }
  }

  void Term() {
    Power();
    while (true) {
      if (Take(u'*')) {
        Power();
        Operator(u'*');
      } else if (Take(u'/')) {
        Power();
        Operator(u'/');
      } else {
        return;
      }
    }
  }

  void Power() {
    Primary();
    while (true) {
      if (Take(u'^')) {
        const bool negative = Take(u'-');
        if (!negative) {
          Take(u'+');
        }
        const std::size_t first = tokens_.size();
        Primary();
        if (negative) {
          Negate(first);
        }
        Operator(u'^');
      } else if (Take(u'\u00B2')) {
        tokens_.push_back({Kind::kOperand, u"2", false});
        Operator(u'^', true);
      } else if (Take(u'\u00B3')) {
        tokens_.push_back({Kind::kOperand, u"3", false});
        Operator(u'^', true);
      } else {
        return;
      }
    }
  }

  void Primary() {
    if (Take(u'(')) {
      Enter();
      const bool negative = Take(u'-');
      if (!negative) {
        Take(u'+');
      }
      Expression(negative);
      Leave();
      return;
    }
    SkipBlanks();
    std::size_t end = std::min(text_.find_first_of(kSyntax, at_), text_.size());
    const std::size_t behind = end;
    while (end > at_ && text_[end - 1] == u' ') {
      --end;
    }
    if (end == at_) {
      throw std::invalid_argument("operand expected");
    }
    wide_string name(text_.substr(at_, end - at_));
    at_ = behind;
    if (Take(u'(')) {
      Enter();
      Expression(false);
      Leave();
      tokens_.push_back({Kind::kFunction, name.append(u"()"), false});
    } else {
      tokens_.push_back({Kind::kOperand, std::move(name), false});
    }
  }

  void Enter() {
    if (++nesting_ > kMaxNesting) {
      throw std::invalid_argument("nested too deeply");
    }
  }

  void Leave() {
    --nesting_;
    if (!Take(u')')) {
      throw std::invalid_argument("closing parenthesis expected");
    }
  }

  std::u16string_view text_;
  std::size_t at_ = 0;
  int nesting_ = 0;
  std::vector<Token> tokens_;
};

/// A piece of infix text.
struct Piece {
  wide_string text;
  int rank = 0;  ///< 0 signed, 1 sum, 2 product, 3 power, 4 operand
};

int Rank(char16_t op) {
  switch (op) {
    case u'+':
    case u'-':
      return 1;
    case u'*':
    case u'/':
      return 2;
    default:
      return 3;
  }
}

wide_string Wrapped(const Piece& piece, bool wrap) {
  return wrap ? Joined({u"(", piece.text, u")"}) : piece.text;
}

Piece Combined(const Piece& left, const Token& token, const Piece& right) {
  const char16_t op = token.text[0];
  const int rank = Rank(op);
  const wide_string head = Wrapped(left, left.rank < rank);
  if (op != u'^') {
    const bool strict = op == u'-' || op == u'/';
    return {
        Joined({head, token.text, Wrapped(right, strict ? right.rank <= rank : right.rank < rank)}),
        rank};
  }
  if (token.superscript && (right.text == u"2" || right.text == u"3")) {
    return {Joined({head, right.text == u"2" ? u"\u00B2" : u"\u00B3"}), rank};
  }
  return {Joined({head, u"^", Wrapped(right, right.rank < 4)}), rank};
}

/// The pieces that the tokens leave; throws when an operator lacks an operand.
std::vector<Piece> Pieces(const std::vector<Token>& tokens) {
  std::vector<Piece> stack;
  const auto pop = [&stack] {
    if (stack.empty()) {
      throw std::invalid_argument("operand expected");
    }
    Piece piece = std::move(stack.back());
    stack.pop_back();
    return piece;
  };
  for (const Token& token : tokens) {
    if (token.text.empty()) {
      throw std::invalid_argument("empty token");
    }
    if (token.kind == Kind::kOperand) {
      // A signed number needs parentheses wherever an operator stands before it.
      stack.push_back({token.text, token.text[0] == u'-' ? 0 : 4});
    } else if (token.kind == Kind::kFunction) {
      const Piece argument = pop();
      if (token.text == u"-()") {
        stack.push_back({Joined({u"-", Wrapped(argument, argument.rank < 3)}), 0});
      } else {
        const std::size_t name = token.text.size() - std::min<std::size_t>(2, token.text.size());
        const wide_string inside = Wrapped(argument, argument.rank == 0);
        stack.push_back(
            {Joined({std::u16string_view(token.text).substr(0, name), u"(", inside, u")"}), 4});
      }
    } else {
      const Piece right = pop();
      const Piece left = pop();
      stack.push_back(Combined(left, token, right));
    }
  }
  return stack;
}

}  // namespace

void CExpression::SetTokens(std::vector<Token> tokens) {
  if (!tokens.empty() && Pieces(tokens).size() != 1) {
    throw std::invalid_argument("operator expected");
  }
  tokens_ = std::move(tokens);
}

wide_string CExpression::Infix() const {
  if (tokens_.empty()) {
    return {};
  }
  const std::vector<Piece> pieces = Pieces(tokens_);
  wide_string text = Wrapped(pieces.back(), pieces.back().rank == 0);
  // A reader takes the first character for a prefix unless an operator follows it.
  if (text.size() > 1 && (text[1] == u'\u00B2' || text[1] == u'\u00B3')) {
    text.replace(1, 1, text[1] == u'\u00B2' ? u"^2" : u"^3");
  }
  return text;
}

void CArithExpression::Process(std::u16string_view text) {
  if (text.size() > kMaxLength) {
    throw std::invalid_argument("too long");
  }
  tokens_ = text.empty() ? std::vector<Token>() : Parser(text).Parse();
}

}  // namespace limes
