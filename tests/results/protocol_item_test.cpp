#include <gtest/gtest.h>

#include <cmath>

#include "limes/learning/learning_limit_value.h"
#include "limes/results/defect_report_folder.h"
#include "limes/results/protocol_item_list.h"
#include "tests/support/show.h"

namespace limes::test {
namespace {

CProtocolItem Item(std::u16string_view name, Verdict state, std::int32_t priority) {
  CProtocolItem item;
  item.names = CQuinterMFC(u"up", u"1", u"gear", u"i", u"p", u"s");
  item.names.Mode(name);
  item.name = u"A name that is much longer than the seventy-nine characters which one report shows";
  item.name += name;
  item.unit = u"dB(rounds per minute)";
  item.text = u"120 to 180 Hz";
  item.code = 4, item.type = CDefectReport::kWithPlace;
  item.value = 72.0F, item.limit = -0.0F, item.average = 60.0F;
  item.place = 150.0F, item.from = 120.0F, item.to = 180.0F;
  item.priority = priority, item.group = 3, item.timeStamp = 77;
  item.state = state;
  return item;
}

TEST(ProtocolItem, JudgesValuesAndTakesOverCurves) {
  CLernenderGrenzwert limit;
  limit.Neustart(10000);
  CProtocolItem item;
  const auto judged = [&](float x) {
    item.Judge(limit, x);
    return Shown(item.state, item.limit);
  };
  EXPECT_EQ(judged(3.0F), "not judged 0") << "nothing learnt";
  limit.NeueMessung(1.0F);
  EXPECT_EQ(judged(7.0F), "fail 6");
  EXPECT_EQ(judged(6.0F), "pass 6");
  EXPECT_EQ(judged(NAN), "not judged 6");
  const SCurveExcess region{.x0 = 10.0F, .x1 = 20.0F, .x = 15.0F, .value = 5.0F, .limit = 4.0F};
  SPartJudgement judgement;
  judgement.verdict = Verdict::kFail;
  judgement.x0 = 1.0, judgement.x1 = 2.0, judgement.x = 3.0;
  item.TakeFrom(judgement, &region);
  EXPECT_EQ(Shown(item.state, item.from, item.to, item.place, item.value, item.limit),
            "fail 10 20 15 5 4");
  judgement.verdict = Verdict::kPass;
  item.TakeFrom(judgement);
  EXPECT_EQ(Shown(item.state, item.from, item.to, item.place), "pass 1 2 3");

  const CProtocolItem full = Item(u"up", Verdict::kPass, 1);
  CProtocolItem back = Item(u"up", Verdict::kFail, 1);
  back.value = back.limit = 0.0F;
  CMiniProtocolItem(full).Into(back);
  EXPECT_EQ(back, full);
}

TEST(ProtocolItemList, JudgesThePart) {
  CProtocolItemList list;
  EXPECT_TRUE(!list.AllOk() && list.Worst() == nullptr) << "nothing was judged";
  // State and priority of the next item; verdict on the part and its worst item then.
  const std::tuple<Verdict, std::int32_t, Verdict, int> items[] = {
      {Verdict::kPass, 9, Verdict::kPass, -1},
      {Verdict::kNotJudged, 0, Verdict::kNotJudged, 1},
      {Verdict::kFail, 1, Verdict::kFail, 2},
      {Verdict::kFail, 2, Verdict::kFail, 3},
      {Verdict::kFail, 2, Verdict::kFail, 3}};
  char16_t name = u'a';
  for (const auto& [state, priority, part, worst] : items) {
    list.Add(Item(std::u16string(1, name++), state, priority));
    EXPECT_EQ(list.OverallVerdict(), part);
    EXPECT_EQ(list.AllOk(), part == Verdict::kPass);
    EXPECT_EQ(list.Worst(), worst < 0 ? nullptr : &list[worst]);
  }
  const CQuinterMFC any(u"*", u"1", u"*", u"*", u"*", u"*");
  const CQuinterMFC d(u"d", u"*", u"*", u"*", u"*", u"*");
  EXPECT_EQ(Shown(list.FindFirst(any, -9), list.FindFirst(any, 2), list.FindFirst(d),
                  list.FindFirst(d, 4)),
            "0 2 3 -1");
}

TEST(ProtocolItemList, BecomesReportsInOrderAndComesBackWhole) {
  CProtocolItemList list;
  list.Add(Item(u"a", Verdict::kFail, 1));
  list.Add(Item(u"b", Verdict::kPass, 9));
  list.Add(Item(u"c", Verdict::kFail, 5));
  list.Add(Item(u"d", Verdict::kFail, 1));
  CDefectReportOrdner folder(3);
  ASSERT_TRUE(list.ToFolder(folder));
  EXPECT_EQ(Shown(folder[0].NameAt(0), folder[0].Number(), folder[0].Unit()), "c 1 dB(rounds p");
  EXPECT_EQ(std::u16string_view(folder[0].Name()).size(), 79U);
  CProtocolItemList back;
  ASSERT_TRUE(back.FromFolder(folder) && back.Anzahl() == 3);
  EXPECT_TRUE(back[0] == list[2] && back[1] == list[0] && back[2] == list[3]);
  folder[0].Unit(u"g");
  CProtocolItem changed;
  folder[0].InProtokollWandeln(changed);
  EXPECT_EQ(changed.unit, u"g");

  CDefectReportOrdner small(1);
  EXPECT_FALSE(list.ToFolder(small));
  EXPECT_EQ(small[0].NameAt(0), u"c") << "the most urgent one";
}

}  // namespace
}  // namespace limes::test
