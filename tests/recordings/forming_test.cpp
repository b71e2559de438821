#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <numbers>

#include "recordings/errors.h"
#include "recordings/forming/former.h"

namespace limes::recordings {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

SQuantity Signal(const std::string& name, double rate, double seconds,
                 const std::function<double(double)>& of, const char* unit = "Pa") {
  SQuantity q;
  q.name = name;
  q.unit = ParseUnit(unit);
  q.xUnit = ParseUnit("s");
  q.dx = 1.0 / rate;
  for (std::size_t i = 0; static_cast<double>(i) < rate * seconds; ++i) {
    q.values.push_back(static_cast<float>(of(static_cast<double>(i) / rate)));
  }
  return q;
}

double Sine(double frequency, double t) { return std::sin(kTwoPi * frequency * t); }

/// Noise between -1 and 1 that every program can make.
SQuantity Noise() {
  std::uint32_t state = 1;
  return Signal("noise", 16000.0, 10.0, [&](double) {
    state = (1103515245U * state + 12345U) & 0x7FFFFFFFU;
    return state / 1073741824.0 - 1.0;
  });
}

SPart Formed(SReadSettings settings, std::vector<SQuantity> quantities) {
  settings.ref = settings.ref.value_or(1.0);
  SPart part{"part", std::nullopt, std::move(quantities)};
  CFormer(settings).Form(part, true);
  return part;
}

std::string Refusal(const SReadSettings& settings, std::vector<SQuantity> quantities) {
  try {
    Formed(settings, std::move(quantities));
  } catch (const CInputError& e) {
    return e.what();
  }
  return "";
}

float At(const SQuantity& q, double x) {
  return q.values.at(static_cast<std::size_t>(std::lround((x - q.x0) / q.dx)));
}

TEST(Forming, SpectraOfAResolutionShareAGrid) {
  SReadSettings settings;
  settings.resolution = 12.5;
  for (const double rate : {44100.0, 48000.0, 16000.0}) {
    const SQuantity q =
        Formed(settings, {Signal("s", rate, 1.0, [](double t) { return Sine(1000, t); })})
            .quantities.at(0);
    EXPECT_EQ(q.dx, 12.5);
    EXPECT_EQ(q.x0, 12.5);
    EXPECT_NEAR(At(q, 1000.0), -3.0103, 0.001) << rate;
  }
  settings.resolution = 7.0;
  EXPECT_THAT(Refusal(settings, {Noise()}), testing::HasSubstr("must be an even number"));
}

/// The levels are those of 8th-order Butterworth band-passes of another program.
TEST(Forming, BandLevelsAreThoseOfBandPasses) {
  SReadSettings settings;
  settings.bands = 3;
  const SQuantity thirds = Formed(settings, {Noise()}).quantities.at(0);
  EXPECT_EQ(thirds.x0, 14.0);  // 25 Hz is the first that is wider than 5 Hz
  for (const auto& [band, level] :
       {std::pair(20, -30.41), {25, -25.15}, {30, -19.94}, {36, -14.21}}) {
    EXPECT_NEAR(At(thirds, band), level, 0.25) << band;
  }
  settings.bands = 1;
  const SQuantity octaves = Formed(settings, {Noise()}).quantities.at(0);
  for (const auto& [band, level] : {std::pair(24, -21.36), {30, -15.22}, {33, -12.24}}) {
    EXPECT_NEAR(At(octaves, band), level, 0.1) << band;
  }
  settings.bands = 3;
  const SQuantity tone =
      Formed(settings, {Signal("s", 16000.0, 2.0, [](double t) { return Sine(1003.3, t); })})
          .quantities.at(0);
  EXPECT_NEAR(At(tone, 30), -3.01, 0.02);
}

/// The rounded values of IEC 61672-1:2013, table 3.
TEST(Forming, WeightingsAreThoseOfTheTable) {
  const struct {
    double number, a, c;
  } kRows[] = {{15, -39.4, -3.0}, {18, -26.2, -0.8}, {21, -16.1, -0.2}, {24, -8.6, 0.0},
               {27, -3.2, 0.0},   {30, 0.0, 0.0},    {33, 1.2, -0.2},   {36, 1.0, -0.8},
               {39, -1.1, -3.0},  {42, -6.6, -8.5},  {43, -9.3, -11.2}};
  for (const auto& row : kRows) {
    const double f = std::pow(10.0, 0.1 * row.number);
    EXPECT_NEAR(20.0 * std::log10(WeightingA(f)), row.a, 0.051) << f;
    EXPECT_NEAR(20.0 * std::log10(WeightingC(f)), row.c, 0.051) << f;
  }
}

TEST(Forming, LevelOverTimeFollowsItsTimeConstant) {
  SReadSettings settings;
  settings.level = 0.125;
  settings.weighting = "A";
  const SQuantity q =
      Formed(settings,
             {Signal("s", 16000.0, 2.0, [](double t) { return t < 1.0 ? Sine(125.0, t) : 0.0; })})
          .quantities.at(0);
  EXPECT_NEAR(q.x0, 0.125, 1e-9);
  EXPECT_NEAR(At(q, 0.9), -3.01 - 16.1, 0.1);
  EXPECT_NEAR(At(q, 1.8) - At(q, 1.3), -0.5 / 0.125 * 10.0 / std::log(10.0), 0.3);
  settings.level = 1.5;
  EXPECT_THAT(
      Refusal(settings, {Signal("s", 16000.0, 2.0, [](double t) { return Sine(125.0, t); })}),
      testing::HasSubstr("two time constants"));
}

TEST(Forming, EnvelopeSpectrumShowsTheModulation) {
  SReadSettings settings;
  settings.envelope = "2000:4000";
  settings.resolution = 5.0;
  const SQuantity q =
      Formed(settings, {Signal("s", 16000.0, 2.0,
                               [](double t) {
                                 return 5.0 * Sine(100.0, t) +
                                        (1.0 + 0.5 * Sine(85.0, t)) * Sine(3000.0, t);
                               })})
          .quantities.at(0);
  EXPECT_NEAR(At(q, 85.0), 20.0 * std::log10(0.5 / std::sqrt(2.0)), 0.05);
  EXPECT_LT(At(q, 100.0), -40.0);
  settings.envelope = "2000:9000";
  EXPECT_THAT(Refusal(settings, {Noise()}), testing::HasSubstr("half the sampling rate"));
}

/// Those of the noise by another program.
TEST(Forming, SingleValues) {
  SReadSettings settings;
  settings.single = {"rms", "peak", "crest", "kurtosis", "1000:3000"};
  const SPart part = Formed(settings, {Noise()});
  const double expected[] = {0.5773915, 0.9999716, 0.9999716 / 0.5773915, 1.8017560, -10.71};
  ASSERT_EQ(part.quantities.size(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    EXPECT_TRUE(part.quantities[i].single);
    EXPECT_NEAR(part.quantities[i].value, expected[i], i == 4 ? 0.1 : 1e-5);
  }
  EXPECT_EQ(part.quantities[0].name, "noise rms");
  EXPECT_THAT(Refusal(settings, {Signal("s", 1000.0, 1.0, [](double) { return 0.5; })}),
              testing::HasSubstr("is constant"));
}

/// A run-up from 10 to 40 revolutions a second with orders 2 and 5.5.
TEST(Forming, OrdersOfARunUpAreFound) {
  constexpr double kRate = 8192.0;
  const auto turns = [](double t) { return 10.0 * t + 1.5 * t * t; };
  const auto runUp = Signal("noise", kRate, 10.0, [&](double t) {
    return Sine(2.0, turns(t)) + 0.1 * Sine(5.5, turns(t));
  });
  const auto speed = Signal(
      "n", kRate, 10.0, [](double t) { return 60.0 * (10.0 + 3.0 * t); }, "1/min");
  const auto pulses = Signal(
      "n", kRate, 10.0, [&](double t) { return Sine(4.0, turns(t)) > 0.0 ? 5.0 : 0.0; }, "V");
  SReadSettings settings;
  settings.orders = "0.25:20";
  settings.speed = "n";
  for (const bool counts : {false, true}) {
    settings.pulses.reset();
    if (counts) {
      settings.pulses = 4.0;
    }
    const SPart part = Formed(settings, {runUp, counts ? pulses : speed});
    ASSERT_EQ(part.quantities.size(), 1U);
    const SQuantity& q = part.quantities[0];
    EXPECT_EQ(q.values.size(), 80U);
    EXPECT_NEAR(At(q, 2.0), -3.01, 0.1) << counts;
    EXPECT_NEAR(At(q, 5.5), -23.01, 0.1) << counts;
    EXPECT_LT(At(q, 4.0), -50.0) << counts;
  }
  settings.pulses.reset();
  settings.orderCuts = {"2", "5.5"};
  const SPart cuts = Formed(settings, {runUp, speed});
  ASSERT_EQ(cuts.quantities.size(), 2U);
  for (const SQuantity& cut : cuts.quantities) {
    EXPECT_GT(cut.x.back(), 2300.0F);
    for (const float level : cut.values) {
      EXPECT_NEAR(level, cut.name == "noise order 2" ? -3.01 : -23.01, 0.1) << cut.name;
    }
  }
}

TEST(Forming, OrdersNeedASpeed) {
  SReadSettings settings;
  settings.orders = "0.5:10";
  settings.speed = "n";
  const auto speed = [](const char* unit, const std::function<double(double)>& of) {
    return Signal("n", 16000.0, 10.0, of, unit);
  };
  EXPECT_THAT(Refusal(settings, {Noise()}), testing::HasSubstr("no channel"));
  const auto steady = [](double) { return 20.0; };
  EXPECT_THAT(Refusal(settings, {Noise(), speed("V", steady)}), testing::HasSubstr("in V"));
  EXPECT_THAT(Refusal(settings, {Noise(), speed("Hz", [](double t) { return 5.0 - t; })}),
              testing::HasSubstr("not above 0"));
  EXPECT_THAT(Refusal(settings, {Noise(), speed("Hz", [](double) { return 1e-5; })}),
              testing::HasSubstr("too low"));
  EXPECT_THAT(Refusal(settings, {Noise(), speed("Hz", [](double) { return 0.1; })}),
              testing::HasSubstr("fewer than 2 revolutions"));
  settings.orderCuts = {"2"};
  EXPECT_THAT(Refusal(settings, {Noise(), speed("Hz", steady)}),
              testing::HasSubstr("rise or fall"));
  settings.pulses = 1.0;
  EXPECT_THAT(Refusal(settings, {Noise(), speed("V", steady)}), testing::HasSubstr("two pulses"));
}

/// Of the signal itself: what is weighted, or the offset of a sensor, tells nothing of the sensor.
TEST(Forming, TellsHowLoudTheSignalWas) {
  SReadSettings settings;
  settings.resolution = 12.5;
  settings.weighting = "A";
  const SQuantity q = Signal("s", 8000.0, 2.0, [](double t) { return 5.0 + Sine(100.0, t); });
  EXPECT_NEAR(Formed(settings, {q}).quantities.at(0).recorded.rms, std::sqrt(0.5), 1e-6);
  settings = {};
  settings.single = {"crest", "kurtosis"};
  for (const SQuantity& value : Formed(settings, {q}).quantities) {
    EXPECT_NEAR(value.recorded.rms, std::sqrt(0.5), 1e-6) << value.name;
  }
}

/// What stands still was not measured, and a pulse that is missing leaves the rest where it is not.
TEST(Forming, TellsHowLongTheSignalMoved) {
  SReadSettings settings;
  settings.resolution = 12.5;
  const auto recorded = [&](const std::function<double(double)>& of, const char* xUnit = "s") {
    SQuantity q = Signal("s", 8000.0, 2.0, of);
    q.xUnit = ParseUnit(xUnit);
    q.dx *= q.xUnit.Display() == "ms" ? 1e3 : 1.0;
    return Formed(settings, {q}).quantities.at(0).recorded.time;
  };
  EXPECT_DOUBLE_EQ(recorded([](double t) { return Sine(100.0, t); }), 2.0);
  EXPECT_DOUBLE_EQ(recorded([](double t) { return Sine(100.0, t); }, "ms"), 2.0);
  EXPECT_NEAR(recorded([](double t) { return t < 0.5 ? Sine(100.0, t) : 0.25; }), 0.5, 1e-3);
  EXPECT_NEAR(recorded([](double t) { return std::fmod(t, 0.5) < 0.3 ? Sine(99.0, t) : 0.0; }), 1.2,
              0.01);
  EXPECT_DOUBLE_EQ(recorded([](double t) { return std::round(Sine(100.0, t)); }), 2.0);

  settings = {};
  settings.orders = "0.5:10";
  settings.speed = "n";
  settings.pulses = 2.0;
  const auto withPulses = [](double from, double to) {
    return Signal(
        "n", 16000.0, 10.0,
        [=](double t) { return Sine(40.0, t) > 0.0 && !(t > from && t < to) ? 5.0 : 0.0; }, "V");
  };
  const auto orders = [&](double from, double to) {
    return Formed(settings, {Noise(), withPulses(from, to)}).quantities.at(0).recorded.time;
  };
  EXPECT_NEAR(orders(20.0, 20.0), 10.0, 0.06);
  EXPECT_NEAR(orders(4.0, 20.0), 4.0, 0.06);
  EXPECT_THAT(Refusal(settings, {Noise(), withPulses(4.02, 4.045)}),
              testing::HasSubstr("some are missing"));
}

}  // namespace
}  // namespace limes::recordings
