#include <algorithm>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

#include "recordings/errors.h"
#include "recordings/part_reader.h"
#include "recordings/tables/csv_table.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

/// Parts from the rows of a table: a row each, or the rows that share a text in the part column.
class CRowReader : public CPartReader {
 public:
  CRowReader(CFileStream& stream, const SReadContext& context)
      : table_(stream, context),
        settings_(*context.settings),
        goodOnly_(context.goodOnly && settings_.labelColumn),
        single_(settings_.values),
        size_(std::max<std::int64_t>(stream.Position() + stream.Remaining(), 1)) {
    const auto find = [this](const std::optional<std::string>& name) {
      return name ? std::optional(table_.Find(*name)) : std::nullopt;
    };
    const bool mayLackLabel = context.labelOptional && !goodOnly_;
    label_ = mayLackLabel && settings_.labelColumn ? table_.TryFind(*settings_.labelColumn)
                                                   : find(settings_.labelColumn);
    part_ = find(settings_.partColumn);
    quantity_ = find(settings_.quantityColumn);
    for (const std::string& name : settings_.variant) {
      variant_.push_back(table_.TryFind(name));
    }
    ChooseColumns();
    single_ ? table_.ExpectNumbers<double>(columns_) : table_.ExpectNumbers<float>(columns_);
    if (part_) {
      CollectGroups(stream);
    }
  }

  bool Next(SPart& part) override { return part_ ? NextGroup(part) : NextRow(part); }

  double Progress() override {
    return static_cast<double>(table_.Reader().BytesRead()) / static_cast<double>(size_);
  }

 private:
  struct SGroup {
    std::string name;
    std::optional<std::string> label;
    std::vector<std::string> variant;
    std::vector<std::pair<CCsvReader::SPlace, std::uint64_t>> rows;  ///< place and row number
  };

  void ChooseColumns() {
    std::vector<std::size_t> others;
    const auto leaveOut = [&](const std::optional<std::size_t>& column) {
      if (column) {
        others.push_back(*column);
      }
    };
    for (const auto& column : {label_, part_, quantity_}) {
      leaveOut(column);
    }
    std::for_each(variant_.begin(), variant_.end(), leaveOut);
    const bool named = single_ && !quantity_;
    const std::size_t first = settings_.firstValue && (!named || settings_.use.empty())
                                  ? table_.Find(*settings_.firstValue)
                                  : 0;
    columns_ = table_.Choose(named ? settings_.use : std::vector<std::string>(), settings_.skip,
                             first, std::move(others));
    for (const std::size_t column : columns_) {
      units_.push_back(ParseUnit(table_.Columns()[column].unit));
      if (single_) {
        table_.Find(table_.Columns()[column].name);  // refuses a name that stands there twice
      }
    }
    xUnit_ = ParseUnit(settings_.xUnit.value_or(""));
  }

  bool Wanted(const std::vector<std::string_view>& cells) const {
    return !goodOnly_ || TextOfFile(cells[*label_]) == settings_.good;
  }

  bool NextRow(SPart& part) {
    do {
      if (!table_.NextRow(cells_)) {
        return false;
      }
    } while (!Wanted(cells_));
    part.name = table_.Name() + ":" + std::to_string(table_.RowNumber());
    part.label.reset();
    if (label_) {
      part.label = TextOfFile(cells_[*label_]);
    }
    part.variant.values = VariantOfRow();
    std::size_t used = 0;
    TakeQuantities(part, used);
    part.quantities.resize(used);
    return true;
  }

  bool NextGroup(SPart& part) {
    if (nextGroup_ == groups_.size()) {
      return false;
    }
    const SGroup& group = groups_[nextGroup_++];
    part.name = table_.Name() + ":" + group.name;
    part.label = group.label;
    part.variant.values = group.variant;
    std::size_t used = 0;
    for (const auto& [place, row] : group.rows) {
      table_.GoTo(place, row);
      if (!table_.NextRow(cells_)) {
        throw CInputError(table_.Name(), place.line, "the file changed while it was read");
      }
      TakeQuantities(part, used);
    }
    part.quantities.resize(used);
    return true;
  }

  /// In the order of the names; empty where there is no column.
  std::vector<std::string> VariantOfRow() const {
    std::vector<std::string> values;
    for (const auto& column : variant_) {
      values.push_back(column ? TextOfFile(cells_[*column]) : "");
    }
    return values;
  }

  /// Adds what the row at hand holds; quantities of the part before are used again.
  void TakeQuantities(SPart& part, std::size_t& used) {
    const std::size_t count = single_ ? columns_.size() : 1;
    const std::size_t before = used;
    for (std::size_t i = 0; i < count; ++i) {
      if (used == part.quantities.size()) {
        part.quantities.emplace_back();
      }
      SQuantity& q = part.quantities[used];
      NameQuantity(q, i);
      if (quantity_ && !IsUsed(q.name)) {
        continue;
      }
      ++used;
      q.unit = units_[i];
      q.xUnit = single_ ? SUnit() : xUnit_;
      q.single = single_;
      q.x0 = settings_.x0.value_or(0.0);
      q.dx = settings_.dx.value_or(1.0);
      TakeNumbers(q, i);
      for (std::size_t k = 0; k < before; ++k) {
        if (part.quantities[k].name == q.name) {
          throw CInputError(table_.Name(), table_.Reader().Line(),
                            "quantity " + Quoted(q.name) + " twice in part " + Quoted(part.name));
        }
      }
    }
  }

  void TakeNumbers(SQuantity& q, std::size_t column) const {
    if (single_) {
      q.value = table_.Number<double>(cells_, columns_[column]);
      return;
    }
    q.values.resize(columns_.size());
    for (std::size_t k = 0; k < columns_.size(); ++k) {
      q.values[k] = table_.Number<float>(cells_, columns_[k]);
    }
  }

  bool IsUsed(const std::string& name) const {
    return settings_.use.empty() ||
           std::find(settings_.use.begin(), settings_.use.end(), name) != settings_.use.end();
  }

  void NameQuantity(SQuantity& q, std::size_t column) const {
    if (!single_) {
      q.name = quantity_ ? TextOfFile(cells_[*quantity_]) : settings_.name.value_or("curve");
      return;
    }
    q.name = table_.Columns()[columns_[column]].name;
    if (quantity_) {
      const std::string own = TextOfFile(cells_[*quantity_]);
      q.name = columns_.size() == 1 ? own : own + " " + q.name;
    }
  }

  /// Reads the file once for the places of the rows, so that the rows of a part may lie anywhere.
  void CollectGroups(CFileStream& stream) {
    if (stream.Remaining() < 0) {
      throw CInputError(table_.Name(), "--part-column needs a file, not a pipe");
    }
    using Key = std::tuple<std::string, std::optional<std::string>, std::vector<std::string>>;
    std::map<Key, std::size_t> known;
    while (table_.NextRow(cells_)) {
      if (!Wanted(cells_)) {
        continue;
      }
      Key key(TextOfFile(cells_[*part_]), std::nullopt, VariantOfRow());
      if (label_) {
        std::get<1>(key) = TextOfFile(cells_[*label_]);
      }
      const auto [found, isNew] = known.try_emplace(key, groups_.size());
      if (isNew) {
        groups_.push_back({std::get<0>(key), std::get<1>(key), std::get<2>(key), {}});
      }
      groups_[found->second].rows.emplace_back(table_.Reader().Place(), table_.RowNumber());
    }
  }

  CCsvTable table_;
  SReadSettings settings_;
  bool goodOnly_;
  bool single_;
  std::int64_t size_;
  std::optional<std::size_t> label_;
  std::optional<std::size_t> part_;
  std::optional<std::size_t> quantity_;
  std::vector<std::optional<std::size_t>> variant_;
  std::vector<std::size_t> columns_;
  std::vector<SUnit> units_;
  SUnit xUnit_;
  std::vector<std::string_view> cells_;
  std::vector<SGroup> groups_;
  std::size_t nextGroup_ = 0;
};

}  // namespace

std::unique_ptr<CPartReader> MakeTableRowReader(CFileStream& stream, const SReadContext& context) {
  return std::make_unique<CRowReader>(stream, context);
}

}  // namespace limes::recordings
