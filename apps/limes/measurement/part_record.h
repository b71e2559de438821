#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "apps/limes/measurement/learnt.h"
#include "recordings/measurement.h"

namespace limes::host {

/// What was formed of a part, as bytes from which it can be learnt again: names, axes and values of
/// its quantities, not their units. O(values).
std::vector<std::uint8_t> RecordOf(const SPart& part);

/// The part again, without its name; the units are those of the quantities. Throws CStoreError for
/// bytes that are no such record.
SPart PartFromRecord(std::span<const std::uint8_t> record,
                     const std::vector<SStoredQuantity>& quantities);

/// Tells what was measured apart: equal for equal records. Parts of few values may well be equal
/// without being the same, so the name of these counts, too. O(values).
std::int64_t ContentOf(const SPart& part, std::span<const std::uint8_t> record);

}  // namespace limes::host
