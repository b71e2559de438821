// Operations short of memory. Replaces the allocation functions of this test program by ones that
// fail when told to, and count what is live and what was asked for.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <malloc.h>
#endif

#include <cstdlib>
#include <limits>

#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learning_limit_value.h"
#include "limes/learning/sided.h"
#include "limes/learning/track_learning_tool.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "tests/support/hostile.h"
#include "tests/support/messages.h"
#include "tests/trust/operations.h"

namespace {

constexpr int kNever = std::numeric_limits<int>::max();

struct Heap {
  bool armed = false;
  int failAt = kNever;    ///< number of the allocation that fails, while armed
  bool forEver = false;   ///< and all after it
  int calls = 0;          ///< while armed
  std::size_t bytes = 0;  ///< asked for while armed
  long live = 0;
};
constinit thread_local Heap g_heap;

void* Allocate(std::size_t size, std::size_t alignment) {
  if (g_heap.armed) {
    const int call = ++g_heap.calls;
    if (call == g_heap.failAt || (g_heap.forEver && call > g_heap.failAt)) {
      return nullptr;
    }
    g_heap.bytes += size;
  }
#ifdef _WIN32
  void* const block = _aligned_malloc(size, alignment);
#else
  void* block = nullptr;
  if (posix_memalign(&block, alignment, size) != 0) {
    return nullptr;
  }
#endif
  g_heap.live += block != nullptr ? 1 : 0;
  return block;
}

void* AllocateOrThrow(std::size_t size, std::size_t alignment) {
  void* const block = Allocate(size, alignment);
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

// Not inlined: the compiler takes free for a mismatch where it sees only one of the pair's sides.
[[gnu::noinline]] void Release(void* block) {
  g_heap.live -= block != nullptr ? 1 : 0;
#ifdef _WIN32
  _aligned_free(block);
#else
  std::free(block);
#endif
}

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

namespace limes::test {
namespace {

/// Arms the heap, afresh, or leaves off; what it counted stays.
auto Arming(int failAt = kNever, bool forEver = false) {
  return [=](bool armed) {
    if (armed) {
      g_heap = {.failAt = failAt, .forEver = forEver, .live = g_heap.live};
    }
    g_heap.armed = armed;
  };
}

TEST(ShortOfMemory, OperationsReportItAndChangeNothing) {
  int runs = 0;
  PrWin::SetSink([](int, int, std::u16string_view) {});
  for (const Operation& operation : AllOperations()) {
    SCOPED_TRACE(operation.name);
    operation.run(Arming());  // whatever is made once for the process
    const Outcome whole = operation.run(Arming());
    EXPECT_TRUE(whole.ok);
    const int calls = g_heap.calls;
    const long live = g_heap.live;
    for (int k = 1; k <= calls; ++k) {
      for (const bool forEver : {false, true}) {
        SCOPED_TRACE("allocation " + std::to_string(k) + (forEver ? " and all after it" : ""));
        const Outcome outcome = operation.run(Arming(k, forEver));
        EXPECT_FALSE(outcome.threw && !operation.throws);
        const bool kept = outcome.after == outcome.before;
        const bool done = outcome.after == whole.after && outcome.results == whole.results;
        if (operation.reports && !outcome.threw) {
          EXPECT_TRUE(outcome.ok ? done : kept || operation.losesOnFailure) << outcome.ok;
        } else {
          EXPECT_TRUE(kept || done || outcome.threw || operation.losesOnFailure);
        }
        ++runs;
      }
    }
    operation.run(Arming());
    EXPECT_EQ(g_heap.live, live) << "leaks";
  }
  RecordProperty("runs", runs);
  EXPECT_GT(runs, 1000);
}

CSigCurveExt Sloping(int points) {
  CSigCurveExt curve = CSigCurveExt::Make(points, 0.0F, static_cast<float>(points));
  for (int i = 0; i < points; ++i) {
    curve.SetAt(i, static_cast<float>(i % 7));
  }
  return curve;
}

/// A file whose call number failAt fails: it reads nothing or half, or does not write.
class FailingStream : public CMemoryStream {
 public:
  FailingStream(std::vector<std::uint8_t> bytes, int failAt, bool half, bool forEver)
      : CMemoryStream(std::move(bytes)), failAt_(failAt), half_(half), forEver_(forEver) {}

  [[nodiscard]] std::size_t Read(void* data, std::size_t bytes) override {
    const bool fails = Remaining() > 0 && Fails();  // at the end there is nothing to fail
    return CMemoryStream::Read(data, !fails ? bytes : half_ ? bytes / 2 : 0);
  }
  void Write(const void* data, std::size_t bytes) override {
    if (Fails()) {
      if (half_) {
        CMemoryStream::Write(data, bytes / 2);
      }
      throw CFileStream::failure("no space");
    }
    CMemoryStream::Write(data, bytes);
  }
  bool HasFailed() const { return calls_ >= failAt_; }

 private:
  bool Fails() { return ++calls_ == failAt_ || (forEver_ && calls_ > failAt_); }

  int failAt_;
  bool half_;
  bool forEver_;
  int calls_ = 0;
};

TEST(FailingStreams, ReadersAndWritersReportIt) {
  for (const Operation& operation : AllOperations()) {
    if (operation.write == nullptr) {
      continue;
    }
    SCOPED_TRACE(operation.name);
    CMemoryStream whole;
    ASSERT_TRUE(operation.write(whole));
    const std::uint64_t wanted = operation.run([](bool) {}).after;
    for (int mode = 0; mode < 4; ++mode) {
      const bool half = mode % 2 == 1;
      bool failed = true;
      for (int k = 1; failed; ++k) {
        SCOPED_TRACE("call " + std::to_string(k) + " mode " + std::to_string(mode));
        FailingStream in({whole.Bytes().begin(), whole.Bytes().end()}, k, half, mode > 1);
        const Outcome read = operation.read(in, [](bool) {});
        // Half may be followed by the other half.
        EXPECT_TRUE(read.ok ? read.after == wanted && (half || !in.HasFailed()) : in.HasFailed());
        EXPECT_TRUE(read.ok || read.before == read.after ||
                    operation.name == "CPolygonCodierung file");  // as they say
        FailingStream out({}, k, half, mode > 1);
        bool written = false;
        try {
          written = operation.write(out);
        } catch (const CFileStream::failure&) {
          written = false;
        }
        EXPECT_EQ(written, !out.HasFailed());
        failed = in.HasFailed() || out.HasFailed();
      }
    }
  }
}

// As many bytes as were given, and what readers take always: texts are read in pieces of 64 KiB.
constexpr std::size_t kTimes = 16;
constexpr std::size_t kAlways = 200000;

TEST(HostileBytes, AskForNoMoreMemoryThanASmallMultipleOfThem) {
  const Messages messages;  // of units that damaged records register
  std::mt19937 random(21);
  for (const Operation& operation : AllOperations()) {
    if (operation.read == nullptr) {
      continue;
    }
    SCOPED_TRACE(operation.name);
    CMemoryStream whole;
    ASSERT_TRUE(operation.write(whole));
    for (int i = 0; i < 600; ++i) {
      test::Bytes bytes(whole.Bytes().begin(), whole.Bytes().end());
      if (i % 3 == 0) {
        bytes.resize(random() % bytes.size());
      }
      for (int flips = i % 4; flips > 0 && !bytes.empty(); --flips) {  // mostly in the heads
        bytes[random() % std::min<std::size_t>(bytes.size(), i % 2 == 0 ? 200 : bytes.size())] =
            i % 5 == 0 ? 0xFF : static_cast<std::uint8_t>(random());
      }
      if (i % 4 == 2 && bytes.size() > 4) {  // a checksum at the end is right again
        const std::span<const std::uint8_t> body(bytes.data(), bytes.size() - 4);
        detail::ToLittleEndian(detail::Crc32(body), bytes.data() + body.size());
      }
      CMemoryStream file(std::span<const std::uint8_t>{bytes});
      EXPECT_FALSE(operation.read(file, Arming()).threw);
      ASSERT_LE(g_heap.bytes, kTimes * bytes.size() + kAlways) << i;
    }
  }
}

template <class Object>
void ReadAs(std::span<const std::uint8_t> bytes) {
  CMemoryStream file(bytes);
  Object object;
  Arming()(true);
  if constexpr (requires { object.ReadState(file); }) {
    EXPECT_NE(object.ReadState(file), LearnStateStatus::kOk);  // they carry a check sum
  } else if constexpr (int status = 0; requires { object.DateiImport(file, status); }) {
    static_cast<void>(object.DateiImport(file, status));
  } else if constexpr (requires { object.DateiImport(file); }) {
    static_cast<void>(object.DateiImport(file));
  } else {
    static_cast<void>(object.ReadFromFile(file));
  }
  Arming()(false);
}

TEST(HostileBytes, StoredRecordsWithAnyBitFlippedOrCutAnywhere) {
  const Messages messages;
  const std::pair<const char*, void (*)(std::span<const std::uint8_t>)> records[] = {
      {"curve_array_v0", ReadAs<CSigCurveArray>},
      {"curve_array_v1", ReadAs<CSigCurveArray>},
      {"curve_array_v2", ReadAs<CSigCurveArray>},
      {"curve_list_v2", ReadAs<CSigCurveList>},
      {"pairs_list_v2", ReadAs<CSigPairsList>},
      {"nd_described_v0", ReadAs<CSigND>},
      {"nd_settings_v0", ReadAs<CSightSeeing>},
      {"nd_table_v0", ReadAs<CSigNDBase>},
      {"pair_record_v1", ReadAs<CSigPairs>},
      {"pair_record_v2", ReadAs<CSigPairs>},
      {"curve_state_v1", ReadAs<CKurvenLernWerkzeug>},
      {"limit_value_state_v1", ReadAs<CLernenderGrenzwert>},
      {"track_state_v1", ReadAs<CTrackLernWerkzeug>}};
  for (const auto& [name, read] : records) {
    Bytes bytes = Golden(name + std::string(".bin"));
    ASSERT_FALSE(bytes.empty()) << name;
    for (std::size_t bit = 0; bit < 9 * bytes.size(); ++bit) {
      const bool cut = bit / 8 >= bytes.size();
      const std::size_t size = cut ? bit - 8 * bytes.size() : bytes.size();
      const auto flip = static_cast<std::uint8_t>(cut ? 0 : 1 << bit % 8);
      bytes[bit / 8 % bytes.size()] ^= flip;
      read(std::span(bytes).first(size));
      bytes[bit / 8 % bytes.size()] ^= flip;
      ASSERT_LE(g_heap.bytes, kTimes * size + kAlways) << name << ' ' << bit;
    }
  }
}

TEST(ShortOfMemory, BothSidesOfATrackKeepOneGrid) {
  const CSigCurveExt first = Sloping(20);
  const CSigCurveExt longer = Sloping(100);
  bool learnt = false;
  for (int k = 1; !learnt; ++k) {
    SCOPED_TRACE(k);
    CSided<CTrackLernWerkzeug> sides;
    ASSERT_EQ(sides.LearnPart(first), LearnStatus::kOk);
    const std::uint32_t points = sides.First().Mittelwert()->DLen();
    Arming(k)(true);
    const LearnStatus status = sides.LearnPart(longer);
    Arming()(false);
    learnt = status == LearnStatus::kOk;
    EXPECT_EQ(status, learnt ? LearnStatus::kOk : LearnStatus::kMemory);
    const std::uint32_t upper = sides[Side::kUpper].Mittelwert()->DLen();
    EXPECT_EQ(upper, sides[Side::kLower].Mittelwert()->DLen());
    EXPECT_TRUE(upper == points || upper >= 100) << upper;
    EXPECT_EQ(sides.LearnPart(longer), LearnStatus::kOk);
  }
}

TEST(ShortOfMemory, LimitsOfALoadedStateSaySo) {
  CSigCurveExt curve = Sloping(20);
  curve.SetYUnit(u"dB(m/s²)");  // longer than what texts hold within themselves
  CKurvenLernWerkzeug learnt;
  learnt.Vorlage(&curve);
  learnt.NeueMessung(&curve);
  CMemoryStream state;
  ASSERT_TRUE(learnt.WriteState(state));
  bool formed = false;
  for (int k = 1; !formed; ++k) {
    SCOPED_TRACE(k);
    CKurvenLernWerkzeug tool;
    state.Seek(0);
    ASSERT_EQ(tool.ReadState(state), LearnStateStatus::kOk);
    Arming(k)(true);
    EXPECT_NO_THROW(formed = tool.UpdateLimit() == 1 && tool.StandardAbwBilden() == 1);
    Arming()(false);
    EXPECT_TRUE(!formed || tool.Grenzkurve()->YUnit() == curve.YUnit());
  }
}

TEST(ShortOfMemory, RecordsOfCurvesSaySo) {
  struct Discarding : CMemoryStream {
    void Write(const void* /*data*/, std::size_t /*bytes*/) override {}
  } file;
  bool written = false;
  for (int k = 1; !written; ++k) {
    SCOPED_TRACE(k);
    CSigCurveArray array;
    ASSERT_EQ(array.ErsteKurve(Sloping(20)), 0);
    Arming(k)(true);
    EXPECT_NO_THROW(written = array[0]->WriteToFileRaw(file, 2) && array.DateiExport(file));
    Arming()(false);
  }
}

TEST(Allocations, LearningMakesNoneAfterItsFirstCall) {
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
    EXPECT_TRUE(CSigCurveAssistent::FitTo(coarse, *tool.Mittelwert(), fitted));
    tool.NeueMessung(&curve);
    tool.NeueMessung(&fitted);
    tool.StandardAbwBilden();
    tool.UpdateLimit();
    tool.MaxAbweichung(&curve, result);
    tool.MaxAbweichung(&coarse, result, 0);
    tool.RmsAbweichung(&coarse, 1);
    tool.Judge(curve);
    track.NeueMessung(&curve);
    track.GrenzeBilden();
    track.StdAbwKurve();
    track.LernzahlKurve();
    track.MaxAbweichung(&curve, result);
    track.Judge(curve);
    limit.NeueMessung(1.0F);
    limit.GrenzwertErneuern(2.0F);
    limit.Judge(1.0F);
  };
  all();
  Arming()(true);
  all();
  Arming()(false);
  EXPECT_EQ(g_heap.calls, 0);
  EXPECT_EQ(tool.StandardAbw()->YUnit(), curve.YUnit());
}

}  // namespace
}  // namespace limes::test
