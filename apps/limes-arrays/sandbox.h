#pragma once

#include <cstdint>

namespace limes::arrays {

/// Limits memory and computing time, the latter by the size of the file.
void LimitResources(std::uint64_t fileBytes);

/// What the process may do from now on: compute, read and write what is open. mayOpen: files, too.
/// What is not allowed fails as if it were forbidden. Without effect where the system has no such
/// filters.
void LimitCalls(bool mayOpen);

}  // namespace limes::arrays
