#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>

#include "limes/platform/info_object.h"
#include "limes/platform/time_scaling.h"
#include "tests/support/messages.h"

namespace limes::test {
namespace {

TEST(PrintWindow, SinkGetsTextAsItIs) {
  wide_string got;
  PrWin::Sink former = PrWin::SetSink([&got](int category, int style, std::u16string_view text) {
    got += Format(u"%d %d %s|", category, style, text);
    if (text == u"again") {  // by a thread that it waits for: under no lock
      std::thread(PrWin::Output, 2, 0, u"from the sink").join();
    }
  });
  PrWin::Output(1, 3, u"%s 100%\n");
  PrWinPrintf(u"\t%5.2f\n", 1.0);
  PrWin::Output(0, 2, u"again");
  MessageBoxes::Warning(u"box");
  EXPECT_SHOWN("1 3 %s 100%\n|0 0 \t 1.00\n|0 2 again|2 0 from the sink|1 3 box\n|", got);
  PrWin::SetSink({});
  testing::internal::CaptureStderr();
  PrWin::Output(0, 0, u"Prüfling ‘1’\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Prüfling ‘1’\n") << "without a sink";
  PrWin::SetSink([](int, int, std::u16string_view) { throw 1; });
  PrWin::Output(0, 0, u"lost");
  PrWin::SetSink(former);
  const Messages messages;
  EXPECT_SHOWN("2 Fehler|", MessageBoxes::Warning(u"Fehler"), messages.boxes);
}

TEST(TimeScaling, Table) {
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr float kInf = std::numeric_limits<float>::infinity();
  // Start, end and time: as a float and from there back as a time; extremes saturate.
  for (const auto& [times, shown] :
       Rows("1000 1100 1050: 0.5 1050; 1000 1100 950: -0.5 950; 1100 1000 1075: 0.25 1075; "
            "7 7 99: 0 7; -9223372036854775808 9223372036854775807 9223372036854775807: 1 0; "
            "0 2 -9223372036854775808: -4.611686e+18 -9223372036854775808")) {
    std::int64_t start = 0, end = 0, t = 0;
    EXPECT_EQ(Scan(times, u"%d %d %d", &start, &end, &t), 3);
    const CTimeFloatScaling scaling(start, end);
    const float x = scaling.ToFloat(t);
    EXPECT_SHOWN(shown, x, scaling.ToTime(x));
  }
  const CTimeFloatScaling s(10, 20);
  EXPECT_SHOWN("9 10 9223372036854775807 -9223372036854775808 5", s.ToTime(-0.19F),
               s.ToTime(std::nanf("")), s.ToTime(kInf), s.ToTime(-kInf),
               CTimeFloatScaling(5, 5).ToTime(kInf));
  EXPECT_EQ(CTimeFloatScaling(kMin, 0).ToTime(1.5F), kMax / 2 + 1) << "the whole result saturates";
  EXPECT_EQ(std::max(SaturatingDifference(-2, kMax), SaturatingSum(kMin, -1)), kMin);
  EXPECT_EQ(std::min(SaturatingDifference(0, kMin), SaturatingSum(kMax, 1)), kMax);
  EXPECT_EQ(CTimeFloatScaling().Scale(), 1.0);
}

TEST(InfoNode, ConvertsBetweenItsForms) {
  CInfoNode node;
  const auto shown = [&node] {  // empty, as text, as an integer, as a number
    return Exact{node.IsEmpty(), node.AsText(), node.AsInt(), node.AsFloat()}.text;
  };
  EXPECT_EQ(shown(), "1  0 0");
  node.Set(-5);
  EXPECT_EQ(shown(), "0 -5 -5 -5");
  node.Set(0.1);
  EXPECT_EQ(shown(), "0 0.1 0 0.1");
  node.Set(std::numeric_limits<double>::infinity());
  EXPECT_EQ(shown(), "0 inf 9223372036854775807 inf");
  node.Set(u"12.5 Hz");
  EXPECT_EQ(shown(), "0 12.5 Hz 12 12.5");
  node.Set(u"Sync");
  EXPECT_EQ(shown(), "0 Sync 0 0");
  node.Clear();
  EXPECT_EQ(shown(), "1  0 0");
}

using Handle = CInfoHandle<CInfoObject>;

TEST(InfoObject, HandlesCopyOnWrite) {
  CInfoObjectServer<CInfoObject> server;
  Handle a(server);
  a.Rep().Node(u"key").Set(1);
  Handle shared(a, false);
  const Handle deep(a, true);
  const auto state = [&](const Handle& h) {  // value, is shared, is the same as of a
    return Exact{h.Rep().Find(u"key")->AsInt(), h.IsShared(), &h.Rep() == &std::as_const(a).Rep()}
        .text;
  };
  EXPECT_SHOWN("1 1 1 1 0 0", state(shared), state(deep));
  EXPECT_NE(deep.Rep().Id(), std::as_const(a).Rep().Id());
  shared.Rep().Node(u"key").Set(2);
  EXPECT_SHOWN("1 0 1 2 0 0 1 0 0", state(a), state(shared), state(deep));
  EXPECT_NE(std::as_const(shared).Rep().Id(), std::as_const(a).Rep().Id());
  a.copy(shared, false);
  a.copy(a, false);
  a.copy(a, true);
  EXPECT_EQ(std::as_const(a).Rep().Find(u"key")->AsInt(), 2);
  EXPECT_EQ(std::as_const(a).Rep().Find(u"other"), nullptr);
  EXPECT_SHOWN("1 0 0", a.Rep().Erase(u"key"), a.Rep().Erase(u"key"), a.Rep().Nodes().size());
}

}  // namespace
}  // namespace limes::test
