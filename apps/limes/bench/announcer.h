#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "apps/limes/bench/bench_state.h"

namespace limes::host {

/// Forms the text of a state once for all who listen, a few times a second at most, and only while
/// somebody does.
class CAnnouncer {
 public:
  using Text = std::shared_ptr<const std::string>;

  explicit CAnnouncer(const CBenchState& state);
  ~CAnnouncer() { End(); }
  CAnnouncer(const CAnnouncer&) = delete;
  CAnnouncer& operator=(const CAnnouncer&) = delete;

  void End();
  std::size_t Listeners() const;

  /// One who listens; must not outlive the announcer.
  class CListener {
   public:
    explicit CListener(CAnnouncer& announcer);
    ~CListener();
    CListener(const CListener&) = delete;
    CListener& operator=(const CListener&) = delete;

    /// The next text that it has not had; null when there is none within the time.
    Text Next(std::chrono::milliseconds most);

   private:
    CAnnouncer& announcer_;
    std::uint64_t had_ = 0;
  };

 private:
  void Run();

  const CBenchState& state_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  Text text_;
  std::uint64_t number_ = 0;  ///< of the text
  std::size_t listeners_ = 0;
  bool wanted_ = false;  ///< by one who has just come: the text there may be old
  bool ends_ = false;
  std::thread thread_;
};

}  // namespace limes::host
