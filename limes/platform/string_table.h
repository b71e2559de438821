#pragma once

#include <cstdint>

#include "limes/export.h"
#include "limes/platform/text.h"

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

/// The text of a number in the current language, from the resource source or else from the first
/// module of the chain that has it (see module.h); empty when none has. Any thread.
///
/// This library holds 1..8 (coordinates, type, bench), 11..18 (their plurals), 20..23 (rpm, rev,
/// ord, all) and 50..79 (the quantity of unit number id - 50).
LIMES_EXPORT wide_string LoadString(unsigned id);

}  // namespace limes
