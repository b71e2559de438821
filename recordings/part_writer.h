#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "limes/platform/file_stream.h"
#include "recordings/measurement.h"

namespace limes::recordings {

/// What a measurement can be written as.
enum class OutputFormat {
  kCsv,     ///< columns with units in the header
  kText,    ///< the same in aligned columns, to be read by people
  kCurves,  ///< curve records, one behind the other
  kPairs,   ///< pair records, one behind the other
  kArray,   ///< one array record of curves
  kUff,     ///< functions of datasets 58b
  kNpy,     ///< a table of NumPy by field
  kHdf5,    ///< data sets with attributes
};

/// The words of --to, as a sentence lists them.
std::string FormatNames();

/// By the word of --to; nothing for another word.
std::optional<OutputFormat> FormatByName(std::string_view name);

/// By the ending of the file's name; nothing for another ending.
std::optional<OutputFormat> FormatByEnding(std::string_view path);

/// Writes all quantities of the parts, of which there must be one. Returns what the format cannot
/// hold and was left out or changed, one text each. Throws CInputError for what it cannot hold at
/// all, and what the stream throws.
std::vector<std::string> WriteParts(const std::vector<SPart>& parts, OutputFormat format,
                                    CFileStream& out);

/// A quantity with the name by which the output tells it from the others.
struct SNamedQuantity {
  std::string name;
  const SQuantity* quantity;
};

/// The formats, called by WriteParts.
std::vector<std::string> WriteTable(const std::vector<SPart>& parts,
                                    const std::vector<SNamedQuantity>& quantities, bool aligned,
                                    CFileStream& out);
std::vector<std::string> WriteCurves(const std::vector<SNamedQuantity>& quantities,
                                     CFileStream& out);
std::vector<std::string> WriteArray(const std::vector<SNamedQuantity>& quantities,
                                    CFileStream& out);
std::vector<std::string> WritePairs(const std::vector<SNamedQuantity>& quantities,
                                    CFileStream& out);
std::vector<std::string> WriteUff(const std::vector<SNamedQuantity>& quantities, CFileStream& out);
std::vector<std::string> WriteNpy(const std::vector<SNamedQuantity>& quantities, CFileStream& out);
std::vector<std::string> WriteHdf5(const std::vector<SNamedQuantity>& quantities, CFileStream& out);

/// What the texts of the units do not tell.
std::vector<std::string> LostReferences(const std::vector<SNamedQuantity>& quantities);

/// Whether two quantities lie at the same x but for a thousandth of a step.
bool SameGrid(const SQuantity& a, const SQuantity& b);

/// x of a value.
double XOf(const SQuantity& quantity, std::size_t i);

}  // namespace limes::recordings
