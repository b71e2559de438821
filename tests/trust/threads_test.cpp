#include <gtest/gtest.h>

#include <thread>

#include "limes/platform/info_object.h"
#include "limes/platform/module.h"
#include "limes/platform/string_table.h"
#include "tests/support/messages.h"
#include "tests/trust/operations.h"

namespace limes::test {
namespace {

using Handle = CInfoHandle<CInfoObject>;

/// Everything that belongs to the process and not to an object, and the object of a handle.
void UseWhatIsShared(unsigned thread, unsigned turn, Handle handle) {
  platform::SetLanguage(static_cast<platform::Language>(thread % 2));
  CMeasuringUnit::SetGlobalFlag(7, thread % 2 == 0);
  EXPECT_NE(LoadString(50 + thread), u"");
  EXPECT_GE(ModuleRegistry::Modules().size(), 1U);
  EXPECT_NE(ModuleRegistry::FindText(1, platform::CurrentLanguage()), nullptr);
  EXPECT_EQ(CSObjectRegister::ObjektSuchen("none such"), nullptr);
  PrWin::Output(0, 0, u"line");
  EXPECT_EQ(MessageBoxes::Warning(u"box"), 2);
  EXPECT_EQ(CMeasuringUnit(u"dB(m/s²)"), u"dB(m/s²)");
  auto& strings = CMeasuringUnit::UnitStrings::theStrings();
  const wide_string text = Format(u"unit %u", turn % 2 == 0 ? turn : 1000 * thread + turn);
  const unsigned unit = strings.FindOrAdd(text, true, false);
  EXPECT_TRUE(strings[unit] == text && strings.index(text.c_str()) == unit);
  handle.Rep().Node(u"n").Set(static_cast<int>(turn));
}

TEST(Threads, EachRunsAllOperationsWithTheBitsOfOneAlone) {
#ifdef __MINGW32__
  GTEST_SKIP() << "frees a thread's variables before it destroys the samples among them";
#endif
  const Messages messages;
  MessageBoxes::SetHandler([](std::u16string_view) { return 2; });  // called by many at once
  std::vector<Outcome> alone;
  for (const Operation& operation : AllOperations()) {
    alone.push_back(operation.run([](bool) {}));
  }
  CInfoObjectServer<CInfoObject> server;
  Handle shared(server);
  shared.Rep().Node(u"n").Set(7);
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < 8; ++t) {
    threads.emplace_back([&alone, t, handle = shared] {
      const std::vector<Operation> all = AllOperations();
      auto& strings = CMeasuringUnit::UnitStrings::theStrings();
      const wide_string& first = strings[strings.FindOrAdd(u"first unit", true, false)];
      for (std::size_t k = 0; k < all.size(); ++k) {
        const std::size_t i = (k + t * all.size() / 8) % all.size();
        const Outcome outcome = all[i].run([](bool) {});
        EXPECT_EQ(outcome.after, alone[i].after) << all[i].name;
        EXPECT_EQ(outcome.results, alone[i].results) << all[i].name;
        UseWhatIsShared(t, static_cast<unsigned>(k), handle);
      }
      EXPECT_EQ(first, u"first unit") << "references stay valid";
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(std::as_const(shared).Rep().Find(u"n")->AsInt(), 7);
}

}  // namespace
}  // namespace limes::test
