// Reading a unit text and showing it again, beside udunits2's parsing and formatting.
#include <benchmark/benchmark.h>

#include "limes/core/measuring_unit.h"

#if defined(LIMES_HAVE_UDUNITS2)
#include <udunits2.h>
#endif

namespace {

constexpr const char16_t* kTexts[] = {u"kHz", u"m/s²", u"Pa", u"mV", u"rpm", u"s", u"kPa", u"V²"};

void Ours(benchmark::State& state) {
  const std::u16string texts[] = {kTexts[0], kTexts[1], kTexts[2], kTexts[3],
                                  kTexts[4], kTexts[5], kTexts[6], kTexts[7]};
  limes::CMeasuringUnit unit;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(unit.set(texts[i++ % std::size(texts)]));
    const limes::wide_string shown = unit.prefixunit();
    benchmark::DoNotOptimize(shown.data());
  }
}
BENCHMARK(Ours)->Name("Ours/UnitText/1");

#if defined(LIMES_HAVE_UDUNITS2)
void Peer(benchmark::State& state) {
  constexpr const char* kPeerTexts[] = {"kHz", "m/s2", "Pa", "mV", "rpm", "s", "kPa", "V2"};
  ut_set_error_message_handler(ut_ignore);
  ut_system* const system = ut_read_xml(nullptr);
  std::size_t i = 0;
  char shown[128];
  for (auto _ : state) {
    ut_unit* const unit = ut_parse(system, kPeerTexts[i++ % std::size(kPeerTexts)], UT_ASCII);
    benchmark::DoNotOptimize(ut_format(unit, shown, sizeof(shown), UT_ASCII));
    benchmark::DoNotOptimize(shown);
    ut_free(unit);
  }
  ut_free_system(system);
}
BENCHMARK(Peer)->Name("Peer/UnitText/1");
#endif

}  // namespace

BENCHMARK_MAIN();
