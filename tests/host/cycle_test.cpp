#include <gmock/gmock.h>
#include <sndfile.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <random>

#include "limes/signals/extended_curve.h"
#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

using nlohmann::json;
using test::RunLimes;
using test::SResult;
using testing::ElementsAre;
using testing::HasSubstr;

class Cycle : public test::HostTest {
 protected:
  std::string store_ = File("store.limes");

  /// Rows "label,v0,...,v3" around the given level.
  std::string Rows(const std::string& name,
                   const std::vector<std::pair<std::string, double>>& parts,
                   const std::string& header = "label,v0,v1,v2,v3") {
    std::string text = header + "\n";
    for (const auto& [label, level] : parts) {
      text += label;
      for (int i = 0; i < 4; ++i) {
        text.append(",").append(std::to_string(level + i));
      }
      text += "\n";
    }
    return Write(name, text);
  }

  std::string Learnt() {
    return Rows("learn.csv", {{"good", 1.0}, {"bad", 50.0}, {"good", 2.0}, {"good", 3.0}});
  }

  std::string Sound(const std::string& name, int channels, int rate, std::size_t frames,
                    const std::function<double(std::size_t, int)>& value) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    std::vector<float> samples;
    for (std::size_t i = 0; i < frames; ++i) {
      for (int c = 0; c < channels; ++c) {
        samples.push_back(static_cast<float>(value(i, c)));
      }
    }
    SNDFILE* sound = sf_open(File(name).c_str(), SFM_WRITE, &info);
    EXPECT_EQ(sf_writef_float(sound, samples.data(), static_cast<sf_count_t>(frames)),
              static_cast<sf_count_t>(frames));
    sf_close(sound);
    return File(name);
  }

  SResult Run(std::vector<std::string> arguments, int code) {
    arguments.insert(arguments.begin() + 1, store_);
    SResult result = RunLimes(arguments);
    EXPECT_EQ(result.code, code) << testing::PrintToString(arguments) << result.out << result.err;
    return result;
  }

  std::vector<std::string> Names(const SResult& result) {
    std::vector<std::string> names;
    for (const json& line : result.Lines()) {
      std::string name = line.at("part");
      names.push_back(name.substr(name.rfind('/') + 1));
    }
    return names;
  }
};

const std::vector<std::string> kRowOptions = {"--rows", "--label-column", "label", "--sides",
                                              "both"};

std::vector<std::string> With(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

TEST_F(Cycle, JudgesRowsWithAllFieldsOfTheContract) {
  Run(With({"learn", Learnt()}, kRowOptions), 0);
  const std::string path = Write(
      "test.csv", "label,v0,v1,v2,v3\ngood,2,3,4,5\nbad,20,3,4,5\nbad,-20,3,4,5\nbad,2,3,4,6\n");
  const SResult result = Run({"test", path, "--json"}, 1);
  const auto lines = result.Lines();
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_THAT(result.err, HasSubstr("false alarms: 0 of 1 good; misses: 1 of 3 bad"));
  const json& part = lines[1];
  EXPECT_EQ(part.at("part"), path + ":2");
  EXPECT_EQ(part.at("label"), "bad");
  EXPECT_EQ(part.at("verdict"), "NOK");
  EXPECT_THAT(part.at("defects").size(), 1U);
  const double s = std::sqrt(2.0 / 3.0);
  const json& upper = part.at("quantities").at(0);
  EXPECT_EQ(upper.size(), 17U);
  EXPECT_EQ(upper.at("name"), "curve");
  EXPECT_EQ(upper.at("side"), "upper");
  EXPECT_EQ(upper.at("verdict"), "NOK");
  EXPECT_NEAR(upper.at("max_deviation"), 18.0 - 3.0 * s, 1e-4);
  EXPECT_NEAR(upper.at("excess_in_s"), 18.0 / s - 3.0, 1e-3);
  EXPECT_EQ(upper.at("x"), 0.0);
  EXPECT_EQ(upper.at("value"), 20.0);
  EXPECT_NEAR(upper.at("limit"), 2.0 + 3.0 * s, 1e-4);
  EXPECT_EQ(upper.at("mean"), 2.0);
  EXPECT_NEAR(upper.at("spread"), s, 1e-4);
  EXPECT_NEAR(upper.at("rms_deviation"), (18.0 - 3.0 * s) / 2.0, 1e-3);
  EXPECT_EQ(upper.at("judged_share"), 1.0);
  EXPECT_EQ(upper.at("unit"), "");
  EXPECT_EQ(upper.at("learnt"), 3);
  EXPECT_EQ(upper.at("effective_parts"), 3.0);
  const double t = 3.0 / std::sqrt(2.0);  // Student's T with two degrees of freedom
  const double chance = 0.5 - 0.5 * t / std::sqrt(t * t + 2.0);
  EXPECT_NEAR(upper.at("chance_per_point"), chance, 1e-6);
  EXPECT_NEAR(upper.at("chance_bound"), 4.0 * chance, 1e-5);
  const json& finding = part.at("findings").at(0);
  EXPECT_EQ(finding.at("side"), "upper");
  EXPECT_EQ(finding.at("from"), 0.0);
  EXPECT_EQ(finding.at("to"), 0.0);
  EXPECT_EQ(finding.at("excess"), upper.at("max_deviation"));
  EXPECT_THAT(Run({"test", path}, 1).out, HasSubstr("all limits: at most 67.1"));
  std::filesystem::remove(store_);  // of what was judged just now
  Run(With({"learn", Learnt()}, kRowOptions), 0);
  EXPECT_EQ(Run({"test", path, "--json"}, 1).out, result.out);
  const json& lower = lines[2].at("quantities").at(1);
  EXPECT_EQ(lower.at("side"), "lower");
  EXPECT_NEAR(lower.at("max_deviation"), 22.0 - 3.0 * s, 1e-4);
  EXPECT_EQ(lower.at("value"), -20.0);
  EXPECT_NEAR(lower.at("limit"), 2.0 - 3.0 * s, 1e-4);
  EXPECT_EQ(lower.at("mean"), 2.0);
  const std::string unlabelled = Write("unlabelled.csv", "v0,v1,v2,v3\n2,3,4,5\n");
  EXPECT_THAT(Run({"test", unlabelled, "--label-column", "label"}, 3).err,
              HasSubstr("no column 'label'"));
  const SResult report = RunLimes({"report", store_, "--json"});
  EXPECT_EQ(report.code, 0);
  EXPECT_EQ(report.out, result.out);
  EXPECT_FALSE(Run({"test", unlabelled, "--json"}, 0).Lines().at(0).contains("label"));
}

TEST_F(Cycle, FindsADefectPerRegionBeyondTheLimit) {
  std::string learnt = "a,b,c,d,e,f,g,h\n";
  for (const char* level : {"1", "2", "3"}) {
    for (int i = 0; i < 8; ++i) {
      learnt.append(level).append(i < 7 ? "," : "\n");
    }
  }
  Run({"learn", Write("l.csv", learnt), "--rows"}, 0);
  const std::string path = Write("t.csv", "a,b,c,d,e,f,g,h\n2,9,12,8,2,2,30,2\n");
  const json findings = Run({"test", path, "--json"}, 1).Lines().at(0).at("findings");
  ASSERT_EQ(findings.size(), 2U);
  EXPECT_EQ(findings[0].at("x"), 6.0);  // the largest excess first
  EXPECT_EQ(findings[1].at("from"), 1.0);
  EXPECT_EQ(findings[1].at("x"), 2.0);
  EXPECT_EQ(findings[1].at("to"), 3.0);
  EXPECT_NEAR(findings[1].at("excess"), 10.0 - 3.0 * std::sqrt(2.0 / 3.0), 1e-5);
  EXPECT_THAT(Run({"test", path}, 1).out, HasSubstr("2.00  1 .. 3 (above upper limit)"));
  EXPECT_EQ(Run({"test", path, "--one-per-curve", "--json"}, 1).Lines().at(0).at("findings").size(),
            1U);
}

TEST_F(Cycle, TakesPartsAsAsked) {
  std::string text = "run,axis,kind,v0,v1\n";
  for (const char* axis : {"x", "y"}) {  // the rows of a part need not be neighbours
    for (int run = 1; run <= 6; ++run) {
      text += std::to_string(run) + "," + axis + "," + (run % 2 == 0 ? "even" : "odd") + ",1,2\n";
    }
  }
  const std::string path = Write("g.csv", text);
  const std::string two = Write("two.csv", "a,b\n1,2\n3,4\n5,6\n7,8\n9,10\n");
  const std::vector<std::string> group = {"--rows", "--part-column", "run", "--quantity-column",
                                          "axis",   "--first-value", "v0"};
  const struct {
    std::vector<std::string> arguments;
    std::vector<std::string> names;
  } cases[] = {
      {With({path}, group), {"g.csv:1", "g.csv:2", "g.csv:3", "g.csv:4", "g.csv:5", "g.csv:6"}},
      {With({path, "--every", "2:1", "--parts", "3-"}, group), {"g.csv:4", "g.csv:6"}},
      {With({path, "--where", "kind=odd", "--every", "2:0"}, group), {"g.csv:1", "g.csv:5"}},
      {{two, two, "--dx", "1", "--cut", "2", "--every", "2:0"}, {"two.csv:1", "two.csv:1"}},
      {{two, "--values", "--use", "b", "--where", "a=5"}, {"two.csv:3"}},
      {{two, two, two, "--dx", "1", "--parts", "2-3"}, {"two.csv", "two.csv"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    std::filesystem::remove(store_);
    const SResult result = Run(With({"learn", "--json"}, c.arguments), 0);
    EXPECT_EQ(Names(result), c.names);
  }
  std::filesystem::remove(store_);
  EXPECT_THAT(Run(With({"learn", path, "--use", "z"}, group), 3).err, HasSubstr("none of"));
  Run(With({"learn", path, "--use", "y"}, group), 0);
  EXPECT_EQ(RunLimes({"show", store_, "--json"}).Lines().size(), 1U);
}

TEST_F(Cycle, ReadsColumnsWithUnitsAndAnXAxis) {
  const auto write = [&](const char* name, double level, const char* unit = "dB(Pa)") {
    std::string text = std::string("Frequency [Hz],Gear noise [") + unit + "],Speed [rpm]\n";
    for (int i = 0; i < 5; ++i) {
      text += std::to_string(100 + 10 * i) + "," + std::to_string(level) + ",1000\n";
    }
    return Write(name, text);
  };
  Run({"learn", write("a", 50), write("b", 51), write("c", 52), "--use", "Gear noise"}, 0);
  const SResult result = Run({"test", write("d", 60), "--json"}, 1);
  const json q = result.Lines().at(0).at("quantities").at(0);
  EXPECT_EQ(q.at("name"), "Gear noise");
  EXPECT_EQ(q.at("unit"), "dB(Pa)");
  EXPECT_EQ(q.at("x"), 100.0);
  EXPECT_THAT(Run({"test", write("e", 50, "dB(V)")}, 3).err, HasSubstr("in the store in dB(Pa)"));
  EXPECT_THAT(Run({"test", write("f", 50), "--ref", "1"}, 2).err, HasSubstr("contradicts"));
  const SResult show = RunLimes({"show", store_});
  EXPECT_THAT(show.out, HasSubstr("100 .. 140 Hz, step 10 Hz, 5 points"));
}

TEST_F(Cycle, ReadsSoundCutsAndFormsSpectra) {
  const auto tone = [](double level) {
    return [level, random = std::mt19937(3)](std::size_t i, int channel) mutable {
      const double noise = static_cast<double>(random() % 1000) * 1e-6;
      return channel == 0
                 ? 0.0
                 : noise + level * std::sin(0.5 * std::numbers::pi * static_cast<double>(i));
    };
  };
  const std::string good = Sound("good.wav", 2, 8000, 1000, tone(0.01));
  const std::string loud = Sound("loud.wav", 2, 8000, 256, tone(0.1));
  const std::vector<std::string> options = {"--use",      "2",  "--cut",  "256",
                                            "--spectrum", "64", "--unit", "Pa"};
  EXPECT_THAT(Names(Run(With({"learn", good, "--json"}, options), 0)),
              ElementsAre("good.wav:1", "good.wav:2", "good.wav:3"));
  const json q = Run({"test", loud, "--json"}, 1).Lines().at(0).at("quantities").at(0);
  EXPECT_EQ(q.at("name"), "channel 2");
  EXPECT_EQ(q.at("unit"), "dB(Pa)");
  EXPECT_EQ(q.at("x"), 2000.0);
  EXPECT_NEAR(q.at("value"), 20.0 * std::log10(0.1 / std::sqrt(2.0) / 2e-5), 1e-2);
  EXPECT_NEAR(q.at("max_deviation"), 20.0, 0.1);
  const std::string fast = Sound("fast.wav", 2, 16000, 256, tone(0.01));
  EXPECT_THAT(Run({"test", fast}, 3).err, HasSubstr("steps of 250 Hz, in the store 125 Hz"));
  const std::string brief = Sound("brief.wav", 2, 8000, 255, tone(0.01));
  EXPECT_THAT(Run({"test", brief}, 3).err, HasSubstr("255 samples, fewer than --cut 256"));
  const std::string bytes = Read(good);
  for (const std::size_t size : {0U, 11U, 40U, 60U, 500U}) {
    Write("cut.wav", bytes.substr(0, size));
    EXPECT_THAT(Run({"test", File("cut.wav")}, 3).err, HasSubstr("cut.wav"));
  }
}

TEST_F(Cycle, ReadsCurveRecords) {
  const auto write = [&](const char* name, float level) {
    CSigCurveExt curve = CSigCurveExt::Make(4, 10.0F, 14.0F);
    curve.SetName(u"Torque");
    curve.SetYUnit(u"Nm");
    curve = level;
    CDiskStream file(File(name), CDiskStream::Mode::kWrite);
    EXPECT_TRUE(curve.WriteToFileRaw(file, CSignal::CurrentFileVersion()));
    return File(name);
  };
  Run({"learn", write("a", 1.0F), write("b", 2.0F), write("c", 3.0F)}, 0);
  const json q = Run({"test", write("d", 9.0F), "--json"}, 1).Lines().at(0).at("quantities").at(0);
  EXPECT_EQ(q.at("name"), "Torque");
  EXPECT_EQ(q.at("unit"), "Nm");
  EXPECT_EQ(q.at("x"), 10.0);
  Write("e", Read(File("d")).substr(0, 100));
  EXPECT_THAT(Run({"test", File("e")}, 3).err, HasSubstr("curve record 1"));
}

TEST_F(Cycle, JudgesSingleValuesAndConstantOnes) {
  const std::string learn = Write("l.csv", "n,a [mm],b,c\nx,1,7.1,5\nx,2,7.1,6\nx,3,7.1,7\n");
  Run({"learn", learn, "--values", "--first-value", "a", "--sides", "both"}, 0);
  Write("t.csv", "n,a [mm],b,c\nx,2,7.1,6\nx,2,7.2,6\nx,20,7.1,6\n");
  const auto lines = Run({"test", File("t.csv"), "--json"}, 1).Lines();
  EXPECT_EQ(lines.at(0).at("verdict"), "OK");
  const json constant = lines.at(1).at("quantities").at(2);
  EXPECT_EQ(constant.at("name"), "b");
  EXPECT_EQ(constant.at("verdict"), "NOK");
  EXPECT_TRUE(constant.at("excess_in_s").is_null());
  EXPECT_TRUE(constant.at("x").is_null());
  const json a = lines.at(2).at("quantities").at(0);
  EXPECT_EQ(a.at("unit"), "mm");
  EXPECT_NEAR(a.at("excess_in_s"), 18.0 / std::sqrt(2.0 / 3.0) - 3.0, 1e-3);
}

TEST_F(Cycle, NeverPassesSilently) {
  const std::string two = Rows("two.csv", {{"good", 1.0}, {"good", 1.0}});
  const std::string one = Rows("one.csv", {{"good", 1.0}});
  Run(With({"learn", two}, kRowOptions), 0);
  const auto few = Run({"test", one, "--json"}, 1).Lines();
  EXPECT_EQ(few.at(0).at("verdict"), "not judged");
  EXPECT_TRUE(few.at(0).at("quantities").at(0).at("max_deviation").is_null());
  Run({"learn", two}, 0);
  EXPECT_EQ(Run({"test", one, "--json"}, 0).Lines().at(0).at("verdict"), "OK");
  const std::string half = Write("half.csv", "label,v0,v1\ngood,1,2\n");
  const json part = Run({"test", half, "--json"}, 1).Lines().at(0);
  EXPECT_EQ(part.at("verdict"), "not judged");
  EXPECT_EQ(part.at("quantities").at(0).at("judged_share"), 0.5);
  EXPECT_EQ(Run({"test", half, "--min-share", "0.5", "--json"}, 0).Lines().at(0).at("verdict"),
            "OK");
}

TEST_F(Cycle, PassesAPartLikeThoseItLearnt) {
  std::string text = "v0,v1,v2,v3\n";
  for (int i = 0; i < 300; ++i) {
    text += "0.1,7.3,1234.567,-3e-9\n";
  }
  const std::string path = Write("same.csv", text);
  Run({"learn", path, "--rows", "--sides", "both"}, 0);
  Run({"test", path, "--parts", "1"}, 0);
}

TEST_F(Cycle, ABadFileNamesLineAndReasonAndChangesNothing) {
  Run(With({"learn", Learnt()}, kRowOptions), 0);
  const std::string before = Run({"show", "--json"}, 0).out;
  const std::string head = "label,v0,v1,v2,v3\ngood,1,2,3,4\n";
  const struct {
    std::string text;
    const char* message;
  } cases[] = {
      {"", ":1: empty file"},
      {head + "good,1,2,3\n", ":3: 4 cells where the header has 5"},
      {head + "good,1,,3,4\n", ":3: column 'v1': empty cell"},
      {head + "good,1,NaN,3,4\n", ":3: column 'v1': 'NaN' is not a finite number"},
      {head + "good,1,inf,3,4\n", ":3: column 'v1': 'inf' is not a finite number"},
      {head + "good,1,1e39,3,4\n", ":3: column 'v1': '1e39' is not a finite number"},
      {head + "good,1,\"2,5\",3,4\n", ":3: column 'v1': '2,5' is not a finite number"},
      {head + "good,1,2,5,3,4\n", ":3: 6 cells where the header has 5 (decimal commas?)"},
      {head + "good,1," + std::string(300000, '9') + ",3,4\n", ":3: column 'v1': '9999"},
      {head + "good,1,\"2,3,4\n", ":3: quotation marks do not match"},
      {"label,v0,v1,v2,v3\n1,2,3\n", ":2: 3 cells where the header has 5"},
  };
  for (const auto& c : cases) {
    const std::string path = Write("bad.csv", c.text);
    for (const char* command : {"learn", "test"}) {
      EXPECT_THAT(Run({command, path, "--label-column", "label"}, 3).err, HasSubstr(path))
          << c.message;
      EXPECT_THAT(Run({command, path}, 3).err, HasSubstr(c.message));
    }
  }
  EXPECT_EQ(Run({"show", "--json"}, 0).out, before);
  EXPECT_EQ(RunLimes({"report", store_, "--json"}).out, "");
}

TEST_F(Cycle, RefusesWhatContradictsTheStore) {
  Run(With({"learn", Learnt()}, kRowOptions), 0);
  const std::string path = Rows("t.csv", {{"good", 1.0}});
  const struct {
    std::vector<std::string> words;
    int code;
    const char* message;
  } cases[] = {
      {{path, "--values"}, 2, "--values true contradicts the store"},
      {{path, "--spectrum", "4"}, 2, "--spectrum 4 contradicts the store"},
      {{path, "--dx", "2"}, 2, "--dx 2.0 contradicts the store, which has nothing"},
      {{path, "--parts", "2-"}, 3, "no part was selected"},
      {{File("none.csv")}, 4, "cannot be opened: No such file"},
      {{File(".")}, 4, "is a folder"},
  };
  for (const auto& c : cases) {
    for (const char* command : {"learn", "test"}) {
      EXPECT_THAT(Run(With({command}, c.words), c.code).err, HasSubstr(c.message));
    }
  }
}

TEST_F(Cycle, DemoFindsAllItsFaults) {
  const SResult result = RunLimes({"demo", File("demo")});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("30 parts: 20 OK, 10 NOK, 0 not judged"));
  EXPECT_EQ(RunLimes({"demo", File("demo")}).out, result.out);
}

}  // namespace
}  // namespace limes::host
