#pragma once

#include <mutex>

#include "limes/platform/message_box.h"
#include "limes/platform/print_window.h"
#include "tests/support/show.h"

namespace limes::test {

/// Collects printed texts and message boxes while it lives: each print as "category style text",
/// each box, answered by 2, as "text|".
class Messages {
 public:
  Messages()
      : sink_(PrWin::SetSink([this](int category, int style, std::u16string_view text) {
          const std::string line = Exact{category, style, text}.text;
          const std::scoped_lock lock(mutex_);
          printed += line;
        })),
        handler_(MessageBoxes::SetHandler([this](std::u16string_view text) {
          boxes += WideToUtf8(text) + "|";
          return 2;
        })) {}
  ~Messages() {
    PrWin::SetSink(sink_);
    MessageBoxes::SetHandler(handler_);
  }
  Messages(const Messages&) = delete;
  Messages& operator=(const Messages&) = delete;

  std::string printed, boxes;

 private:
  std::mutex mutex_;
  PrWin::Sink sink_;
  MessageBoxes::Handler handler_;
};

}  // namespace limes::test
