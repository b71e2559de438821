#pragma once

#include <cstdint>
#include <span>

namespace limes::host {

inline constexpr int kCheckBytes = 8;     ///< at the end of a page
inline constexpr int kHeaderBytes = 100;  ///< of a database
inline constexpr int kLargestPage = 65536;

/// Version since which every page carries a check.
inline constexpr std::int64_t kCheckedSince = 3;

/// What tells a store from other SQLite files: "LIME".
inline constexpr std::int64_t kApplicationId = 0x4C494D45;

/// Numbers in SQLite's files have the most significant byte first.
std::uint32_t BigEndian(const std::uint8_t* bytes);
void ToBigEndian(std::uint32_t value, std::uint8_t* bytes);

/// Whether the pages of a database with this header (kHeaderBytes) carry checks.
bool HasChecks(const std::uint8_t* header);

/// Whether so many bytes can be a page.
bool IsPageSize(int size);

/// Writes, or compares, the check of a page at an offset of the database.
void PutCheck(std::span<std::uint8_t> page, std::int64_t offset);
bool CheckHolds(std::span<const std::uint8_t> page, std::int64_t offset);

}  // namespace limes::host
