#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "recordings/errors.h"
#include "recordings/forming/free_steps.h"
#include "recordings/part_source.h"
#include "recordings/part_writer.h"
#include "recordings/tables/identification.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Files : public testing::Test {
 protected:
  Files() : folder_(testing::TempDir() + "limes-" + std::to_string(getpid())) {
    std::filesystem::create_directories(folder_);
  }
  ~Files() override { std::filesystem::remove_all(folder_); }

  std::string Write(const std::string& name, const std::string& content) const {
    std::ofstream(folder_ + "/" + name, std::ios::binary) << content;
    return folder_ + "/" + name;
  }

  /// The parts of the files; what was noted goes to notes.
  std::vector<SPart> Read(const std::vector<std::string>& files, const SReadSettings& settings = {},
                          const std::vector<SCondition>& where = {}) {
    CPartSource::SConfig config{settings, {}, where, false, false, nullptr};
    config.note = [this](const std::string& text) { notes.push_back(text); };
    CPartSource source(files, config);
    std::vector<SPart> parts;
    while (source.OpenNext()) {
      for (SPart part; source.Next(part);) {
        parts.push_back(part);
      }
    }
    return parts;
  }

  std::string folder_;
  std::vector<std::string> notes;
};

SReadSettings Values() {
  SReadSettings settings;
  settings.values = true;
  return settings;
}

TEST_F(Files, UnitsInTheOldCodePageAreRead) {
  const auto parts = Read({Write("a.csv", "x [s],Weg [\xB5m],Pegel [dB(A)]\n0,1,2\n1,2,3\n")});
  EXPECT_EQ(parts.at(0).quantities.at(0).unit, ParseUnit("µm"));
  EXPECT_THAT(notes,
              ElementsAre(AllOf(HasSubstr("dB(A)"), HasSubstr("; texts"), HasSubstr("1252"))));
  notes.clear();
  SReadSettings settings;
  settings.unit = "dB(A)";
  Read({Write("a.csv", "x [s],Pegel\n0,1\n1,2\n")}, settings);
  EXPECT_THAT(notes, ElementsAre(HasSubstr("dB(A)")));
}

TEST_F(Files, ChannelsAreCutBlockByBlock) {
  SQuantity ramp;
  ramp.name = "a";
  ramp.dx = 0.5;
  for (int i = 0; i < 150'500; ++i) {
    ramp.values.push_back(static_cast<float>(i));
  }
  SQuantity shorter = ramp;
  shorter.name = "b";
  shorter.values.resize(149'999);
  SQuantity uneven = ramp;
  uneven.x.assign(ramp.values.begin(), ramp.values.end());
  uneven.x[70'000] += 0.5F;
  const auto write = [this](const char* name, const std::vector<SQuantity>& quantities) {
    CMemoryStream out;
    WriteParts({{"p", std::nullopt, quantities}}, OutputFormat::kUff, out);
    return Write(name, {out.Bytes().begin(), out.Bytes().end()});
  };
  SReadSettings settings;
  settings.cut = 1000;
  const auto parts = Read({write("a.uff", {ramp, shorter})}, settings);
  ASSERT_EQ(parts.size(), 149);
  for (std::size_t k = 0; k < parts.size(); ++k) {
    EXPECT_TRUE(parts[k].name.ends_with("a.uff:" + std::to_string(k + 1)));
    for (const SQuantity& q : parts[k].quantities) {
      ASSERT_EQ(q.values.size(), 1000);
      EXPECT_EQ(q.values.front(), static_cast<float>(1000 * k));
      EXPECT_EQ(q.values.back(), static_cast<float>(1000 * k + 999));
    }
  }
  EXPECT_THROW(Read({write("b.uff", {uneven})}, settings), CInputError);
  settings.cut = 150'000;
  EXPECT_THROW(Read({folder_ + "/a.uff"}, settings), CInputError);
}

TEST_F(Files, OptionsReplaceWhatARecordOrATableSays) {
  SQuantity q;
  q.name = "a";
  q.values = {1, 2, 3};
  q.unit = ParseUnit("V");
  q.xUnit = ParseUnit("s");
  const auto write = [&](const char* name, OutputFormat format) {
    CMemoryStream out;
    WriteParts({{"p", std::nullopt, {q}}}, format, out);
    return Write(name, {out.Bytes().begin(), out.Bytes().end()});
  };
  SReadSettings settings;
  settings.dx = 0.5;
  settings.x0 = 7.0;
  settings.xUnit = "Hz";
  settings.unit = "A";
  q.x0 = 3.0;
  const std::string curve = write("a.curve", OutputFormat::kCurves);
  q.x = {3, 4, 6};
  const std::string pairs = write("a.pairs", OutputFormat::kPairs);
  for (const std::string& file : {curve, pairs, write("a.uff", OutputFormat::kUff)}) {
    notes.clear();
    const SQuantity read = Read({file}, settings).at(0).quantities.at(0);
    EXPECT_EQ(
        std::tuple(read.x0, read.dx, read.x.size(), read.unit.Display() + read.xUnit.Display()),
        std::tuple(7.0, 0.5, 0U, std::string("AHz")))
        << file;
    const auto told = [&](const char* option) {
      return HasSubstr(std::string(option) + " is taken instead of what the file says");
    };
    EXPECT_THAT(notes,
                ElementsAre(AllOf(told("--unit"), told("--x-unit"), told("--dx"), told("--x0"))));
  }
  settings = {};
  settings.x0 = 10.0;
  EXPECT_EQ(Read({pairs}, settings).at(0).quantities.at(0).x, (std::vector<float>{10, 11, 13}));
  settings = {};
  settings.xUnit = "Hz";
  settings.unit = "A";
  notes.clear();
  Read({Write("a.csv", "x [s],a [V]\n0,1\n1,2\n")}, settings);
  EXPECT_THAT(notes, ElementsAre("--x-unit is taken instead of what the file says; "
                                 "--unit is taken instead of what the file says"));
}

TEST_F(Files, SingleValuesKeepTheirDigits) {
  const auto parts = Read({Write("a.csv", "f [Hz]\n24576000.1\n")}, Values());
  EXPECT_EQ(parts.at(0).quantities.at(0).value, 24576000.1);
}

TEST_F(Files, AConditionThatCannotBeCheckedIsRefused) {
  const std::string records = Write("a.curve", std::string(64, '\0'));
  EXPECT_THROW(Read({records}, {}, {{"gear", "3"}}), CInputError);
  EXPECT_THROW(Read({Write("b.csv", "x,y\n0,1\n1,2\n")}, {}, {{"gear", "3"}}), CInputError);
}

TEST_F(Files, NoNameInAMessageForgesALine) {
  for (const char* text : {"x,a\xe2\x80\xa8z\n0,1\n", "x,y\n0,\x1b[2K\n"}) {
    SReadSettings settings;
    settings.use = {"a\nb"};
    try {
      Read({Write("a\nOK  b\x1b[2K.csv", text)}, settings);
      ADD_FAILURE() << "was read: " << text;
    } catch (const CReadError& e) {
      EXPECT_THAT(e.what(),
                  HasSubstr("/a\\nOK  b\\x1b[2K.csv:1: no column 'a\\nb' (there are x, "));
      EXPECT_EQ(Escaped(e.what()), e.what());
    }
  }
}

TEST_F(Files, FoldersGiveTheirMeasurementsInOrder) {
  Write("b.csv", "x,y\n0,1\n1,2\n");
  Write("a.CSV", "x,y\n0,1\n1,2\n");
  Write("notes.md", "no measurement");
  EXPECT_THAT(ExpandFolders({folder_, "-"}),
              ElementsAre(folder_ + "/a.CSV", folder_ + "/b.csv", "-"));
  std::filesystem::create_directories(folder_ + "/empty.d");
  EXPECT_THROW(ExpandFolders({folder_ + "/empty.d"}), COpenError);
}

TEST_F(Files, ColumnsThatNameThePartsAreFound) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"name,f\nA7,1\nA8,1\n", {"name"}},
      {"name,f\nA7,1\n", {}},
      {"id,f\n7,1\n8,1\n9,2\n", {"id"}},
      {"id,f\n7,1\n8,1\n", {}},                                         // too few to tell
      {"id,f\n7,1\n9,1\n12,2\n", {}},                                   // may be measured
      {"id,f\n1,1\n3,1\n4,1\n6,1\n7,1\n9,1\n10,1\n13,1\n", {"id"}},     // eight that rise
      {"f,g\n1.5,1\n2.5,1\n3.5,1\n4.5,2\n5.5,1\n6,1\n7,1\n8,1\n", {}},  // no whole numbers
      {"f,g\nnan,1\n2,1\n", {}},
      {"only\nA\nB\n", {}},
  };
  for (const auto& [text, names] : cases) {
    std::vector<std::string> found;
    for (const auto& [name, words] : IdentifyingColumns(Write("t.csv", text), Values(), {})) {
      EXPECT_EQ(words, name == "name");
      found.push_back(name);
    }
    EXPECT_EQ(found, names) << text;
  }
}

/// What a run gives, one line for each part, note and failure.
std::string Told(const std::vector<std::string>& files, CPartSource::SConfig config) {
  std::string told;
  config.note = [&](const std::string& text) { told += "note " + text + "\n"; };
  CPartSource source(files, config);
  for (;;) {
    try {
      if (!source.OpenNext()) {
        return told;
      }
      told += "opened\n";
      for (SPart part; source.Next(part);) {
        told += part.name;
        for (const SQuantity& q : part.quantities) {
          told += " " + q.name + (q.single ? " " + NumberText(q.value) : "");
          for (const float v : q.values) {
            told += " " + NumberText(v);
          }
        }
        told += "\n";
      }
    } catch (const CReadError& e) {
      told += std::string("failed ") + e.what() + "\n";
    }
  }
}

TEST_F(Files, AreReadByManyThreadsAsByOne) {
  std::vector<std::string> files;
  for (int i = 0; i < 40; ++i) {
    std::string table = i % 13 == 12 ? "a;b [dB(A)]\n" : "a,b [dB(A)]\n";
    for (int row = 0; row < (i % 7 == 3 ? 3000 : 5); ++row) {
      const std::string cell = i % 9 == 8 && row == 3 ? "nan" : std::to_string(row * i);
      table += std::to_string(row) + (i % 13 == 12 ? ";" : ",") + cell + "\n";
    }
    files.push_back(Write("m" + std::to_string(i) + ".csv", i % 11 == 10 ? "" : table));
  }
  files.push_back(folder_ + "/absent.csv");
  files.push_back(files[0]);
  for (const bool values : {false, true}) {
    CPartSource::SConfig config;
    config.settings.values = values;
    config.settings.detrend = !values;
    for (const std::uint64_t every : {1U, 3U}) {
      config.selection.every = every;
      config.jobs = 1;
      const std::string alone = Told(files, config);
      EXPECT_THAT(alone, HasSubstr("failed"));
      for (const unsigned jobs : {2U, 5U}) {
        config.jobs = jobs;
        EXPECT_EQ(Told(files, config), alone) << values << " " << every << " " << jobs;
      }
    }
  }
}

TEST_F(Files, ThatAreReadAheadMayBeLeft) {
  std::string table = "a,b\n";
  for (int row = 0; row < 200000; ++row) {
    table += "1,2\n";
  }
  const std::vector<std::string> files(6, Write("long.csv", table));
  CPartSource::SConfig config;
  config.settings.values = true;
  config.jobs = 3;
  CPartSource source(files, config);
  SPart part;
  for (std::size_t i = 0; i + 1 < files.size(); ++i) {
    ASSERT_TRUE(source.OpenNext());
    ASSERT_TRUE(source.Next(part));
  }
}

/// Lines over gaps are no measurement: measured at these x, drawn on 0, 1, ..., 20.
TEST(FreeSteps, CoverOnlyWhatWasMeasuredNearby) {
  const std::pair<std::vector<float>, std::string> cases[] = {
      {{0, 1, 2.4F, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20}, ""},
      {{0, 1, 2, 3, 4, 10, 11, 12, 13, 14, 20}, "111111000111111100011"},
      {{0, 2.5F, 5, 7.5F, 10, 12.5F, 15, 17.5F, 20}, ""},  // coarser, but everywhere
      {{0, 9, 20}, "111100111111100001111"},
  };
  for (const auto& [x, covered] : cases) {
    SQuantity q;
    q.x = x;
    q.values.assign(x.size(), 1.0F);
    const SQuantity drawn = DrawnOnGrid(q, "q", 0.0, 1.0);
    std::string shown;
    for (const std::uint8_t c : drawn.covered) {
      shown += c != 0 ? '1' : '0';
    }
    EXPECT_EQ(drawn.values.size(), 21U);
    EXPECT_EQ(shown, covered);
  }
}

}  // namespace
}  // namespace limes::recordings
