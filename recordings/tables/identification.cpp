#include "recordings/tables/identification.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "recordings/tables/csv_table.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr std::uint64_t kMostRows = 1000;
constexpr std::uint64_t kFewWords = 2;  ///< a single word may be a slip
constexpr std::uint64_t kFewRows = 3;   ///< of numbers that rise by 1
constexpr std::uint64_t kSomeRows = 8;  ///< of numbers that rise

/// What the rows looked at so far say of a column.
struct SLooked {
  bool text = true;      ///< words only
  bool rising = true;    ///< whole numbers, each larger than the one above
  bool counting = true;  ///< each larger by 1
  double last = 0.0;

  void Take(std::string_view cell, bool first) {
    double number = 0.0;
    if (!ParseNumber(cell, number)) {
      text = text && IsWords(cell);
      rising = false;
      return;
    }
    text = false;
    rising = rising && number == std::floor(number) && (first || number > last);
    counting = counting && (first || number == last + 1.0);
    last = number;
  }

  bool Identifies(std::uint64_t rows) const {
    return (text && rows >= kFewWords) ||
           (rising && (rows >= kSomeRows || (counting && rows >= kFewRows)));
  }
};

}  // namespace

std::vector<SNamingColumn> IdentifyingColumns(const std::string& path,
                                              const SReadSettings& settings,
                                              const std::vector<SCondition>& where) {
  std::error_code error;
  if (!settings.values || !settings.use.empty() || settings.firstValue || settings.noHeader ||
      !std::filesystem::is_regular_file(path, error)) {
    return {};
  }
  CDiskStream stream;
  OpenForReading(path, stream);
  if (DetectKind(path, stream) != FileKind::kTable) {
    return {};
  }
  SReadContext context;
  context.path = path;
  context.settings = &settings;
  context.where = &where;
  CCsvTable table(stream, context);
  std::vector<SLooked> looked(table.Columns().size());
  std::vector<std::string_view> cells;
  std::uint64_t rows = 0;
  for (; rows < kMostRows && table.NextRow(cells); ++rows) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      looked[i].Take(cells[i], rows == 0);
    }
  }
  std::vector<SNamingColumn> found;
  const auto& skip = settings.skip;
  for (std::size_t i = 0; i < looked.size(); ++i) {
    const std::string& name = table.Columns()[i].name;
    const bool isVariant =
        std::find(settings.variant.begin(), settings.variant.end(), name) != settings.variant.end();
    const bool known = isVariant || name == settings.labelColumn || name == settings.partColumn ||
                       name == settings.quantityColumn ||
                       std::find(skip.begin(), skip.end(), name) != skip.end();
    if (!known && looked[i].Identifies(rows)) {
      found.push_back({name, looked[i].text});
    }
  }
  return found.size() < looked.size() ? found : std::vector<SNamingColumn>();
}

}  // namespace limes::recordings
