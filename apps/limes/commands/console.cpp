#include "apps/limes/commands/console.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

#include "recordings/text.h"

namespace limes::host {

SConsole StandardConsole() {
  const char* noColour = std::getenv("NO_COLOR");
  const char* kind = std::getenv("TERM");
  const bool plain = (noColour != nullptr && *noColour != '\0') || kind == nullptr ||
                     std::strcmp(kind, "dumb") == 0;
  return {std::cout, std::cerr, !plain && isatty(STDOUT_FILENO) != 0, isatty(STDERR_FILENO) != 0,
          false};
}

void Warn(SConsole& console, const std::string& text) {
  if (!console.quiet) {
    console.err << "warning: " << recordings::Escaped(text) << '\n';
  }
}

bool CProgressBar::IsDue() { return console_.progress && Clock::now() >= next_; }

void CProgressBar::Show(double share) {
  constexpr std::size_t kWidth = 40;
  share = std::clamp(share, 0.0, 1.0);
  const auto filled = static_cast<std::size_t>(share * kWidth);
  console_.err << "\r[" << std::string(filled, '#') << std::string(kWidth - filled, '.') << "] "
               << static_cast<int>(share * 100.0) << " %" << std::flush;
  next_ = Clock::now() + std::chrono::milliseconds(200);
  shown_ = true;
}

void CProgressBar::Clear() {
  if (shown_) {
    console_.err << "\r\033[K" << std::flush;
    shown_ = false;
  }
}

}  // namespace limes::host
