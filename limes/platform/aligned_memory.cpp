#include "limes/platform/aligned_memory.h"

#include <new>

namespace limes::platform {

void* AllocateAligned(std::size_t bytes, std::size_t alignment) noexcept {
  if (bytes == 0) {
    return nullptr;
  }
  return ::operator new (bytes, std::align_val_t{alignment}, std::nothrow);
}

void FreeAligned(void* block, std::size_t alignment) noexcept {
  ::operator delete (block, std::align_val_t{alignment});
}

}  // namespace limes::platform
