#include "apps/limes/store/page_check.h"

#include <bit>

#include "limes/platform/record_io.h"

namespace limes::host {
namespace {

/// Each step maps its words one to one: no change within one word goes unseen. The place counts, so
/// a page in another's place does not pass.
std::uint64_t CheckOf(std::span<const std::uint8_t> page, std::int64_t offset) {
  auto check = static_cast<std::uint64_t>(offset) + 0x9E3779B97F4A7C15U;
  for (std::size_t i = 0; i + kCheckBytes < page.size(); i += kCheckBytes) {
    check = (check ^ limes::detail::FromLittleEndian<std::uint64_t>(page.data() + i)) *
            0xFF51AFD7ED558CCDU;
    check ^= check >> 32;
  }
  return check;
}

}  // namespace

std::uint32_t BigEndian(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | bytes[3];
}

void ToBigEndian(std::uint32_t value, std::uint8_t* bytes) {
  for (int i = 0; i < 4; ++i) {
    bytes[i] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
  }
}

/// Either of two places tells, so that damage to one of them is not the end of checking.
bool HasChecks(const std::uint8_t* header) {
  constexpr int kReserved = 20;
  constexpr int kUserVersion = 60;
  constexpr int kApplicationPlace = 68;
  return header[kReserved] == kCheckBytes ||
         (BigEndian(header + kApplicationPlace) == kApplicationId &&
          BigEndian(header + kUserVersion) >= kCheckedSince);
}

bool IsPageSize(int size) {
  return size >= 512 && size <= kLargestPage && std::has_single_bit(static_cast<unsigned>(size));
}

void PutCheck(std::span<std::uint8_t> page, std::int64_t offset) {
  limes::detail::ToLittleEndian(CheckOf(page, offset), page.data() + page.size() - kCheckBytes);
}

bool CheckHolds(std::span<const std::uint8_t> page, std::int64_t offset) {
  return limes::detail::FromLittleEndian<std::uint64_t>(page.data() + page.size() - kCheckBytes) ==
         CheckOf(page, offset);
}

}  // namespace limes::host
