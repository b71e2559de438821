#include <gmock/gmock.h>

#include <random>
#include <string>

#include "apps/limes/csv_table.h"
#include "apps/limes/errors.h"
#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Rows = std::vector<std::vector<std::string>>;

/// All rows, or the one cell "error: ..." behind those read before it.
Rows ReadAll(const std::string& text, bool byLibrary) {
  CMemoryStream stream = test::BytesOf(text);
  Rows rows;
  try {
    CCsvReader reader(stream, "t.csv");
    reader.SplitAllByLibrary(byLibrary);
    for (std::vector<std::string_view> cells; reader.Next(cells);) {
      rows.emplace_back(cells.begin(), cells.end());
    }
  } catch (const CInputError& e) {
    rows.push_back({std::string("error: ") + e.what()});
  }
  return rows;
}

TEST(CsvReader, SplitsRowsOfAnyShape) {
  const struct {
    const char* name;
    std::string text;
    Rows rows;
  } cases[] = {
      {"empty", "", {}},
      {"only a mark", "\xEF\xBB\xBF", {}},
      {"mark and CRLF",
       "\xEF\xBB\xBF"
       "a,b\r\n1,2\r\n",
       {{"a", "b"}, {"1", "2"}}},
      {"old line ends", "a\rb\r\rc", {{"a"}, {"b"}, {"c"}}},
      {"no last line end", "a,b\n1,2", {{"a", "b"}, {"1", "2"}}},
      {"blank lines", "\n  \n\t\na\n\n", {{"a"}}},
      {"empty cells", ",\na,,b,\n", {{"", ""}, {"a", "", "b", ""}}},
      {"blanks around", " a ,\tb c\t\n", {{"a", "b c"}}},
      {"quoted", "\"a,b\",\"c\"\"d\",\" e \"\nf\n", {{"a,b", "c\"d", " e "}, {"f"}}},
      {"quoted line end", "\"a\nb\",c\r\nd,e\n", {{"a\nb", "c"}, {"d", "e"}}},
      {"quoted nothing", "\"\"\n", {{""}}},
      {"quote never closed",
       "a\n\"b\nc\n",
       {{"a"}, {"error: t.csv:2: quotation marks do not match"}}},
      {"quote inside", "a\"b\n", {{"error: t.csv:1: quotation marks do not match"}}},
      {"16-bit text",
       "\xFF\xFE"
       "a",
       {{"error: t.csv:1: 16-bit text; save the table as UTF-8"}}},
      {"zero byte", std::string("a\0b,c", 5), {{std::string("a\0b", 3), "c"}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(ReadAll(c.text, false), c.rows);
    EXPECT_EQ(ReadAll(c.text, true), c.rows);
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
  CMemoryStream stream = test::BytesOf("a\n" + longCell + ",x\n\"q\"\nlast");
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
  const struct {
    std::string text;
    bool good;
    float value;
  } cases[] = {
      {"1", true, 1.0F},
      {"-.5e1", true, -5.0F},
      {"+2.25", true, 2.25F},
      {"1e-60", true, 0.0F},
      {"1e-42", true, 1e-42F},
      {"3.4e38", true, 3.4e38F},
      {"3.5e38", false, 0.0F},
      {"", false, 0.0F},
      {"nan", false, 0.0F},
      {"inf", false, 0.0F},
      {"-Infinity", false, 0},
      {"1,5", false, 0.0F},
      {"1 2", false, 0.0F},
      {"0x10", false, 0.0F},
      {"+-1", false, 0.0F},
      {"1e", false, 0.0F},
      {"--1", false, 0.0F},
      {"1.2.3", false, 0.0F},
      {"0." + std::string(100000, '3'), true, 1.0F / 3.0F},
      {std::string(100000, '9'), false, 0.0F},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text.substr(0, 20));
    float value = 0.0F;
    EXPECT_EQ(ParseNumber(c.text, value), c.good);
    if (c.good) {
      EXPECT_EQ(value, c.value);
    }
  }
}

TEST(CsvTable, HeadersCarryUnits) {
  const SColumn column = ParseHeader(" Gear noise [dB(Pa)] ");
  EXPECT_EQ(column.name, "Gear noise");
  EXPECT_EQ(column.unit, "dB(Pa)");
  EXPECT_EQ(ParseHeader("a[1] b").name, "a[1] b");
  EXPECT_EQ(ParseHeader("[V]").name, "");
}

TEST(CsvTable, SaysWhatIsWrongAndWhere) {
  const struct {
    const char* text;
    const char* message;
  } cases[] = {
      {"", "t.csv:1: empty file"},
      {"1,2\n3,4\n", "t.csv:1: numbers where column names are expected"},
      {"a,b\n1\n", "t.csv:2: 1 cells where the header has 2"},
      {"a,b\n1,5,2,5\n", "t.csv:2: 4 cells where the header has 2 (decimal commas?)"},
      {"a,b\n1,\n", "t.csv:2: column 'b': empty cell"},
      {"a,b\n1,2\n\n1,x\x01\n", "t.csv:4: column 'b': 'x?' is not a finite number"},
      {"a,c\n1,2\n", "no column 'b' (there are a, c)"},
      {"b,b\n1,2\n", "column name 'b' stands there twice"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    CMemoryStream stream = test::BytesOf(c.text);
    try {
      CCsvTable table(stream, "t.csv", true, {});
      const std::size_t column = table.Find("b");
      for (std::vector<std::string_view> cells; table.NextRow(cells);) {
        table.Number(cells, column);
      }
      ADD_FAILURE();
    } catch (const CInputError& e) {
      EXPECT_THAT(e.what(), HasSubstr(c.message));
    }
  }
}

TEST(CsvTable, FiltersByTextAndByNumberAndCountsAllRows) {
  CMemoryStream stream = test::BytesOf("k,v\n20,1\n20.0,2\nx,3\n2e1,4\n");
  CCsvTable table(stream, "t.csv", true, {{"k", "20"}});
  std::vector<std::uint64_t> rows;
  for (std::vector<std::string_view> cells; table.NextRow(cells);) {
    rows.push_back(table.RowNumber());
  }
  EXPECT_THAT(rows, ElementsAre(1, 2, 4));
}

}  // namespace
}  // namespace limes::host
