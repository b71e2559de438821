#pragma once

#include <memory>
#include <new>

namespace limes::detail {

/// A new copy; null when memory is short, for the object or for its words.
template <class Signal>
Signal* Cloned(const Signal& signal, bool deep) {
  try {
    auto copy = std::make_unique<Signal>(signal, deep);
    return copy->DLen() == signal.DLen() ? copy.release() : nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace limes::detail
