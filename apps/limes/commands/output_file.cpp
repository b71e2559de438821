#include "apps/limes/commands/output_file.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "apps/limes/errors.h"
#include "apps/limes/report/markup.h"

namespace limes::host {
namespace {

constexpr int kEnding[] = {SIGINT, SIGTERM, SIGHUP};

/// What a signal that ends the program removes; null while nothing is written.
std::atomic<const char*> unfinished{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free);

extern "C" void RemoveUnfinished(int number) {
  if (const char* path = unfinished.exchange(nullptr)) {
    unlink(path);
  }
  std::signal(number, SIG_DFL);
  std::raise(number);
}

/// Signals that are ignored or that somebody else handles stay so.
void SetEnding(void (*from)(int), void (*to)(int)) {
  for (const int number : kEnding) {
    struct sigaction present {};
    if (sigaction(number, nullptr, &present) == 0 && present.sa_handler == from) {
      std::signal(number, to);
    }
  }
}

/// Whether a file begins as the pages and drawings of this program do.
bool IsOurs(const std::string& path) {
  std::array<char, 1024> bytes{};
  CDiskStream stream;
  if (!stream.Open(path, CDiskStream::Mode::kRead)) {
    return false;
  }
  const std::string_view head(bytes.data(), stream.Read(bytes.data(), bytes.size()));
  return head.empty() || head.find(kPageMark) != head.npos || head.find(kPlotMark) != head.npos;
}

}  // namespace

COutputFile::COutputFile(const std::string& path, bool force) : path_(path), written_(path) {
  std::error_code error;
  direct_ = std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error);
  if (!direct_) {
    // What a link leads to is replaced, not the link.
    const std::filesystem::path real = std::filesystem::canonical(path, error);
    target_ = error ? path : real.string();
    written_ = target_ + ".unfinished";
    if (!force && std::filesystem::exists(target_, error) && !IsOurs(target_)) {
      throw CUsageError(path_ +
                        ": is there already and not a page or drawing of this program; "
                        "--force replaces it");
    }
    unfinished = written_.c_str();
    SetEnding(SIG_DFL, RemoveUnfinished);
  }
  errno = 0;
  if (!stream_.Open(written_, CDiskStream::Mode::kWrite)) {
    Fail(std::string("cannot be made") +
         (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
  }
}

COutputFile::~COutputFile() {
  if (direct_) {
    return;
  }
  if (!done_) {
    stream_.Close();
    std::error_code error;
    std::filesystem::remove(written_, error);
  }
  unfinished = nullptr;
  SetEnding(RemoveUnfinished, SIG_DFL);
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
  unfinished = nullptr;
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

void RequirePageName(const std::string& path) {
  if (!path.ends_with(".html")) {
    throw CUsageError(path + ": is no name of a page, which must end in .html");
  }
}

void WriteOutput(const std::string& path, const std::string& text, bool force) {
  COutputFile file(path, force);
  file.Write(text);
  file.Finish();
}

}  // namespace limes::host
