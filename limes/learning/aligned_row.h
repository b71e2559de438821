#pragma once

#include <cstddef>
#include <limits>
#include <new>
#include <vector>

#include "limes/platform/aligned_memory.h"

namespace limes::detail {

/// Memory whose vectors never straddle two lines of the cache.
template <class T>
struct AlignedAllocator {
  using value_type = T;

  AlignedAllocator() = default;
  template <class Other>
  AlignedAllocator(const AlignedAllocator<Other>&) noexcept {}

  T* allocate(std::size_t n) {
    void* const block = n > std::numeric_limits<std::size_t>::max() / sizeof(T)
                            ? nullptr
                            : platform::AllocateAligned(n * sizeof(T), kKernelAlignment);
    if (block == nullptr && n > 0) {
      throw std::bad_alloc();
    }
    return static_cast<T*>(block);
  }
  void deallocate(T* block, std::size_t) noexcept {
    platform::FreeAligned(block, kKernelAlignment);
  }

  friend bool operator==(const AlignedAllocator&, const AlignedAllocator&) = default;
};

using AlignedRow = std::vector<double, AlignedAllocator<double>>;

}  // namespace limes::detail
