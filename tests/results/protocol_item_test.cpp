#include <gtest/gtest.h>

#include <cmath>

#include "limes/learning/learning_limit_value.h"
#include "limes/results/defect_report_folder.h"
#include "limes/results/protocol_item_list.h"

namespace limes {
namespace {

CProtocolItem Item(std::u16string_view name, Verdict state, std::int32_t priority) {
  CProtocolItem item;
  item.names = CQuinterMFC(u"up", u"1", u"gear", u"i", u"p", u"s");
  item.names.Mode(name);
  item.name = u"A name that is much longer than the seventy-nine characters which one report shows";
  item.name += name;
  item.unit = u"dB(rounds per minute)";
  item.text = u"120 to 180 Hz";
  item.code = 4;
  item.type = CDefectReport::kWithPlace;
  item.value = 72.0F;
  item.limit = -0.0F;
  item.average = 60.0F;
  item.place = 150.0F;
  item.from = 120.0F;
  item.to = 180.0F;
  item.priority = priority;
  item.group = 3;
  item.timeStamp = 77;
  item.state = state;
  return item;
}

TEST(ProtocolItem, JudgesValuesAndTakesOverCurves) {
  CLernenderGrenzwert limit;
  limit.Neustart(10000);
  CProtocolItem item;
  item.Beurteilen(limit, 3.0F);
  EXPECT_EQ(item.state, Verdict::kNotJudged) << "nothing learnt";
  limit.NeueMessung(1.0F);
  const struct {
    float x;
    Verdict state;
  } cases[] = {{7.0F, Verdict::kFail}, {6.0F, Verdict::kPass}, {NAN, Verdict::kNotJudged}};
  for (const auto& c : cases) {
    item.Beurteilen(limit, c.x);
    EXPECT_EQ(item.state, c.state) << c.x;
    EXPECT_EQ(item.limit, 6.0F);
  }
  SCurveExcess region;
  region.x0 = 10.0F;
  region.x1 = 20.0F;
  region.x = 15.0F;
  region.value = 5.0F;
  region.limit = 4.0F;
  item.Uebernehmen(region);
  EXPECT_EQ(item.state, Verdict::kFail);
  EXPECT_EQ(item.to, 20.0F);
  SCurveJudgement judgement;
  item.Uebernehmen(judgement);
  EXPECT_EQ(item.state, Verdict::kNotJudged);

  const CProtocolItem full = Item(u"up", Verdict::kPass, 1);
  const CMiniProtocolItem mini(full);
  CProtocolItem back = Item(u"up", Verdict::kFail, 1);
  back.value = back.limit = 0.0F;
  mini.Into(back);
  EXPECT_EQ(back, full);
}

TEST(ProtocolItemList, JudgesThePart) {
  CProtocolItemList list;
  EXPECT_FALSE(list.AllOk()) << "nothing was judged";
  EXPECT_EQ(list.Worst(), nullptr);
  list.Add(Item(u"a", Verdict::kPass, 9));
  EXPECT_TRUE(list.AllOk());
  list.Add(Item(u"b", Verdict::kNotJudged, 0));
  EXPECT_EQ(list.Urteil(), Verdict::kNotJudged);
  EXPECT_EQ(list.Worst(), &list[1]);
  list.Add(Item(u"c", Verdict::kFail, 1));
  list.Add(Item(u"d", Verdict::kFail, 2));
  list.Add(Item(u"e", Verdict::kFail, 2));
  EXPECT_EQ(list.Urteil(), Verdict::kFail);
  EXPECT_EQ(list.Worst(), &list[3]);
  const CQuinterMFC any(u"*", u"1", u"*", u"*", u"*", u"*");
  EXPECT_EQ(list.FindFirst(any, -9), 0);
  EXPECT_EQ(list.FindFirst(any, 2), 2);
  const CQuinterMFC d(u"d", u"*", u"*", u"*", u"*", u"*");
  EXPECT_EQ(list.FindFirst(d), 3);
  EXPECT_EQ(list.FindFirst(d, 4), -1);
}

TEST(ProtocolItemList, BecomesReportsInOrderAndComesBackWhole) {
  CProtocolItemList list;
  list.Add(Item(u"a", Verdict::kFail, 1));
  list.Add(Item(u"b", Verdict::kPass, 9));
  list.Add(Item(u"c", Verdict::kFail, 5));
  list.Add(Item(u"d", Verdict::kFail, 1));
  CDefectReportOrdner folder(3);
  ASSERT_TRUE(list.ToFolder(folder));
  EXPECT_EQ(folder[0].NameAt(0), u"c");
  EXPECT_EQ(folder[0].Number(), 1);
  EXPECT_EQ(std::u16string(folder[0].Unit()), u"dB(rounds p");
  EXPECT_EQ(std::u16string(folder[0].Name()).size(), 79U);
  CProtocolItemList back;
  ASSERT_TRUE(back.FromFolder(folder));
  ASSERT_EQ(back.Anzahl(), 3);
  EXPECT_EQ(back[0], list[2]);
  EXPECT_EQ(back[1], list[0]);
  EXPECT_EQ(back[2], list[3]);
  folder[0].Unit(u"g");
  CProtocolItem changed;
  folder[0].InProtokollWandeln(changed);
  EXPECT_EQ(changed.unit, u"g");

  CDefectReportOrdner small(1);
  EXPECT_FALSE(list.ToFolder(small));
  EXPECT_EQ(small[0].NameAt(0), u"c") << "the most urgent one";
}

}  // namespace
}  // namespace limes
