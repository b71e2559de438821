#include "recordings/file_input.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>

#include "recordings/errors.h"

namespace limes::recordings {
namespace {

constexpr struct {
  std::string_view ending;
  std::optional<FileKind> kind;  ///< empty: the first bytes say it
} kEndings[] = {
    {".csv", FileKind::kTable},  {".txt", FileKind::kTable},  {".wav", FileKind::kSound},
    {".flac", FileKind::kSound}, {".aif", FileKind::kSound},  {".aiff", FileKind::kSound},
    {".w64", FileKind::kSound},  {".rf64", FileKind::kSound}, {".caf", FileKind::kSound},
    {".au", FileKind::kSound},   {".curve", std::nullopt},    {".pairs", std::nullopt},
    {".array", std::nullopt},    {".uff", FileKind::kUff},    {".unv", FileKind::kUff},
    {".tdms", FileKind::kTdms},  {".npy", FileKind::kNumpy},  {".npz", FileKind::kNumpy},
    {".mdf", FileKind::kMdf},    {".mf4", FileKind::kMdf},    {".mat", FileKind::kMat},
    {".h5", FileKind::kHdf5},    {".hdf5", FileKind::kHdf5},  {".hdf", FileKind::kHdf5},
};

/// How files begin whose ending says nothing.
constexpr struct {
  std::string_view start;
  FileKind kind;
} kStarts[] = {
    {"RIFF", FileKind::kSound},      {"RIFX", FileKind::kSound},       {"RF64", FileKind::kSound},
    {"FORM", FileKind::kSound},      {"fLaC", FileKind::kSound},       {"OggS", FileKind::kSound},
    {"caff", FileKind::kSound},      {"    -1\n", FileKind::kUff},     {"    -1\r", FileKind::kUff},
    {"    -1  ", FileKind::kUff},    {"TDSm", FileKind::kTdms},        {"TDSh", FileKind::kTdms},
    {"\x93NUMPY", FileKind::kNumpy}, {"PK\x03\x04", FileKind::kNumpy}, {"MDF     ", FileKind::kMdf},
    {"UnFinMF ", FileKind::kMdf},    {"\x89HDF\r\n", FileKind::kHdf5}, {"MATLAB ", FileKind::kMat},
};

std::string EndingOf(const std::string& path) {
  std::string ending = std::filesystem::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ending;
}

/// The row of the table of endings; null when none fits.
auto FindEnding(const std::string& path) {
  const std::string ending = EndingOf(path);
  const auto found = std::find_if(std::begin(kEndings), std::end(kEndings),
                                  [&](const auto& known) { return known.ending == ending; });
  return found == std::end(kEndings) ? nullptr : found;
}

}  // namespace

std::vector<std::string> ExpandFolders(const std::vector<std::string>& paths) {
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    std::error_code error;
    if (!std::filesystem::is_directory(path, error)) {
      files.push_back(path);
      continue;
    }
    const std::size_t before = files.size();
    for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error)) {
      const std::string file = entry->path().string();
      std::error_code unknown;
      if (IsMeasurementName(file) && entry->is_regular_file(unknown)) {
        files.push_back(file);
      }
    }
    if (error || files.size() == before) {
      throw COpenError(path, error ? error.message() : "the folder holds no measurements");
    }
    std::sort(files.begin() + static_cast<std::ptrdiff_t>(before), files.end());
  }
  return files;
}

bool IsMeasurementName(const std::string& name) { return FindEnding(name) != nullptr; }

void OpenForReading(const std::string& path, CDiskStream& stream) {
  std::error_code error;
  const std::string file = path == kStandardInput ? "/dev/stdin" : path;
  const bool folder = std::filesystem::is_directory(path, error);
  errno = 0;
  if (folder || !stream.Open(file, CDiskStream::Mode::kRead)) {
    throw COpenError(path, folder ? "is a folder" : errno != 0 ? std::strerror(errno) : "unknown");
  }
}

FileKind DetectKind(const std::string& path, CFileStream& stream) {
  if (const auto* known = FindEnding(path); known != nullptr && known->kind) {
    return *known->kind;
  }
  if (stream.Remaining() < 0) {
    return FileKind::kTable;  // a pipe cannot be looked at twice
  }
  std::array<char, 512> block{};
  const std::size_t size = stream.Read(block.data(), block.size());
  stream.Seek(0);
  const std::string_view start(block.data(), size);
  for (const auto& known : kStarts) {
    if (start.starts_with(known.start)) {
      return known.kind;
    }
  }
  return start.find('\0') == std::string_view::npos ? FileKind::kTable : FileKind::kRecords;
}

}  // namespace limes::recordings
