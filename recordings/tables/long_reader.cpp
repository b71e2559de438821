#include <algorithm>
#include <cmath>
#include <map>

#include "recordings/errors.h"
#include "recordings/forming/steps.h"
#include "recordings/part_reader.h"
#include "recordings/tables/csv_table.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

/// Parts of a table with a row per point: columns of the part, of x, then of values. Rows of a part
/// keep their order, those of different parts may alternate, so that all are collected first.
class CLongReader : public CPartReader {
 public:
  CLongReader(CFileStream& stream, const SReadContext& context)
      : table_(stream, context), settings_(*context.settings) {
    std::vector<std::size_t> columns;
    for (const std::string& name : settings_.longForm) {
      columns.push_back(table_.Find(name));
    }
    std::map<std::string, std::size_t> known;
    std::vector<std::string_view> cells;
    while (table_.NextRow(cells)) {
      const auto [found, isNew] =
          known.try_emplace(TextOfFile(cells[columns[0]]), collected_.size());
      if (isNew) {
        collected_.push_back({found->first, table_.Reader().Line(), {}, {}});
        collected_.back().values.resize(columns.size() - 2);
      }
      SCollected& part = collected_[found->second];
      part.x.push_back(table_.Number<double>(cells, columns[1]));
      for (std::size_t i = 0; i < part.values.size(); ++i) {
        part.values[i].push_back(table_.Number<float>(cells, columns[i + 2]));
      }
    }
    xUnit_ = ParseUnit(settings_.xUnit.value_or(table_.Columns()[columns[1]].unit));
    for (std::size_t i = 2; i < columns.size(); ++i) {
      columns_.push_back(table_.Columns()[columns[i]]);
    }
  }

  bool Next(SPart& part) override {
    if (next_ == collected_.size()) {
      return false;
    }
    SCollected& from = collected_[next_++];
    part = SPart{table_.Name() + ":" + from.name, std::nullopt, {}};
    SQuantity q;
    q.xUnit = xUnit_;
    TakeAxis(from, q);
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      q.name = columns_[i].name;
      q.unit = ParseUnit(columns_[i].unit);
      q.values = std::move(from.values[i]);
      part.quantities.push_back(q);
    }
    return true;
  }

 private:
  struct SCollected {
    std::string name;
    std::uint64_t line;  ///< of its first row
    std::vector<double> x;
    std::vector<std::vector<float>> values;
  };

  void TakeAxis(const SCollected& from, SQuantity& q) const {
    const std::string part = "part " + Quoted(from.name);
    if (from.x.size() < 2) {
      throw CInputError(table_.Name(), from.line, part + " has one point; it takes two");
    }
    if (FirstOffSteps(from.x)) {
      if (const auto fault = TakeFreeSteps(from.x, q.x)) {
        throw CInputError(
            table_.Name(), from.line,
            part + ": x neither rises nor falls at its point " + std::to_string(*fault + 1));
      }
    }
    q.x0 = settings_.x0.value_or(std::min(from.x.front(), from.x.back()));
    q.dx = std::fabs(MeanStep(from.x));
  }

  CCsvTable table_;
  SReadSettings settings_;
  SUnit xUnit_;
  std::vector<SColumn> columns_;
  std::vector<SCollected> collected_;
  std::size_t next_ = 0;
};

}  // namespace

std::unique_ptr<CPartReader> MakeLongReader(CFileStream& stream, const SReadContext& context) {
  return std::make_unique<CLongReader>(stream, context);
}

}  // namespace limes::recordings
