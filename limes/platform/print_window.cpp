#include "limes/platform/print_window.h"

#include <cstdio>
#include <memory>
#include <mutex>
#include <utility>

namespace limes::PrWin {

namespace {

struct State {
  std::mutex mutex;  ///< of the pointer: no lock is held while a host is called
  std::shared_ptr<Sink> sink = std::make_shared<Sink>();
};

/// Never destroyed: destructors of static objects may still print.
State& GetState() {
  static State& state = *new State;
  return state;
}

std::shared_ptr<Sink> CurrentSink() {
  State& state = GetState();
  const std::scoped_lock lock(state.mutex);
  return state.sink;
}

}  // namespace

void Output(int category, int style, std::u16string_view text) {
  try {
    const std::shared_ptr<Sink> sink = CurrentSink();  // survives a SetSink from within the sink
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
