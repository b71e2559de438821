#include "recordings/part_writer.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "recordings/errors.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr struct {
  std::string_view name;
  std::string_view ending;
  OutputFormat format;
} kFormats[] = {
    {"csv", ".csv", OutputFormat::kCsv},        {"text", ".txt", OutputFormat::kText},
    {"curve", ".curve", OutputFormat::kCurves}, {"pairs", ".pairs", OutputFormat::kPairs},
    {"array", ".array", OutputFormat::kArray},  {"uff", ".uff", OutputFormat::kUff},
    {"uff", ".unv", OutputFormat::kUff},        {"npy", ".npy", OutputFormat::kNpy},
    {"hdf5", ".h5", OutputFormat::kHdf5},       {"hdf5", ".hdf5", OutputFormat::kHdf5},
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

std::string FormatNames() {
  std::string names;
  std::string_view last;
  for (const auto& format : kFormats) {
    if (format.name != last && !last.empty()) {
      names += (names.empty() ? "" : ", ") + std::string(last);
    }
    last = format.name;
  }
  return names + " or " + std::string(last);
}

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
  const auto write = format == OutputFormat::kPairs   ? WritePairs
                     : format == OutputFormat::kArray ? WriteArray
                     : format == OutputFormat::kUff   ? WriteUff
                     : format == OutputFormat::kNpy   ? WriteNpy
                     : format == OutputFormat::kHdf5  ? WriteHdf5
                                                      : WriteCurves;
  std::vector<std::string> losses = write(quantities, out);
  for (const auto& [name, quantity] : quantities) {
    if (const auto n = std::count(quantity->covered.begin(), quantity->covered.end(), 0); n > 0) {
      losses.push_back(Quoted(name) + ": " + std::to_string(n) +
                       " values that were not measured are written as drawn over the gap");
    }
  }
  return losses;
}

std::vector<std::string> LostReferences(const std::vector<SNamedQuantity>& quantities) {
  std::vector<std::string> losses;
  for (const auto& [name, quantity] : quantities) {
    for (const SUnit& unit : {quantity->xUnit, quantity->unit}) {
      if (!(ParseUnit(unit.Display()) == unit)) {
        losses.push_back(Quoted(name) + ": the unit is written as " + unit.Display() +
                         ", which does not say " + unit.DisplayFull());
      }
    }
  }
  return losses;
}

bool SameGrid(const SQuantity& a, const SQuantity& b) {
  constexpr double kSame = 1e-3;  // of a step
  const double n = static_cast<double>(a.values.size());
  return a.values.size() == b.values.size() && a.xUnit == b.xUnit && a.x == b.x &&
         std::fabs(a.x0 - b.x0) <= kSame * a.dx && std::fabs(a.dx - b.dx) * n <= kSame * a.dx;
}

double XOf(const SQuantity& q, std::size_t i) {
  return q.x.empty() ? q.x0 + static_cast<double>(i) * q.dx : double{q.x[i]};
}

}  // namespace limes::recordings
