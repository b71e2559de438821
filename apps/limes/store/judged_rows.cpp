#include "apps/limes/store/judged_rows.h"

#include "apps/limes/measurement/unit_text.h"
#include "apps/limes/store/record_columns.h"

namespace limes::host {
namespace {

/// Calls add for each row of a part, which stands in the first column, and passes over those of
/// earlier ones.
template <class AddRow>
void ForRowsOf(std::int64_t part, CStatement& rows, bool& has, AddRow add) {
  while (has && rows.Int(0) < part) {
    has = rows.Step();
  }
  for (; has && rows.Int(0) == part; has = rows.Step()) {
    add();
  }
}

}  // namespace

CJudgedRows::CJudgedRows(sqlite3* database, std::int64_t version, bool withDefects,
                         std::int64_t first)
    : verdicts_(database, "SELECT part, quantity" + ColumnNames<SQuantityVerdict>(version) +
                              ColumnNames<SLimitSureness>(version) +
                              " FROM verdict WHERE part >= ? ORDER BY part, position"),
      defects_(database, std::string("SELECT part, ") + (version < 2 ? "NULL" : "verdict") +
                             ColumnNames<SDefect>(version) +
                             " FROM defect WHERE part >= ? ORDER BY part, position") {
  CStatement list(database, "SELECT id, name, unit, x_unit FROM quantity");
  while (list.Step()) {
    quantities_[list.Int(0)] = {list.Text(1), UnitFromText(list.Text(2)).Display(),
                                UnitFromText(list.Text(3)).Display()};
  }
  hasVerdict_ = verdicts_.Bind(first).Step();
  hasDefect_ = withDefects && defects_.Bind(first).Step();
}

void CJudgedRows::Read(std::int64_t part, SPartVerdict& verdict) {
  ForRowsOf(part, verdicts_, hasVerdict_, [&] { AddVerdict(verdict); });
  ForRowsOf(part, defects_, hasDefect_, [&] { AddDefect(verdict); });
}

void CJudgedRows::AddVerdict(SPartVerdict& verdict) {
  const SMeasured& measured = quantities_[verdicts_.Int(1)];
  SQuantityVerdict& q = verdict.quantities.emplace_back();
  q.name = measured.name;
  q.unit = measured.unit;
  q.xUnit = measured.xUnit;
  const int sureness = ReadFields(verdicts_, 2, q);
  if (!verdicts_.IsNull(sureness)) {
    ReadFields(verdicts_, sureness, q.sureness.emplace());
  }
}

void CJudgedRows::AddDefect(SPartVerdict& verdict) {
  SDefect& defect = verdict.defects.emplace_back();
  ReadFields(defects_, 2, defect);
  const auto judged = static_cast<std::uint64_t>(defects_.Int(1));
  if (!defects_.IsNull(1) && judged < verdict.quantities.size()) {
    defect.quantity = verdict.quantities[judged].name;
    defect.side = verdict.quantities[judged].side;
  }
}

}  // namespace limes::host
