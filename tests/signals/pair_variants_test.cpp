#include "limes/core/object_archive.h"
#include "limes/signals/measurement_pair_signal.h"
#include "limes/signals/time_pair_signal.h"
#include "tests/support/show.h"

namespace limes::test {
namespace {

using std::chrono::seconds;

template <class Tolerance>
concept IsTolerance = requires(CSigPairsTm run, Tolerance t) {
  run.HatWertBei(1048, t);
};
static_assert(IsTolerance<seconds> && !IsTolerance<int> && !IsTolerance<float>);

TEST(TimePairSignal, IntervalWidensWithItsPoints) {
  CSigPairsTm run;
  EXPECT_SHOWN("0 0", run.Time2Float(12345), run.Float2Time(0.7F));
  run.Neustart(1000, 1100);
  EXPECT_SHOWN("2100 0 0.005", run.ErsteZeit() + run.LetzteZeit(), run.ZeitImBereich(1050),
               run.PunktgleichheitToleranz());
  EXPECT_SHOWN("0 0.5", run.NeuesPaar(1050, 5), run.Punkt(0));
  EXPECT_SHOWN("0 {0 0.75}", run.NeuesPaar(CSigPairsTm::Time(seconds(900)), 9),
               std::vector<float>(run.Punkte(), run.PunkteEnd()));
  EXPECT_SHOWN("900 1100 1050 7 1 0", run.StartZeit(), run.EndZeit(), run.Zeitpunkt(1),
               run.WertBei(975), run.IndexZu(1040, 2), run.IndexZu(1040, 0));
  EXPECT_SHOWN("1 1 0", run.ZeitImBereich(1050), run.HatWertBei(1048, seconds(2)),
               run.HatWertBei(1048, seconds(1)));
  using Time = CSigPairsTm::Time;
  EXPECT_EQ(CSigPairsTm::Float2Time(0.999F, Time(), Time(seconds(10))), Time(seconds(9)));
  run.ZeitraumAendern(500, 500);
  EXPECT_SHOWN("0 inf", run.Punkt(1), run.PunktgleichheitToleranz());
  run.ZeitraumAendern(INT64_MIN, INT64_MAX);
  EXPECT_EQ(run.Zeitpunkt(0), 0) << "differences saturate";
}

TEST(TimePairSignal, CopiesCarryTheInterval) {
  CSigPairsTm run(4);
  run.Neustart(10, 20);
  run.NeuesPaar(15, 1);
  run.NeuesPaar(0.75F, 2.0F);
  const std::unique_ptr<CSigPairsTm> clone(run.Clone(false));
  EXPECT_SHOWN("17 18 0.05", clone->LetzteZeit(), clone->RoundedTimeAt(1),
               clone->PunktgleichheitToleranz());
  CSigPairsTm plain;
  plain.Neustart(1, 2);
  plain = static_cast<const CSigPairs&>(run);
  EXPECT_SHOWN("0 2 1 20", plain.EndZeit(), plain.NPaare(), plain.Copy(run, true),
               CSigPairsTm(plain).EndZeit());
}

TEST(TimePairSignal, KeepsOutOfArchives) {
  std::uint32_t words[60] = {};
  CSerializer archive(words, 60, 0);
  EXPECT_SHOWN("0 0", CSigPairsTm().Serialize(&archive), archive.GetPosition());
}

TEST(MeasurementPairSignal, Description) {
  CSigPairsVM run;
  ASSERT_TRUE(run.SetSpecification(CQuinterMFC(u"1", u"2", u"3", u"4", u"5", u"6")));
  EXPECT_TRUE(run.SetSpecification(u"a", u"b", u"c", u"d", u"e") && run.SetDataName(u"f"));
  EXPECT_SHOWN("d f", run.Instrument(), run.Specification().Parameter());
  run.SetzeTriggerStartStop(3, 4);
  run.SetzeTriggerMethode(5);
  run.NeuesPaar(1, 2);
  const CSigPairsVM whole = run;
  EXPECT_EQ(whole.Specification(), run.Specification());
  EXPECT_SHOWN("3 4 5 0", whole.TriggerStart(), whole.TriggerStop(), whole.TriggerMethode(),
               CSigPairsVM(static_cast<const CSigPairs&>(run)).TriggerStop());
}

TEST(MeasurementPairSignal, KeepsTheSensorOutOfDeepCopies) {
  CSigPairsVM run;
  run.SetSpecification(CQuinterMFC(u"1", u"2", u"3", u"4", u"5", u"6"));
  EXPECT_SHOWN("6", CSigPairsVM(run, true).Specification().Sensor(),
               CSigPairsVM(run, false).Specification().Sensor());
  CSigPairsVM other;
  other.SetSpecification(CQuinterMFC(u"", u"", u"", u"", u"", u"old"));
  ASSERT_TRUE(other.Copy(run, true));
  EXPECT_EQ(other.Specification(), CQuinterMFC(u"1", u"2", u"3", u"4", u"5", u"old"));
}

}  // namespace
}  // namespace limes::test
