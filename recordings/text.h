#pragma once

#include <string>
#include <string_view>

namespace limes::recordings {

/// A decimal number; false unless the whole text is one finite number. No locale. A number too
/// small for a float is 0.
bool ParseNumber(std::string_view text, float& value);
bool ParseNumber(std::string_view text, double& value);

/// A float as a double that shows the same digits.
double Shown(float value);

/// Shortest text that reads as the same number.
std::string NumberText(double value);

/// Whether the text is UTF-8 throughout. O(n).
bool IsUtf8(std::string_view text);

/// A text of a file as UTF-8: what is not UTF-8 is taken for code page 1252, in which older
/// programs write "µ", "°" and "²". O(n).
std::string TextOfFile(std::string_view text);

/// A text from outside as it may be printed: control characters, marks that turn the writing
/// direction, and bytes that are no UTF-8 become \n, \t, \x1b, \u202e, ..., so that no name forges
/// a line or moves the cursor. Everything else stays. O(n).
std::string Escaped(std::string_view text);

/// A piece of a file for a message: cut at 40 bytes, escaped, in quotation marks.
std::string Quoted(std::string_view text);

}  // namespace limes::recordings
