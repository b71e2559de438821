// Runs of the program that are short of memory. Replaces malloc of this test program by one that
// fails when told to; sanitizers have one of their own, and build none of this.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <iostream>
#include <random>
#include <set>

#include "tests/host/host_fixture.h"

#ifdef __GLIBC__

extern "C" {
void* __libc_malloc(std::size_t size);                     // NOLINT: of the C library
void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT
void* __libc_realloc(void* block, std::size_t size);       // NOLINT
}

namespace {

/// Shared with the process that is short of memory.
struct SHeap {
  std::atomic<std::int64_t> calls{0};
  std::int64_t failAt = 0;  ///< number of the allocation that fails; 0: none
  bool forEver = false;     ///< and all after it
};
constinit std::atomic<SHeap*> g_heap{nullptr};  // null: not armed

bool MayAllocate() {
  SHeap* const heap = g_heap.load(std::memory_order_relaxed);
  if (heap == nullptr) {
    return true;
  }
  const std::int64_t call = ++heap->calls;
  if (heap->failAt == 0 || call < heap->failAt || (call > heap->failAt && !heap->forEver)) {
    return true;
  }
  errno = ENOMEM;
  return false;
}

}  // namespace

extern "C" {
void* malloc(std::size_t size) noexcept { return MayAllocate() ? __libc_malloc(size) : nullptr; }
void* calloc(std::size_t count, std::size_t size) noexcept {
  return MayAllocate() ? __libc_calloc(count, size) : nullptr;
}
void* realloc(void* block, std::size_t size) noexcept {
  return MayAllocate() ? __libc_realloc(block, size) : nullptr;
}
}

namespace limes::host::test {
namespace {

using Json = nlohmann::json;

class ShortOfMemory : public HostTest {
 protected:
  ShortOfMemory()
      : heap_(*new (mmap(nullptr, sizeof(SHeap), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                         -1, 0)) SHeap) {
    std::mt19937 random(3);
    for (int part = 0; part < kParts; ++part) {
      std::string text = "Time [s],a [Pa],b [V]\n";
      for (int i = 0; i < 20; ++i) {
        text += std::to_string(0.1 * i) + "," + std::to_string(random() % 1000) + "," +
                std::to_string(random() % 100) + "\n";
      }
      parts_.push_back(Write("part" + std::to_string(part) + ".csv", text));
    }
  }
  ~ShortOfMemory() override { munmap(&heap_, sizeof(SHeap)); }

  std::vector<std::string> Words(std::vector<std::string> words, int parts) const {
    words.insert(words.begin() + 1, store_);
    words.insert(words.begin() + 2, parts_.begin(), parts_.begin() + parts);
    return words;
  }

  /// In a process of its own, of which an allocation fails.
  SResult RunShort(const std::vector<std::string>& words, std::int64_t failAt, bool forEver) {
    heap_.calls = 0;
    heap_.failAt = failAt;
    heap_.forEver = forEver;
    const pid_t child = fork();
    if (child == 0) {
      std::ofstream out(File("out"));
      std::freopen(File("err").c_str(), "w", stderr);
      EndWhenMemoryIsShort();
      SConsole console{out, std::cerr};
      g_heap = &heap_;
      const int code = RunHost(words, console);
      g_heap = nullptr;
      out.close();
      _exit(code);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status)) << "ended by signal " << WTERMSIG(status);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Read(File("out")), Read(File("err"))};
  }

  /// Lines that were told in full.
  static std::multiset<std::string> Told(const std::string& out) {
    std::multiset<std::string> lines;
    std::istringstream in(out.substr(0, out.rfind('\n') + 1));
    for (std::string line; std::getline(in, line);) {
      lines.insert(line);
    }
    return lines;
  }

  /// Calls check(result) after runs that fail at allocations spread over all of a run; before each
  /// the store is as prepare leaves it.
  template <class Prepare, class Check>
  void ForEachFailure(const std::vector<std::string>& words, Prepare prepare, Check check) {
    const char* const wanted = std::getenv("LIMES_SHORT_RUNS");
    const std::int64_t runs = wanted != nullptr ? std::atoll(wanted) : 12;
    prepare();
    RunShort(words, 0, false);
    const std::int64_t calls = heap_.calls;
    const std::int64_t step = std::max<std::int64_t>(calls / runs, 1);
    std::mt19937 random(static_cast<unsigned>(calls));
    for (std::int64_t n = 1; n <= calls;
         n += 1 + static_cast<std::int64_t>(random()) % (2 * step)) {
      for (const bool forEver : {false, true}) {
        SCOPED_TRACE("allocation " + std::to_string(n) + (forEver ? " and all after it" : "") +
                     " of " + std::to_string(calls));
        prepare();
        const SResult result = RunShort(words, n, forEver);
        if (result.code != 0) {
          EXPECT_NE(result.err, "");
        }
        check(result);
        ++runs_;
      }
    }
    std::cout << "short of memory " << runs_ << '\n';
  }

  static constexpr int kParts = 8;
  SHeap& heap_;
  std::vector<std::string> parts_;
  std::string store_ = File("store.limes");
  std::int64_t runs_ = 0;
};

/// What was told as learnt is there, and learning once more gives what an undisturbed run does.
TEST_F(ShortOfMemory, LearningKeepsWhatItTold) {
  const std::vector<std::string> words = Words({"learn", "--json", "--factor", "3"}, kParts);
  ASSERT_EQ(RunLimes(words).code, 0);
  const std::string expected = RunLimes({"show", store_, "--json"}).out;
  const auto none = [&] {
    for (const char* end : {"", "-wal", "-shm", "-last"}) {
      std::filesystem::remove(store_ + end);
    }
  };
  ForEachFailure(words, none, [&](const SResult& result) {
    const std::size_t told = Told(result.out).size();
    const SResult shown = RunLimes({"show", store_, "--json"});
    ASSERT_TRUE(shown.code == 0 || told == 0) << shown.err;
    const auto lines = shown.Lines();  // none before anything is learnt
    EXPECT_GE(lines.empty() ? 0U : lines[0].at("learnt").get<std::size_t>(), told);
    EXPECT_EQ(result.code == 0, told == kParts) << result.err;
    const SResult again = RunLimes(words);
    EXPECT_TRUE(again.code == 0 || again.code == 3) << again.err;
    EXPECT_EQ(RunLimes({"show", store_, "--json"}).out, expected) << again.err;
  });
}

/// What was told of a part is the verdict that it has with enough memory, and is stored.
TEST_F(ShortOfMemory, JudgingTellsNothingElse) {
  ASSERT_EQ(RunLimes(Words({"learn", "--factor", "2"}, kParts)).code, 0);
  const std::string before = Read(store_);
  const std::vector<std::string> words = Words({"test", "--json"}, kParts);
  const int code = RunLimes(words).code;
  const auto expected = Told(RunLimes(words).out);
  ASSERT_EQ(expected.size(), std::size_t{kParts});
  const auto learnt = [&] {
    for (const char* end : {"-wal", "-shm", "-last"}) {
      std::filesystem::remove(store_ + end);
    }
    Write("store.limes", before);
  };
  ForEachFailure(words, learnt, [&](const SResult& result) {
    const auto told = Told(result.out);
    EXPECT_TRUE(std::includes(expected.begin(), expected.end(), told.begin(), told.end()))
        << result.out;
    EXPECT_EQ(result.code == code, told.size() == kParts) << result.err;
    const SResult stored = RunLimes({"report", store_, "--json"});
    EXPECT_EQ(stored.code, 0) << stored.err;
    EXPECT_GE(Told(stored.out).size(), told.size());
  });
}

}  // namespace
}  // namespace limes::host::test

#endif
