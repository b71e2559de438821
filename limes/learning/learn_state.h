#pragma once

#include <cstdint>
#include <vector>

#include "limes/export.h"
#include "limes/platform/record_io.h"
#include "limes/platform/text.h"

namespace limes {

class CFileStream;

/// What came of reading a learn state.
enum class LearnStateStatus {
  kOk,
  kCutShort,   ///< the stream ends inside the record
  kNoState,    ///< something else than a learn state
  kOtherKind,  ///< a learn state of another kind of learner
  kVersion,    ///< written by a newer version
  kChecksum,   ///< damaged
  kContent,    ///< fields that contradict each other
  kMemory,     ///< memory is short
};

/// The status in words, in English.
LIMES_EXPORT const wide_char* Text(LearnStateStatus status);

namespace detail {

/// Which learner a state is of; the numbers stand in files.
enum class LearnStateKind : std::uint16_t {
  kLimitValue = 1,
  kCurve = 2,
  kTrack = 3,
  kCalibration = 4,
  kDriftAlarm = 5,
};

// A learn state is lossless: every number as its own bits, little-endian.
//   0  u32 magic "LIMS"   4  u16 version   6  u16 kind   8  u64 bytes of the payload
//   16 payload            then u32 CRC-32 of everything before it

/// Begins a record that holds nothing yet; the payload is put behind it.
void BeginLearnState(RecordWriter& record, LearnStateKind kind, std::uint16_t version = 1);

/// Completes head and checksum and writes the record at once; what the stream throws passes
/// through.
void FinishLearnState(RecordWriter& record, CFileStream& file);

/// Checks head and checksum and gives the payload. The version, unless null, is the newest that can
/// be read, then the record's; 1 is the only one otherwise. Never allocates more than the stream
/// holds.
LearnStateStatus ReadLearnState(CFileStream& file, LearnStateKind kind,
                                std::vector<std::uint8_t>& payload,
                                std::uint16_t* version = nullptr);

}  // namespace detail
}  // namespace limes
