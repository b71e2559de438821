#pragma once

#include <chrono>

namespace limes::host {

/// While it lives, SIGINT, SIGTERM and SIGHUP ask a command that runs for long to end. One at a
/// time.
class CEnding {
 public:
  CEnding();
  ~CEnding();
  CEnding(const CEnding&) = delete;
  CEnding& operator=(const CEnding&) = delete;

  static bool IsWanted();
  static void Want();

  /// Waits, less when the end is wanted.
  static void Pause(std::chrono::milliseconds time);
};

}  // namespace limes::host
