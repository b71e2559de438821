#include "apps/limes/commands/output_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "apps/limes/errors.h"

namespace limes::host {

COutputFile::COutputFile(const std::string& path) : path_(path), written_(path) {
  std::error_code error;
  direct_ = std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error);
  if (!direct_) {
    // What a link leads to is replaced, not the link.
    const std::filesystem::path real = std::filesystem::canonical(path, error);
    target_ = error ? path : real.string();
    written_ = target_ + ".unfinished";
  }
  errno = 0;
  if (!stream_.Open(written_, CDiskStream::Mode::kWrite)) {
    Fail(std::string("cannot be made") +
         (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
  }
}

COutputFile::~COutputFile() {
  if (!done_ && !direct_) {
    stream_.Close();
    std::error_code error;
    std::filesystem::remove(written_, error);
  }
}

void COutputFile::Finish() {
  std::error_code error;
  if (!stream_.Close()) {
    Fail("cannot be written");
  }
  if (!direct_) {
    std::filesystem::rename(written_, target_, error);
  }
  if (error) {
    Fail("cannot be made: " + error.message());
  }
  done_ = true;
}

void COutputFile::Fail(const std::string& reason) const {
  throw CHostError(ExitCode::kStore, path_ + ": " + reason);
}

void COutputFile::Write(const std::string& text) {
  try {
    stream_.Write(text.data(), text.size());
  } catch (const CFileStream::failure&) {
    Fail("cannot be written");
  }
}

void RefuseStore(const std::string& output, const std::string& store) {
  std::error_code error;
  if (std::filesystem::equivalent(output, store, error)) {
    throw CUsageError(output + " is the store itself and would be overwritten");
  }
}

void WriteOutput(const std::string& path, const std::string& text) {
  COutputFile file(path);
  file.Write(text);
  file.Finish();
}

}  // namespace limes::host
