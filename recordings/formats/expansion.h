#pragma once

#include <cstdint>

namespace limes::recordings {

/// Bytes to which a compressed file of so many bytes may expand: measured data rarely shrink to a
/// twentieth, and a small file must not fill the memory.
constexpr std::uint64_t MostExpanded(std::uint64_t fileBytes) {
  constexpr std::uint64_t kBase = std::uint64_t{256} << 20;
  constexpr std::uint64_t kRatio = 64;
  return fileBytes > (UINT64_MAX - kBase) / kRatio ? UINT64_MAX : kBase + kRatio * fileBytes;
}

}  // namespace limes::recordings
