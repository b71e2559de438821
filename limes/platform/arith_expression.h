#pragma once

#include <string_view>
#include <vector>

#include "limes/export.h"
#include "limes/platform/text.h"

namespace limes {

/// An expression as tokens in postfix order. One thread at a time.
class LIMES_EXPORT CExpression {
 public:
  enum class Kind {
    kOperand,   ///< a name or a number, signed when it was
    kOperator,  ///< + - * / ^, after its two operands
    kFunction,  ///< name(), after its argument; "-()" is a sign
  };

  struct Token {
    Kind kind = Kind::kOperand;
    wide_string text;
    bool superscript = false;  ///< of "^": the power was written as ² or ³

    bool operator==(const Token& other) const = default;
  };

  /// Empty for an empty text; valid until the expression changes.
  const std::vector<Token>& Tokens() const { return tokens_; }

  /// Replaces the tokens. Throws std::invalid_argument when they are no expression.
  void SetTokens(std::vector<Token> tokens);

  /// The expression as text with the fewest parentheses and no blanks around operators, such that
  /// it parses again; empty without tokens. A power keeps its spelling, but as second character of
  /// the text ² and ³ become ^2 and ^3. O(n * length).
  wide_string Infix() const;

 protected:
  std::vector<Token> tokens_;
};

/// Parser of arithmetic expressions over names, as units are written: "m/s²", "Hz^(-1)".
///
/// expr := term {(+|-) term}; term := power {(*|/) power}; power := primary {^ exponent | ² | ³};
/// exponent := [+|-] primary; primary := name ['(' expr ')'] | '(' [+|-] expr ')'. A name is the
/// longest run of other characters, blanks inside kept, outside dropped. All operators group from
/// the left. At most 256 characters and 64 nested parentheses. One thread at a time.
class LIMES_EXPORT CArithExpression : public CExpression {
 public:
  /// Parses a text; an empty one has no tokens. Throws std::invalid_argument, with the tokens as
  /// before, when it is no expression or too large. O(n).
  void Process(std::u16string_view text);
};

}  // namespace limes
