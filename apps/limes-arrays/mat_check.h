#pragma once

#include <cstddef>

namespace limes::arrays {

/// Walks through a MAT file of version 4 or 5 that is open as descriptor 0, as the library takes a
/// file that is cut or damaged for one that ends: the number of its variables. What is compressed
/// is expanded once and must not grow beyond the limit. Throws CFault.
std::size_t CheckMatFile();

}  // namespace limes::arrays
