#pragma once

/// LIMES_CLONES before the definition of a function: it is compiled again for AVX2 and for AVX-512,
/// and the processor decides at load which form runs. All forms give the same bits as long as
/// -ffp-contract=off keeps the fused multiply-add that AVX-512 holds out of them. Only for
/// functions outside of headers, and not for reductions that must stay in order. Empty where the
/// compiler or the loader has no such choice, and with clang, of which version 14 compiles some
/// functions for the first processor of the list alone; the thread sanitizer's run time is not
/// ready yet when the choice is made. With LIMES_NARROW all processors run the same baseline form.
/// LIMES_CLONES_AVX2 leaves AVX-512 out, whose comparisons cost more than they save in loops over
/// lanes of 256 bits and in searches that end early.
#if defined(__SANITIZE_THREAD__)
#define LIMES_NARROW
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define LIMES_NARROW
#endif
#endif

#if defined(LIMES_NARROW)
#define LIMES_CLONES
#define LIMES_CLONES_AVX2
#endif

#if !defined(LIMES_CLONES)
#if defined(__x86_64__) && defined(__linux__) && defined(__GLIBC__) && !defined(__clang__)
#define LIMES_CLONES __attribute__((target_clones("avx512f", "avx2", "default")))
#define LIMES_CLONES_AVX2 __attribute__((target_clones("avx2", "default")))
#else
#define LIMES_CLONES
#define LIMES_CLONES_AVX2
#endif
#endif

/// LIMES_WIDE before a function written with AVX2 intrinsics or vectors, called only where
/// HasWide() says so, LIMES_WIDEST and HasWidest() alike for AVX-512; for the few loops that
/// compilers do not turn into vectors by themselves. LIMES_HAS_WIDE tells whether there are any:
/// none on Windows, where g++ keeps wide vectors on a stack that is aligned to 16 bytes only (GCC
/// bug 54412).
#if defined(__x86_64__) && defined(__GNUC__) && !defined(_WIN32)
#define LIMES_HAS_WIDE
#define LIMES_WIDE __attribute__((target("avx2")))
#define LIMES_WIDEST __attribute__((target("avx512f")))

namespace limes::detail {

inline bool HasWide() {
#if defined(LIMES_NARROW)
  return false;
#else
  static const bool kHas = __builtin_cpu_supports("avx2") != 0;
  return kHas;
#endif
}

inline bool HasWidest() {
#if defined(LIMES_NARROW)
  return false;
#else
  static const bool kHas = __builtin_cpu_supports("avx512f") != 0;
  return kHas;
#endif
}

}  // namespace limes::detail
#endif
