#include "limes/platform/print_window.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace limes::PrWin {

namespace {

struct State {
  std::recursive_mutex mutex;  ///< recursive: a sink may print itself
  std::shared_ptr<Sink> sink = std::make_shared<Sink>();
};

/// Never destroyed: destructors of static objects may still print.
State& GetState() {
  static State& state = *new State;
  return state;
}

}  // namespace

void Output(int category, int style, std::u16string_view text) {
  try {
    State& state = GetState();
    const std::scoped_lock lock(state.mutex);
    const std::shared_ptr<Sink> sink = state.sink;  // survives a SetSink from within the sink
    if (*sink) {
      (*sink)(category, style, text);
    } else {
      const std::string bytes = WideToUtf8(text);
      std::fwrite(bytes.data(), 1, bytes.size(), stderr);
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): a message that cannot be shown is lost
  }
}

Sink SetSink(Sink sink) {
  auto next = std::make_shared<Sink>(std::move(sink));
  State& state = GetState();
  const std::scoped_lock lock(state.mutex);
  state.sink.swap(next);
  return *next;
}

}  // namespace limes::PrWin
