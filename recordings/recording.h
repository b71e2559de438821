#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "limes/platform/file_stream.h"
#include "recordings/measurement.h"
#include "recordings/part_reader.h"

namespace limes::recordings {

/// Signals sampled together at equal steps, read block by block so that a long recording that is
/// cut into parts never lies in memory as a whole.
class CRecording {
 public:
  struct SChannel {
    std::string name;
    SUnit unit;
  };

  virtual ~CRecording() = default;

  virtual const std::vector<SChannel>& Channels() const = 0;

  /// Replaces the values of each channel by the next ones, at most count: the number read, fewer
  /// only at the end. Throws CInputError.
  virtual std::size_t Read(std::size_t count, std::vector<std::vector<float>>& channels) = 0;

  /// x of the first sample, step and unit; known after the first block was read.
  virtual double X0() const = 0;
  virtual double Dx() const = 0;
  virtual SUnit XUnit() const = 0;

  /// For each value of a channel in the block whether it was measured, 0 where a line was drawn
  /// over a gap; empty when all were.
  virtual const std::vector<std::uint8_t>& Covered(std::size_t /*channel*/) const {
    static const std::vector<std::uint8_t> kAll;
    return kAll;
  }

  /// x of each sample of the block where steps are not equal, else empty.
  virtual const std::vector<float>& FreeX() const {
    static const std::vector<float> kNone;
    return kNone;
  }
};

/// A sound file: one channel each, full scale 1, x in seconds. Refuses a file that is cut short.
/// The stream must be able to seek and outlive the recording.
std::unique_ptr<CRecording> OpenSound(CFileStream& stream, const std::string& name,
                                      const SReadSettings& settings);

/// A table with one signal per column, the first column x unless a step is given. Where an x lies
/// further than a tenth of a step from equal steps, x must rise or fall from row to row, and the
/// recording must be read as a whole.
std::unique_ptr<CRecording> OpenColumns(CFileStream& stream, const SReadContext& context);

}  // namespace limes::recordings
