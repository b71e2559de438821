#include "limes/core/signal_info.h"

#include "tests/support/show.h"

namespace limes::test {
namespace {

/// Each sets one member to something else than its default.
template <class Info>
constexpr void (*const kSetters[])(Info&) = {[](Info& i) { i.X1Len(5); },
                                             [](Info& i) { i.Name(u"name"); },
                                             [](Info& i) { i.X1Unit(CMeasuringUnit(u"Hz")); },
                                             [](Info& i) { i.X1Name(u"x"); },
                                             [](Info& i) { i.YUnit(CMeasuringUnit(u"Pa")); },
                                             [](Info& i) { i.YName(u"y"); },
                                             [](Info& i) { i.SigType(102); }};

template <class Info>
std::string State(const Info& i) {
  return Exact(i.X1Len(), i.Name(), i.X1Unit().prefixunit(), i.X1Name(), i.YUnit().prefixunit(),
               i.YName(), i.SigType())
      .text;
}
constexpr const char* kDefault = "0  -  -  0";

TEST(SignalInfo, CloneCopiesAllMembersAndNodes) {
  CSignalInfo info;
  EXPECT_EQ(State(info), kDefault);
  for (const auto set : kSetters<CSignalInfo>) {
    set(info);
  }
  info.Node(siginfo::FftTypeKey).Set(u"log");
  const std::unique_ptr<CInfoObject> copy(static_cast<CInfoObject&>(info).clone(true));
  const auto& same = dynamic_cast<const CSignalInfo&>(*copy);
  EXPECT_EQ(State(same), "5 name Hz x Pa y 102");
  EXPECT_EQ(same.Find(u"FftType")->AsText(), u"log");
  EXPECT_NE(same.Id(), info.Id());
}

TEST(SignalInfo, ChangeThroughAHandleReachesNoOther) {
  CInfoObjectServer<CSignalInfo> server;
  CSignalInfoHandle first(server);
  for (const auto set : kSetters<CSignalInfoHandle>) {
    CSignalInfoHandle shared(first, false);
    EXPECT_EQ(&std::as_const(shared).Rep(), &std::as_const(first).Rep());
    set(shared);
    EXPECT_EQ(State(std::as_const(first)), kDefault);
    EXPECT_NE(State(std::as_const(shared)), kDefault);
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
}  // namespace limes::test
