#include "limes/core/signal_info.h"

#include <gtest/gtest.h>

#include <utility>

namespace limes {
namespace {

TEST(SignalInfo, NewInfoIsEmptyWithUnitsShownAsNone) {
  const CSignalInfo info;
  EXPECT_EQ(info.X1Unit().prefixunit(), u"-");
  EXPECT_EQ(info.YUnit().prefixunit(), u"-");
  EXPECT_EQ(info.X1Unit(), CMeasuringUnit());
  EXPECT_EQ(info.X1Len() + info.SigType(), 0U);
  EXPECT_TRUE(info.Name().empty() && info.X1Name().empty() && info.YName().empty());
  EXPECT_EQ(CSignalInfo::Version(), 1U);
}

/// Sets every member to something else than its default.
template <class Info>
void Fill(Info& info) {
  info.X1Len(5);
  info.Name(u"name");
  info.X1Unit(CMeasuringUnit(u"Hz"));
  info.X1Name(u"x");
  info.YUnit(CMeasuringUnit(u"Pa"));
  info.YName(u"y");
  info.SigType(102);
}

template <class Info>
void ExpectFilled(const Info& info) {
  EXPECT_EQ(info.X1Len(), 5U);
  EXPECT_EQ(info.Name(), u"name");
  EXPECT_EQ(info.X1Unit(), CMeasuringUnit(u"Hz"));
  EXPECT_EQ(info.X1Name(), u"x");
  EXPECT_EQ(info.YUnit(), CMeasuringUnit(u"Pa"));
  EXPECT_EQ(info.YName(), u"y");
  EXPECT_EQ(info.SigType(), 102U);
}

TEST(SignalInfo, CloneCopiesAllMembersAndNodes) {
  CSignalInfo info;
  Fill(info);
  info.Node(siginfo::FftTypeKey).Set(u"log");
  const std::unique_ptr<CInfoObject> copy(static_cast<CInfoObject&>(info).clone(true));
  const auto& same = dynamic_cast<const CSignalInfo&>(*copy);
  ExpectFilled(same);
  EXPECT_EQ(same.Find(u"FftType")->AsText(), u"log");
  EXPECT_NE(same.Id(), info.Id());
}

TEST(SignalInfo, ChangeThroughAHandleReachesNoOther) {
  CInfoObjectServer<CSignalInfo> server;
  CSignalInfoHandle first(server);
  Fill(first);
  ExpectFilled(std::as_const(first));
  CSignalInfoHandle shared(first, false);
  const CSignalInfoHandle own(first, true);
  EXPECT_EQ(&std::as_const(shared).Rep(), &std::as_const(first).Rep());
  EXPECT_NE(&own.Rep(), &std::as_const(first).Rep());
  void (*const kSetters[])(CSignalInfoHandle&) = {
      [](CSignalInfoHandle& h) { h.X1Len(6); },
      [](CSignalInfoHandle& h) { h.Name(u""); },
      [](CSignalInfoHandle& h) { h.X1Unit(CMeasuringUnit()); },
      [](CSignalInfoHandle& h) { h.X1Name(u""); },
      [](CSignalInfoHandle& h) { h.YUnit(CMeasuringUnit()); },
      [](CSignalInfoHandle& h) { h.YName(u""); },
      [](CSignalInfoHandle& h) { h.SigType(0); },
  };
  for (const auto set : kSetters) {
    shared.copy(first, false);
    set(shared);
    ExpectFilled(std::as_const(first));
    ExpectFilled(own);
    EXPECT_NE(&std::as_const(shared).Rep(), &std::as_const(first).Rep());
  }
}

TEST(SignalInfo, IndexTable) {
  EXPECT_EQ(siginfo::Index(u"Power", siginfo::FftTypes, 3), -1) << "case matters";
  EXPECT_EQ(siginfo::Index(u"log", siginfo::FftTypes, 3), 2);
  EXPECT_EQ(siginfo::Index(u"log", siginfo::FftTypes, 2), -1);
  EXPECT_EQ(siginfo::Index(u"Sync", siginfo::ResampTypes, 2), 1);
  EXPECT_EQ(siginfo::Index(u"peak", siginfo::FftGaugeTypes, 2), 0);
  EXPECT_EQ(siginfo::Index(u"pea", siginfo::FftGaugeTypes, 2), -1);
  EXPECT_EQ(siginfo::Index(u"peak", siginfo::FftGaugeTypes, 0), -1);
  EXPECT_EQ(siginfo::Index(u"peak", nullptr, 2), -1);
  const wide_char* const kTwice[] = {nullptr, u"a", u"a"};
  EXPECT_EQ(siginfo::Index(u"a", kTwice, 3), 1) << "the first";
}

TEST(SignalInfo, KeepsTheTextOfTheRepartKey) {
  EXPECT_EQ(siginfo::RepartBlocksPerRevKey, u"OverlapBlocksPerRev");
}

}  // namespace
}  // namespace limes
