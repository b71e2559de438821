#pragma once

#include <string>

#include "bindings.h"
#include "recordings/measurement.h"

namespace limes::python {

/// What is spoken of in the words of the command line, in those of keyword arguments: --x-unit
/// becomes x_unit.
std::string InKeywords(const std::string& text);

/// What tells curves of unknown units apart: the unit as the file has it; empty for known ones.
std::string UnknownUnit(const recordings::SUnit& unit);

/// A quantity of a file as a curve: at equal steps as it is, else drawn by lines on the grid of
/// another curve or, without one, on its own; and the mask of what was measured. Throws
/// CInputError.
struct SDrawn {
  CSigCurveExt curve;
  std::vector<std::uint8_t> covered;
};
SDrawn Drawn(const recordings::SQuantity& quantity, const CSigCurveExt* grid);

}  // namespace limes::python
