#include "apps/limes/bench/announcer.h"

#include <utility>

namespace limes::host {

CAnnouncer::CAnnouncer(const CBenchState& state) : state_(state), thread_([this] { Run(); }) {}

void CAnnouncer::End() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) {
    thread_.join();
  }
}

std::size_t CAnnouncer::Listeners() const {
  const std::lock_guard lock(mutex_);
  return listeners_;
}

void CAnnouncer::Run() {
  constexpr std::chrono::milliseconds kLeast{200};  // between two texts
  std::uint64_t version = 0;
  std::unique_lock lock(mutex_);
  while (!ends_) {
    changed_.wait(lock, [this] { return ends_ || listeners_ > 0; });
    lock.unlock();
    const std::uint64_t now = state_.WaitForNews(version, kLeast);
    lock.lock();
    if (now > version || std::exchange(wanted_, false)) {
      version = now;
      lock.unlock();
      auto text = std::make_shared<const std::string>(state_.Text());
      lock.lock();
      text_ = std::move(text);
      ++number_;
      changed_.notify_all();
      changed_.wait_for(lock, kLeast, [this] { return ends_; });
    }
  }
}

CAnnouncer::CListener::CListener(CAnnouncer& announcer) : announcer_(announcer) {
  const std::lock_guard lock(announcer_.mutex_);
  ++announcer_.listeners_;
  had_ = announcer_.number_;
  announcer_.wanted_ = true;
  announcer_.changed_.notify_all();
}

CAnnouncer::CListener::~CListener() {
  const std::lock_guard lock(announcer_.mutex_);
  --announcer_.listeners_;
}

CAnnouncer::Text CAnnouncer::CListener::Next(std::chrono::milliseconds most) {
  std::unique_lock lock(announcer_.mutex_);
  announcer_.changed_.wait_for(lock, most,
                               [this] { return announcer_.ends_ || announcer_.number_ > had_; });
  if (announcer_.ends_ || announcer_.number_ <= had_) {
    return nullptr;
  }
  had_ = announcer_.number_;
  return announcer_.text_;
}

}  // namespace limes::host
