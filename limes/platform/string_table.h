#pragma once

#include <cstdint>

#include "limes/export.h"

namespace limes {

namespace platform {

enum class Language : std::uint8_t {
  kEnglish,
  kGerman,
  kSpanish,
  kItalian,
  kPortuguese,
  kCzech,
  kKorean,
  kChinese,
};
inline constexpr unsigned kLanguages = 8;

/// Chooses the language of the texts loaded from now on; English at first, never the locale's.
/// Texts that the library has loaded and keeps do not change: choose before the first use.
LIMES_EXPORT void SetLanguage(Language language);
LIMES_EXPORT Language CurrentLanguage();

}  // namespace platform

namespace detail {

/// Text of this library; null when it has none of that id: 1..8 (coordinates, type, bench), 11..18
/// (their plurals), 20..23 (rpm, rev, ord, all), 50..79 (the quantity of unit number id - 50).
const char16_t* LibraryText(unsigned id, platform::Language language);

}  // namespace detail
}  // namespace limes
