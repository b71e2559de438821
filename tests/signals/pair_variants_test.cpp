#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <memory>

#include "limes/core/object_archive.h"
#include "limes/signals/measurement_pair_signal.h"
#include "limes/signals/time_pair_signal.h"

namespace limes {
namespace {

using std::chrono::seconds;

TEST(TimePairSignal, IntervalWidensWithItsPoints) {
  CSigPairsTm run;
  EXPECT_EQ(run.Time2Float(12345), 0.0F);
  EXPECT_EQ(run.Float2Time(0.7F), 0);
  run.Neustart(1000, 1100);
  EXPECT_EQ(run.ErsteZeit() + run.LetzteZeit(), 2100);
  EXPECT_FALSE(run.ZeitImBereich(1050));
  EXPECT_EQ(run.PunktgleichheitToleranz(), 0.005F);
  EXPECT_EQ(run.NeuesPaar(1050, 5), 0);
  EXPECT_EQ(run.Punkt(0), 0.5F);
  EXPECT_EQ(run.NeuesPaar(CSigPairsTm::Time(seconds(900)), 9), 0);
  EXPECT_EQ(run.Punkt(0), 0.0F);
  EXPECT_EQ(run.Punkt(1), 0.75F);
  EXPECT_EQ(run.StartZeit(), 900);
  EXPECT_EQ(run.EndZeit(), 1100);
  EXPECT_EQ(run.Zeitpunkt(1), 1050);
  EXPECT_EQ(run.WertBei(975), 7.0F);
  EXPECT_EQ(run.IndexZu(1040, 2), 1);
  EXPECT_EQ(run.IndexZu(1040, 0), 0);
  EXPECT_TRUE(run.ZeitImBereich(1050));
  EXPECT_TRUE(run.HatWertBei(1048, seconds(2)));
  EXPECT_FALSE(run.HatWertBei(1048, seconds(1)));
  using Time = CSigPairsTm::Time;
  EXPECT_EQ(CSigPairsTm::Float2Time(0.999F, Time(), Time(seconds(10))), Time(seconds(9)));
  run.ZeitraumAendern(500, 500);
  EXPECT_EQ(run.Punkt(1), 0.0F);
  EXPECT_TRUE(std::isinf(run.PunktgleichheitToleranz()));
  run.ZeitraumAendern(INT64_MIN, INT64_MAX);
  EXPECT_EQ(run.Zeitpunkt(0), -1) << "differences saturate";
}

TEST(TimePairSignal, CopiesCarryTheInterval) {
  CSigPairsTm run(4);
  run.Neustart(10, 20);
  run.NeuesPaar(15, 1);
  run.NeuesPaar(0.75F, 2.0F);
  const std::unique_ptr<CSigPairsTm> clone(run.Clone(false));
  EXPECT_EQ(clone->LetzteZeit(), 17);
  EXPECT_EQ(clone->ZeitpunktGerundet(1), 18);
  EXPECT_EQ(clone->PunktgleichheitToleranz(), 0.05F);
  CSigPairsTm plain;
  plain.Neustart(1, 2);
  plain = static_cast<const CSigPairs&>(run);
  EXPECT_EQ(plain.EndZeit(), 0);
  EXPECT_EQ(plain.NPaare(), 2U);
  ASSERT_TRUE(plain.Copy(run, true));
  EXPECT_EQ(plain.EndZeit(), 20);
  EXPECT_TRUE(plain.IsKindOf(CSigPairs::GetThisClass()));
}

TEST(TimePairSignal, KeepsOutOfArchives) {
  std::uint32_t words[60] = {};
  CSerializer archive(words, 60, 0);
  CSigPairsTm run;
  EXPECT_EQ(run.Serialize(&archive), 0);
  EXPECT_EQ(archive.GetPosition(), 0U);
}

TEST(MeasurementPairSignal, Description) {
  CSigPairsVM run;
  ASSERT_TRUE(run.SetSpecification(CQuinterMFC(u"1", u"2", u"3", u"4", u"5", u"6")));
  EXPECT_TRUE(run.SetSpecification(u"a", u"b", u"c", u"d", u"e"));
  EXPECT_EQ(run.Instrument(), u"d");
  EXPECT_TRUE(run.SetDataName(u"f"));
  EXPECT_EQ(run.Specification().Parameter(), u"f");
  run.SetzeTriggerStartStop(3, 4);
  run.SetzeTriggerMethode(5);
  run.NeuesPaar(1, 2);
  const CSigPairsVM whole = run;
  EXPECT_EQ(whole.Specification(), run.Specification());
  EXPECT_EQ(whole.TriggerStart() * 100 + whole.TriggerStop() * 10 + whole.TriggerMethode(), 345);
  EXPECT_EQ(CSigPairsVM(static_cast<const CSigPairs&>(run)).TriggerStop(), 0);
}

TEST(MeasurementPairSignal, KeepsTheSensorOutOfDeepCopies) {
  CSigPairsVM run;
  run.SetSpecification(CQuinterMFC(u"1", u"2", u"3", u"4", u"5", u"6"));
  EXPECT_EQ(CSigPairsVM(run, true).Specification().Sensor(), u"");
  EXPECT_EQ(CSigPairsVM(run, false).Specification().Sensor(), u"6");
  CSigPairsVM other;
  other.SetSpecification(CQuinterMFC(u"", u"", u"", u"", u"", u"old"));
  ASSERT_TRUE(other.Copy(run, true));
  EXPECT_EQ(other.Specification(), CQuinterMFC(u"1", u"2", u"3", u"4", u"5", u"old"));
}

}  // namespace
}  // namespace limes
