#pragma once

#include <string>
#include <vector>

#include "recordings/part_reader.h"

namespace limes::recordings {

/// A column that names the parts.
struct SNamingColumn {
  std::string name;
  bool words = false;  ///< of words; else of whole numbers that rise
};

/// Columns of a table of single values that name the parts rather than measure them: texts, and
/// whole numbers that rise from row to row. Judged by the first thousand rows; words need two of
/// them, numbers eight, or three where each is larger by 1. None for other files, for a pipe, and
/// where the settings say which quantities are used. Throws what reading the file throws.
std::vector<SNamingColumn> IdentifyingColumns(const std::string& path,
                                              const SReadSettings& settings,
                                              const std::vector<SCondition>& where);

}  // namespace limes::recordings
