#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <exception>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>

#include "limes/c/limes.h"

// Where calls from C come in: what is thrown becomes a status, what is given is checked.

namespace limes::c {

inline constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// What goes wrong on the way, with its reason.
struct SFailure {
  limes_status status;
  std::string text;
};

/// Does something that may fail; error, unless null, says why. Nothing is thrown, whatever it is:
/// the heap and its handlers may be the host's own.
template <class Action>
limes_status Caught(std::string* error, Action action) noexcept {
  const auto tell = [error](limes_status status, const char* text) {
    if (error != nullptr) {
      try {
        *error = text;
      } catch (...) {
        error->clear();
      }
    }
    return status;
  };
  try {
    if (error != nullptr) {
      error->clear();
    }
    action();
    return LIMES_OK;
  } catch (const SFailure& failure) {
    return tell(failure.status, failure.text.c_str());
  } catch (const std::bad_alloc&) {
    return tell(LIMES_MEMORY, limes_status_text(LIMES_MEMORY));
  } catch (const std::length_error&) {
    return tell(LIMES_MEMORY, limes_status_text(LIMES_MEMORY));
  } catch (const std::exception& unknown) {
    return tell(LIMES_UNKNOWN, unknown.what());
  } catch (...) {
    return tell(LIMES_UNKNOWN, limes_status_text(LIMES_UNKNOWN));
  }
}

/// Throws SFailure with LIMES_ARGUMENT unless it holds.
void Require(bool holds, const char* text);

/// A struct of the caller's size; what it has beyond ours is left alone.
template <class T>
void Check(const T* given, std::size_t least) {
  Require(given != nullptr, "a null pointer");
  Require(given->size >= least, "a struct without its size, or of no version known");
}

template <class T>
void Fill(T* given, T made, std::size_t least) {
  Check(given, least);
  const std::size_t size = given->size;
  made.size = size;
  std::memcpy(given, &made, std::min(size, sizeof(T)));
}

/// How a struct looked in the first version; none is accepted that is shorter.
inline constexpr std::size_t kRuleSize = 48;
inline constexpr std::size_t kCurveSize = 10 * 8;
inline constexpr std::size_t kJudgementSize = 104;
inline constexpr std::size_t kPromiseSize = 64;
static_assert(sizeof(void*) != 8 ||
              (sizeof(limes_rule) == kRuleSize && sizeof(limes_curve) == kCurveSize &&
               sizeof(limes_judgement) == kJudgementSize && sizeof(limes_promise) == kPromiseSize));

template <class T>
constexpr std::size_t LeastSize(std::size_t in64Bits) {
  return std::min(in64Bits, sizeof(T));
}

}  // namespace limes::c
