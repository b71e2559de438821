#include <gmock/gmock.h>

#include "recordings/tables/time_stamp.h"
#include "tests/recordings/shown_parts.h"

namespace limes::recordings {
namespace {

const std::string kTold = "| the table is read with ";
const std::string kOther = " (--table says otherwise)";

TEST(Dialects, AreDetectedOrRefusedWithBothReadings) {
  const std::string semicolons = kTold + "semicolons between cells" + kOther;
  const std::string commas = kTold + "semicolons between cells, decimal commas" + kOther;
  const std::string tabs = kTold + "tabs between cells" + kOther;
  const std::pair<std::string, std::string> cases[] = {
      {"x [s],y [V]\n0,1.234\n1,2\n", "y [V] 0+1[s]: 1.234 2; "},
      {"x [s];y [V]\n0;1,5\n1;2\n", "y [V] 0+1[s]: 1.5 2; " + commas},
      {"x;y\n0;1,500\n1;2\n", "y [] 0+1[]: 1.5 2; " + commas},
      {"x;y\n0;1.234,5\n1;-2.000.000\n", "y [] 0+1[]: 1234.5 -2e+06; " + commas},
      {"x;y\n0;1.234\n1;0,5\n",
       "f:2: column 'y': '1.234' may be 1234 or 1.234 (--table decimal-point "
       "or decimal-comma says which)"},
      {"x;y\n0;1.234\n1;2\n",
       "f:2: column 'y': '1.234' may be 1.234 or 1234 (--table decimal-point "
       "or decimal-comma says which)"},
      {"x\ty\n0\t1,234\n1\t2\n",
       "f:2: column 'y': '1,234' may be 1234 or 1.234 (--table decimal-point "
       "or decimal-comma says which)"},
      {"x,y\n0,\"1,234\"\n1,2\n", "may be 1234 or 1.234"},
      {"x\ty\n0\t1.5\n1\t\"2\"\n", "y [] 0+1[]: 1.5 2; " + tabs},
      {"x;y;\n0;1;\n1;2;\n", "y [] 0+1[]: 1 2; " + semicolons},
      {"# bench\n# x,y\n0,1\n1,2\n", "y [] 0+1[]: 1 2; " + kTold + "names in line 2" + kOther},
      {"bench 3\n\nx,y,z\ns,(V),-\n0,1,2\n1,2,3\n",
       "y [V] 0+1[s]: 1 2; z [] 0+1[s]: 2 3; " + kTold + "units below the names, names in line 3" +
           kOther},
      {"x (s),y (V),z (mine)\n0,1,2\n1,2,3\n", "y [V] 0+1[s]: 1 2; z [mine] 0+1[s]: 2 3; "},
      {"x,y (V),z (left)\n0,1,2\n1,2,3\n", "y [V] 0+1[]: 1 2; z (left) [] 0+1[]: 2 3; "},
      {"t,y\n2024-01-31T23:59:59.5,1\n2024-02-01 00:00:00,2\n",
       "y [] 0+0.5[s]: 1 2; | x is time stamps: seconds from the first one, "
       "'2024-01-31T23:59:59.5'"},
      {"t,y\n10:00:00,1\n2,2\n", "f:3: '2' is no time stamp as those above it"},
      {"x,y\n0,5,1,5\n", "f:2: 4 cells where the header has 2 (decimal commas?)"},
  };
  for (const auto& [text, shown] : cases) {
    EXPECT_THAT(Read(text), testing::HasSubstr(shown)) << text;
  }
}

TEST(Dialects, AreOverriddenByWords) {
  SReadSettings settings;
  settings.table = {"decimal-comma", "no-units-row"};
  EXPECT_THAT(Read("x;y\n0;1.234\n1;2.345,5\n", settings), testing::HasSubstr(": 1234 2345.5;"));
  EXPECT_EQ(Read("x;y\n0;1,234\n1;2\n", settings).substr(0, 20), "y [] 0+1[]: 1.234 2;");
  EXPECT_THAT(Read("x;y\ns;V\n0;1\n1;2\n", settings), testing::HasSubstr("f:2: column 'x': 's'"));
  EXPECT_EQ(UnknownTableWord({"tab", "tabs"}), "tabs");
  settings = {};
  settings.xFrom = "t";
  EXPECT_EQ(Read("y,t [s]\n5,0\n6,1\n", settings), "y [] 0+1[s]: 5 6; ");
}

TEST(Columns, EmptyCellsAreNotCovered) {
  const auto covered = [](const std::string& text) {
    CMemoryStream stream(std::vector<std::uint8_t>(text.begin(), text.end()));
    const SReadSettings settings;
    const std::vector<SCondition> where;
    SPart part;
    MakePartReader(FileKind::kTable, stream, {"f", &settings, &where})->Next(part);
    const auto& marks = part.quantities.at(0).covered;
    return std::vector<int>(marks.begin(), marks.end());
  };
  const std::string gaps = "x,y,z\n0,,1\n1,1,1\n2,,1\n3,,1\n4,7,1\n5,,1\n";
  EXPECT_EQ(Read(gaps),
            "y [] 0+1[]: 1 1 3 5 7 7; z [] 0+1[]: 1 1 1 1 1 1; "
            "| empty cells are taken as not measured: 4 of 6 in 'y'");
  EXPECT_EQ(covered(gaps), (std::vector{0, 1, 0, 0, 1, 0}));
  EXPECT_EQ(covered("x,y\n0,1\n1,2\n"), std::vector<int>());
  EXPECT_THAT(Read("x,y\n0,\n1,1\n3,\n4,7\n"), testing::StartsWith("y [] 0+1.33333[]: 1@1 4@7; "));
  EXPECT_EQ(Read("x,y,z\n0,,1\n1,,2\n"), "f: column 'y' holds no value");
  EXPECT_THAT(Read("x,y\n0,1\n,2\n"), testing::HasSubstr("f:3: column 'x': empty cell"));
  SReadSettings cut;
  cut.cut = 2;
  EXPECT_THAT(Read(gaps, cut), testing::HasSubstr("f:2: column 'y': empty cell"));
}

TEST(Dialects, LongFormsBecomeParts) {
  SReadSettings settings;
  settings.longForm = {"p", "x", "y"};
  EXPECT_EQ(Read("p,x [s],y [V]\nA,0,1\nB,5,7\nA,1,2\nB,6,8\n", settings),
            "y [V] 0+1[s]: 1 2; y [V] 5+1[s]: 7 8; ");
  EXPECT_THAT(Read("p,x,y\nA,0,1\nB,5,7\nA,1,2\n", settings),
              testing::HasSubstr("f:3: part 'B' has one point"));
  std::string rows = "p,x,y\n";
  std::string shown;
  for (int i = 0; i < 5000; ++i) {  // too many runs to go to each
    rows += "A," + std::to_string(i) + ",1\nB," + std::to_string(i) + ",2\n";
    shown += " 1";
  }
  EXPECT_THAT(Read(rows, settings), testing::StartsWith("y [] 0+1[]:" + shown + "; y [] 0+1[]: 2"));
}

TEST(TimeStamps, AreReadToTheNanosecond) {
  const std::pair<const char*, std::optional<std::int64_t>> cases[] = {
      {"00:00:01.000000001", 1'000'000'001},
      {"1970-01-02 00:00:00Z", 86'400'000'000'000},
      {"02.01.1970 00:00:00,5", 86'400'500'000'000},
      {"1969-12-31T23:59:59", -1'000'000'000},
      {"2024-02-30 00:00:00", std::nullopt},
      {"24:00:00", std::nullopt},
      {"00:00", std::nullopt},
      {"9999-01-01 00:00:00", std::nullopt},
      {"00:00:00x", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& [text, nanoseconds] : cases) {
    EXPECT_EQ(ParseTimeStamp(text), nanoseconds) << text;
  }
}

}  // namespace
}  // namespace limes::recordings
