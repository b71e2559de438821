#pragma once

#include <string_view>

#include "limes/export.h"
#include "limes/platform/standard_parts.h"

/// Messages that a host shows in a box which the user must answer.
namespace limes::MessageBoxes {

/// Shows the text with an exclamation icon and returns the number of the button pressed. What it
/// throws is dropped, and the answer is OK.
using Handler = std::function<int(std::u16string_view)>;

inline constexpr int kOk = 1;

/// Shows a warning. Without a handler the text and a line end go to the print window (category 1,
/// style 3) and the answer is OK: it never waits. Any thread; the handler is called by several at
/// once.
LIMES_EXPORT int Warning(std::u16string_view text);

/// Replaces the handler and returns the former one; an empty one means the print window.
LIMES_EXPORT Handler SetHandler(Handler handler);

}  // namespace limes::MessageBoxes
