#include "apps/limes/bench/folder_watch.h"

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

#include "apps/limes/errors.h"
#include "recordings/file_input.h"

namespace limes::host {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLookEvery{500};  ///< at the folder, at least

std::string Reason() { return std::strerror(errno); }

/// Whether somebody has the file open for writing, where the file system can tell: it grants a
/// lease for reading to nobody then.
bool IsBeingWritten(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) {
    return false;
  }
  const bool granted = fcntl(file, F_SETLEASE, F_RDLCK) == 0;
  const bool written = !granted && errno == EAGAIN;
  if (granted) {
    fcntl(file, F_SETLEASE, F_UNLCK);
  }
  close(file);
  return written;
}

}  // namespace

CFolderWatch::CFolderWatch(SConfig config) : config_(std::move(config)), nextLook_(Clock::now()) {
  // A writer that comes while a lease is held lets the system tell of it by this signal.
  std::signal(SIGIO, SIG_IGN);
  if (config_.notified) {
    events_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (events_ >= 0 &&
        inotify_add_watch(events_, config_.folder.c_str(),
                          IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_ONLYDIR) < 0) {
      close(events_);
      events_ = -1;  // looking is enough
    }
  }
  LookAtAll();
}

CFolderWatch::~CFolderWatch() {
  if (events_ >= 0) {
    close(events_);
  }
}

SFileSeen CFolderWatch::Look(const std::string& name) const {
  struct stat now {};
  if (stat((config_.folder + "/" + name).c_str(), &now) != 0 || !S_ISREG(now.st_mode)) {
    return {name, -1, 0};
  }
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  return {name, now.st_size, now.st_mtim.tv_sec * kNanoseconds + now.st_mtim.tv_nsec};
}

bool CFolderWatch::IsPassedOver(const std::string& name) {
  if (name.starts_with(".")) {
    return true;
  }
  if (IsMeasurementName(name)) {
    return false;
  }
  const std::string ending = std::filesystem::path(name).extension().string();
  if (passedOver_.try_emplace(ending, name).second) {
    untold_.push_back(name);
  }
  return true;
}

std::vector<std::string> CFolderWatch::TakePassedOver() { return std::exchange(untold_, {}); }

/// True when it is new or has changed.
bool CFolderWatch::Note(const SFileSeen& file, bool renamed) {
  const auto [entry, isNew] = files_.try_emplace(file.name);
  SState& state = entry->second;
  state.looked = looks_;
  if (!isNew && state.seen == file) {
    state.renamed |= renamed;
    return false;
  }
  if (isNew || state.taken) {
    state.order = ++arrivals_;
  }
  state.seen = file;
  state.since = Clock::now();
  state.renamed = renamed;
  state.taken = false;
  return true;
}

void CFolderWatch::LookAtAll() {
  const auto begun = Clock::now();
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(config_.folder.c_str()), closedir);
  if (!folder) {
    throw CStoreError(config_.folder + ": the folder cannot be read: " + Reason());
  }
  ++looks_;
  std::vector<SFileSeen> found;
  errno = 0;
  while (const dirent* entry = readdir(folder.get())) {
    const std::string name = entry->d_name;
    if (!IsPassedOver(name)) {
      if (SFileSeen file = Look(name); file.bytes >= 0) {
        found.push_back(std::move(file));
      }
    }
    errno = 0;
  }
  if (errno != 0) {
    throw CStoreError(config_.folder + ": the folder cannot be read: " + Reason());
  }
  // Of those that came between two looks the files' own times tell the order.
  std::sort(found.begin(), found.end(), [](const SFileSeen& a, const SFileSeen& b) {
    return a.changed != b.changed ? a.changed < b.changed : a.name < b.name;
  });
  for (const SFileSeen& file : found) {
    Note(file, false);
  }
  std::erase_if(files_, [&](const auto& entry) { return entry.second.looked != looks_; });
  nextLook_ = Clock::now() + std::max<Clock::duration>(kLookEvery, 4 * (Clock::now() - begun));
}

/// What the system tells: of whole files in the order in which they came.
void CFolderWatch::TakeEvents() {
  alignas(inotify_event) std::array<char, 16384> block;
  for (ssize_t got = 0; events_ >= 0 && (got = read(events_, block.data(), block.size())) > 0;) {
    for (std::size_t at = 0; at < static_cast<std::size_t>(got);) {
      inotify_event event;
      std::memcpy(&event, block.data() + at, sizeof event);
      const char* name = block.data() + at + sizeof event;
      at += sizeof event + event.len;
      if ((event.mask & (IN_Q_OVERFLOW | IN_IGNORED)) != 0) {
        nextLook_ = Clock::now();  // not all is told
      } else if (event.len > 0 && !IsPassedOver(name)) {
        if (const SFileSeen file = Look(name); file.bytes >= 0) {
          Note(file, (event.mask & IN_MOVED_TO) != 0);
        }
      }
    }
  }
}

std::vector<SFileSeen> CFolderWatch::Complete() {
  std::vector<const SState*> complete;
  const auto now = Clock::now();
  for (auto& [name, state] : files_) {
    if (state.taken || (!state.renamed && now - state.since < config_.still)) {
      continue;
    }
    const SFileSeen present = Look(name);
    if (present != state.seen || IsBeingWritten(config_.folder + "/" + name)) {
      if (present.bytes >= 0) {
        state.seen = present;
        state.since = now;
        state.renamed = false;
      }
      continue;
    }
    state.taken = true;
    complete.push_back(&state);
  }
  std::sort(complete.begin(), complete.end(),
            [](const SState* a, const SState* b) { return a->order < b->order; });
  std::vector<SFileSeen> files;
  std::transform(complete.begin(), complete.end(), std::back_inserter(files),
                 [](const SState* state) { return state->seen; });
  return files;
}

void CFolderWatch::Wait(milliseconds most) const {
  pollfd events{events_, POLLIN, 0};
  poll(&events, events_ >= 0 ? 1 : 0, static_cast<int>(most.count()));
}

std::vector<SFileSeen> CFolderWatch::Next(milliseconds wait) {
  constexpr milliseconds kStep{50};  // at which stillness is noticed
  const auto end = Clock::now() + wait;
  for (;;) {
    TakeEvents();
    if (Clock::now() >= nextLook_) {
      LookAtAll();
    }
    std::vector<SFileSeen> files = Complete();
    const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
    if (!files.empty() || left <= milliseconds::zero()) {
      return files;
    }
    Wait(std::min(left, kStep));
  }
}

void CFolderWatch::TakeBack(const std::string& name) {
  if (const auto found = files_.find(name); found != files_.end()) {
    found->second.taken = false;
    found->second.renamed = false;
    found->second.since = Clock::now();
  }
}

void CFolderWatch::SetTaken(const SFileSeen& file) {
  const auto found = files_.find(file.name);
  if (found != files_.end() && found->second.seen == file) {
    found->second.taken = true;
  }
}

}  // namespace limes::host
