#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <tuple>
#include <vector>

#include "limes/platform/info_object.h"
#include "limes/platform/message_box.h"
#include "limes/platform/object.h"
#include "limes/platform/print_window.h"
#include "limes/platform/time_scaling.h"

namespace limes {
namespace {

TEST(PrintWindow, SinkGetsTextAsItIs) {
  std::vector<std::tuple<int, int, wide_string>> got;
  PrWin::Sink former = PrWin::SetSink([&got](int category, int style, std::u16string_view text) {
    got.emplace_back(category, style, text);
    if (text == u"again") {
      PrWin::Output(2, 0, u"from the sink");
    }
  });
  PrWin::Output(1, 3, u"%s 100%\n");
  PrWinPrintf(u"\t%5.2f\n", 1.0);
  PrWin::Output(0, 2, u"again");
  MessageBoxes::Warning(u"box");
  PrWin::SetSink(former);
  const decltype(got) expected = {{1, 3, u"%s 100%\n"},
                                  {0, 0, u"\t 1.00\n"},
                                  {0, 2, u"again"},
                                  {2, 0, u"from the sink"},
                                  {1, 3, u"box\n"}};
  EXPECT_EQ(got, expected);
}

TEST(PrintWindow, DefaultIsUtf8OnStandardError) {
  PrWin::Sink former = PrWin::SetSink({});
  testing::internal::CaptureStderr();
  PrWin::Output(0, 0, u"Prüfling ‘1’\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Prüfling ‘1’\n");
  PrWin::SetSink([](int, int, std::u16string_view) { throw 1; });
  PrWin::Output(0, 0, u"lost");
  PrWin::SetSink(former);
}

TEST(MessageBoxes, HandlerAnswers) {
  wide_string shown;
  auto former = MessageBoxes::SetHandler([&shown](std::u16string_view text) {
    shown = text;
    return 2;
  });
  EXPECT_EQ(MessageBoxes::Warning(u"Fehler"), 2);
  EXPECT_EQ(shown, u"Fehler");
  MessageBoxes::SetHandler(former);
}

TEST(Object, RuntimeClasses) {
  const CRuntimeClass base = {"Base", nullptr, CObject::GetThisClass()};
  const CRuntimeClass derived = {"Derived", nullptr, &base};
  EXPECT_TRUE(derived.IsDerivedFrom(&base));
  EXPECT_TRUE(derived.IsDerivedFrom(CObject::GetThisClass()));
  EXPECT_FALSE(base.IsDerivedFrom(&derived));
  EXPECT_EQ(derived.CreateObject(), nullptr);
}

TEST(TimeScaling, Table) {
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr float kInf = std::numeric_limits<float>::infinity();
  constexpr struct {
    const char* name;
    std::int64_t start, end, t;
    float x;
    std::int64_t back;
  } kCases[] = {
      {"middle", 1000, 1100, 1050, 0.5F, 1050},
      {"before the start", 1000, 1100, 950, -0.5F, 950},
      {"falling", 1100, 1000, 1075, 0.25F, 1075},
      {"no span", 7, 7, 99, 0.0F, 7},
      {"extremes saturate", kMin, kMax, kMax, 1.0F, -1},
      {"wide and before", 0, 2, kMin, -4.611686e18F, kMin},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    const CTimeFloatScaling scaling(c.start, c.end);
    EXPECT_EQ(scaling.ToFloat(c.t), c.x);
    EXPECT_EQ(scaling.ToTime(c.x), c.back);
  }
  const CTimeFloatScaling s(10, 20);
  EXPECT_EQ(s.ToTime(-0.19F), 9) << "truncated toward the start";
  EXPECT_EQ(s.ToTime(std::numeric_limits<float>::quiet_NaN()), 10);
  EXPECT_EQ(s.ToTime(kInf), kMax);
  EXPECT_EQ(s.ToTime(-kInf), kMin + 10);
  EXPECT_EQ(CTimeFloatScaling().Scale(), 1.0);
  EXPECT_EQ(SaturatingDifference(0, kMin), kMax);
  EXPECT_EQ(SaturatingDifference(-2, kMax), kMin);
  EXPECT_EQ(SaturatingSum(kMin, -1), kMin);
  EXPECT_EQ(SaturatingSum(kMax, 1), kMax);
}

TEST(InfoNode, ConvertsBetweenItsForms) {
  CInfoNode node;
  EXPECT_TRUE(node.IsEmpty());
  EXPECT_EQ(node.AsText(), u"");
  const struct {
    const char* name;
    void (*set)(CInfoNode&);
    std::u16string text;
    std::int64_t integer;
    double number;
  } kCases[] = {
      {"integer", [](CInfoNode& n) { n.Set(-5); }, u"-5", -5, -5.0},
      {"number", [](CInfoNode& n) { n.Set(0.1); }, u"0.1", 0, 0.1},
      {"not finite", [](CInfoNode& n) { n.Set(1e300 * 1e300); }, u"inf", INT64_MAX, 1e300 * 1e300},
      {"text", [](CInfoNode& n) { n.Set(u"12.5 Hz"); }, u"12.5 Hz", 12, 12.5},
      {"no number", [](CInfoNode& n) { n.Set(u"Sync"); }, u"Sync", 0, 0.0},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.name);
    c.set(node);
    EXPECT_EQ(node.AsText(), c.text);
    EXPECT_EQ(node.AsInt(), c.integer);
    EXPECT_EQ(node.AsFloat(), c.number);
  }
  node.Clear();
  EXPECT_TRUE(node.IsEmpty());
}

using Handle = CInfoHandle<CInfoObject>;

TEST(InfoObject, HandlesCopyOnWrite) {
  CInfoObjectServer<CInfoObject> server;
  Handle a(server);
  a.Rep().Node(u"key").Set(1);
  const auto id = std::as_const(a).Rep().Id();
  Handle shared(a, false);
  const Handle deep(a, true);
  EXPECT_TRUE(a.IsShared());
  EXPECT_EQ(std::as_const(shared).Rep().Id(), id);
  EXPECT_NE(deep.Rep().Id(), id);
  shared.Rep().Node(u"key").Set(2);
  EXPECT_FALSE(a.IsShared());
  EXPECT_NE(std::as_const(shared).Rep().Id(), id) << "a private copy has its own number";
  EXPECT_EQ(std::as_const(a).Rep().Find(u"key")->AsInt(), 1);
  EXPECT_EQ(deep.Rep().Find(u"key")->AsInt(), 1);
  a.copy(shared, false);
  a.copy(a, false);
  a.copy(a, true);
  EXPECT_EQ(std::as_const(a).Rep().Find(u"key")->AsInt(), 2);
  EXPECT_EQ(std::as_const(a).Rep().Find(u"other"), nullptr);
  EXPECT_TRUE(a.Rep().Erase(u"key"));
  EXPECT_FALSE(a.Rep().Erase(u"key"));
  EXPECT_TRUE(a.Rep().Nodes().empty());
}

TEST(InfoObject, HandlesOfManyThreadsShareOneObject) {
  CInfoObjectServer<CInfoObject> server;
  Handle first(server);
  first.Rep().Node(u"n").Set(7);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([handle = first]() mutable {
      for (int i = 0; i < 2000; ++i) {
        Handle mine = handle;
        if (i % 100 == 0) {
          mine.Rep().Node(u"n").Set(i);
        }
      }
      handle.Rep().Node(u"n").Set(0);
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(std::as_const(first).Rep().Find(u"n")->AsInt(), 7);
}

}  // namespace
}  // namespace limes
