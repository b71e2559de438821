#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "recordings/formats/array_file.h"

namespace limes::recordings {

/// What a file of arrays holds, as the program that reads it tells before it sends values.
struct SArrayList {
  std::vector<SArray> arrays;
  std::map<std::string, std::vector<std::string>> leftOut;  ///< names by the reason
  bool complex = false;  ///< some values are magnitudes of complex ones
};

/// Asks for rows of an array; the answer are values of double, row by row.
struct SArrayRequest {
  std::uint64_t array = 0;
  std::uint64_t first = 0;
  std::uint64_t count = 0;
};

/// In front of every answer: whether it is what was asked for, else a text that says why not; and
/// the bytes that follow. Numbers are little endian.
struct SArrayAnswer {
  std::uint64_t failed = 0;
  std::uint64_t bytes = 0;
};

inline constexpr std::uint64_t kMostListBytes = std::uint64_t{16} << 20;
inline constexpr std::uint64_t kMostReasonBytes = 4096;

std::vector<std::uint8_t> EncodeList(const SArrayList& list);

/// Throws CInputError for anything but what EncodeList gives with arrays whose values expand to no
/// more than so many bytes. file, format: for messages.
SArrayList DecodeList(std::span<const std::uint8_t> bytes, std::uint64_t mostExpanded,
                      const std::string& file, const std::string& format);

}  // namespace limes::recordings
