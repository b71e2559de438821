#pragma once

#include <string_view>

#include "limes/learning/learn_state.h"
#include "limes/platform/record_io.h"
#include "limes/platform/text.h"

namespace limes {

class CMeasuringUnit;
class CSigCurveExt;

namespace detail {

// Parts that learn states have in common. Readers may throw std::bad_alloc.

/// Number of characters, then the characters.
void PutText(RecordWriter& out, std::u16string_view text);
[[nodiscard]] bool GetText(RecordReader& in, wide_string& text);

/// The fields of a unit and the text of its base unit, by which registered units are found again.
void PutUnit(RecordWriter& out, const CMeasuringUnit& unit);
[[nodiscard]] bool GetUnit(RecordReader& in, CMeasuringUnit& unit);

/// Grid, valid range, name, units and values of a curve; false for a grid that would not be read,
/// because it is not finite or the valid range does not fit the values. O(n).
[[nodiscard]] bool PutCurve(RecordWriter& out, const CSigCurveExt& curve);
[[nodiscard]] LearnStateStatus GetCurve(RecordReader& in, CSigCurveExt& curve);

}  // namespace detail
}  // namespace limes
