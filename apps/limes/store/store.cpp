#include "apps/limes/store/store.h"

#include <sqlite3.h>

#include <algorithm>
#include <filesystem>

#include "apps/limes/errors.h"
#include "apps/limes/store/store_schema.h"
#include "limes/version.h"

namespace limes::host {

struct CStore::Statements {
  explicit Statements(sqlite3* db)
      : setState(db,
                 "INSERT INTO state VALUES(?, ?, ?, ?) ON CONFLICT(quantity, side) DO UPDATE SET "
                 "learnt = excluded.learnt, record = excluded.record"),
        addPart(db, "INSERT INTO part(run, name, label, verdict) VALUES(?, ?, ?, ?)"),
        addVerdict(db,
                   "INSERT INTO verdict VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
                   "?)"),
        addDefect(db, "INSERT INTO defect VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)") {}

  CStatement setState;
  CStatement addPart;
  CStatement addVerdict;
  CStatement addDefect;
};

CStore::~CStore() {
  if (inTransaction_) {
    sqlite3_exec(database_->Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

CStore::CStore(const std::string& path, Mode mode) : path_(path) {
  std::error_code error;
  if (mode != Mode::kCreate && !path_.empty() && !std::filesystem::exists(path_, error)) {
    throw CStoreError(path_ + ": there is no such store");
  }
  database_ = std::make_unique<CDatabase>(path_, mode);
  version_ = SchemaVersion(*database_, path_);
  if (version_ == 0 && mode != Mode::kCreate) {
    throw CStoreError(path_ + ": holds no store");
  }
  if (mode == Mode::kReading) {
    return;
  }
  if (version_ < kSchemaVersion) {
    MakeSchema(*database_, path_);
    version_ = kSchemaVersion;
  }
  database_->Execute("PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON");
  statements_ = std::make_unique<Statements>(database_->Handle());
}

void CStore::Begin() {
  database_->Execute("BEGIN IMMEDIATE");
  inTransaction_ = true;
  if (database_->HasMoved()) {
    throw CStoreError(path_ + ": the store was moved or removed meanwhile");
  }
}

void CStore::BeginReading() {
  database_->Execute("BEGIN");
  inTransaction_ = true;
}

void CStore::Commit() {
  database_->Execute("COMMIT");
  inTransaction_ = false;
}

void CStore::Rollback() {
  if (inTransaction_) {
    inTransaction_ = false;
    database_->Execute("ROLLBACK");
  }
}

std::optional<SSettings> CStore::Settings() {
  CStatement statement(database_->Handle(), "SELECT settings FROM store");
  if (!statement.Step()) {
    return std::nullopt;
  }
  try {
    return SettingsFromText(statement.Text(0));
  } catch (const std::exception& e) {
    throw CStoreError(path_ + ": the stored settings cannot be read: " + e.what());
  }
}

void CStore::SetSettings(const SSettings& settings) {
  CStatement(database_->Handle(),
             "INSERT INTO store(id, settings, state_version, program) VALUES(1, ?, 0, ?)")
      .Bind(SettingsToText(settings))
      .Bind(LIMES_VERSION_STRING)
      .Run();
}

std::int64_t CStore::StateVersion() {
  return database_->QueryInt("SELECT state_version FROM store");
}

void CStore::NextStateVersion() {
  database_->Execute("UPDATE store SET state_version = state_version + 1");
}

std::vector<SStoredQuantity> CStore::Quantities() {
  std::vector<SStoredQuantity> result;
  CStatement list(database_->Handle(),
                  "SELECT id, name, kind, x_unit, unit FROM quantity ORDER BY id");
  CStatement states(database_->Handle(),
                    "SELECT side, learnt, record FROM state WHERE quantity = ? ORDER BY side DESC");
  while (list.Step()) {
    SStoredQuantity q;
    q.id = list.Int(0);
    q.name = list.Text(1);
    q.single = list.Text(2) == "value";
    try {
      q.xUnit = UnitFromText(list.Text(3));
      q.unit = UnitFromText(list.Text(4));
    } catch (const std::exception& e) {
      throw CStoreError(path_ + ": a stored unit cannot be read: " + e.what());
    }
    states.Bind(q.id);
    while (states.Step()) {
      q.states.push_back({SideFromText(states.Text(0)), states.Int(1), states.Bytes(2)});
    }
    states.Reset();
    result.push_back(std::move(q));
  }
  return result;
}

std::int64_t CStore::AddQuantity(const SStoredQuantity& quantity) {
  CStatement(database_->Handle(),
             "INSERT INTO quantity(name, kind, x_unit, unit) VALUES(?, ?, ?, ?)")
      .Bind(quantity.name)
      .Bind(quantity.single ? "value" : "curve")
      .Bind(UnitToText(quantity.xUnit))
      .Bind(UnitToText(quantity.unit))
      .Run();
  return database_->LastRowId();
}

void CStore::SetState(std::int64_t quantity, Side side, std::int64_t learnt,
                      std::span<const std::uint8_t> record) {
  statements_->setState.Bind(quantity).Bind(SideText(side)).Bind(learnt).Bind(record).Run();
}

std::int64_t CStore::AddRun(const std::string& command) {
  CStatement(database_->Handle(), "INSERT INTO run(command, program) VALUES(?, ?)")
      .Bind(command)
      .Bind(LIMES_VERSION_STRING)
      .Run();
  return database_->LastRowId();
}

void CStore::AddLearnt(std::int64_t run, const SLearntPart& part) {
  statements_->addPart.Bind(run).Bind(part.name).Bind(part.label).Bind("learnt").Run();
}

std::vector<SLearntPart> CStore::LearntParts() {
  std::vector<SLearntPart> result;
  CStatement list(database_->Handle(),
                  "SELECT name, label FROM part WHERE verdict = 'learnt' ORDER BY id");
  while (list.Step()) {
    result.push_back({list.Text(0), std::nullopt});
    if (!list.IsNull(1)) {
      result.back().label = list.Text(1);
    }
  }
  return result;
}

std::vector<SRun> CStore::Runs() {
  std::vector<SRun> result;
  CStatement list(database_->Handle(),
                  "SELECT command, started, total(verdict = 'learnt'), total(verdict = 'OK'), "
                  "total(verdict = 'NOK'), total(verdict = 'not judged') FROM run "
                  "LEFT JOIN part ON part.run = run.id GROUP BY run.id ORDER BY run.id");
  while (list.Step()) {
    result.push_back(
        {list.Text(0), list.Text(1), list.Int(2), list.Int(3), list.Int(4), list.Int(5)});
  }
  return result;
}

void CStore::SetHistory(std::int64_t run, std::int64_t quantity, const SHistory& history) {
  CStatement(database_->Handle(), "INSERT OR REPLACE INTO history VALUES(?, ?, ?, ?, ?, ?)")
      .Bind(run)
      .Bind(quantity)
      .Bind(SideText(history.side))
      .Bind(history.learnt)
      .Bind(history.mean)
      .Bind(history.limit)
      .Run();
}

std::vector<SHistory> CStore::History() {
  std::vector<SHistory> result;
  if (version_ < 4) {
    return result;
  }
  CStatement list(database_->Handle(),
                  "SELECT name, side, started, learnt, mean, limit_value FROM history "
                  "JOIN run ON run.id = run JOIN quantity ON quantity.id = quantity "
                  "ORDER BY quantity, run, side DESC");
  while (list.Step()) {
    result.push_back({list.Text(0), SideFromText(list.Text(1)), list.Text(2), list.Int(3),
                      list.Real(4), list.Real(5)});
  }
  return result;
}

void CStore::AddJudged(std::int64_t run, const SPartVerdict& verdict,
                       const std::vector<std::int64_t>& ids) {
  statements_->addPart.Bind(run)
      .Bind(verdict.part)
      .Bind(verdict.label)
      .Bind(VerdictText(verdict.verdict))
      .Run();
  const std::int64_t part = database_->LastRowId();
  for (std::size_t i = 0; i < verdict.quantities.size(); ++i) {
    const SQuantityVerdict& q = verdict.quantities[i];
    const SLimitSureness sureness = q.sureness.value_or(SLimitSureness());
    statements_->addVerdict.Bind(part)
        .Bind(static_cast<std::int64_t>(i))
        .Bind(ids[i])
        .Bind(SideText(q.side))
        .Bind(VerdictText(q.verdict))
        .Bind(q.maxDeviation)
        .Bind(q.excessInS)
        .Bind(q.x)
        .Bind(q.value)
        .Bind(q.limit)
        .Bind(q.mean)
        .Bind(q.spread)
        .Bind(q.rmsDeviation)
        .Bind(std::optional(q.judgedShare))
        .Bind(std::int64_t{sureness.parts})
        .Bind(std::optional(sureness.effectiveParts))
        .Bind(std::optional(sureness.rejectedPerPoint))
        .Bind(std::optional(sureness.rejectedBound))
        .Run();
  }
  for (std::size_t i = 0; i < verdict.defects.size(); ++i) {
    const SDefect& d = verdict.defects[i];
    const auto judged = std::find_if(
        verdict.quantities.begin(), verdict.quantities.end(),
        [&](const SQuantityVerdict& q) { return q.name == d.quantity && q.side == d.side; });
    statements_->addDefect.Bind(part)
        .Bind(static_cast<std::int64_t>(i))
        .Bind(std::int64_t{d.priority})
        .Bind(std::int64_t{d.code})
        .Bind(std::int64_t{d.type})
        .Bind(std::optional(d.value))
        .Bind(std::optional(d.limit))
        .Bind(std::optional(d.mean))
        .Bind(std::optional(d.place))
        .Bind(d.unit)
        .Bind(d.text)
        .Bind(std::int64_t{judged - verdict.quantities.begin()})
        .Bind(d.excess)
        .Bind(d.from)
        .Bind(d.to)
        .Run();
  }
}

bool CStore::NextJudged(std::int64_t& id, SPartVerdict& verdict) {
  CStatement next(database_->Handle(),
                  "SELECT id, name, label, verdict FROM part WHERE id > ? AND verdict <> 'learnt' "
                  "ORDER BY id LIMIT 1");
  if (!next.Bind(id).Step()) {
    return false;
  }
  id = next.Int(0);
  verdict = SPartVerdict();
  verdict.part = next.Text(1);
  if (!next.IsNull(2)) {
    verdict.label = next.Text(2);
  }
  verdict.verdict = VerdictFromText(next.Text(3));
  ReadVerdicts(id, verdict);
  ReadDefects(id, verdict);
  return true;
}

void CStore::ReadVerdicts(std::int64_t part, SPartVerdict& verdict) {
  CStatement numbers(
      database_->Handle(),
      (std::string("SELECT name, side, verdict, max_deviation, excess_in_s, x, value, limit_value, "
                   "mean, spread, rms_deviation, judged_share, unit, x_unit, ") +
       (version_ < 2 ? "NULL, NULL, NULL, NULL"
                     : "learnt, effective_parts, chance_per_point, chance_bound") +
       " FROM verdict JOIN quantity ON quantity.id = quantity WHERE part = ? ORDER BY position")
          .c_str());
  numbers.Bind(part);
  while (numbers.Step()) {
    SQuantityVerdict q{numbers.Text(0),
                       SideFromText(numbers.Text(1)),
                       VerdictFromText(numbers.Text(2)),
                       numbers.Real(3),
                       numbers.Real(4),
                       numbers.Real(5),
                       numbers.Real(6),
                       numbers.Real(7),
                       numbers.Real(8),
                       numbers.Real(9),
                       numbers.Real(10),
                       numbers.Real(11).value_or(0.0),
                       std::nullopt,
                       UnitFromText(numbers.Text(12)).Display(),
                       UnitFromText(numbers.Text(13)).Display()};
    if (!numbers.IsNull(14)) {
      q.sureness = {static_cast<std::int32_t>(numbers.Int(14)), numbers.Real(15).value_or(0.0),
                    numbers.Real(16).value_or(0.0), numbers.Real(17).value_or(0.0)};
    }
    verdict.quantities.push_back(std::move(q));
  }
}

void CStore::ReadDefects(std::int64_t part, SPartVerdict& verdict) {
  CStatement defects(
      database_->Handle(),
      (std::string("SELECT priority, code, type, value, limit_value, mean, place, unit, text, ") +
       (version_ < 2 ? "NULL, NULL, NULL, NULL" : "verdict, excess, x_from, x_to") +
       " FROM defect WHERE part = ? ORDER BY position")
          .c_str());
  defects.Bind(part);
  while (defects.Step()) {
    SDefect d;
    d.priority = static_cast<std::int32_t>(defects.Int(0));
    d.code = static_cast<std::int32_t>(defects.Int(1));
    d.type = static_cast<std::uint32_t>(defects.Int(2));
    d.value = defects.Real(3).value_or(0.0);
    d.limit = defects.Real(4).value_or(0.0);
    d.mean = defects.Real(5).value_or(0.0);
    d.place = defects.Real(6).value_or(0.0);
    d.unit = defects.Text(7);
    d.text = defects.Text(8);
    d.excess = defects.Real(10);
    d.from = defects.Real(11);
    d.to = defects.Real(12);
    const auto judged = static_cast<std::uint64_t>(defects.Int(9));
    if (!defects.IsNull(9) && judged < verdict.quantities.size()) {
      d.quantity = verdict.quantities[judged].name;
      d.side = verdict.quantities[judged].side;
    }
    verdict.defects.push_back(std::move(d));
  }
}

std::int64_t CStore::CountParts(bool learnt) {
  return database_->QueryInt(learnt ? "SELECT count(*) FROM part WHERE verdict = 'learnt'"
                                    : "SELECT count(*) FROM part WHERE verdict <> 'learnt'");
}

}  // namespace limes::host
