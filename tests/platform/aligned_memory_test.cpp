#include "limes/platform/aligned_memory.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace limes {

TEST(AlignedMemory, GivesAlignedBlocksAndNullForNothing) {
  void* block = platform::AllocateAligned(5, kSignalAlignment);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % kSignalAlignment, 0U);
  platform::FreeAligned(block, kSignalAlignment);
  EXPECT_EQ(platform::AllocateAligned(0, kSignalAlignment), nullptr);
  EXPECT_EQ(platform::AllocateAligned(SIZE_MAX / 2, kSignalAlignment), nullptr);
}

}  // namespace limes
