#include <cstring>

#include "limes/kernels/vector_kernels.h"

namespace limes::DVL {

namespace {

/// x = result(x, s) for elements x of the type Slot, with the low-passed s.
template <class Slot, class Value, class Result>
inline void Filter(void* p, std::size_t n, std::size_t inc, float ofState, float ofValue,
                   float& state, Value value, Result result) {
  static_assert(sizeof(Slot) == sizeof(float));
  auto* at = static_cast<unsigned char*>(p);
  float s = state;
  for (std::size_t i = 0; i < n; ++i, at += inc * sizeof(float)) {
    Slot slot;
    std::memcpy(&slot, at, sizeof(slot));
    const float x = value(slot);
    s = s * ofState + x * ofValue;
    const float y = result(x, s);
    std::memcpy(at, &y, sizeof(y));
  }
  state = s;
}

constexpr auto kSame = [](float x) { return x; };
constexpr auto kLowPart = [](float, float s) { return s; };
constexpr auto kHighPart = [](float x, float s) { return x - s; };

/// Low or high pass, as result says.
template <class Result>
inline void Pass(float* p, std::uint32_t n, std::uint32_t inc, float alpha, float& state, bool init,
                 Result result) {
  if (n == 0) {
    return;
  }
  if (init) {
    state = VectorMean(p, n, inc);
  }
  const auto rest = static_cast<float>(1.0 - double{alpha});
  Filter<float>(p, n, inc, alpha, rest, state, kSame, result);
}

}  // namespace

void VectorTiefpass(float* p, std::uint32_t n, std::uint32_t inc, float alpha, float& state,
                    bool init) {
  Pass(p, n, inc, alpha, state, init, kLowPart);
}

void VectorHochpass(float* p, std::uint32_t n, std::uint32_t inc, float alpha, float& state,
                    bool init) {
  Pass(p, n, inc, alpha, state, init, kHighPart);
}

void AcFilterIp(float* p, float a, float b, float* state, std::uint32_t n) {
  if (n > 0) {
    Filter<float>(p, n, 1, b, a, *state, kSame, kHighPart);
  }
}

void I2FAcFilterIp(void* p, float scale, float a, float b, float* state, std::uint32_t n,
                   std::uint32_t inc) {
  const auto value = [scale](std::int32_t slot) { return static_cast<float>(slot) * scale; };
  if (n > 0) {
    Filter<std::int32_t>(p, n, inc, b, a, *state, value, kHighPart);
  }
}

}  // namespace limes::DVL
