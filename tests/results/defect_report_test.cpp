#include "limes/results/defect_report.h"

#include <iterator>
#include <limits>

#include "limes/learning/learning_limit_value.h"
#include "limes/results/defect_report_folder.h"
#include "limes/results/protocol_item.h"
#include "tests/support/messages.h"

namespace limes::test {
namespace {

CDefectReport Sample(std::uint32_t type) {
  CDefectReport report;
  const char16_t* const names[] = {u"T1", u"chan", u"loc", u"instr", u"par", u"sens"};
  for (unsigned i = 0; i < CDefectReport::kNames; ++i) {
    report.NameAt(i, names[i]);
  }
  report.Number(7), report.Name(u"Gear noise"), report.Type(type), report.Code(12);
  report.Value(12.0F), report.Limit(10.0F), report.Average(8.25F), report.Place(440.5F);
  report.Unit(u"dB(Pa)");
  return report;
}

std::string Line(CDefectReport report) {
  const int length = report.FormatReport();
  EXPECT_EQ(std::u16string_view(report.Berichtstext()).size(), static_cast<std::size_t>(length));
  return WideToUtf8(report.Berichtstext());
}

TEST(DefectReport, LayoutTable) {
  const std::string head = "  7  Gear noise                              T1";
  const std::string plain = "  12.0/ 10.0";
  const std::string tails[] = {plain,
                               plain + "/  8.2 dB(Pa)  440.50 par  loc (chan)",
                               plain + "/  8.2 dB(Pa)  instr par  loc (chan)",
                               plain,
                               plain + " dB(Pa) (20.0%) chan",
                               plain + " dB(Pa)  ->   441  loc (chan)",
                               "  loc (chan)",
                               plain + " dB(Pa)  ->   441 par ( loc (chan))",
                               plain};
  for (std::uint32_t type = 0; type < std::size(tails); ++type) {
    EXPECT_EQ(Line(Sample(type)), head + tails[type]) << type;
  }
  EXPECT_EQ(Line(Sample(100)), "12 Berichte insgesamt.");
  EXPECT_EQ(Line(Sample(101)) + Line(Sample(~0U)), head + plain + head + plain);
}

TEST(DefectReport, CutsLongTextsAndSurvivesExtremeNumbers) {
  CDefectReport report = Sample(1);
  report.Name(std::u16string(1000000, u'n'));
  report.NameAt(4, std::u16string(1000000, u'p'));
  report.Unit(u"a unit that is too long");
  const wide_char* const none = nullptr;
  report.Unit(none), report.Name(none), report.SetReportText(none);
  report.Value(3e38F);
  EXPECT_EQ(Line(report).size(), 119U);
  EXPECT_EQ(WideToUtf8(report.Unit()), "a unit that");
  EXPECT_EQ(std::u16string_view(report.Name()).size(), 79U);

  CDefectReport percent = Sample(4);
  percent.Limit(0.0F);
  EXPECT_NE(Line(percent).find("(inf%)"), std::string::npos);
  CDefectReport place = Sample(5);
  place.Place(std::numeric_limits<float>::infinity());
  EXPECT_NE(Line(place).find("->2147483647"), std::string::npos);

  wide_char buffer[20];
  EXPECT_EQ(Sample(0).FormatSimple(buffer, 20), buffer);
  EXPECT_EQ(WideToUtf8(buffer), "T1 chan loc instr p");
  wide_char full[400];
  EXPECT_EQ(WideToUtf8(Sample(0).FormatSimple(full)), "T1 chan loc instr par 12.00/10.00");
}

TEST(DefectReportFolder, HandsOutOrdersAndRemoves) {
  CDefectReportOrdner folder(4);
  folder.Neu();
  EXPECT_TRUE(folder.BerichtOffen());
  const std::tuple<const char16_t*, int, int> reports[] = {
      {u"AB", 1, 5}, {u"ABC", 2, 9}, {u"B", 1, 5}, {u"*", 1, 7}};
  for (const auto& [mode, group, priority] : reports) {
    CDefectReport* const report = folder.Naechster();
    ASSERT_NE(report, nullptr);
    report->NameAt(0, mode);
    report->Gruppe(group);
    report->SetPriority(priority);
  }
  EXPECT_EQ(folder.Naechster(), nullptr);
  EXPECT_EQ(Shown(folder.Anzahl(nullptr), folder.Anzahl(u""), folder.Anzahl(u"AB")), "4 0 2");

  folder.Ordnen();
  std::vector<int> order;
  for (int i = 0; i < 4; ++i) {
    order.push_back(folder.Ordered(i)->Prioritaet());
  }
  EXPECT_EQ(Shown(order, folder[0].Prioritaet()), "9 7 5 5 5") << "storage order stays";
  EXPECT_EQ(folder.Ordered(2), &folder[0]) << "of equal ones the first";
  EXPECT_TRUE(folder.Ordered(4) == nullptr && folder.Ordered(-1) == nullptr);

  folder.ModeLoeschen(u"");
  folder.ModeLoeschen(nullptr);
  folder.ModeLoeschen(u"AB");
  EXPECT_EQ(folder.Anzahl(), 2) << "of any mode, too";
  folder.GruppeLoeschen(1);
  EXPECT_EQ(Shown(folder.Anzahl(), folder.Ordered(0)->Prioritaet(), folder[1].NameAt(0)), "1 9 ");
  EXPECT_NE(folder.Naechster(), nullptr);
  EXPECT_EQ(CDefectReportOrdner(-5).Naechster(), nullptr);
}

TEST(DefectReportFolder, FormatsWhatHasNoTextAndPrints) {
  CDefectReportOrdner folder(2);
  folder.Neu();
  *folder.Naechster() = Sample(6);
  folder.Naechster()->SetReportText(u"!");
  folder.BerichteFormatieren();
  const Messages messages;
  folder.PrWinAusgabe();
  EXPECT_EQ(messages.printed,
            "0 0 Fehlerberichte: -------------------\n"
            "0 0 0:   7  Gear noise                              T1  loc (chan)\n0 0 1: !\n");
}

}  // namespace
}  // namespace limes::test
