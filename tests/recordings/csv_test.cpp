#include <gmock/gmock.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
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

/// Numbers of all rows, and what is wrong behind those read before it.
std::string Numbers(const std::string& text, const std::vector<std::string>& words, bool atOnce) {
  SReadSettings settings;
  settings.table = words;
  const std::vector<SCondition> where;
  CMemoryStream stream = BytesOf(text);
  std::string rows;
  try {
    CCsvTable table(stream, {"t.csv", &settings, &where});
    const std::size_t last = table.Columns().size() - 1;
    if (atOnce) {
      table.ExpectNumbers<double>({0});
      table.ExpectNumbers<float>({last});
    }
    for (std::vector<std::string_view> cells; table.NextRow(cells); rows += ";") {
      for (const std::string_view cell : cells) {
        rows.append("[").append(cell).append("]");
      }
      const auto number = table.Number<double>(cells, 0);
      const auto narrow = table.Number<float>(cells, last);
      rows.append(reinterpret_cast<const char*>(&number), sizeof(number));
      rows.append(reinterpret_cast<const char*>(&narrow), sizeof(narrow));
    }
  } catch (const CInputError& e) {
    rows += e.what();
  }
  return rows;
}

TEST(CsvTable, NumbersReadWithTheirRowHaveTheBitsOfThoseReadOneByOne) {
  std::mt19937_64 random(11);
  const auto number = [&](char decimal) {
    char text[80];
    const auto bits = random();
    double value = std::bit_cast<double>(bits);
    value =
        bits % 4 == 0 ? value : std::ldexp(static_cast<double>(bits >> 20), -20 - int(bits % 60));
    value = bits % 97 == 0    ? 0.0
            : bits % 101 == 0 ? 1e-42 * static_cast<double>(bits % 1000)
                              : value;
    const int digits = static_cast<int>(random() % 25);
    std::snprintf(text, sizeof(text), bits % 3 == 0 ? "%.*e" : "%.*g", digits, value);
    std::replace(text, text + sizeof(text), '.', decimal);
    return std::string(text);
  };
  constexpr std::string_view kOdd[] = {"",    "x",     "+1",      "--1", ".5",    "5.",
                                       "1e",  "1e400", "-0",      "1 2", "\"7\"", "nan",
                                       "0x1", "1e-50", "1,234.5", "\t3", "4 \r"};
  for (int i = 0; i < 20000; ++i) {
    const bool comma = i % 3 == 0;
    const char separator = comma ? ';' : ",;\t"[i % 2];
    std::string text = std::string("a") + separator + "b" + separator + "c\n";
    for (auto rows = random() % 6; rows > 0; --rows) {
      for (int cell = 0; cell < 3; ++cell) {
        text += random() % 64 == 0 ? std::string(kOdd[random() % std::size(kOdd)])
                                   : number(comma ? ',' : '.');
        text += cell < 2            ? std::string(1, separator)
                : random() % 9 == 0 ? std::string(1, separator) + "\r\n"
                                    : "\n";
      }
    }
    text.resize(text.size() - (i % 5 == 0 ? 1 : 0));
    const std::vector<std::string> words = {comma ? "decimal-comma" : "decimal-point"};
    ASSERT_EQ(Numbers(text, words, true), Numbers(text, words, false)) << text;
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
