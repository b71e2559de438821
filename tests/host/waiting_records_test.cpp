#include "apps/limes/commands/waiting_records.h"

#include "apps/limes/errors.h"
#include "tests/host/host_fixture.h"

namespace limes::host {
namespace {

class WaitingRecords : public test::HostTest {};

TEST_F(WaitingRecords, ComeBackFromMemoryAndFile) {
  constexpr std::size_t kBytes = CWaitingRecords::kMostBytes / 3;
  std::vector<SLearntPart> parts(7);
  CWaitingRecords waiting(File("s.limes"));
  const auto record = [](std::size_t i) {
    return std::vector<std::uint8_t>(kBytes + i, static_cast<std::uint8_t>(i));
  };
  for (std::size_t i = 0; i < parts.size(); ++i) {
    parts[i].content = static_cast<std::int64_t>(i / 2);  // two may be the same
    parts[i].record = record(i / 2);
    waiting.Put(parts[i]);
    EXPECT_EQ(parts[i].record.empty(), i > 2) << i;
  }
  for (std::size_t i = parts.size(); i-- > 0;) {
    waiting.Get(parts[i]);
    EXPECT_TRUE(parts[i].record == record(i / 2)) << i;
  }
  EXPECT_TRUE(std::filesystem::is_empty(std::filesystem::path(File("s")).parent_path()));

  CWaitingRecords nowhere(File("no folder/s.limes"));
  for (SLearntPart& part : parts) {
    part.content = 9;
    if (&part == &parts.back()) {
      EXPECT_THROW(nowhere.Put(part), CStoreError);
    } else if (&part < &parts[3]) {
      nowhere.Put(part);
    }
  }
  EXPECT_TRUE(parts.back().record == record(3));
}

}  // namespace
}  // namespace limes::host
