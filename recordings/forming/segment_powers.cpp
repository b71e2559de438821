#include "recordings/forming/segment_powers.h"

#include <kiss_fftr.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <numbers>

#include "limes/platform/cpu_clones.h"

// Vectors are handed to functions that are always inlined: no call passes one.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

namespace limes::recordings {
namespace {

#define LIMES_INLINED [[gnu::always_inline]] inline

/// What numbers a transform is made of: one, or one of each of several segments.
struct One {
  using Number = float;
  using Sum = double;
};
struct Lanes {
  static constexpr std::size_t kCount = 8;
  using Number = float __attribute__((vector_size(kCount * sizeof(float))));
  using Doubles = double __attribute__((vector_size(kCount * sizeof(double))));
  struct alignas(kCount * sizeof(double)) Sum {  // the alignment of whatever form is chosen
    Doubles lanes;
  };
};

template <class T>
struct alignas(2 * sizeof(typename T::Number)) TComplex {
  typename T::Number re;
  typename T::Number im;
};

template <class T>
LIMES_INLINED TComplex<T> operator+(const TComplex<T>& a, const TComplex<T>& b) {
  return {a.re + b.re, a.im + b.im};
}
template <class T>
LIMES_INLINED TComplex<T> operator-(const TComplex<T>& a, const TComplex<T>& b) {
  return {a.re - b.re, a.im - b.im};
}
template <class T>
LIMES_INLINED TComplex<T> operator*(float c, const TComplex<T>& a) {
  return {c * a.re, c * a.im};
}
template <class T>
LIMES_INLINED TComplex<T> Turned(const TComplex<T>& a, const float* turn) {
  return {turn[0] * a.re - turn[1] * a.im, turn[0] * a.im + turn[1] * a.re};
}
/// -i a.
template <class T>
LIMES_INLINED TComplex<T> TurnedBack(const TComplex<T>& a) {
  return {a.im, -a.re};
}

/// Transform of as many numbers as the radix says, in place.
template <class T>
LIMES_INLINED void Butterfly(TComplex<T> (&a)[2]) {
  const TComplex<T> first = a[0];
  a[0] = first + a[1];
  a[1] = first - a[1];
}
template <class T>
LIMES_INLINED void Butterfly(TComplex<T> (&a)[3]) {
  constexpr float kSine = 0.866025403784438647F;
  const TComplex<T> sum = a[1] + a[2];
  const TComplex<T> side = kSine * TurnedBack(a[1] - a[2]);
  const TComplex<T> middle = a[0] - 0.5F * sum;
  a[0] = a[0] + sum;
  a[1] = middle + side;
  a[2] = middle - side;
}
template <class T>
LIMES_INLINED void Butterfly(TComplex<T> (&a)[4]) {
  const TComplex<T> even = a[0] + a[2];
  const TComplex<T> evenSide = a[0] - a[2];
  const TComplex<T> odd = a[1] + a[3];
  const TComplex<T> oddSide = TurnedBack(a[1] - a[3]);
  a[0] = even + odd;
  a[1] = evenSide + oddSide;
  a[2] = even - odd;
  a[3] = evenSide - oddSide;
}
template <class T>
LIMES_INLINED void Butterfly(TComplex<T> (&a)[5]) {
  constexpr float kCosine1 = 0.309016994374947424F;
  constexpr float kCosine2 = -0.809016994374947424F;
  constexpr float kSine1 = 0.951056516295153572F;
  constexpr float kSine2 = 0.587785252292473129F;
  const TComplex<T> sum1 = a[1] + a[4];
  const TComplex<T> sum2 = a[2] + a[3];
  const TComplex<T> side1 = TurnedBack(a[1] - a[4]);
  const TComplex<T> side2 = TurnedBack(a[2] - a[3]);
  const TComplex<T> middle1 = a[0] + (kCosine1 * sum1 + kCosine2 * sum2);
  const TComplex<T> middle2 = a[0] + (kCosine2 * sum1 + kCosine1 * sum2);
  const TComplex<T> turn1 = kSine1 * side1 + kSine2 * side2;
  const TComplex<T> turn2 = kSine2 * side1 - kSine1 * side2;
  a[0] = a[0] + (sum1 + sum2);
  a[1] = middle1 + turn1;
  a[2] = middle2 + turn2;
  a[3] = middle2 - turn2;
  a[4] = middle1 - turn1;
}

/// One step: transforms that lie stride apart become radix times as long. turns: exp(-pi i k / m)
/// of m numbers.
template <std::size_t radix, class T>
LIMES_INLINED void Step(const TComplex<T>* from, TComplex<T>* to, std::size_t m, std::size_t stride,
                        const float* turns) {
  const std::size_t length = m / radix / stride;
  for (std::size_t p = 0; p < length; ++p) {
    for (std::size_t q = 0; q < stride; ++q) {
      TComplex<T> a[radix];
      for (std::size_t k = 0; k < radix; ++k) {
        a[k] = from[q + stride * (p + length * k)];
      }
      Butterfly(a);
      to[q + stride * radix * p] = a[0];
      for (std::size_t k = 1; k < radix; ++k) {
        to[q + stride * (radix * p + k)] = Turned(a[k], turns + 4 * p * stride * k);
      }
    }
  }
}

/// All steps; returns where the result lies, one of the two arrays.
template <class T>
LIMES_INLINED TComplex<T>* Transform(TComplex<T>* from, TComplex<T>* to, std::size_t m,
                                     std::span<const std::uint8_t> radices, const float* turns) {
  std::size_t stride = 1;
  for (const std::size_t radix : radices) {
    switch (radix) {
      case 2:
        Step<2>(from, to, m, stride, turns);
        break;
      case 3:
        Step<3>(from, to, m, stride, turns);
        break;
      case 4:
        Step<4>(from, to, m, stride, turns);
        break;
      default:
        Step<5>(from, to, m, stride, turns);
    }
    stride *= radix;
    std::swap(from, to);
  }
  return from;
}

LIMES_INLINED void AddPower(const TComplex<One>& x, double& sum) {
  const double re = x.re;
  const double im = x.im;
  sum += re * re + im * im;
}
LIMES_INLINED void AddPower(const TComplex<Lanes>& x, Lanes::Sum& sum) {
  const auto re = __builtin_convertvector(x.re, Lanes::Doubles);
  const auto im = __builtin_convertvector(x.im, Lanes::Doubles);
  sum.lanes += re * re + im * im;
}

/// Adds the powers of the real segments whose even and odd samples were the real and imaginary
/// parts: bin k and m - k come from the same two numbers.
template <class T>
LIMES_INLINED void AddPowers(const TComplex<T>* z, std::size_t m, const float* turns,
                             typename T::Sum* sums) {
  for (std::size_t k = 1; 2 * k <= m; ++k) {
    const TComplex<T> a = z[k];
    const TComplex<T> b = {z[m - k].re, -z[m - k].im};
    const TComplex<T> even = 0.5F * (a + b);
    const TComplex<T> odd = Turned(TurnedBack(0.5F * (a - b)), turns + 2 * k);
    AddPower(even + odd, sums[k]);
    if (2 * k < m) {
      AddPower(even - odd, sums[m - k]);
    }
  }
}

/// What all steps of a transform need.
struct SPlan {
  std::size_t half = 0;               ///< n / 2
  std::vector<std::uint8_t> radices;  ///< of it; empty where there are others
  std::vector<float> turns;           ///< exp(-2 pi i k / n), real and imaginary parts
};

SPlan PlanOf(std::uint32_t n) {
  SPlan plan;
  plan.half = n / 2;
  std::size_t rest = plan.half;
  for (const std::uint8_t radix : std::initializer_list<std::uint8_t>{4, 2, 3, 5}) {
    for (; rest % radix == 0; rest /= radix) {
      plan.radices.push_back(radix);
    }
  }
  if (rest > 1) {
    plan.radices.clear();
    return plan;
  }
  for (std::uint32_t k = 0; k < n; ++k) {
    const double angle = -2.0 * std::numbers::pi * k / n;
    plan.turns.push_back(static_cast<float>(std::cos(angle)));
    plan.turns.push_back(static_cast<float>(std::sin(angle)));
  }
  return plan;
}

/// Rows become columns.
LIMES_INLINED void Transpose(Lanes::Number (&a)[Lanes::kCount]) {
  for (std::size_t i = 0; i < 8; i += 2) {
    const Lanes::Number first = a[i];
    a[i] = __builtin_shufflevector(first, a[i + 1], 0, 8, 2, 10, 4, 12, 6, 14);
    a[i + 1] = __builtin_shufflevector(first, a[i + 1], 1, 9, 3, 11, 5, 13, 7, 15);
  }
  for (std::size_t i = 0; i < 6; i += i == 1 ? 3 : 1) {
    const Lanes::Number first = a[i];
    a[i] = __builtin_shufflevector(first, a[i + 2], 0, 1, 8, 9, 4, 5, 12, 13);
    a[i + 2] = __builtin_shufflevector(first, a[i + 2], 2, 3, 10, 11, 6, 7, 14, 15);
  }
  for (std::size_t i = 0; i < 4; ++i) {
    const Lanes::Number first = a[i];
    a[i] = __builtin_shufflevector(first, a[i + 4], 0, 1, 2, 3, 8, 9, 10, 11);
    a[i + 4] = __builtin_shufflevector(first, a[i + 4], 4, 5, 6, 7, 12, 13, 14, 15);
  }
}

/// A segment in each of the first lanes, hop samples apart, zeros in the others.
LIMES_INLINED void Gather(const float* signal, const float* window, std::size_t half,
                          std::size_t hop, std::size_t count, TComplex<Lanes>* to) {
  constexpr std::size_t kBlock = Lanes::kCount;
  const auto take = [=](std::size_t first, std::size_t samples) __attribute__((always_inline)) {
    Lanes::Number a[kBlock] = {};
    for (std::size_t j = 0; j < count; ++j) {
      std::memcpy(&a[j], signal + j * hop + first, samples * sizeof(float));
    }
    Transpose(a);
    for (std::size_t k = 0; k < samples; k += 2) {
      to[(first + k) / 2] = {a[k] * window[first + k], a[k + 1] * window[first + k + 1]};
    }
  };
  const std::size_t whole = 2 * half - 2 * half % kBlock;
  for (std::size_t i = 0; i < whole; i += kBlock) {
    take(i, kBlock);
  }
  if (whole < 2 * half) {
    take(whole, 2 * half - whole);
  }
}

/// Adds the powers of count segments, hop samples apart.
LIMES_CLONES void AddLanes(const SPlan& plan, const float* signal, const float* window,
                           std::size_t hop, std::size_t count, TComplex<Lanes>* from,
                           TComplex<Lanes>* to, Lanes::Sum* sums) {
  if (count == Lanes::kCount) {
    Gather(signal, window, plan.half, hop, Lanes::kCount, from);
  } else {
    Gather(signal, window, plan.half, hop, count, from);
  }
  const TComplex<Lanes>* const z = Transform(from, to, plan.half, plan.radices, plan.turns.data());
  AddPowers(z, plan.half, plan.turns.data(), sums);
}

/// Adds the powers of one segment.
LIMES_CLONES void AddOne(const SPlan& plan, const float* signal, const float* window,
                         TComplex<One>* from, TComplex<One>* to, double* sums) {
  for (std::size_t i = 0; i < plan.half; ++i) {
    from[i] = {window[2 * i] * signal[2 * i], window[2 * i + 1] * signal[2 * i + 1]};
  }
  const TComplex<One>* const z = Transform(from, to, plan.half, plan.radices, plan.turns.data());
  AddPowers(z, plan.half, plan.turns.data(), sums);
}

/// The same of any length.
class COtherLength {
 public:
  explicit COtherLength(std::uint32_t n)
      : plan_(kiss_fftr_alloc(static_cast<int>(n), 0, nullptr, nullptr)),
        segment_(n),
        bins_(n / 2 + 1) {
    if (plan_ == nullptr) {
      throw std::bad_alloc();
    }
  }
  ~COtherLength() { kiss_fftr_free(plan_); }
  COtherLength(const COtherLength&) = delete;
  COtherLength& operator=(const COtherLength&) = delete;

  void Add(const float* signal, const float* window, double* sums) {
    for (std::size_t i = 0; i < segment_.size(); ++i) {
      segment_[i] = window[i] * signal[i];
    }
    kiss_fftr(plan_, segment_.data(), bins_.data());
    for (std::size_t k = 1; k + 1 < bins_.size(); ++k) {
      AddPower(TComplex<One>{bins_[k].r, bins_[k].i}, sums[k]);
    }
  }

 private:
  kiss_fftr_cfg plan_;
  std::vector<float> segment_;
  std::vector<kiss_fft_cpx> bins_;
};

}  // namespace

struct CSegmentPowers::Room {
  SPlan plan;
  std::vector<TComplex<One>> from;
  std::vector<TComplex<One>> to;
  std::vector<TComplex<Lanes>> fromLanes;
  std::vector<TComplex<Lanes>> toLanes;
  std::vector<double> sums;         ///< of each bin
  std::vector<Lanes::Sum> inLanes;  ///< of every eighth segment
  std::unique_ptr<COtherLength> other;
};

CSegmentPowers::CSegmentPowers(std::uint32_t n) : n_(n), room_(std::make_unique<Room>()) {
  Room& room = *room_;
  room.plan = PlanOf(n);
  room.sums.resize(n / 2);
  room.inLanes.resize(n / 2);
  if (room.plan.radices.empty()) {
    room.other = std::make_unique<COtherLength>(n);
    return;
  }
  room.from.resize(n / 2);
  room.to.resize(n / 2);
}

CSegmentPowers::~CSegmentPowers() = default;

std::size_t CSegmentPowers::Sum(std::span<const float> signal, std::span<const float> window,
                                std::size_t hop, std::vector<double>& powers) {
  constexpr std::size_t kFew = 2;  // which lanes would not serve
  Room& room = *room_;
  std::fill(room.sums.begin(), room.sums.end(), 0.0);
  std::fill(room.inLanes.begin(), room.inLanes.end(), Lanes::Sum{});
  const std::size_t count = signal.size() < n_ ? 0 : (signal.size() - n_) / hop + 1;
  for (std::size_t i = 0; i < count;) {
    const float* const start = signal.data() + i * hop;
    const std::size_t lanes = std::min(count - i, Lanes::kCount);
    if (room.other) {
      room.other->Add(start, window.data(), room.sums.data());
      ++i;
    } else if (lanes <= kFew) {
      AddOne(room.plan, start, window.data(), room.from.data(), room.to.data(), room.sums.data());
      ++i;
    } else {
      room.fromLanes.resize(n_ / 2);
      room.toLanes.resize(n_ / 2);
      AddLanes(room.plan, start, window.data(), hop, lanes, room.fromLanes.data(),
               room.toLanes.data(), room.inLanes.data());
      i += lanes;
    }
  }
  powers.resize(n_ / 2 - 1);
  for (std::size_t k = 1; k < n_ / 2; ++k) {
    double sum = room.sums[k];
    for (std::size_t j = 0; j < Lanes::kCount; ++j) {
      sum += room.inLanes[k].lanes[j];
    }
    powers[k - 1] = sum;
  }
  return count;
}

}  // namespace limes::recordings
