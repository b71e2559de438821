#include "limes/platform/message_box.h"

#include <mutex>
#include <string>
#include <utility>

#include "limes/platform/print_window.h"

namespace limes::MessageBoxes {

namespace {

std::mutex gMutex;

/// Never destroyed, as the print window's sink.
Handler& CurrentHandler() {
  static Handler& handler = *new Handler;
  return handler;
}

}  // namespace

int Warning(std::u16string_view text) {
  try {
    Handler handler;
    {
      const std::scoped_lock lock(gMutex);
      handler = CurrentHandler();
    }
    if (handler) {
      return handler(text);
    }
    PrWin::Output(PrWin::kWarnings, PrWin::kAlert, std::u16string(text) + u'\n');
  } catch (...) {  // NOLINT(bugprone-empty-catch): a message that cannot be shown is lost
  }
  return kOk;
}

Handler SetHandler(Handler handler) {
  const std::scoped_lock lock(gMutex);
  std::swap(CurrentHandler(), handler);
  return handler;
}

}  // namespace limes::MessageBoxes
