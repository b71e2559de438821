#pragma once

#include <memory>

#include "limes/platform/memory_errors.h"
#include "limes/platform/object.h"

namespace limes::detail {

/// A new object, as its class record makes it; null when memory is short.
template <class Object>
CObject* Created() noexcept {
  return IfMemoryAllows(nullptr, []() -> CObject* { return std::make_unique<Object>().release(); });
}

/// A new copy; null when memory is short, for the object or for its words.
template <class Signal>
Signal* Cloned(const Signal& signal, bool deep) {
  return IfMemoryAllows(nullptr, [&]() -> Signal* {
    auto copy = std::make_unique<Signal>(signal, deep);
    return copy->DLen() == signal.DLen() ? copy.release() : nullptr;
  });
}

}  // namespace limes::detail
