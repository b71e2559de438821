// Replaces the allocation functions of this test program by counting ones.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/allocations.h"

namespace {
std::atomic<std::size_t> g_allocations = 0;

void* Allocate(std::size_t size, std::size_t alignment) {
  ++g_allocations;
  void* block = nullptr;
  return posix_memalign(&block, alignment, size) == 0 ? block : nullptr;
}

void* AllocateOrThrow(std::size_t size, std::size_t alignment) {
  void* const block = Allocate(size, alignment);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

// Not inlined: the compiler takes free for a mismatch where it sees only one of the pair's sides.
[[gnu::noinline]] void Release(void* block) { std::free(block); }

constexpr std::size_t kDefault = alignof(std::max_align_t);
}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size, kDefault); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size, kDefault);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return AllocateOrThrow(size, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return Allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
void operator delete(void* block, std::align_val_t) noexcept { Release(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { Release(block); }

namespace limes {

std::size_t test::Allocations() { return g_allocations; }

namespace {

TEST(Learning, AllocatesNothingAfterTheFirstCall) {
  CSigCurveExt curve = CSigCurveExt::Make(1000, 0.0F, 1000.0F);
  curve.SetName(u"A name that is longer than any buffer within a string object");
  curve.SetXUnit(u"Hz");
  curve.SetYUnit(u"dB(m/s²)");
  const CSigCurveExt coarse = CSigCurveExt::Make(300, 0.0F, 1000.0F);
  CSigCurveExt fitted;
  CKurvenLernWerkzeug tool;
  tool.Bildungsregel(1.0F, 3.0F, 5.0F);
  tool.Vorlage(&curve);
  tool.Neustart(10000);
  CLernenderGrenzwert limit;
  limit.Neustart(100);
  CTrackLernWerkzeug track;
  track.Vorlage(&curve);
  float result[3];
  const auto all = [&] {
    EXPECT_TRUE(CSigCurveAssistent::AnpassenAn(coarse, *tool.Mittelwert(), fitted));
    tool.NeueMessung(&curve);
    tool.NeueMessung(&fitted);
    tool.StandardAbwBilden();
    tool.GrenzeAktualisieren();
    tool.MaxAbweichung(&curve, result);
    tool.MaxAbweichung(&coarse, result, 0);
    tool.RmsAbweichung(&coarse, 1);
    tool.Beurteilen(curve);
    track.NeueMessung(&curve);
    track.GrenzeBilden();
    track.StdAbwKurve();
    track.LernzahlKurve();
    track.MaxAbweichung(&curve, result);
    track.Beurteilen(curve);
    limit.NeueMessung(1.0F);
    limit.GrenzwertErneuern(2.0F);
    limit.Beurteilen(1.0F);
  };
  all();
  EXPECT_EQ(test::AllocationsOf(all), 0U);
  EXPECT_EQ(tool.StandardAbw()->YUnit(), curve.YUnit());
}

}  // namespace
}  // namespace limes
