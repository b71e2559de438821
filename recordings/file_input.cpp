#include "recordings/file_input.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "recordings/errors.h"

namespace limes::recordings {

void OpenForReading(const std::string& path, CDiskStream& stream) {
  std::error_code error;
  const bool folder = std::filesystem::is_directory(path, error);
  errno = 0;
  if (folder || !stream.Open(path, CDiskStream::Mode::kRead)) {
    throw COpenError(path, folder ? "is a folder" : errno != 0 ? std::strerror(errno) : "unknown");
  }
}

FileKind DetectKind(const std::string& path, CFileStream& stream) {
  const auto dot = path.rfind('.');
  std::string ending = dot == std::string::npos ? "" : path.substr(dot + 1);
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (const std::string_view table : {"csv", "txt"}) {
    if (ending == table) {
      return FileKind::kTable;
    }
  }
  for (const std::string_view sound : {"wav", "flac", "aif", "aiff", "w64", "rf64", "caf", "au"}) {
    if (ending == sound) {
      return FileKind::kSound;
    }
  }
  if (stream.Remaining() < 0) {
    return FileKind::kTable;  // a pipe cannot be looked at twice
  }
  std::array<char, 512> block{};
  const std::size_t size = stream.Read(block.data(), block.size());
  stream.Seek(0);
  const std::string_view start(block.data(), size);
  for (const std::string_view magic : {"RIFF", "RIFX", "RF64", "FORM", "fLaC", "OggS", "caff"}) {
    if (start.starts_with(magic)) {
      return FileKind::kSound;
    }
  }
  return start.find('\0') == std::string_view::npos ? FileKind::kTable : FileKind::kRecords;
}

}  // namespace limes::recordings
