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
using testing::HasSubstr;

class Cycle : public test::HostTest {
 protected:
  std::string store_ = File("store.limes");

  std::string Sound(const std::string& name, int channels, int rate, std::size_t frames,
                    const std::function<double(std::size_t, int)>& value,
                    int format = SF_FORMAT_FLOAT) {
    SF_INFO info{};
    info.samplerate = rate;
    info.channels = channels;
    info.format = SF_FORMAT_WAV | format;
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
};

TEST_F(Cycle, UnitsOfOneKindAreConvertedAndTold) {
  const auto table = [this](const char* name, const char* x, const char* unit, double dx,
                            double factor) {
    std::string text = std::string("t [") + x + "],w [" + unit + "]\n";
    for (int i = 0; i < 5; ++i) {
      text += std::to_string(i * dx) + "," + std::to_string((3.0 + i) * factor) + "\n";
    }
    return Write(name, text);
  };
  Run({"learn", "--factor", "3", "--base", "0.001", table("a.csv", "s", "m", 0.5, 1.0)}, 0);
  const std::string said =
      "warning: 'w' is converted from mm to m; x of 'w' is converted from ms to s\n";
  const std::string milli = table("b.csv", "ms", "mm", 500.0, 1000.0);
  EXPECT_THAT(Run({"learn", milli, milli, "--again"}, 0).err, testing::StartsWith(said));
  Run({"learn", table("c.csv", "s", "m", 0.5, 1.0001)}, 0);
  EXPECT_EQ(Run({"test", milli}, 0).err, said);
  EXPECT_EQ(Run({"test", table("d.csv", "s", "km", 0.5, 1.0)}, 1).err,
            "warning: 'w' is converted from km to m\n");
  EXPECT_THAT(Run({"test", table("e.csv", "s", "kg", 0.5, 1.0)}, 3).err,
              HasSubstr("'w' is in kg, in the store in m"));
}

/// One bad recording of many pieces is held, named and counted once; it can be learnt after all.
TEST_F(Cycle, ARecordingThatIsCutIsHeldAsAWhole) {
  std::mt19937 random(5);
  const auto recording = [&](const std::string& name, double offset) {
    std::string text = "a [V]\n";
    for (int i = 0; i < 36; ++i) {
      text += std::to_string(offset + static_cast<double>(random() % 1000) / 1000.0) + "\n";
    }
    return Write(name, text);
  };
  std::vector<std::string> learn = {"learn", "--guard", "--cut", "6", "--dx", "1", "--drift", "0"};
  for (int i = 0; i < 25; ++i) {
    learn.push_back(recording("good" + std::to_string(i) + ".csv", 0.01 * i));
  }
  EXPECT_THAT(Run(learn, 0).out, HasSubstr("learnt 150 parts"));
  const std::string bad = recording("bad.csv", 5.0);
  const SResult held = Run({"learn", bad, recording("next.csv", 0.1), "--json"}, 0);
  EXPECT_THAT(held.err, HasSubstr("bad.csv, 6 pieces  score"));
  EXPECT_THAT(held.err, testing::Not(HasSubstr("has moved")));
  EXPECT_THAT(held.err, HasSubstr("learnt 6 parts; 156 in"));
  ASSERT_EQ(held.Lines().size(), 7U) << held.out;
  EXPECT_EQ(held.Lines()[0]["pieces"], 6);
  EXPECT_EQ(held.Lines()[0]["process_moved"], false);
  EXPECT_EQ(Run({"show", "--held", "--json"}, 0).Lines().size(), 1U);
  EXPECT_THAT(Run({"learn", bad}, 3).err, HasSubstr("is held back already"));
  EXPECT_THAT(Run({"accept", "bad.csv"}, 0).out, HasSubstr("162 learnt in"));
  EXPECT_EQ(Run({"show", "--held"}, 0).out, "");
  for (int i = 0; i < 5; ++i) {
    const std::string name = "moved" + std::to_string(i) + ".csv";
    EXPECT_EQ(
        Run({"learn", recording(name, -1000.0 - i)}, 0).err.find("has moved") != std::string::npos,
        i == 4);
  }
  EXPECT_THAT(Run({"forget", "moved4.csv"}, 0).out, HasSubstr("moved4.csv, which was held back"));
  EXPECT_THAT(Run({"rebase"}, 0).out, HasSubstr("24 learnt in"));
}

/// The last parts lie 3 spreads higher at 1.5 s, and names try to be markup.
TEST_F(Cycle, DriftStandsOnThePage) {
  std::mt19937 random(5);
  std::vector<std::string> command = {"learn", "--factor", "3", "--drift", "100"};
  for (int part = 0; part < 60; ++part) {
    std::string text = "t [s],<b>w [m]\n";
    for (int i = 0; i < 5; ++i) {
      const double noise = static_cast<double>(random() % 1000) / 1000.0;
      text += std::to_string(0.5 * i) + "," +
              std::to_string(10.0 + noise + (part >= 40 ? 1.0 + (i == 3 ? 0.5 : 0.0) : 0.0)) + "\n";
    }
    command.push_back(Write("part&" + std::to_string(100 + part) + "<i>.csv", text));
  }
  EXPECT_THAT(Run(command, 0).err, HasSubstr("drift: <b>w has moved up"));
  Run({"report", "--html", File("page.html")}, 0);
  std::ifstream file(File("page.html"));
  const std::string page{std::istreambuf_iterator<char>(file), {}};
  const auto begin = page.find("<h2>Drift</h2>");
  ASSERT_NE(begin, std::string::npos);
  const std::string section = page.substr(begin, page.find("</table>", begin) - begin);
  EXPECT_THAT(section, HasSubstr("&lt;b&gt;w"));
  EXPECT_THAT(section, HasSubstr("part&amp;14"));
  EXPECT_THAT(section, HasSubstr("&lt;i&gt;.csv"));
  EXPECT_THAT(section, HasSubstr("1.5 s"));
  EXPECT_THAT(section, testing::Not(testing::AnyOf(HasSubstr("<b>"), HasSubstr("<i>"))));
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
  EXPECT_THAT(Run({"learn", "--factor", "3", good, "--use", "2", "--cut", "256", "--spectrum", "64",
                   "--unit", "Pa"},
                  0)
                  .out,
              HasSubstr("learnt 3 parts"));
  const json q = Run({"test", loud, "--json"}, 1).Lines().at(0).at("quantities").at(0);
  EXPECT_EQ(json::array({q.at("name"), q.at("unit"), q.at("x")}).dump(),
            "[\"channel 2\",\"dB(Pa)\",2000.0]");
  EXPECT_NEAR(q.at("value"), 20.0 * std::log10(0.1 / std::sqrt(2.0) / 2e-5), 1e-2);
  EXPECT_NEAR(q.at("max_deviation"), 20.0, 0.1);
  const std::string fast = Sound("fast.wav", 2, 16000, 256, tone(0.01));
  EXPECT_THAT(Run({"test", fast}, 3).err, HasSubstr("sampled at 16000 Hz, learnt at 8000 Hz"));
  const std::string brief = Sound("brief.wav", 2, 8000, 255, tone(0.01));
  EXPECT_THAT(Run({"test", brief}, 3).err, HasSubstr("255 samples, fewer than --cut 256"));
  const std::string bytes = Read(good);
  for (const std::size_t size : {0U, 11U, 40U, 60U, 500U}) {
    Write("cut.wav", bytes.substr(0, size));
    EXPECT_THAT(Run({"test", File("cut.wav")}, 3).err, HasSubstr("cut.wav"));
  }
}

TEST_F(Cycle, DoesNotJudgeDeadAndClippedRecordings) {
  std::mt19937 random;
  std::normal_distribution<double> noise;
  const auto sound = [&](const char* name, double level) {
    return Sound(
        name, 1, 8000, 8192,
        [&](std::size_t, int) { return std::clamp(level * noise(random), -1.0, 1.0); },
        SF_FORMAT_PCM_16);
  };
  Run({"learn", "--factor", "3", sound("good.wav", 0.2), "--cut", "1024", "--spectrum", "256",
       "--base", "10"},
      0);
  const struct {
    const char* name;
    double level;
    int code;
    const char* verdict;
    const char* reason;
  } cases[] = {
      {"like.wav", 0.2, 0, "OK", ""},
      {"dead.wav", 0.0, 1, "not judged", "no signal"},
      {"faint.wav", 0.0002, 1, "not judged", "no signal"},
      {"clipped.wav", 0.5, 1, "not judged", "clipped"},
      {"clipped and loud.wav", 4.0, 1, "NOK", "clipped"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = sound(c.name, c.level);
    const json part = Run({"test", path, "--json"}, c.code).Lines().at(0);
    EXPECT_EQ(part.at("verdict"), c.verdict);
    if (std::string(c.verdict) == "not judged") {
      EXPECT_THAT(part.at("quantities").at(0).at("reason"), HasSubstr(c.reason));
    }
    if (c.code != 0) {
      EXPECT_THAT(Run({"learn", path}, 3).err, HasSubstr(c.reason));
    }
  }
}

TEST_F(Cycle, DoesNotPassARecordingShorterThanThoseLearnt) {
  std::mt19937 random;
  const auto sound = [&](const std::string& name, std::size_t frames, std::size_t silentFrom) {
    return Sound(name, 1, 8000, frames, [&](std::size_t i, int) {
      return i < silentFrom ? static_cast<double>(random() % 1000) * 1e-4 : 0.0;
    });
  };
  const std::string brief = sound("brief.wav", 3000, 8000);
  const std::string halfSilent = sound("half.wav", 8000, 4000);
  for (const std::vector<std::string>& forming :
       {std::vector<std::string>{"--spectrum", "256", "--detrend"}, {"--single", "rms,crest"}}) {
    std::vector<std::string> learn = {"learn", "--factor", "9", "--base", "9"};
    learn.insert(learn.end(), forming.begin(), forming.end());
    for (int i = 0; i < 4; ++i) {
      learn.push_back(sound("good" + std::to_string(i) + ".wav", 8000, 8000));
    }
    Run(learn, 0);
    EXPECT_THAT(Run({"test", brief}, 1).out, HasSubstr("measured for only 37.5 % of the time"));
    EXPECT_THAT(Run({"test", halfSilent}, 1).out, HasSubstr("measured for only 50 % of the time"));
    Run({"test", sound("longer.wav", 16000, 16000)}, 0);
    Run({"test", sound("almost.wav", 7300, 7300)}, 0);
    EXPECT_THAT(Run({"learn", brief}, 3).err, HasSubstr("--allow-short learns it all the same"));
    Run({"learn", brief, "--allow-short"}, 0);
    Run({"test", brief}, 0);
    Run({"forget", brief}, 0);
    Run({"test", brief}, 1);
    for (const char* const ending : {"", "-wal", "-shm"}) {
      std::filesystem::remove(store_ + ending);
    }
  }
}

/// A cable that came off leaves some noise, which upper limits alone would pass.
TEST_F(Cycle, DoesNotPassARecordingFarQuieterThanThoseLearnt) {
  std::mt19937 random;
  const auto sound = [&](const char* name, double level) {
    return Sound(
        name, 1, 48000, 24000,
        [&](std::size_t i, int) {
          const double noise = static_cast<double>(random() % 2001) * 1e-3 - 1.0;
          return level * (0.04 * noise + 0.1 * std::sin(2.0 * std::numbers::pi * 1000.0 *
                                                        static_cast<double>(i) / 48000.0));
        },
        SF_FORMAT_PCM_24);
  };
  std::vector<std::string> good;
  for (const char* const name : {"1.wav", "2.wav", "3.wav", "4.wav"}) {
    good.push_back(sound(name, 1.0));
  }
  const std::string faint = sound("faint.wav", 0.001);
  const std::string tenth = sound("tenth.wav", 0.1);
  const std::string halved = sound("halved.wav", 0.5);
  for (const std::vector<std::string>& forming :
       {std::vector<std::string>{"--bands", "3", "--cut", "12000"},
        {"--single", "crest,kurtosis"},
        {}}) {
    std::vector<std::string> learn = {"learn", "--factor", "9", "--base", "9", "--sides", "upper"};
    learn.insert(learn.end(), forming.begin(), forming.end());
    learn.insert(learn.end(), good.begin(), good.end());
    Run(learn, 0);
    EXPECT_THAT(Run({"test", faint}, 1).out, HasSubstr("no signal: its rms is 0."));
    EXPECT_THAT(Run({"test", tenth}, 1).out, HasSubstr("no signal: its rms is 1"));
    EXPECT_THAT(Run({"learn", faint}, 3).err, HasSubstr("no signal"));
    Run({"test", halved}, 0);
    for (const char* const ending : {"", "-wal", "-shm"}) {
      std::filesystem::remove(store_ + ending);
    }
  }
}

/// Of values and curves that nothing is formed of upper limits alone tell as little.
TEST_F(Cycle, DoesNotPassValuesAndCurvesOfACableThatCameOff) {
  const auto curve = [&](const std::string& name, double level, double noise, double offset) {
    std::string text = "way [mm],force [" + std::string(offset < 0.0 ? "dB" : "N") + "]\n";
    for (int i = 0; i < 100; ++i) {
      text += std::to_string(0.5 * i) + "," +
              std::to_string(offset + level * (5.0 + 95.0 * std::exp(-std::pow(0.1 * i - 4, 2))) +
                             noise * ((i * 37) % 11 - 5)) +
              "\n";
    }
    return Write(name, text);
  };
  std::string values = "torque,leak\n";
  std::vector<std::string> curves;
  std::vector<std::string> levels;
  for (int i = 0; i < 4; ++i) {
    values += std::to_string(2.0 + 0.02 * (i % 4 - 1.5)) + "," +
              std::to_string(0.1 * std::exp2(0.7 * (i % 4))) + "\n";
    const std::string name = std::to_string(i) + ".csv";
    curves.push_back(curve("curve" + name, 1.0 + 0.1 * (i % 4 - 1.5), 0.03, 0.0));
    levels.push_back(curve("level" + name, 0.1, 0.03, -30.0 + 2.0 * (i % 4)));
  }
  const struct {
    std::vector<std::string> learn;
    std::string file;
    int code;
    const char* reason;
  } cases[] = {
      {{"--values", Write("values.csv", values)},
       Write("1", "torque,leak\n0.9,0.2\n"),
       1,
       "no signal: 0.9"},
      {{}, Write("2", "torque,leak\n2,0.01\n"), 1, "no signal: 0.01 lies far below"},
      {{}, Write("3", "torque,leak\n1.5,0.08\n"), 0, "1 OK"},
      {{"--values", Write("zeros.csv", "torque,leak\n2,0\n2.1,0.3\n1.9,0.2\n2,0.3\n")},
       Write("4", "torque,leak\n2,0\n"),
       0,
       "1 OK"},
      {curves, curve("noise", 0.0, 0.03, 0.0), 1, "no signal: its rms is 0."},
      {{}, curve("tenth", 0.1, 0.03, 0.0), 1, "no signal: its rms is 1"},
      {{}, curve("wrong way", -1.0, 0.03, 0.0), 1, "no signal"},
      {{}, curve("half", 0.5, 0.03, 0.0), 0, "OK"},
      {levels, curve("20 dB less", 0.1, 0.03, -47.0), 1, "no signal: its rms is"},
      {{}, curve("6 dB less", 0.1, 0.03, -33.0), 0, "OK"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    if (!c.learn.empty()) {
      for (const char* const ending : {"", "-wal", "-shm"}) {
        std::filesystem::remove(store_ + ending);
      }
      std::vector<std::string> learn = {"learn", "--factor", "9", "--sides", "upper"};
      learn.insert(learn.end(), c.learn.begin(), c.learn.end());
      Run(learn, 0);
    }
    EXPECT_THAT(Run({"test", c.file}, c.code).out, HasSubstr(c.reason));
  }
}

TEST_F(Cycle, DoesNotPassAFaultThatWasNotMeasured) {
  const auto table = [&](const char* name, double level, const std::function<bool(int)>& has) {
    std::string text = "x,v\n";
    for (int i = 0; i < 200; ++i) {
      const double fault = std::string_view(name).starts_with("bad") && i == 100 ? 50.0 : 0.0;
      text +=
          has(i) ? std::to_string(i) + "," + std::to_string(level + 0.01 * i + fault) + "\n" : "";
    }
    return Write(name, text);
  };
  const auto all = [](int) { return true; };
  Run({"learn", "--factor", "3", table("a", 0.0, all), table("b", 0.1, all), table("c", 0.2, all)},
      0);
  const auto without = [](int i) { return i < 80 || i > 120; };
  const auto few = [](int i) { return i == 0 || i == 70 || i == 199; };
  EXPECT_THAT(Run({"test", table("bad", 0.1, all)}, 1).out, HasSubstr("NOK"));
  EXPECT_THAT(Run({"test", table("bad, cut", 0.1, without)}, 1).out,
              HasSubstr("covers only 80.5 %"));
  EXPECT_THAT(Run({"test", table("bad, few", 0.1, few)}, 1).out, HasSubstr("covers only 7.5 %"));
  EXPECT_THAT(Run({"learn", File("bad, cut")}, 3).err, HasSubstr("too little was measured"));
}

TEST_F(Cycle, JudgesWithoutTouchingTheStore) {
  const std::string path = Write("v.csv", "v\n1\n2\n3\n");
  Run({"learn", "--factor", "3", path, "--values"}, 0);
  const std::string before = Read(store_);
  std::filesystem::permissions(store_, std::filesystem::perms::owner_read);
  EXPECT_THAT(Run({"test", path, "--no-store"}, 0).out, HasSubstr("3 OK"));
  EXPECT_EQ(Read(store_), before);
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
  Run({"learn", "--factor", "3", write("a", 1.0F), write("b", 2.0F), write("c", 3.0F)}, 0);
  const json q = Run({"test", write("d", 9.0F), "--json"}, 1).Lines().at(0).at("quantities").at(0);
  EXPECT_EQ(json::array({q.at("name"), q.at("unit"), q.at("x")}).dump(),
            "[\"Torque\",\"Nm\",10.0]");
  const std::pair<std::string, const char*> broken[] = {
      {Read(File("d")).substr(0, 100), "curve record 1"},
      {std::string("x\0", 2), "curve record 1: name or units"},
      {std::string("\xEF\xCD\0\0\3\0\0\0", 8), "newer version"},
      {std::string("\xEF\xCD\0\0\1\0\0\0", 8), "array of curves is cut short"},
  };
  for (const auto& [bytes, message] : broken) {
    EXPECT_THAT(Run({"test", Write("broken", bytes)}, 3).err, HasSubstr(message));
  }
}

TEST_F(Cycle, PassesAPartLikeThoseItLearnt) {
  std::string text = "v0,v1,v2,v3\n";
  for (int i = 0; i < 300; ++i) {
    text += "0.1,7.3,1234.567,-3e-9\n";
  }
  const std::string path = Write("same.csv", text);
  Run({"learn", "--factor", "3", path, "--rows", "--sides", "both"}, 0);
  Run({"test", path, "--parts", "1"}, 0);
}

TEST_F(Cycle, DemoFindsAllItsFaults) {
  const SResult result = RunLimes({"demo", File("demo")});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("30 parts: 20 OK, 10 NOK, 0 not judged"));
  const std::string store = Read(File("demo/bench.limes"));
  EXPECT_THAT(RunLimes({"demo", File("demo")}).err, HasSubstr("is there already"));
  EXPECT_EQ(Read(File("demo/bench.limes")), store);
  const SResult again = RunLimes({"demo", File("demo"), "--force"});
  EXPECT_THAT(again.out, HasSubstr("30 parts: 20 OK, 10 NOK, 0 not judged"));
}

}  // namespace
}  // namespace limes::host
