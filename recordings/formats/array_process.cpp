#include "recordings/formats/array_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "recordings/errors.h"
#include "recordings/file_input.h"
#include "recordings/formats/byte_cursor.h"
#include "recordings/formats/expansion.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr char kProgram[] = "limes-arrays";
constexpr int kMostSilentMs = 60'000;

/// Named by LIMES_ARRAYS, beside this program, or where it is installed; empty when it is nowhere.
std::string FindProgram() {
  namespace fs = std::filesystem;
  if (const char* const named = std::getenv("LIMES_ARRAYS"); named != nullptr && *named != '\0') {
    return named;
  }
  std::error_code error;
  const fs::path here = fs::read_symlink("/proc/self/exe", error).parent_path();
  for (const fs::path& file : {here / kProgram, here / "../libexec/limes" / kProgram,
                               fs::path(LIMES_LIBEXEC_DIR "/limes") / kProgram}) {
    if (access(file.c_str(), X_OK) == 0) {
      return file.string();
    }
  }
  return "";
}

template <class Numbers>
auto ToBytes(Numbers numbers) {
  std::array<std::uint8_t, 8 * std::tuple_size_v<Numbers>> bytes;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    detail::ToLittleEndian(numbers[i], bytes.data() + 8 * i);
  }
  return bytes;
}

}  // namespace

CArrayProcess::CArrayProcess(CFileStream& stream, const std::string& path, std::string format)
    : path_(path), format_(std::move(format)) {
  fileBytes_ = CByteCursor(stream, path, format_).End();  // refuses a pipe
  if (dynamic_cast<CDiskStream*>(&stream) == nullptr || path == kStandardInput) {
    Fail("is read from a file on disk only, given by its name");
  }
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    throw COpenError(path, std::strerror(errno));
  }
  Start(file);
}

CArrayProcess::~CArrayProcess() { Stop(); }

void CArrayProcess::Start(int file) {
  std::string program = FindProgram();
  std::array<int, 2> ends{-1, -1};
  if (program.empty() || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    close(file);
    Fail("is read by the program limes-arrays, which is not installed");
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, file, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string format = format_;
  std::array<char*, 3> arguments{program.data(), format.data(), nullptr};
  std::array<char*, 1> environment{nullptr};
  const int error = posix_spawn(&process_, program.c_str(), &actions, nullptr, arguments.data(),
                                environment.data());
  posix_spawn_file_actions_destroy(&actions);
  close(file);
  close(ends[1]);
  channel_ = ends[0];
  if (error != 0) {
    process_ = -1;
    Stop();
    Fail("is read by " + program + ", which cannot be started: " + std::strerror(error));
  }
}

/// Ends the process: its state as waitpid gives it.
int CArrayProcess::Stop() {
  if (channel_ >= 0) {
    close(std::exchange(channel_, -1));
  }
  int state = 0;
  if (process_ > 0) {
    kill(process_, SIGKILL);  // of no effect on one that has ended
    while (waitpid(process_, &state, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
  }
  return state;
}

void CArrayProcess::Fail(const std::string& reason) const {
  throw CInputError(path_, format_ + ": " + reason);
}

void CArrayProcess::FailEnded() {
  pollfd none{};
  poll(&none, 0, 20);  // its end of the line closes before it has ended
  const int state = Stop();
  const int signal = WIFSIGNALED(state) ? WTERMSIG(state) : 0;
  Fail(signal == SIGXCPU ? "reading it takes too much time"
       : signal != 0     ? "the library that reads it fails (signal " + std::to_string(signal) +
                           "); the file is damaged, or made to do harm"
                     : "the library that reads it fails");
}

void CArrayProcess::Receive(void* data, std::size_t bytes) {
  auto* to = static_cast<char*>(data);
  while (bytes > 0) {
    pollfd wait{channel_, POLLIN, 0};
    const int ready = poll(&wait, 1, kMostSilentMs);
    if (ready == 0) {
      Stop();
      Fail("reading it takes too much time");
    }
    const ssize_t got = ready < 0 ? -1 : read(channel_, to, bytes);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      FailEnded();
    }
    to += got;
    bytes -= static_cast<std::size_t>(got);
  }
}

void CArrayProcess::Send(const void* data, std::size_t bytes) {
  if (send(channel_, data, bytes, MSG_NOSIGNAL) != static_cast<ssize_t>(bytes)) {
    FailEnded();
  }
}

/// The bytes of an answer, or throws with the reason that it gives.
std::uint64_t CArrayProcess::Answer(std::uint64_t mostBytes) {
  std::array<std::uint8_t, 16> head;
  Receive(head.data(), head.size());
  const SArrayAnswer answer{detail::FromLittleEndian<std::uint64_t>(head.data()),
                            detail::FromLittleEndian<std::uint64_t>(head.data() + 8)};
  if (answer.bytes > (answer.failed != 0 ? kMostReasonBytes : mostBytes)) {
    Fail("the program that reads it gives a malformed answer");
  }
  if (answer.failed != 0) {
    std::string reason(static_cast<std::size_t>(answer.bytes), '\0');
    Receive(reason.data(), reason.size());
    Fail(TextOfFile(reason));
  }
  return answer.bytes;
}

SArrayList CArrayProcess::List() {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(Answer(kMostListBytes)));
  Receive(bytes.data(), bytes.size());
  return DecodeList(bytes, MostExpanded(fileBytes_), path_, format_);
}

void CArrayProcess::Read(std::uint64_t array, std::uint64_t first, std::uint64_t rows,
                         std::vector<double>& values) {
  const auto request = ToBytes(std::array{array, first, rows});
  Send(request.data(), request.size());
  const std::uint64_t bytes = values.size() * sizeof(double);
  if (Answer(bytes) != bytes) {
    Fail("the program that reads it gives another number of values");
  }
  Receive(values.data(), static_cast<std::size_t>(bytes));
  if constexpr (std::endian::native == std::endian::big) {
    for (double& value : values) {
      value = detail::FromLittleEndian<double>(reinterpret_cast<const std::uint8_t*>(&value));
    }
  }
}

}  // namespace limes::recordings
