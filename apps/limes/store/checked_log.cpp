#include "apps/limes/store/checked_log.h"

#include <algorithm>
#include <array>
#include <span>

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

}  // namespace limes::host
