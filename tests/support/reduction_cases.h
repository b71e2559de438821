#pragma once

#include "limes/kernels/fixed_exp.h"
#include "tests/support/kernel_cases.h"

namespace limes::test {

/// Stores results of any 4-byte types from r.d on.
template <class... Result>
void Store(const Buffers& r, Result... results) {
  float* to = r.d;
  (std::memcpy(to++, &results, sizeof(float)), ...);
}

/// The element that beats all others, and its index: the first, or the last with ties winning.
template <class Beats>
std::pair<float, std::uint32_t> Best(std::uint32_t n, Beats beats, auto at) {
  std::pair<float, std::uint32_t> best = {n == 0 ? 0.0F : at(0), 0};
  for (std::uint32_t i = 1; i < n; ++i) {
    best = beats(at(i), best.first) ? std::pair(at(i), i) : best;
  }
  return best;
}

inline auto Elements(const Buffers& r) {
  return [&r](std::size_t i) { return r.s[i * r.si]; };
}

inline void PlainLocal(const Buffers& r, std::uint32_t start) {
  std::uint32_t end = 7;
  std::uint32_t pos = 8;
  if (start < r.n) {
    std::uint32_t i = start;
    float m = 0.0F;
    for (end = r.n, pos = 65535; i < r.n && !(r.s[i] > r.d[i]); ++i) {
    }
    for (; i < r.n; ++i) {
      const float d = r.s[i] - r.d[i];
      pos = d > m ? i : pos;
      m = d > m ? d : m;
      if (d < 0.0F) {
        break;
      }
    }
    end = i + 1;
  }
  Store(r, end, pos, static_cast<float>(pos != 65535 && start < r.n));
}

inline float Log(float x) { return static_cast<float>(std::log(double{x})); }

inline float PlainLevel(const Buffers& r, float over) {
  constexpr float kPerDecibel = 0.230258509516716F;
  if (r.n < 2) {
    return r.n == 0 ? 0.0F : r.s[0];
  }
  const float reference = detail::FixedExp(r.s[0] * kPerDecibel);
  const float sum = Total(
      r, [k = 1.0F / reference](float x, float) { return detail::FixedExp(x * kPerDecibel) * k; });
  return sum > 1e-9F ? Log(sum / over * reference) / kPerDecibel : 0.0F;
}

/// Two calls for a matrix of about n elements in s, whose five results and count are stored in d.
template <class Call>
void Twice(const Buffers& r, Call call) {
  const std::uint32_t width = 1 + r.n % 41;
  const std::uint32_t pitch = width + r.si - 1;
  float o[5] = {-0.5F, 0.5F, 0.25F, 0.125F, 2.0F};
  std::uint32_t count = 3;
  call(pitch, width, r.n / pitch, o, count, r.di > 1);
  call(pitch, width, r.n / pitch, o, count, false);
  Store(r, o[0], o[1], o[2], o[3], o[4], count);
}

inline void PlainMatrix(const Buffers& r, std::uint32_t pitch, std::uint32_t w, std::uint32_t h,
                        float* o, std::uint32_t& count, bool reset, bool levels) {
  if (h == 0) {
    std::fill(o, o + (!reset ? 0 : levels ? 2 : 5), 0.0F);
    count = reset ? 0 : count;
    return;
  }
  std::vector<float> all;
  for (std::size_t i = 0; i < w * h; ++i) {
    all.push_back(r.s[i / w * pitch + i % w]);
  }
  const Buffers v = {all.data(), 0, all.data(), 1, w * h};
  const auto k = static_cast<float>(w * h);
  const auto c = static_cast<float>(count);
  if (levels) {
    constexpr float kE = 2.7182817459106445F;
    const float g = 1.0F / all[0];
    const auto term = [g](float x, float) { return detail::FixedExp(x * g) * 0.3678794503211975F; };
    const float sum = Total(v, term);
    const float mean = Log(sum / k * kE) / g;
    o[0] = Log((reset ? sum : sum + term(o[0], 0.0F)) * kE) / g;
    o[1] = reset ? mean : (c * o[1] + k * mean) / (c + k);
    count = reset ? v.n : count + 1;
    return;
  }
  const float sum = v.n == 1 ? all[0] : Total(v, [](float x, float) { return x; });
  const float squares = Total(v, [](float x, float) { return x * x; });
  const float min = Best(v.n, std::less<>(), Elements(v)).first;
  const float max = Best(v.n, std::greater<>(), Elements(v)).first;
  o[0] = reset || min < o[0] ? min : o[0];
  o[1] = reset || max > o[1] ? max : o[1];
  o[2] = reset ? sum : o[2] + sum;
  o[3] = o[2] / (reset ? k : c + k);
  o[4] = std::sqrt(reset ? squares / k : (o[4] * o[4] * c + squares) / (c + k));
  count = reset ? v.n : count + v.n;
}

/// Number of values that resampling writes for these arguments, at most n di + 4.
inline std::uint32_t OutCount(const Buffers& r) {
  return (r.n * 7919 + r.di * 31 + r.si) % ((r.si % 2 == 0 ? r.n / 8 : r.n * r.di) + 4) + 1;
}

inline std::uint32_t Nearest(float place, std::uint32_t last) {
  return place < static_cast<float>(last) ? static_cast<std::uint32_t>(std::nearbyint(place))
                                          : last;
}

enum class Bin { kMean, kMax, kMinMax };

inline std::vector<float> PlainDown(const Buffers& r, Bin kind, std::uint32_t nOut) {
  const bool pairs = kind == Bin::kMinMax;
  const auto x = Elements(r);
  const std::uint32_t bins = !pairs ? nOut : nOut < 4 ? 1 : nOut / 2;
  const float step = static_cast<float>(r.n) / static_cast<float>(bins);
  float acc = 0.0F;
  std::vector<float> out;
  for (std::uint32_t from = 0; from < r.n && out.size() < (pairs ? 2 * bins : bins);) {
    acc = acc + step;
    const std::uint32_t end = Nearest(acc, r.n);
    float sum = 0.0F, min = x(from), max = min;
    for (std::size_t i = from; i < end; ++i) {
      sum += x(i);
      min = x(i) < min ? x(i) : min;
      max = x(i) > max ? x(i) : max;
    }
    const float mean = sum / static_cast<float>(end - from);
    if (nOut == 1 && kind != Bin::kMax) {
      out = {mean};
    } else if (pairs) {
      out.insert(out.end(), {min, max});
    } else {
      out.push_back(kind == Bin::kMax ? max : end - from < 2 ? x(from) : mean);
    }
    from = end;
  }
  while (pairs && nOut > 1 && out.size() < 2 * bins) {
    out.push_back(out[out.size() - 2]);
  }
  if (pairs && nOut > 3 && nOut % 2 != 0) {
    out.push_back((out[nOut - 3] + out[nOut - 2]) / 2.0F);
  }
  return out;
}

inline void PlainDownsampling(const Buffers& r, Bin bin, float factor) {
  const std::uint32_t nOut = OutCount(r);
  if (r.n == 0) {
    return;
  }
  const std::vector<float> out = PlainDown(r, bin, nOut);
  for (std::size_t j = 0; j < nOut; ++j) {
    const float value = j < out.size() ? out[j] : out.back();
    r.d[j] = factor * (r.n == nOut ? Elements(r)(j) : value);
  }
  if (bin == Bin::kMinMax && nOut == 3 && r.n != 3) {
    r.d[2] = factor * 0.5F * (r.d[0] + r.d[1]);
  }
}

inline void PlainResampling(const Buffers& r, unsigned flags, float factor) {
  const std::uint32_t nOut = OutCount(r);
  if (r.n == 0 || r.n >= nOut) {
    PlainDownsampling(r, (flags & DVL::kResampleMean) != 0 ? Bin::kMean : Bin::kMax, factor);
    return;
  }
  const auto x = Elements(r);
  std::vector<float> out(r.n == 1 ? nOut : 0, x(0));
  for (std::uint32_t i = 0; r.n == 2 && i < nOut; ++i) {
    const float step = (r.s[1] - x(0)) / static_cast<float>(nOut + 1);
    out.push_back(static_cast<float>(i) * step + x(0));
  }
  float acc = 0.0F;
  for (std::uint32_t i = 0; r.n > 2 && i + 1 < r.n; ++i) {
    acc = acc + static_cast<float>(nOut) / static_cast<float>(r.n - 1);
    const auto k = Nearest(acc, nOut) - static_cast<std::uint32_t>(out.size());
    float y = x(i);
    for (std::uint32_t j = 0; j < k; ++j) {
      out.push_back((flags & DVL::kResampleLinear) != 0 ? y : x(j > k / 2 ? i + 1 : i));
      y = y + (x(i + 1) - x(i)) / static_cast<float>(k);
    }
  }
  for (std::size_t j = 0; j < nOut; ++j) {
    r.d[j] = factor * (j < out.size() ? out[j] : out.back());
  }
}

// A call that stores what it finds, maybe by way of x, y, i or k, in d; and its plain loop.
#define LIMES_BOTH(name, fast, plain)                       \
  MakeCase(                                                 \
      name,                                                 \
      [=](const Buffers& r) {                               \
        [[maybe_unused]] const auto& [d, di, s, si, n] = r; \
        [[maybe_unused]] float x = 7.0F, y = 8.0F;          \
        [[maybe_unused]] std::uint32_t i = 7, k = 8;        \
        fast;                                               \
      },                                                    \
      [=](const Buffers& r) { plain; })

inline std::vector<KernelCase> ExtremeCases() {
  const auto least = [](const Buffers& r) { return Best(r.n, std::less<>(), Elements(r)); };
  const auto most = [](const Buffers& r) { return Best(r.n, std::greater<>(), Elements(r)); };
  const auto difference = [](const Buffers& r) {
    return Best(std::max(r.n, 1U), std::greater_equal<>(),
                [&r](std::size_t i) { return r.s[i] - r.d[i]; });
  };
  return {
    LIMES_BOTH("VectorMinMax", (DVL::VectorMinMax(s, n, si, x, y), Store(r, x, y)),
               Store(r, r.n == 0 ? 7.0F : least(r).first, r.n == 0 ? 8.0F : most(r).first)),
        LIMES_BOTH("VectorAbsMax", Store(r, DVL::VectorAbsMax(s, n, si)),
                   Store(r, std::fmax(std::fabs(least(r).first), std::fabs(most(r).first)))),
        LIMES_BOTH("VectorMinIdx", (DVL::VectorMinIdx(s, n, si, x, i), Store(r, x, i)),
                   Store(r, least(r).first, least(r).second)),
        LIMES_BOTH("VectorMaxIdx", (DVL::VectorMaxIdx(s, n, si, x, i), Store(r, x, i)),
                   Store(r, most(r).first, most(r).second)),
        LIMES_BOTH("MaxDifference", (x = DVL::MaxDifference(s, d, n, &i), Store(r, x, i)),
                   Store(r, difference(r).first, difference(r).second)),
        LIMES_BOTH("LocalMaxDifferencePosition",
                   x = static_cast<float>(DVL::LocalMaxDifferencePosition(s, d, n, di * 3, i, k));
                   Store(r, i, k, x), PlainLocal(r, r.di * 3)),
  };
}

inline std::vector<KernelCase> LevelCases() {
  std::vector<KernelCase> cases = {
      LIMES_BOTH("VectorLogSum", Store(r, DVL::VectorLogSum(s, n, si)),
                 Store(r, PlainLevel(r, 1.0F))),
      LIMES_BOTH("VectorLogMean", Store(r, DVL::VectorLogMean(s, n, si)),
                 Store(r, PlainLevel(r, static_cast<float>(r.n)))),
  };
  for (const bool levels : {false, true}) {
    const auto fast = [levels](const Buffers& r) {
      Twice(r, [&](auto pitch, auto w, auto h, float* o, std::uint32_t& count, bool reset) {
        levels ? DVL::MatrixElementLogStats(r.s - 1, pitch, 9, 1, 0, w, h, o[0], o[1], count, reset)
               : DVL::MatrixElementStats(r.s - 1, pitch, 9, 1, 0, w, h, o[0], o[1], o[2], o[3],
                                         o[4], count, reset);
      });
    };
    const auto plain = [levels](const Buffers& r) {
      Twice(r, [&](auto pitch, auto w, auto h, float* o, std::uint32_t& count, bool reset) {
        PlainMatrix(r, pitch, w, h, o, count, reset, levels);
      });
    };
    cases.push_back({"MatrixElementStats, LogStats", fast, plain});
  }
  return cases;
}

inline std::vector<KernelCase> ResamplingCases() {
  std::vector<KernelCase> cases;
  for (const float factor : {1.0F, 0.7F}) {
    cases.push_back(LIMES_BOTH("Mean", DVL::DownsamlingMean(s, n, si, d, OutCount(r), factor),
                               PlainDownsampling(r, Bin::kMean, factor)));
    cases.push_back(LIMES_BOTH("Max", DVL::DownsamlingMax(s, n, si, d, OutCount(r), factor),
                               PlainDownsampling(r, Bin::kMax, factor)));
    cases.push_back(LIMES_BOTH("MinMax", DVL::DownsamlingMinMax(s, n, si, d, OutCount(r), factor),
                               PlainDownsampling(r, Bin::kMinMax, factor)));
    for (const unsigned flags : {DVL::kResampleMean, DVL::kResampleLinear}) {
      cases.push_back(LIMES_BOTH("Resamling",
                                 DVL::Resamling(flags, s, n, si, d, OutCount(r), factor),
                                 PlainResampling(r, flags, factor)));
    }
  }
  return cases;
}

/// Kernels of which d and s must lie apart; a value in front of s is read, too.
inline std::vector<KernelCase> ApartCases() {
  std::vector<KernelCase> all;
  for (const auto& cases : {ExtremeCases(), LevelCases(), ResamplingCases()}) {
    all.insert(all.end(), cases.begin(), cases.end());
  }
  return all;
}

}  // namespace limes::test
