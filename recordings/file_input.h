#pragma once

#include <filesystem>
#include <string>

#include "limes/platform/file_stream.h"

namespace limes::recordings {

/// What a file of measurements holds.
enum class FileKind { kTable, kSound, kRecords };

/// Opens a measurement for reading. Throws COpenError.
void OpenForReading(const std::string& path, CDiskStream& stream);

/// By the ending of the name, otherwise by the first bytes.
FileKind DetectKind(const std::string& path, CFileStream& stream);

}  // namespace limes::recordings
