#pragma once

#include <cstddef>

namespace limes::test {

/// Number of allocations of this program so far; its operator new counts them.
std::size_t Allocations();

/// Allocations that a call makes.
template <class Call>
std::size_t AllocationsOf(Call call) {
  const std::size_t before = Allocations();
  call();
  return Allocations() - before;
}

}  // namespace limes::test
