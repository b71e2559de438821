#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "limes/platform/file_stream.h"
#include "recordings/part_reader.h"

namespace limes::recordings {

/// A signal as the head of a file tells it; texts are UTF-8.
struct SFileChannel {
  std::string name;
  std::string group;        ///< stands in front of a name that several channels have
  std::string unit;         ///< empty: none
  std::string xUnit;        ///< empty: none
  std::uint64_t count = 0;  ///< of its values, for all of which the file has room
  bool hasX = false;        ///< x of each value is in the file
  std::optional<double> x0;
  std::optional<double> dx;  ///< positive; empty with hasX, and where the file tells no step
};

/// A file with channels of which each has its own length and x. Reading a value again is allowed,
/// reading in order fast.
class CChannelFile {
 public:
  virtual ~CChannelFile() = default;

  const std::vector<SFileChannel>& Channels() const { return channels_; }

  /// What was assumed about the file or left out of it.
  const std::vector<std::string>& Notes() const { return notes_; }

  /// Values of a channel from first on, as many as the span has room for, which are there. Throws
  /// CInputError.
  virtual void Read(std::size_t channel, std::uint64_t first, std::span<double> values) = 0;

  /// The same of x, where the channel has it.
  virtual void ReadX(std::size_t /*channel*/, std::uint64_t /*first*/, std::span<double> /*x*/) {}

 protected:
  std::vector<SFileChannel> channels_;
  std::vector<std::string> notes_;
};

/// "left out, WHY: a, b, c, ..." for a note.
std::string LeftOut(const std::string& why, const std::vector<std::string>& names);

/// Opens a file of such a kind. The stream must be able to seek and outlive the file. Throws
/// CInputError.
std::unique_ptr<CChannelFile> OpenChannels(FileKind kind, CFileStream& stream,
                                           const std::string& path);

/// The formats, called by OpenChannels.
std::unique_ptr<CChannelFile> OpenUff(CFileStream& stream, const std::string& path);
std::unique_ptr<CChannelFile> OpenTdms(CFileStream& stream, const std::string& path);
std::unique_ptr<CChannelFile> OpenNumpy(CFileStream& stream, const std::string& path);
std::unique_ptr<CChannelFile> OpenMdf(CFileStream& stream, const std::string& path);
std::unique_ptr<CChannelFile> OpenMat(CFileStream& stream, const std::string& path);
std::unique_ptr<CChannelFile> OpenHdf5(CFileStream& stream, const std::string& path);

/// The channels of a file as one part, chosen and with x as the settings say.
std::unique_ptr<CPartReader> MakeChannelReader(std::unique_ptr<CChannelFile> file,
                                               const SReadContext& context);

}  // namespace limes::recordings
