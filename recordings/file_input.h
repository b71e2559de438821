#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "limes/platform/file_stream.h"

namespace limes::recordings {

/// What a file of measurements holds.
enum class FileKind { kTable, kSound, kRecords, kUff, kTdms, kNumpy, kMdf, kMat, kHdf5 };

/// Whether it is a file of channels that each have their own x.
constexpr bool HoldsChannels(FileKind kind) { return kind >= FileKind::kUff; }

/// Stands for standard input where a file is named.
inline constexpr char kStandardInput[] = "-";

/// The files, with the measurements in a folder, sorted by name, in its place: files by whose
/// ending they are tables, sound files or records, not those of folders in it. Throws COpenError
/// for a folder without any.
std::vector<std::string> ExpandFolders(const std::vector<std::string>& paths);

/// Whether files of such a name are measurements, by the ending: those that are taken from a
/// folder.
bool IsMeasurementName(const std::string& name);

/// Opens a measurement for reading. Throws COpenError.
void OpenForReading(const std::string& path, CDiskStream& stream);

/// By the ending of the name, otherwise by the first bytes.
FileKind DetectKind(const std::string& path, CFileStream& stream);

}  // namespace limes::recordings
