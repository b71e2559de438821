#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "limes/c/limit_handle.h"

// Limits of a kind, and from bytes. What is wrong is thrown as SFailure.

namespace limes::c {

inline constexpr int kPrecise = 4;  ///< stands for precise curves where states tell their kind

/// Kinds by their numbers in states, which are those of the interface but for the last one.
AnyLimit Made(int kind, const SRatedRule& rule);

/// A limit of curves in double from one in float, or back.
AnyLimit Converted(const AnyLimit& any);

/// From what limes_write gave.
AnyLimit Read(const void* bytes, std::size_t size);

using Bytes = std::span<const std::uint8_t>;

Bytes BytesOf(const void* bytes, std::size_t size);

/// From the records of the learners of each side and of the scores.
AnyLimit ReadRecords(const SRatedRule& rule, Bytes upper, Bytes lower, Bytes scores);

}  // namespace limes::c
