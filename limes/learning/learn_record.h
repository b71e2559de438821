#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "limes/learning/learn_state.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/record_io.h"
#include "limes/platform/text.h"

namespace limes {

class CMeasuringUnit;
class CSigCurveExt;

namespace detail {

/// Which learner a state is of; the numbers stand in files.
enum class LearnStateKind : std::uint16_t {
  kLimitValue = 1,
  kCurve = 2,
  kTrack = 3,
  kCalibration = 4,
  kDriftAlarm = 5,
  kModes = 6,
  kRatedLimit = 7,
  kPreciseCurve = 8,
};

// A learn state is lossless: every number as its own bits, little-endian.
//   0  u32 magic "LIMS"   4  u16 version   6  u16 kind   8  u64 bytes of the payload
//   16 payload            then u32 CRC-32 of everything before it

/// Begins a record that holds nothing yet; the payload is put behind it.
void BeginLearnState(RecordWriter& record, LearnStateKind kind, std::uint16_t version);

/// Completes head and checksum and writes the record at once; what the stream throws passes
/// through.
void FinishLearnState(RecordWriter& record, CFileStream& file);

/// The payload of a record: what memory had to be made for, and the bytes, which may be a memory
/// stream's own.
struct SPayload {
  std::vector<std::uint8_t> made;
  std::span<const std::uint8_t> bytes;
};

/// Checks head and checksum and gives the payload, which the stream must outlive. The version is
/// the newest that can be read, then the record's. Never allocates more than the stream holds.
LearnStateStatus ReadPayload(CFileStream& file, LearnStateKind kind, SPayload& payload,
                             std::uint16_t& version);

/// Writes what put(record) puts; nothing, and false, when it says so or memory is short.
template <class Put>
[[nodiscard]] bool WriteLearnState(CFileStream& file, LearnStateKind kind, Put put,
                                   std::uint16_t version = 1) {
  return IfMemoryAllows(false, [&] {
    RecordWriter record;
    BeginLearnState(record, kind, version);
    if (!put(record)) {
      return false;
    }
    FinishLearnState(record, file);
    return true;
  });
}

/// Reads a state by get(in, state, version), which tells its status, and takes it by commit(state),
/// which cannot fail, when the record held that and nothing else.
template <class State, class Get, class Commit>
[[nodiscard]] LearnStateStatus ReadLearnState(CFileStream& file, LearnStateKind kind, Get get,
                                              Commit commit, std::uint16_t version = 1) {
  return IfMemoryAllows(LearnStateStatus::kMemory, [&] {
    SPayload payload;
    LearnStateStatus status = ReadPayload(file, kind, payload, version);
    if (status != LearnStateStatus::kOk) {
      return status;
    }
    CMemoryStream stream{payload.bytes};
    RecordReader in(stream);
    State state;
    status = get(in, state, version);
    if (status == LearnStateStatus::kOk && in.Remaining() != 0) {
      status = LearnStateStatus::kContent;
    }
    if (status == LearnStateStatus::kOk) {
      commit(state);
    }
    return status;
  });
}

// Parts that learn states have in common. Readers may throw std::bad_alloc.

/// Number of characters, then the characters.
void PutText(RecordWriter& out, std::u16string_view text);
[[nodiscard]] bool GetText(RecordReader& in, wide_string& text);

/// The fields of a unit and the text of its base unit, by which registered units are found again.
void PutUnit(RecordWriter& out, const CMeasuringUnit& unit);
[[nodiscard]] bool GetUnit(RecordReader& in, CMeasuringUnit& unit);

/// One curve: grid, valid range, name, units and values; false for a grid that would not be read.
[[nodiscard]] bool PutCurve(RecordWriter& out, const CSigCurveExt& curve);
[[nodiscard]] LearnStateStatus GetCurve(RecordReader& in, CSigCurveExt& curve);

/// Name and curves; false for a grid that would not be read, because it is not finite or the valid
/// range does not fit the values. Of each curve grid, valid range, name, units and values. Makes
/// room for what is put behind. O(n).
[[nodiscard]] bool PutMeans(RecordWriter& out, const SLearntMeans& learnt,
                            std::size_t bytesBehind = 0);
[[nodiscard]] LearnStateStatus GetMeans(RecordReader& in, SLearntMeans& learnt);

}  // namespace detail
}  // namespace limes
