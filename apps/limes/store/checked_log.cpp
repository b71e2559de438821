#include "apps/limes/store/checked_log.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <fstream>
#include <span>
#include <vector>

#include "apps/limes/store/checked_file.h"
#include "apps/limes/store/page_check.h"

namespace limes::host {
namespace {

// A log is a head and frames, a frame is a head and a page. Both heads end with the sum of all
// before; that of a frame begins with the number of its page and, at the end of a transaction, the
// pages of the database.
constexpr int kLogHead = 32;
constexpr int kFrameHead = 24;
constexpr int kSummed = 8;  ///< bytes of a frame's head that its sum counts
constexpr int kSaltsOfLog = 16;
constexpr int kSaltsOfFrame = 8;
constexpr int kSalts = 8;
constexpr int kSumOfFrame = 16;

using TSum = std::array<std::uint32_t, 2>;
using TBytes = std::span<const std::uint8_t>;

TSum SumAt(const std::uint8_t* bytes) { return {BigEndian(bytes), BigEndian(bytes + 4)}; }

/// SQLite's running sum over words of either order.
TSum Add(TSum sum, TBytes bytes, bool bigEndian) {
  const auto word = [&](std::size_t at) {
    const std::uint8_t* b = bytes.data() + at;
    return bigEndian ? BigEndian(b)
                     : std::uint32_t{b[3]} << 24 | std::uint32_t{b[2]} << 16 |
                           std::uint32_t{b[1]} << 8 | b[0];
  };
  for (std::size_t i = 0; i + 8 <= bytes.size(); i += 8) {
    sum[0] += word(i) + sum[1];
    sum[1] += word(i + 4) + sum[0];
  }
  return sum;
}

bool IsBigEndian(const std::uint8_t* logHead) { return (logHead[3] & 1) != 0; }

bool IsPageOfFrame(int size, sqlite3_int64 offset) {
  return IsPageSize(size) && offset >= kLogHead + kFrameHead &&
         (offset - kLogHead - kFrameHead) % (kFrameHead + size) == 0;
}

sqlite3_int64 PlaceOf(const std::uint8_t* frameHead, int size) {
  return (sqlite3_int64{BigEndian(frameHead)} - 1) * size;
}

/// How many frames were stored into which log, as SQLite's processes share it while they run.
struct SLogEnd {
  std::uint32_t frames = 0;
  std::array<std::uint8_t, kSalts> salts{};
  bool operator==(const SLogEnd&) const = default;
};

/// The end as the last process left it; no frames where that is not known.
SLogEnd EndOf(const std::string& store) {
  constexpr std::size_t kCopy = 48;
  constexpr std::size_t kFrames = 16;
  constexpr std::size_t kSaltPlace = 32;
  constexpr std::size_t kSumPlace = 40;
  std::array<std::uint8_t, 2 * kCopy> bytes{};
  std::ifstream in(store + "-shm", std::ios::binary);
  SLogEnd end;
  if (in.read(reinterpret_cast<char*>(bytes.data()), 2 * kCopy) &&
      std::memcmp(bytes.data(), bytes.data() + kCopy, kCopy) == 0) {
    constexpr bool kBig = std::endian::native == std::endian::big;
    TSum sum{};
    std::memcpy(sum.data(), bytes.data() + kSumPlace, sizeof(sum));
    if (Add({}, TBytes(bytes).first(kSumPlace), kBig) == sum) {
      std::memcpy(&end.frames, bytes.data() + kFrames, sizeof(end.frames));
      std::copy_n(bytes.begin() + kSaltPlace, kSalts, end.salts.begin());
    }
  }
  return end;
}

/// Whether the log holds these frames, or is one begun since.
bool Holds(const std::string& store, const SLogEnd& end) {
  std::ifstream in(store + "-wal", std::ios::binary);
  const auto next = [&](std::span<std::uint8_t> bytes) {
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(in);
  };
  std::array<std::uint8_t, kLogHead> head{};
  constexpr int kPageSize = 8;
  constexpr int kSumOfLog = 24;
  if (!next(head)) {
    return false;
  }
  const bool bigEndian = IsBigEndian(head.data());
  const auto size = BigEndian(head.data() + kPageSize);
  TSum sum = Add({}, TBytes(head).first(kSumOfLog), bigEndian);
  if (sum != SumAt(head.data() + kSumOfLog) || size > kLargestPage) {
    return false;
  }
  if (!std::equal(end.salts.begin(), end.salts.end(), head.begin() + kSaltsOfLog)) {
    return true;
  }
  std::vector<std::uint8_t> frame(kFrameHead + size);
  for (std::uint32_t i = 0; i < end.frames; ++i) {
    if (!next(frame)) {
      return false;
    }
    sum = Add(Add(sum, TBytes(frame).first(kSummed), bigEndian), TBytes(frame).subspan(kFrameHead),
              bigEndian);
    if (sum != SumAt(frame.data() + kSumOfFrame) ||
        !std::equal(end.salts.begin(), end.salts.end(), frame.begin() + kSaltsOfFrame)) {
      return false;
    }
  }
  return true;
}

}  // namespace

int ReadLog(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
  SCheckedFile& log = CheckedFileOf(file);
  const int code = log.real->xRead(file, data, size, offset);
  if (code != SQLITE_OK || !IsPageOfFrame(size, offset)) {
    return code;
  }
  std::array<std::uint8_t, 4> number;
  const int found = log.real->xRead(file, number.data(), 4, offset - kFrameHead);
  if (found != SQLITE_OK) {
    return found;
  }
  const TBytes page(static_cast<const std::uint8_t*>(data), static_cast<std::size_t>(size));
  const sqlite3_int64 place = PlaceOf(number.data(), size);
  const bool checked = log.store->checked;
  if (place == 0) {
    log.store->checked = HasChecks(page.data());
  }
  return !(checked || log.store->checked) || CheckHolds(page, place) ? SQLITE_OK
                                                                     : SQLITE_IOERR_DATA;
}

int WriteLog(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
  SCheckedFile& log = CheckedFileOf(file);
  if (!IsPageOfFrame(size, offset)) {
    return log.real->xWrite(file, data, size, offset);
  }
  // The sum counts the check of the page, so SQLite's own is replaced, from the frame before on.
  std::array<std::uint8_t, kLogHead> head;
  std::array<std::uint8_t, 8> before;
  std::array<std::uint8_t, kFrameHead + kLargestPage> frame;
  const sqlite3_int64 start = offset - kFrameHead;
  const sqlite3_int64 end = start == kLogHead ? start : start - size;  // of the head before
  int code = log.real->xRead(file, head.data(), kLogHead, 0);
  code = code != SQLITE_OK ? code : log.real->xRead(file, before.data(), 8, end - 8);
  code = code != SQLITE_OK ? code : log.real->xRead(file, frame.data(), kFrameHead, start);
  if (code != SQLITE_OK) {
    return code;
  }
  const std::span<std::uint8_t> page(frame.data() + kFrameHead, static_cast<std::size_t>(size));
  std::copy_n(static_cast<const std::uint8_t*>(data), size, page.data());
  const sqlite3_int64 place = PlaceOf(frame.data(), size);
  if (place == 0) {
    log.store->checked = HasChecks(page.data());
  }
  if (log.store->checked) {
    PutCheck(page, place);
  }
  const bool bigEndian = IsBigEndian(head.data());
  const TSum sum =
      Add(Add(SumAt(before.data()), TBytes(frame).first(kSummed), bigEndian), page, bigEndian);
  ToBigEndian(sum[0], frame.data() + kSumOfFrame);
  ToBigEndian(sum[1], frame.data() + kSumOfFrame + 4);
  return log.real->xWrite(file, frame.data(), kFrameHead + size, start);
}

bool LogIsWhole(const std::string& store) {
  // Who writes meanwhile changes the end first.
  for (SLogEnd end = EndOf(store), now; end.frames > 0 && !Holds(store, end); end = now) {
    now = EndOf(store);
    if (now == end) {
      return false;
    }
  }
  return true;
}

}  // namespace limes::host
