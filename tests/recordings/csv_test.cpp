#include <gmock/gmock.h>

#include <random>
#include <string>

#include "recordings/errors.h"
#include "recordings/tables/csv_table.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

CMemoryStream BytesOf(std::string_view text) {
  return CMemoryStream(std::vector<std::uint8_t>(text.begin(), text.end()));
}

/// All rows as "[cell][cell];", and what is wrong behind those read before it.
std::string ReadAll(const std::string& text, bool byLibrary) {
  CMemoryStream stream = BytesOf(text);
  std::string rows;
  try {
    CCsvReader reader(stream, "t.csv");
    reader.SplitAllByLibrary(byLibrary);
    for (std::vector<std::string_view> cells; reader.Next(cells); rows += ";") {
      for (const std::string_view cell : cells) {
        rows.append("[").append(cell).append("]");
      }
    }
  } catch (const CInputError& e) {
    rows += e.what();
  }
  return rows;
}

TEST(CsvReader, SplitsRowsOfAnyShape) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"\xEF\xBB\xBF", ""},
      {"\xEF\xBB\xBF-,b\r\n1,2\r\n", "[-][b];[1][2];"},
      {"a\rb\r\rc", "[a];[b];[c];"},
      {"\n  \n\t\na\n\n", "[a];"},
      {",\na,,b,\n", "[][];[a][][b][];"},
      {" a ,\tb c\t\n", "[a][b c];"},
      {"\"a,b\",\"c\"\"d\",\" e \"\nf\n", "[a,b][c\"d][ e ];[f];"},
      {"\"a\nb\",c\r\nd,e\n", "[a\nb][c];[d][e];"},
      {"\"\"\n", "[];"},
      {"a\n\"b\nc\n", "[a];t.csv:2: quotation marks do not match"},
      {"a\"b\n", "t.csv:1: quotation marks do not match"},
      {std::string("\xFF\xFE\xB5\0,\0b\0\n\0", 10), "[µ][b];"},
      {std::string("\xFE\xFF\0a\0,\0b\0\n", 10), "[a][b];"},
      {std::string("a\0b,c", 5), std::string("[a\0b][c];", 9)},
  };
  for (const auto& [text, rows] : cases) {
    EXPECT_EQ(ReadAll(text, false), rows) << testing::PrintToString(text);
    EXPECT_EQ(ReadAll(text, true), rows) << testing::PrintToString(text);
  }
}

TEST(CsvReader, BothSplittersAgreeOnAnyText) {
  std::mt19937 random(7);
  constexpr std::string_view kBytes = "1,\n\r\" \ta-.";
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    for (auto n = random() % 24; n > 0; --n) {
      text += kBytes[random() % kBytes.size()];
    }
    ASSERT_EQ(ReadAll(text, false), ReadAll(text, true)) << testing::PrintToString(text);
  }
}

TEST(CsvReader, RowsMayBeLongerThanItsBlocksAndAreFoundAgain) {
  const std::string longCell(3'000'000, '7');
  CMemoryStream stream = BytesOf("a\n" + longCell + ",x\n\"q\"\nlast");
  CCsvReader reader(stream, "t.csv");
  std::vector<std::string_view> cells;
  std::vector<CCsvReader::SPlace> places;
  while (reader.Next(cells)) {
    places.push_back(reader.Place());
  }
  ASSERT_EQ(places.size(), 4U);
  constexpr std::size_t kSizes[] = {1, 3'000'000, 1, 4};
  for (const std::size_t i : {3U, 1U, 2U, 0U}) {
    reader.GoTo(places[i]);
    ASSERT_TRUE(reader.Next(cells));
    EXPECT_EQ(reader.Line(), i + 1);
    EXPECT_EQ(cells[0].size(), kSizes[i]);
  }
}

TEST(CsvNumbers, AreFiniteAndWhole) {
  const std::pair<std::string, float> good[] = {{"1", 1.0F},       {"-.5e1", -5.0F},
                                                {"+2.25", 2.25F},  {"1e-60", 0.0F},
                                                {"1e-42", 1e-42F}, {"3.4e38", 3.4e38F}};
  float value = 0.0F;
  for (const auto& [text, expected] : good) {
    EXPECT_TRUE(ParseNumber(text, value) && value == expected) << text;
  }
  EXPECT_TRUE(ParseNumber("0." + std::string(100000, '3'), value) && value == 1.0F / 3.0F);
  for (const char* text : {"3.5e38", "", "nan", "inf", "-Infinity", "1,5", "1 2", "0x10", "+-1",
                           "1e", "--1", "1.2.3"}) {
    EXPECT_FALSE(ParseNumber(text, value)) << text;
  }
  EXPECT_FALSE(ParseNumber(std::string(100000, '9'), value));
}

TEST(Names, FromOutsideForgeNoLine) {
  const std::pair<std::string, std::string> cases[] = {
      {"part 7 µm²\\a", "part 7 µm²\\a"},
      {"a\nOK b\r\t\x1b[2K\x7f", "a\\nOK b\\r\\t\\x1b[2K\\x7f"},
      {"\xc2\x9b\xe2\x80\xae\xe2\x80\xa8", "\\u009b\\u202e\\u2028"},
      {"\xb5m \xe2\x82", "\\xb5m \\xe2\\x82"},
      {std::string("\0", 1), "\\x00"},
  };
  for (const auto& [text, shown] : cases) {
    EXPECT_EQ(Escaped(text), shown);
  }
  EXPECT_EQ(Quoted(std::string(39, 'a') + "\xc2\xb5"), "'" + std::string(39, 'a') + "...'");
}

}  // namespace
}  // namespace limes::recordings
