#include "limes/kernels/fixed_exp.h"

#include "limes/platform/cpu_clones.h"

namespace limes::detail {

LIMES_CLONES void ScaledExps(const float* __restrict x, float scale, float factor,
                             float* __restrict y) {
#pragma GCC unroll 1  // else g++ unrolls before it looks for vectors, and then finds none
  for (std::size_t i = 0; i < kExpRow; ++i) {
    y[i] = FixedExp(x[i] * scale) * factor;
  }
}

}  // namespace limes::detail
