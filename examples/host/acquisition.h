#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <random>
#include <stop_token>
#include <thread>
#include <utility>

#include "limes/limes.h"

/// A part as it comes from the bench.
struct SMeasuredPart {
  int serial = 0;
  int gear = 1;               ///< the variant
  limes::CSigCurveExt curve;  ///< level over frequency, or over speed
  double peak = 0.0;          ///< largest sample of the recording, in Pa
};

/// Measures in a thread of its own, so that no part is missed while another one is judged. The
/// queue is short: a bench that is faster than its judge waits instead of filling the memory.
class CAcquisition {
 public:
  /// measure(serial) gives a part, nothing at the end of the shift.
  template <class Measure>
  explicit CAcquisition(Measure measure)
      : thread_([this, measure](const std::stop_token& stop) {
          for (int serial = 1;; ++serial) {
            std::optional<SMeasuredPart> part = measure(serial);
            const bool last = !part.has_value();
            std::unique_lock lock(mutex_);
            changed_.wait(lock, stop, [this] { return queue_.size() < kMostWaiting; });
            if (stop.stop_requested()) {
              return;
            }
            queue_.push_back(std::move(part));
            changed_.notify_all();
            if (last) {
              return;
            }
          }
        }) {}

  /// The next part, in the order measured; nothing at the end.
  std::optional<SMeasuredPart> Next() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !queue_.empty(); });
    std::optional<SMeasuredPart> part = std::move(queue_.front());
    queue_.pop_front();
    changed_.notify_all();
    return part;
  }

 private:
  static constexpr std::size_t kMostWaiting = 8;

  std::mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<std::optional<SMeasuredPart>> queue_;
  std::jthread thread_;  // the last one: it uses what stands above
};

/// In the place of a sensor: noise from -1 to 1 that is the same on every machine.
class CNoise {
 public:
  explicit CNoise(int seed) : random_(static_cast<std::uint32_t>(seed)) {}

  float operator()() { return static_cast<float>(random_() >> 8) / 8388608.0F - 1.0F; }

 private:
  std::mt19937 random_;
};
