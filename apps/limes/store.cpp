#include "apps/limes/store.h"

#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

#include "apps/limes/errors.h"
#include "limes/version.h"

namespace limes::host {
namespace {

constexpr std::int64_t kApplicationId = 0x4C494D45;  // "LIME"

constexpr const char* kSchema = R"sql(
CREATE TABLE store(
  id            INTEGER PRIMARY KEY CHECK(id = 1),
  settings      TEXT NOT NULL,
  state_version INTEGER NOT NULL,
  program       TEXT NOT NULL,
  created       TEXT NOT NULL DEFAULT (strftime('%Y-%m-%dT%H:%M:%SZ', 'now')));
CREATE TABLE quantity(
  id     INTEGER PRIMARY KEY,
  name   TEXT NOT NULL UNIQUE,
  kind   TEXT NOT NULL CHECK(kind IN ('curve', 'value')),
  x_unit TEXT NOT NULL,
  unit   TEXT NOT NULL);
CREATE TABLE state(
  quantity INTEGER NOT NULL REFERENCES quantity(id),
  side     TEXT NOT NULL CHECK(side IN ('upper', 'lower')),
  learnt   INTEGER NOT NULL,
  record   BLOB NOT NULL,
  PRIMARY KEY(quantity, side));
CREATE TABLE run(
  id      INTEGER PRIMARY KEY,
  command TEXT NOT NULL,
  program TEXT NOT NULL,
  started TEXT NOT NULL DEFAULT (strftime('%Y-%m-%dT%H:%M:%SZ', 'now')));
CREATE TABLE part(
  id      INTEGER PRIMARY KEY,
  run     INTEGER NOT NULL REFERENCES run(id),
  name    TEXT NOT NULL,
  label   TEXT,
  verdict TEXT NOT NULL CHECK(verdict IN ('learnt', 'OK', 'NOK', 'not judged')));
CREATE TABLE verdict(
  part          INTEGER NOT NULL REFERENCES part(id),
  position      INTEGER NOT NULL,
  quantity      INTEGER NOT NULL REFERENCES quantity(id),
  side          TEXT NOT NULL CHECK(side IN ('upper', 'lower')),
  verdict       TEXT NOT NULL CHECK(verdict IN ('OK', 'NOK', 'not judged')),
  max_deviation REAL, excess_in_s REAL, x REAL, value REAL, limit_value REAL, mean REAL,
  spread        REAL, rms_deviation REAL,
  judged_share  REAL NOT NULL,
  PRIMARY KEY(part, position)) WITHOUT ROWID;
CREATE TABLE defect(
  part        INTEGER NOT NULL REFERENCES part(id),
  position    INTEGER NOT NULL,
  priority    INTEGER NOT NULL,
  code        INTEGER NOT NULL,
  type        INTEGER NOT NULL,
  value       REAL, limit_value REAL, mean REAL, place REAL,
  unit        TEXT NOT NULL,
  text        TEXT NOT NULL,
  PRIMARY KEY(part, position)) WITHOUT ROWID;
PRAGMA application_id = 0x4C494D45;
PRAGMA user_version = 1;
)sql";

}  // namespace

struct CStore::Statements {
  explicit Statements(sqlite3* db)
      : setState(db,
                 "INSERT INTO state VALUES(?, ?, ?, ?) ON CONFLICT(quantity, side) DO UPDATE SET "
                 "learnt = excluded.learnt, record = excluded.record"),
        addPart(db, "INSERT INTO part(run, name, label, verdict) VALUES(?, ?, ?, ?)"),
        addVerdict(db, "INSERT INTO verdict VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        addDefect(db, "INSERT INTO defect VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)") {}

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
  if (mode != Mode::kCreate && !std::filesystem::exists(path_, error)) {
    throw CStoreError(path_ + ": there is no such store");
  }
  database_ = std::make_unique<CDatabase>(path_, mode);
  if (!CheckKind()) {
    if (mode != Mode::kCreate) {
      throw CStoreError(path_ + ": holds no store");
    }
    CreateSchema();
  }
  database_->Execute("PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON");
  statements_ = std::make_unique<Statements>(database_->Handle());
}

/// False for a file without content; throws for one that is something else.
bool CStore::CheckKind() {
  std::int64_t application = 0;
  try {
    application = database_->QueryInt("PRAGMA application_id");
    if (application == 0 && database_->QueryInt("SELECT count(*) FROM sqlite_master") == 0) {
      return false;
    }
  } catch (const CStoreError& e) {
    throw CStoreError(path_ + ": is no store of limes (" + e.what() + ")");
  }
  if (application != kApplicationId) {
    throw CStoreError(path_ + ": is a database, but no store of limes");
  }
  const std::int64_t version = database_->QueryInt("PRAGMA user_version");
  if (version != kSchemaVersion) {
    throw CStoreError(path_ + ": has schema version " + std::to_string(version) +
                      ", this program knows " + std::to_string(kSchemaVersion));
  }
  return true;
}

void CStore::CreateSchema() {
  // Going over to WAL needs the file alone, and SQLite does not wait for that by itself.
  constexpr int kTries = 5000;
  for (int i = 0; i < kTries; ++i) {
    try {
      CStatement statement(database_->Handle(), "PRAGMA journal_mode = WAL");
      if (statement.Step() && statement.Text(0) == "wal") {
        break;
      }
    } catch (const CStoreError&) {
      if (i + 1 == kTries) {
        throw;
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  database_->Execute("BEGIN IMMEDIATE");
  inTransaction_ = true;
  if (!CheckKind()) {
    database_->Execute(kSchema);
  }
  Commit();
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
        .Run();
  }
  for (std::size_t i = 0; i < verdict.defects.size(); ++i) {
    const SDefect& d = verdict.defects[i];
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
  CStatement numbers(database_->Handle(),
                     "SELECT name, side, verdict, max_deviation, excess_in_s, x, value, "
                     "limit_value, mean, spread, rms_deviation, judged_share, unit, x_unit FROM "
                     "verdict JOIN quantity ON quantity.id = quantity WHERE part = ? ORDER BY "
                     "position");
  numbers.Bind(id);
  while (numbers.Step()) {
    verdict.quantities.push_back(
        {numbers.Text(0), SideFromText(numbers.Text(1)), VerdictFromText(numbers.Text(2)),
         numbers.Real(3), numbers.Real(4), numbers.Real(5), numbers.Real(6), numbers.Real(7),
         numbers.Real(8), numbers.Real(9), numbers.Real(10), numbers.Real(11).value_or(0.0),
         UnitFromText(numbers.Text(12)).Display(), UnitFromText(numbers.Text(13)).Display()});
  }
  CStatement defects(database_->Handle(),
                     "SELECT priority, code, type, value, limit_value, mean, place, unit, text "
                     "FROM defect WHERE part = ? ORDER BY position");
  defects.Bind(id);
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
    verdict.defects.push_back(std::move(d));
  }
  return true;
}

std::int64_t CStore::CountParts(bool learnt) {
  return database_->QueryInt(learnt ? "SELECT count(*) FROM part WHERE verdict = 'learnt'"
                                    : "SELECT count(*) FROM part WHERE verdict <> 'learnt'");
}

}  // namespace limes::host
