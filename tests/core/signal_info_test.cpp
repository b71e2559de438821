#include "limes/core/signal_info.h"

#include <gtest/gtest.h>

#include <utility>

#include "tests/support/show.h"

namespace limes {
namespace {

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
std::string State(const Info& info) {
  return test::Exact{info.X1Len(),
                     info.Name(),
                     info.X1Unit().prefixunit(),
                     info.X1Name(),
                     info.YUnit().prefixunit(),
                     info.YName(),
                     info.SigType()}
      .text;
}
constexpr const char* kFilled = "5 name Hz x Pa y 102";

TEST(SignalInfo, CloneCopiesAllMembersAndNodes) {
  CSignalInfo info;
  Fill(info);
  info.Node(siginfo::FftTypeKey).Set(u"log");
  EXPECT_EQ(State(CSignalInfo()), "0  -  -  0");
  const std::unique_ptr<CInfoObject> copy(static_cast<CInfoObject&>(info).clone(true));
  const auto& same = dynamic_cast<const CSignalInfo&>(*copy);
  EXPECT_EQ(State(same), kFilled);
  EXPECT_EQ(same.Find(u"FftType")->AsText(), u"log");
  EXPECT_NE(same.Id(), info.Id());
}

TEST(SignalInfo, ChangeThroughAHandleReachesNoOther) {
  CInfoObjectServer<CSignalInfo> server;
  CSignalInfoHandle first(server);
  Fill(first);
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
    CSignalInfoHandle shared(first, false);
    EXPECT_EQ(&std::as_const(shared).Rep(), &std::as_const(first).Rep());
    set(shared);
    EXPECT_EQ(State(std::as_const(first)), kFilled);
    EXPECT_NE(State(std::as_const(shared)), kFilled);
  }
}

TEST(SignalInfo, IndexTable) {
  const wide_char* const kTwice[] = {nullptr, u"a", u"a"};
  EXPECT_SHOWN("-1 2 -1 1 0", siginfo::Index(u"Power", siginfo::FftTypes, 3),
               siginfo::Index(u"log", siginfo::FftTypes, 3),
               siginfo::Index(u"log", siginfo::FftTypes, 2),
               siginfo::Index(u"Sync", siginfo::ResampTypes, 2),
               siginfo::Index(u"peak", siginfo::FftGaugeTypes, 2));
  EXPECT_SHOWN("-1 -1 1", siginfo::Index(u"pea", siginfo::FftGaugeTypes, 2),
               siginfo::Index(u"peak", nullptr, 2), siginfo::Index(u"a", kTwice, 3));
}

TEST(SignalInfo, KeepsTheTextOfTheRepartKey) {
  EXPECT_EQ(siginfo::RepartBlocksPerRevKey, u"OverlapBlocksPerRev");
}

}  // namespace
}  // namespace limes
