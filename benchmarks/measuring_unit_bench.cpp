// Reading a unit text and showing it again, beside udunits2's parsing and formatting.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "limes/core/measuring_unit.h"

#if defined(LIMES_HAVE_UDUNITS2)
#include <udunits2.h>
#endif

namespace {

struct Text {
  const char16_t* ours;
  const char* peer;
};

/// What measurement files hold.
constexpr Text kCommon[] = {
    {u"Hz", "Hz"},       {u"kHz", "kHz"}, {u"m/s", "m/s"}, {u"km/s", "km/s"}, {u"m/s²", "m/s2"},
    {u"m/s^2", "m/s^2"}, {u"Pa", "Pa"},   {u"mPa", "mPa"}, {u"Nm", "N.m"},    {u"V", "V"},
    {u"mV", "mV"},       {u"V²", "V2"},   {u"s", "s"},     {u"ms", "ms"},     {u"rpm", "rpm"},
    {u"rad/s", "rad/s"}, {u"bar", "bar"}, {u"kW", "kW"},   {u"°C", "degC"},   {u"%", "%"},
};

/// Texts that need the expression parser.
constexpr Text kComposite[] = {
    {u"(m/s)²", "(m/s)2"},
    {u"(km/s²)^4", "(km/s2)^4"},
    {u"Hz^(-1)", "Hz-1"},
    {u"kV^4", "kV4"},
};

template <std::size_t n>
void Ours(benchmark::State& state, const Text (&texts)[n]) {
  const std::vector<std::u16string> list = [&texts] {
    std::vector<std::u16string> result;
    for (const Text& text : texts) {
      result.emplace_back(text.ours);
    }
    return result;
  }();
  limes::CMeasuringUnit unit;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(unit.set(list[i++ % n]));
    const limes::wide_string shown = unit.prefixunit();
    benchmark::DoNotOptimize(shown.data());
    if (unit.empty()) {
      state.SkipWithError("unknown unit");
    }
  }
}
BENCHMARK_CAPTURE(Ours, common, kCommon)->Name("Ours/UnitText/1");
BENCHMARK_CAPTURE(Ours, composite, kComposite)->Name("Ours/CompositeUnitText/1");

#if defined(LIMES_HAVE_UDUNITS2)
template <std::size_t n>
void Peer(benchmark::State& state, const Text (&texts)[n]) {
  ut_set_error_message_handler(ut_ignore);
  ut_system* const system = ut_read_xml(nullptr);
  std::size_t i = 0;
  char shown[128];
  for (auto _ : state) {
    ut_unit* const unit = ut_parse(system, texts[i++ % n].peer, UT_ASCII);
    if (unit == nullptr) {
      state.SkipWithError("unknown unit");
      break;
    }
    benchmark::DoNotOptimize(ut_format(unit, shown, sizeof(shown), UT_ASCII));
    benchmark::DoNotOptimize(shown);
    ut_free(unit);
  }
  ut_free_system(system);
}
BENCHMARK_CAPTURE(Peer, common, kCommon)->Name("Peer/UnitText/1");
BENCHMARK_CAPTURE(Peer, composite, kComposite)->Name("Peer/CompositeUnitText/1");
#endif

}  // namespace

BENCHMARK_MAIN();
