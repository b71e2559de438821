#include "apps/limes/commands/ending.h"

#include <atomic>
#include <csignal>
#include <thread>

namespace limes::host {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

std::atomic<bool> wanted{false};
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void WantEnd(int) { wanted = true; }

}  // namespace

CEnding::CEnding() {
  wanted = false;
  struct sigaction action {};
  action.sa_handler = WantEnd;  // without SA_RESTART: waiting ends
  for (const int number : kSignals) {
    sigaction(number, &action, nullptr);
  }
}

CEnding::~CEnding() {
  for (const int number : kSignals) {
    std::signal(number, SIG_DFL);
  }
}

bool CEnding::IsWanted() { return wanted; }

void CEnding::Want() { wanted = true; }

void CEnding::Pause(std::chrono::milliseconds time) {
  constexpr std::chrono::milliseconds kStep{50};
  for (auto left = time; left > left.zero() && !wanted; left -= kStep) {
    std::this_thread::sleep_for(kStep);
  }
}

}  // namespace limes::host
