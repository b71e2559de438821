#include "recordings/part_writer.h"

#include <set>

#include "recordings/errors.h"

namespace limes::recordings {
namespace {

constexpr struct {
  std::string_view name;
  std::string_view ending;
  OutputFormat format;
} kFormats[] = {
    {"csv", ".csv", OutputFormat::kCsv},        {"text", ".txt", OutputFormat::kText},
    {"curve", ".curve", OutputFormat::kCurves}, {"pairs", ".pairs", OutputFormat::kPairs},
    {"array", ".array", OutputFormat::kArray},
};

/// Names as in the measurement, behind those of the parts where there are several; a number tells
/// apart what is still called alike, as a table with such columns could not be read again.
std::vector<SNamedQuantity> NameAll(const std::vector<SPart>& parts) {
  std::vector<SNamedQuantity> named;
  std::set<std::string> taken;
  for (const SPart& part : parts) {
    const std::string partName = part.name.substr(part.name.rfind('/') + 1);
    for (const SQuantity& quantity : part.quantities) {
      const std::string base =
          parts.size() > 1 && !quantity.single ? partName + " " + quantity.name : quantity.name;
      std::string name = base;
      for (int k = 2; !quantity.single && !taken.insert(name).second; ++k) {
        name = base + " " + std::to_string(k);
      }
      named.push_back({name, &quantity});
    }
  }
  return named;
}

}  // namespace

std::optional<OutputFormat> FormatByName(std::string_view name) {
  for (const auto& format : kFormats) {
    if (format.name == name) {
      return format.format;
    }
  }
  return std::nullopt;
}

std::optional<OutputFormat> FormatByEnding(std::string_view path) {
  for (const auto& format : kFormats) {
    if (path.ends_with(format.ending)) {
      return format.format;
    }
  }
  return std::nullopt;
}

std::vector<std::string> WriteParts(const std::vector<SPart>& parts, OutputFormat format,
                                    CFileStream& out) {
  const std::vector<SNamedQuantity> quantities = NameAll(parts);
  if (format == OutputFormat::kCsv || format == OutputFormat::kText) {
    return WriteTable(parts, quantities, format == OutputFormat::kText, out);
  }
  for (const SNamedQuantity& q : quantities) {
    if (q.quantity->single) {
      throw CInputError(parts[0].name, "single values have no x; write them as csv or text");
    }
  }
  return format == OutputFormat::kPairs   ? WritePairs(quantities, out)
         : format == OutputFormat::kArray ? WriteArray(quantities, out)
                                          : WriteCurves(quantities, out);
}

}  // namespace limes::recordings
