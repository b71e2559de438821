#include "apps/limes/store/store.h"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <filesystem>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/unit_text.h"
#include "apps/limes/store/last_change.h"
#include "apps/limes/store/passed_values.h"
#include "apps/limes/store/record_columns.h"
#include "apps/limes/store/store_schema.h"
#include "limes/version.h"

namespace limes::host {
namespace {

std::int64_t NowInMilliseconds() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace

struct CStore::Statements {
  explicit Statements(sqlite3* db)
      : addQuantity(db,
                    "INSERT INTO quantity(variant, name, kind, x_unit, unit) "
                    "VALUES(chosen_variant(), ?, ?, ?, ?) ON CONFLICT(variant, name) DO NOTHING"),
        setState(db, std::string("INSERT OR REPLACE INTO state VALUES(") + kChosenQuantity +
                         ", ?, ?, ?, ?, ?)"),
        setBase(db, std::string("INSERT OR REPLACE INTO base VALUES(") + kChosenQuantity +
                        ", ?, ?, ?, ?, ?)"),
        findLearnt(db,
                   "SELECT name FROM part WHERE content = ? AND verdict = 'learnt' AND "
                   "variant = chosen_variant()"),
        setHistory(db, std::string("INSERT OR REPLACE INTO history VALUES(?, ") + kChosenQuantity +
                           ", ?, ?, ?, ?)"),
        addPart(db, "INSERT INTO part(run, name, label, verdict, content, recording, accepted, at" +
                        ColumnNames<SScores>(kSchemaVersion) +
                        ", variant) VALUES(?, ?, ?, ?, ?, ?, ?, ?" + ColumnMarks<SScores>() +
                        ", chosen_variant())"),
        addJudged(db,
                  "INSERT INTO part(run, name, label, verdict, content, limits, measured, at, "
                  "limit_of, reason" +
                      ColumnNames<SScores>(kSchemaVersion) +
                      ", variant) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?" + ColumnMarks<SScores>() +
                      ", chosen_variant())"),
        keepPart(db, "INSERT INTO kept VALUES(?, ?)"),
        addVerdict(db, "INSERT INTO verdict(part, position, quantity" +
                           ColumnNames<SQuantityVerdict>(kSchemaVersion) +
                           ColumnNames<SLimitSureness>(kSchemaVersion) + ") VALUES(?, ?, " +
                           kChosenQuantity + ColumnMarks<SQuantityVerdict>() +
                           ColumnMarks<SLimitSureness>() + ")"),
        addDefect(db, "INSERT INTO defect(part, position, verdict" +
                          ColumnNames<SDefect>(kSchemaVersion) + ") VALUES(?, ?, ?" +
                          ColumnMarks<SDefect>() + ")"),
        passed(db) {}

  CStatement addQuantity;
  CStatement setState;
  CStatement setBase;
  CStatement findLearnt;
  CStatement setHistory;
  CStatement addPart;
  CStatement addJudged;
  CStatement keepPart;
  CStatement addVerdict;
  CStatement addDefect;
  CPassedValues passed;
};

CStore::~CStore() {
  GiveUp();
  statements_.reset();
  database_.reset();
  RemoveNote(path_);
}

CStore::CStore(const std::string& path, Mode mode) : path_(path) {
  std::error_code error;
  if (mode != Mode::kCreate && !path_.empty() && !std::filesystem::exists(path_, error)) {
    throw CStoreError(path_ + ": there is no such store");
  }
  const std::optional<SChanges> noted = NotedChanges(path_);  // before others change it once more
  database_ = std::make_unique<CDatabase>(path_, mode);
  ShareChosen();
  version_ = SchemaVersion(*database_, path_);
  if (version_ == 0 && mode != Mode::kCreate) {
    throw CStoreError(path_ + ": holds no store");
  }
  if (version_ >= kCountedSince) {
    CheckLastChange(*database_, path_, noted);
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
  mayWrite_ = true;
  Choose("");
  statements_->passed.Forget();
  replaced_.reset();
  if (database_->HasMoved()) {
    throw CStoreMoved(path_ + ": the store was moved or removed meanwhile");
  }
}

void CStore::BeginReading() {
  database_->Execute("BEGIN");
  inTransaction_ = true;
  mayWrite_ = false;
}

void CStore::Commit() {
  std::optional<SChanges> changes;
  if (mayWrite_) {
    changes = CountChange(*database_);
  }
  database_->Execute("COMMIT");
  inTransaction_ = false;
  if (changes) {
    NoteChanges(path_, *changes);
  }
}

void CStore::Rollback() {
  Choose("");  // a new variant is gone
  if (inTransaction_) {
    inTransaction_ = false;
    database_->Execute("ROLLBACK");
  }
}

void CStore::GiveUp() {
  Choose("");
  if (inTransaction_) {  // which a full disk may have ended already
    inTransaction_ = false;
    sqlite3_exec(database_->Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

std::optional<SSettings> CStore::Settings() {
  CStatement statement(database_->Handle(),
                       version_ < kVariantsSince
                           ? "SELECT settings FROM store"
                           : "SELECT coalesce((SELECT settings FROM variant WHERE id = "
                             "chosen_variant()), settings) FROM store");
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
  const auto before = replaced_ ? std::nullopt : Settings();
  replaced_ = replaced_.value_or(before ? SettingsToText(*before) : "");
  if (chosen_ != 0) {
    CStatement(database_->Handle(), "UPDATE variant SET settings = ? WHERE id = chosen_variant()")
        .Bind(SettingsToText(settings))
        .Run();
    return;
  }
  CStatement(database_->Handle(),
             "INSERT INTO store(id, settings, state_version, program, identity) "
             "VALUES(1, ?, 0, ?, randomblob(16)) "
             "ON CONFLICT(id) DO UPDATE SET settings = excluded.settings")
      .Bind(SettingsToText(settings))
      .Bind(LIMES_VERSION_STRING)
      .Run();
}

std::string CStore::Created() {
  CStatement statement(database_->Handle(), "SELECT created FROM store");
  return statement.Step() ? statement.Text(0) : "";
}

std::vector<std::uint8_t> CStore::Identity() {
  if (version_ < kCountedSince) {
    return {};
  }
  CStatement statement(database_->Handle(), "SELECT identity FROM store");
  return statement.Step() ? statement.Bytes(0) : std::vector<std::uint8_t>();
}

std::int64_t CStore::StateVersion() {
  return database_->QueryInt("SELECT state_version FROM store");
}

void CStore::NextStateVersion() {
  database_->Execute("UPDATE store SET state_version = state_version + 1");
}

std::vector<SStoredQuantity> CStore::ReadQuantities(const std::string& table) {
  std::vector<SStoredQuantity> result;
  CStatement list(database_->Handle(), "SELECT id, name, kind, x_unit, unit FROM quantity WHERE " +
                                           IsChosen() + " ORDER BY id");
  CStatement states(database_->Handle(), std::string("SELECT side, learnt, record") +
                                             (version_ < 9 ? ", NULL" : ", recorded") +
                                             (version_ < 10 ? ", NULL" : ", rms") + " FROM " +
                                             table + " WHERE quantity = ? ORDER BY side DESC");
  while (list.Step()) {
    SStoredQuantity q;
    q.name = list.Text(1);
    q.single = list.Text(2) == "value";
    try {
      q.xUnit = UnitFromText(list.Text(3));
      q.unit = UnitFromText(list.Text(4));
    } catch (const std::exception& e) {
      throw CStoreError(path_ + ": a stored unit cannot be read: " + e.what());
    }
    states.Bind(list.Int(0));
    while (states.Step()) {
      q.states.push_back({SideFromText(states.Text(0)), states.Int(1), states.Bytes(2),
                          states.Real(3), states.Real(4)});
    }
    states.Reset();
    if (!q.states.empty()) {
      result.push_back(std::move(q));
    }
  }
  return result;
}

void CStore::SetQuantities(const std::vector<SStoredQuantity>& quantities) {
  WriteQuantities(statements_->setState, quantities);
}

void CStore::SetBase(const std::vector<SStoredQuantity>& quantities) {
  WriteQuantities(statements_->setBase, quantities);
}

void CStore::WriteQuantities(CStatement& setState, const std::vector<SStoredQuantity>& quantities) {
  for (const SStoredQuantity& quantity : quantities) {
    statements_->addQuantity.Bind(quantity.name)
        .Bind(quantity.single ? "value" : "curve")
        .Bind(UnitToText(quantity.xUnit))
        .Bind(UnitToText(quantity.unit))
        .Run();
    for (const SStoredQuantity::SState& state : quantity.states) {
      setState.Bind(quantity.name)
          .Bind(SideText(state.side))
          .Bind(state.learnt)
          .Bind(std::span(state.record))
          .Bind(state.recorded)
          .Bind(state.rms)
          .Run();
    }
  }
}

std::int64_t CStore::AddLearnt(std::int64_t run, const SLearntPart& part) {
  CStatement& add = statements_->addPart;
  add.Bind(run).Bind(part.name).Bind(part.label).Bind("learnt").Bind(part.content);
  add.Bind(part.recording).Bind(part.accepted ? std::optional(std::int64_t{1}) : std::nullopt);
  add.Bind(NowInMilliseconds());
  BindFields(add, part.scores);
  add.Run();
  const std::int64_t id = database_->LastRowId();
  if (part.recording == SLearntPart::kNewRecording) {
    CStatement(database_->Handle(), "UPDATE part SET recording = id WHERE id = ?").Bind(id).Run();
  }
  if (!part.record.empty()) {
    statements_->keepPart.Bind(id).Bind(std::span(part.record)).Run();
    CStatement(database_->Handle(),
               "UPDATE variant SET kept_bytes = kept_bytes + ? WHERE id = chosen_variant()")
        .Bind(static_cast<std::int64_t>(part.record.size()))
        .Run();
  }
  return id;
}

void CStore::SetScores(std::int64_t id, const SScores& scores) {
  CStatement(database_->Handle(),
             "UPDATE part SET score_above = ?, score_below = ?, score_whole = ? WHERE id = ?")
      .Bind(scores.above)
      .Bind(scores.below)
      .Bind(scores.whole)
      .Bind(id)
      .Run();
}

std::optional<SStoredCalibration> CStore::ReadCalibration(std::int64_t row) {
  if (version_ < 6) {
    return std::nullopt;
  }
  CStatement find(
      database_->Handle(),
      "SELECT base, source, left_out, record FROM calibration WHERE id = ? AND " + IsChosen());
  if (!find.Bind(row).Step()) {
    return std::nullopt;
  }
  return SStoredCalibration{find.Real(0).value_or(0.0), SourceFromText(find.Text(1)),
                            find.OptionalInt(2), find.Bytes(3)};
}

void CStore::WriteCalibration(std::int64_t row, const SStoredCalibration& scores) {
  CStatement(database_->Handle(),
             "INSERT OR REPLACE INTO calibration VALUES(chosen_variant(), ?, ?, ?, ?, ?)")
      .Bind(row)
      .Bind(std::optional(scores.base))
      .Bind(SourceText(scores.source))
      .Bind(scores.groups)
      .Bind(std::span(scores.record))
      .Run();
}

std::vector<SLearntPart> CStore::LearntParts() {
  std::vector<SLearntPart> result;
  CStatement list(database_->Handle(),
                  std::string("SELECT part.id, run, name, label, ") +
                      (version_ < 5 ? "NULL, NULL" : "content, kept.part") +
                      (version_ < 6 ? ", NULL" : ", recording") + ColumnNames<SScores>(version_) +
                      " FROM part" +
                      (version_ < 5 ? "" : " LEFT JOIN kept ON kept.part = part.id") +
                      " WHERE verdict = 'learnt' AND " + IsChosen("part") + " ORDER BY part.id");
  while (list.Step()) {
    SLearntPart& part = result.emplace_back();
    part.id = list.Int(0);
    part.run = list.Int(1);
    part.name = list.Text(2);
    part.label = list.OptionalText(3);
    part.content = list.OptionalInt(4);
    part.kept = !list.IsNull(5);
    part.recording = list.OptionalInt(6);
    ReadFields(list, 7, part.scores);
  }
  return result;
}

std::optional<std::string> CStore::FindLearnt(std::int64_t content) {
  CStatement& find = statements_->findLearnt;
  std::optional<std::string> name;
  if (find.Bind(content).Step()) {
    name = find.Text(0);
  }
  find.Reset();
  return name;
}

std::vector<SLearntPart> CStore::KeptParts(std::int64_t behind, std::size_t most) {
  std::vector<SLearntPart> result;
  if (version_ < 5) {
    return result;
  }
  CStatement list(database_->Handle(), std::string("SELECT part.id, name, record, ") +
                                           (version_ < 6 ? "NULL" : "recording") +
                                           (version_ < 7 ? ", NULL" : ", accepted") +
                                           ColumnNames<SScores>(version_) +
                                           " FROM kept JOIN part ON part.id = kept.part "
                                           "WHERE kept.part > ? AND " +
                                           IsChosen("part") + " ORDER BY kept.part LIMIT ?");
  list.Bind(behind).Bind(static_cast<std::int64_t>(most));
  while (list.Step()) {
    SLearntPart& part = result.emplace_back();
    part.id = list.Int(0);
    part.name = list.Text(1);
    part.record = list.Bytes(2);
    part.recording = list.OptionalInt(3);
    part.accepted = !list.IsNull(4);
    ReadFields(list, 5, part.scores);
    part.kept = true;
  }
  return result;
}

std::int64_t CStore::KeptBytes() {
  return database_->QueryInt("SELECT kept_bytes FROM variant WHERE id = chosen_variant()");
}

void CStore::DropKept(std::int64_t last) {
  const std::string own =
      "(SELECT id FROM part WHERE verdict = 'learnt' AND variant = chosen_variant())";
  CStatement(database_->Handle(), "DELETE FROM kept WHERE part <= ? AND part IN " + own)
      .Bind(last)
      .Run();
  database_->Execute(
      "UPDATE variant SET kept_bytes = (SELECT coalesce(sum(length(record)), 0) FROM kept WHERE "
      "part IN " +
      own + ") WHERE id = chosen_variant()");
}

void CStore::RemoveLearnt(const std::vector<std::int64_t>& ids) {
  CStatement kept(database_->Handle(), "DELETE FROM kept WHERE part = ?");
  CStatement part(database_->Handle(), "DELETE FROM part WHERE id = ? AND verdict = 'learnt'");
  for (const std::int64_t id : ids) {
    kept.Bind(id).Run();
    part.Bind(id).Run();
  }
  DropKept(0);
}

std::vector<SRun> CStore::Runs() {
  std::vector<SRun> result;
  const std::string before =
      version_ < 7 ? "" : " + (SELECT count(*) FROM past_part WHERE learnt_in = run.id)";
  CStatement list(database_->Handle(),
                  "SELECT run.id, command, started, total(verdict = 'learnt')" + before +
                      ", total(verdict = 'OK'), total(verdict = 'NOK'), "
                      "total(verdict = 'not judged') FROM run "
                      "LEFT JOIN part ON part.run = run.id GROUP BY run.id ORDER BY run.id");
  while (list.Step()) {
    result.push_back({list.Int(0), list.Text(1), list.Text(2), list.Int(3), list.Int(4),
                      list.Int(5), list.Int(6)});
  }
  return result;
}

void CStore::SetHistory(std::int64_t run, const std::vector<SHistory>& history) {
  for (const SHistory& h : history) {
    statements_->setHistory.Bind(run)
        .Bind(h.quantity)
        .Bind(SideText(h.side))
        .Bind(h.learnt)
        .Bind(h.mean)
        .Bind(h.limit)
        .Run();
  }
}

std::vector<SHistory> CStore::History() {
  std::vector<SHistory> result;
  if (version_ < 4) {
    return result;
  }
  CStatement list(database_->Handle(),
                  "SELECT name, side, started, learnt, mean, limit_value, run FROM history "
                  "JOIN run ON run.id = run JOIN quantity ON quantity.id = quantity WHERE " +
                      IsChosen("quantity") + " ORDER BY quantity, run, side DESC");
  while (list.Step()) {
    result.push_back({list.Text(0), SideFromText(list.Text(1)), list.Text(2), list.Int(3),
                      list.Real(4), list.Real(5), list.Int(6)});
  }
  return result;
}

std::int64_t CStore::AddJudged(std::int64_t run, const SPartVerdict& verdict) {
  const auto kept = statements_->passed.Keep(verdict, bases_[run], chosen_);
  CStatement& add = statements_->addJudged;
  add.Bind(run).Bind(verdict.part).Bind(verdict.label).Bind(VerdictText(verdict.verdict));
  add.Bind(verdict.content).Bind(kept ? std::optional(kept->limits) : std::nullopt);
  add.Bind(kept ? std::optional(kept->values) : std::nullopt).Bind(verdict.at);
  add.Bind(chosen_ == 0 ? std::nullopt : std::optional(verdict.limitOf)).Bind(verdict.reason);
  BindFields(add, verdict.scores);
  add.Run();
  const std::int64_t part = database_->LastRowId();
  for (std::size_t i = 0; i < verdict.quantities.size() && !kept; ++i) {
    const SQuantityVerdict& q = verdict.quantities[i];
    CStatement& addVerdict = statements_->addVerdict;
    addVerdict.Bind(part).Bind(static_cast<std::int64_t>(i)).Bind(q.name);
    BindFields(addVerdict, q);
    BindFields(addVerdict, q.sureness.value_or(SLimitSureness()));
    addVerdict.Run();
  }
  for (std::size_t i = 0; i < verdict.defects.size(); ++i) {
    const SDefect& d = verdict.defects[i];
    const auto judged = std::find_if(
        verdict.quantities.begin(), verdict.quantities.end(),
        [&](const SQuantityVerdict& q) { return q.name == d.quantity && q.side == d.side; });
    CStatement& addDefect = statements_->addDefect;
    addDefect.Bind(part)
        .Bind(static_cast<std::int64_t>(i))
        .Bind(std::int64_t{judged - verdict.quantities.begin()});
    BindFields(addDefect, d);
    addDefect.Run();
  }
  return part;
}

std::int64_t CStore::CountParts(bool learnt) {
  return database_->QueryInt(std::string("SELECT count(*) FROM part WHERE verdict ") +
                             (learnt ? "=" : "<>") + " 'learnt' AND " + IsChosen());
}

}  // namespace limes::host
