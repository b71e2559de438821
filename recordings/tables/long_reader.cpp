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
/// keep their order, those of different parts may alternate: the file is read once for the places
/// of the runs of rows, then part by part. Where there are too many runs, or in a pipe, all rows
/// are collected.
class CLongReader : public CPartReader {
 public:
  CLongReader(CFileStream& stream, const SReadContext& context)
      : table_(stream, context), settings_(*context.settings) {
    for (const std::string& name : settings_.longForm) {
      columns_.push_back(table_.Find(name));
    }
    xUnit_ = ParseUnit(settings_.xUnit.value_or(table_.Columns()[columns_[1]].unit));
    collects_ = stream.Remaining() < 0;
    std::optional<SRun> first;
    while (table_.NextRow(cells_)) {
      if (!first) {
        first = {table_.Reader().Place(), table_.RowNumber(), 0};
      }
      Take();
      if (!collects_ && runs_ > kFewRuns && runs_ > 2 * parts_.size()) {
        collects_ = true;
        parts_.clear();
        known_.clear();
        last_ = SIZE_MAX;
        table_.GoTo(first->place, first->row);
      }
    }
  }

  bool Next(SPart& part) override {
    if (next_ == parts_.size()) {
      return false;
    }
    SLongPart from = std::move(parts_[next_++]);
    for (const SRun& run : from.runs) {
      table_.GoTo(run.place, run.row);
      for (std::uint64_t i = 0; i < run.rows; ++i) {
        if (!table_.NextRow(cells_)) {
          throw CInputError(table_.Name(), run.place.line, "the file changed while it was read");
        }
        TakeNumbers(from);
      }
    }
    part = SPart{table_.Name() + ":" + from.name, std::nullopt, {}};
    SQuantity q;
    q.xUnit = xUnit_;
    TakeAxis(from, q);
    for (std::size_t i = 0; i < from.values.size(); ++i) {
      const SColumn& column = table_.Columns()[columns_[i + 2]];
      q.name = column.name;
      q.unit = ParseUnit(column.unit);
      q.values = std::move(from.values[i]);
      part.quantities.push_back(q);
    }
    return true;
  }

  double Progress() override {
    return parts_.empty() ? 0.0 : static_cast<double>(next_) / static_cast<double>(parts_.size());
  }

 private:
  static constexpr std::uint64_t kFewRuns = 4096;  ///< going to each reads a block of the file

  /// Rows of one part that follow each other.
  struct SRun {
    CCsvReader::SPlace place;
    std::uint64_t row = 0;
    std::uint64_t rows = 0;
  };
  struct SLongPart {
    std::string name;
    std::uint64_t line = 0;  ///< of its first row
    std::vector<SRun> runs;
    std::vector<double> x;
    std::vector<std::vector<float>> values;
  };

  /// Counts the row at hand to its part, or collects its numbers.
  void Take() {
    const std::string_view name = cells_[columns_[0]];
    const bool same = last_ < parts_.size() && name == lastName_;
    if (!same) {
      const auto [found, isNew] = known_.try_emplace(TextOfFile(name), parts_.size());
      if (isNew) {
        parts_.push_back({found->first, table_.Reader().Line(), {}, {}, {}});
      }
      last_ = found->second;
      lastName_ = name;
    }
    SLongPart& part = parts_[last_];
    if (collects_) {
      TakeNumbers(part);
      return;
    }
    if (!same) {
      part.runs.push_back({table_.Reader().Place(), table_.RowNumber(), 0});
      ++runs_;
    }
    ++part.runs.back().rows;
  }

  void TakeNumbers(SLongPart& part) const {
    part.values.resize(columns_.size() - 2);
    part.x.push_back(table_.Number<double>(cells_, columns_[1]));
    for (std::size_t i = 0; i < part.values.size(); ++i) {
      part.values[i].push_back(table_.Number<float>(cells_, columns_[i + 2]));
    }
  }

  void TakeAxis(const SLongPart& from, SQuantity& q) const {
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
  std::vector<std::size_t> columns_;  ///< of part, x and values
  std::vector<std::string_view> cells_;
  std::map<std::string, std::size_t> known_;
  std::vector<SLongPart> parts_;
  bool collects_ = false;
  std::uint64_t runs_ = 0;
  std::size_t last_ = SIZE_MAX;  ///< part of the row before
  std::string lastName_;
  std::size_t next_ = 0;
};

}  // namespace

std::unique_ptr<CPartReader> MakeLongReader(CFileStream& stream, const SReadContext& context) {
  return std::make_unique<CLongReader>(stream, context);
}

}  // namespace limes::recordings
