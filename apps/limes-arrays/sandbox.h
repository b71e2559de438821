#pragma once

#include <cstdint>

namespace limes::arrays {

// Both throw CFault where the system refuses: a file is not parsed by what nothing holds back.

/// Limits memory and computing time, the latter by the size of the file; narrower limits stay.
void LimitResources(std::uint64_t fileBytes);

/// What the process may do from now on: compute, read and write what is open. mayOpen: files, too.
/// What is not allowed fails as if it were forbidden. Without effect on processors other than
/// x86-64 and arm64.
void LimitCalls(bool mayOpen);

}  // namespace limes::arrays
