#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "apps/limes/commands/commands.h"
#include "apps/limes/errors.h"
#include "apps/limes/report/gauge_report.h"
#include "limes/learning/gauge_study.h"
#include "recordings/tables/csv_table.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// A column of values of all tables.
struct SColumnStudied {
  std::string name;
  std::string unit;
  std::vector<SGaugeReading> readings{};
};

/// Numbers of parts and persons, in the order of the tables.
struct SNumbered {
  std::map<std::string, std::uint32_t, std::less<>> numbers;
  std::vector<std::string> names;

  std::uint32_t operator[](const std::string& name) {
    const auto [entry, isNew] = numbers.emplace(name, static_cast<std::uint32_t>(names.size()));
    if (isNew) {
      names.push_back(name);
    }
    return entry->second;
  }
};

/// Reads the tables and prints a study per column of values.
class CGaugeRun {
 public:
  CGaugeRun(const SOptions& options, SConsole& console) : options_(options), console_(console) {
    const bool known = options.reference.has_value();
    if (known == options.settings.partColumn.has_value() || (known && options.person)) {
      throw CUsageError(
          "gauge needs --part COLUMN (and --operator COLUMN) for repeatability and "
          "reproducibility, or --reference V for one part of known value, measured again and "
          "again");
    }
    if (known && !std::isfinite(*options.reference)) {
      throw CUsageError("--reference must be finite");
    }
  }

  void Run() {
    for (const std::string& file : ExpandFolders(options_.files)) {
      ReadTable(file);
    }
    std::vector<std::string> names;
    for (const SColumnStudied& column : columns_) {
      names.push_back(column.name);
    }
    options_.tolerances.CheckNames(names);
    for (const SColumnStudied& column : columns_) {
      options_.reference ? Check(column) : Study(column);
    }
  }

 private:
  void ReadTable(const std::string& file) {
    CDiskStream stream;
    OpenForReading(file, stream);
    SReadSettings settings;
    settings.noHeader = options_.settings.noHeader.value_or(false);
    SReadContext context;
    context.path = file;
    context.settings = &settings;
    context.where = &options_.where;
    context.note = [this](const std::string& text) { Warn(console_, text); };
    CCsvTable table(stream, context);
    const auto find = [&](const std::optional<std::string>& name) {
      return name ? std::optional(table.Find(*name)) : std::nullopt;
    };
    const auto part = find(options_.settings.partColumn);
    const auto person = find(options_.person);
    const std::vector<std::size_t> values = ValueColumns(table, part, person);
    std::vector<std::string_view> cells;
    while (table.NextRow(cells)) {
      const SGaugeReading place{part ? parts_[Named(table, cells, *part)] : 0,
                                person ? persons_[Named(table, cells, *person)] : 0};
      for (std::size_t i = 0; i < values.size(); ++i) {
        columns_[i].readings.push_back(place);
        columns_[i].readings.back().value = Value(table, cells, values[i]);
      }
    }
  }

  /// The same columns in every table, by name.
  std::vector<std::size_t> ValueColumns(const CCsvTable& table, std::optional<std::size_t> part,
                                        std::optional<std::size_t> person) {
    std::vector<std::size_t> others;
    for (const auto& column : {part, person}) {
      if (column) {
        others.push_back(*column);
      }
    }
    std::vector<std::string> use = options_.settings.use.value_or(std::vector<std::string>());
    if (use.empty()) {
      for (const SColumnStudied& column : columns_) {
        use.push_back(column.name);
      }
    }
    std::vector<std::size_t> chosen = table.Choose(use, {}, 0, std::move(others));
    if (use.empty() && chosen.size() > 1) {
      throw CUsageError(table.Name() +
                        ": several columns may hold the values; name those that do "
                        "with --use");
    }
    for (std::size_t i = 0; i < chosen.size(); ++i) {
      const SColumn& column = table.Columns()[chosen[i]];
      if (i == columns_.size()) {
        columns_.push_back({column.name, column.unit});
      }
      if (columns_[i].unit != column.unit) {
        throw CInputError(table.Name(), "column " + Quoted(column.name) + " is in " +
                                            Quoted(column.unit) + ", before it was in " +
                                            Quoted(columns_[i].unit));
      }
    }
    return chosen;
  }

  static std::string Named(CCsvTable& table, const std::vector<std::string_view>& cells,
                           std::size_t column) {
    if (cells[column].empty()) {
      throw CInputError(table.Name(), table.Reader().Line(),
                        "column " + Quoted(table.Columns()[column].name) + ": empty cell");
    }
    return TextOfFile(cells[column]);
  }

  static double Value(CCsvTable& table, const std::vector<std::string_view>& cells,
                      std::size_t column) {
    double value = 0.0;
    if (!ParseNumber(cells[column], value)) {
      throw CInputError(table.Name(), table.Reader().Line(),
                        "column " + Quoted(table.Columns()[column].name) + ": " +
                            Quoted(cells[column]) +
                            " is no measurement; a study needs all of them");
    }
    return value;
  }

  void Check(const SColumnStudied& column) {
    std::vector<double> values;
    for (const SGaugeReading& reading : column.readings) {
      values.push_back(reading.value);
    }
    if (values.size() < 2) {
      throw CInputError(options_.files[0], "the study needs at least 2 measurements, there are " +
                                               std::to_string(values.size()));
    }
    const SGaugeHead head = Head(column);
    (options_.json ? PrintGaugeCheckJson : PrintGaugeCheck)(
        console_.out, head, *options_.reference,
        CheckGauge(values, *options_.reference, head.tolerance));
  }

  void Study(const SColumnStudied& column) {
    SGaugeStudy study;
    switch (StudyGauge(column.readings, study)) {
      case GaugeStatus::kOk:
        (options_.json ? PrintGaugeStudyJson : PrintGaugeStudy)(console_.out, Head(column), study);
        return;
      case GaugeStatus::kMemory:
        throw std::bad_alloc();
      case GaugeStatus::kUnbalanced:
        throw CInputError(options_.files[0], Unbalanced(column));
      default:
        throw CInputError(options_.files[0],
                          "the study needs at least 2 parts, each measured at least twice by each "
                          "operator");
    }
  }

  /// Which measurements are missing.
  std::string Unbalanced(const SColumnStudied& column) const {
    std::map<std::pair<std::uint32_t, std::uint32_t>, std::size_t> cells;
    for (std::uint32_t part = 0; part < parts_.names.size(); ++part) {
      for (std::uint32_t person = 0; person < std::max<std::size_t>(persons_.names.size(), 1);
           ++person) {
        cells[{part, person}] = 0;
      }
    }
    for (const SGaugeReading& reading : column.readings) {
      ++cells[{reading.part, reading.person}];
    }
    const auto [least, most] =
        std::minmax_element(cells.begin(), cells.end(),
                            [](const auto& a, const auto& b) { return a.second < b.second; });
    const auto [part, person] = least->first;
    return "part " + Quoted(parts_.names[part]) + " was measured " + std::to_string(least->second) +
           " times" + (persons_.names.empty() ? "" : " by " + Quoted(persons_.names[person])) +
           ", others " + std::to_string(most->second) +
           " times; the study needs each part equally often from each operator";
  }

  SGaugeHead Head(const SColumnStudied& column) const {
    return {column.name, column.unit, column.readings.size(),
            options_.tolerances.Of(column.name).value_or(STolerance())};
  }

  const SOptions& options_;
  SConsole& console_;
  std::vector<SColumnStudied> columns_;
  SNumbered parts_;
  SNumbered persons_;
};

}  // namespace

int RunGauge(const SOptions& options, SConsole& console) {
  CGaugeRun(options, console).Run();
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host
