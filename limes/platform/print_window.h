#pragma once

#include <string_view>

#include "limes/export.h"
#include "limes/platform/memory_errors.h"
#include "limes/platform/standard_parts.h"
#include "limes/platform/text.h"

namespace limes {

/// The host's print window: lines of text, each with a category and a style.
namespace PrWin {

inline constexpr int kResults = 0;      ///< category: results and listings
inline constexpr int kWarnings = 1;     ///< category: warnings and errors
inline constexpr int kDiagnostics = 2;  ///< category: diagnostics

inline constexpr int kNormal = 0;    ///< style
inline constexpr int kHeading = 1;   ///< style
inline constexpr int kEmphasis = 2;  ///< style
inline constexpr int kAlert = 3;     ///< style

/// Takes category, style and text. Called under no lock, by several threads at once where several
/// print; it may print itself. What it throws is dropped with the message.
using Sink = std::function<void(int, int, std::u16string_view)>;

/// Hands the text as it is to the sink; line ends are part of the text. Any thread.
LIMES_EXPORT void Output(int category, int style, std::u16string_view text);

/// Replaces the sink and returns the former one, in which other threads may still be; an empty sink
/// means UTF-8 on standard error.
LIMES_EXPORT Sink SetSink(Sink sink);

/// Hands a formatted text (see Format) to the sink; it is lost when memory is short.
template <class... Args>
void Print(int category, int style, std::u16string_view format, const Args&... args) {
  detail::IfMemoryAllows([&] { Output(category, style, Format(format, args...)); });
}

}  // namespace PrWin

/// A formatted text (see Format) of category 0 and style 0.
template <class... Args>
void PrWinPrintf(std::u16string_view format, const Args&... args) {
  PrWin::Print(PrWin::kResults, PrWin::kNormal, format, args...);
}

}  // namespace limes
