#pragma once

#include <chrono>
#include <iosfwd>
#include <string>

namespace limes::host {

/// Where a command writes: results to out, messages to err.
struct SConsole {
  std::ostream& out;
  std::ostream& err;
  bool colours = false;   ///< out is a terminal that takes colours
  bool progress = false;  ///< err is a terminal
  bool quiet = false;     ///< no warnings
};

/// Standard output and error; NO_COLOR (https://no-color.org) switches colours off.
SConsole StandardConsole();

/// Prints what should be known but stops nothing.
void Warn(SConsole& console, const std::string& text);

/// A bar on the terminal, shown when a run takes longer than a second.
class CProgressBar {
 public:
  explicit CProgressBar(SConsole& console) : console_(console) {}
  ~CProgressBar() { Clear(); }
  CProgressBar(const CProgressBar&) = delete;
  CProgressBar& operator=(const CProgressBar&) = delete;

  /// Whether it is time to show something; cheap enough to ask per part.
  bool IsDue();
  void Show(double share);

  /// Takes the bar away, so that other text can be printed.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;

  SConsole& console_;
  Clock::time_point next_ = Clock::now() + std::chrono::seconds(1);
  bool shown_ = false;
};

}  // namespace limes::host
