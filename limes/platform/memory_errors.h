#pragma once

#include <new>
#include <stdexcept>
#include <type_traits>

namespace limes::detail {

/// What the action returns, or failure when memory is short on the way, whether an allocation fails
/// or a container cannot be that long. The one place where that is caught: nothing throws for lack
/// of memory except constructors and copies, what returns texts or lists by value, and setters
/// without a result.
///
/// The action works in locals and commits with steps that cannot fail, so that a failure changes
/// nothing.
template <class Action>
std::invoke_result_t<Action&> IfMemoryAllows(std::invoke_result_t<Action&> failure, Action action) {
  try {
    return action();
  } catch (const std::bad_alloc&) {
    return failure;
  } catch (const std::length_error&) {
    return failure;
  }
}

/// The same for an action without a result: true when it came to its end.
template <class Action>
requires std::is_void_v<std::invoke_result_t<Action&>>
bool IfMemoryAllows(Action action) {
  return IfMemoryAllows(false, [&] {
    action();
    return true;
  });
}

}  // namespace limes::detail
