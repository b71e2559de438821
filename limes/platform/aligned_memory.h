#pragma once

#include <cstddef>
#include <memory>

#include "limes/export.h"

namespace limes {

/// Alignment of signal data in bytes.
inline constexpr std::size_t kSignalAlignment = 128;

/// Alignment of kernel buffers in bytes: a cache line, so that wide vectors never straddle one.
inline constexpr std::size_t kKernelAlignment = 64;

namespace platform {

/// Bytes aligned to a power of two; null when memory is short or bytes is 0. Freed with
/// FreeAligned.
LIMES_EXPORT void* AllocateAligned(std::size_t bytes, std::size_t alignment) noexcept;

/// Frees a block of AllocateAligned with the same alignment; null is allowed.
LIMES_EXPORT void FreeAligned(void* block, std::size_t alignment) noexcept;

}  // namespace platform
}  // namespace limes
