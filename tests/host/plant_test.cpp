#include <gtest/gtest.h>

#include <limits>

#include "apps/limes/plant/connection.h"
#include "apps/limes/plant/copy_rows.h"

namespace limes::host {
namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(Plant, PasswordsAreNotTold) {
  constexpr std::pair<const char*, const char*> kCases[] = {
      {"postgresql://u:secret@h/db", "postgresql://u:***@h/db"},
      {"postgres://u:s@cr:et@h:1/db?x=1", "postgres://u:***@h:1/db?x=1"},
      {"postgresql://u:se/cret@h, and more", "postgresql://u:***@h, and more"},
      {"postgresql://u@h:5432/db", "postgresql://u@h:5432/db"},
      {"postgresql://h/db?password=secret&sslmode=require",
       "postgresql://h/db?password=***&sslmode=require"},
      {"host=h password = 'se \\'cret' user=u", "host=h password = *** user=u"},
      {"sslpassword=secret", "sslpassword=***"},
      {"two postgresql://a:b@c postgresql://d:e@f",
       "two postgresql://a:***@c postgresql://d:***@f"},
      {"password=", "password=***"},
      {"the password is wrong", "the password is wrong"}};
  for (const auto& [text, expected] : kCases) {
    EXPECT_EQ(WithoutPasswords(text), expected);
  }
}

TEST(Plant, RowsHoldWhateverIsBound) {
  CCopyRows rows;
  rows.Bind("a\tb\\N\r\n\"';").Bind(std::string("\xe4\0x", 3)).Bind("\xed\xa0\x80").Bind("ä");
  rows.EndRow();
  rows.Bind(std::optional(kInf)).Bind(std::optional(-kInf)).Bind(std::optional(0.1)).EndRow();
  rows.Bind(std::optional<double>()).Bind(std::numeric_limits<std::int64_t>::min()).EndRow();
  const std::vector<std::uint8_t> bytes = {0, 255};
  rows.Bind(std::span(bytes)).Bind(std::optional<std::string>()).EndRow();
  EXPECT_EQ(rows.Text(),
            "a\\tb\\\\N\\r\\n\"';\t\\\\xe4\\\\x00x\t\\\\xed\\\\xa0\\\\x80\tä\n"
            "inf\t-inf\t0.1\n"
            "\\N\t-9223372036854775808\n"
            "\\\\x00ff\t\\N\n");
  EXPECT_EQ(BytesOfHex("\\x00ff"), bytes);
  for (const char* wrong : {"", "00ff", "\\x0", "\\x0g", "\\xF0"}) {
    EXPECT_TRUE(BytesOfHex(wrong).empty()) << wrong;
  }
  EXPECT_EQ(TimeText(1709210096789), "2024-02-29T12:34:56.789Z");
  for (const std::int64_t never : {std::int64_t{-1}, std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_EQ(TimeText(never), std::nullopt);
  }
}

}  // namespace
}  // namespace limes::host
