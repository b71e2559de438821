// What a store knows of parts that are held back, of drift, and of states that were put aside.
#include <limits>

#include "apps/limes/measurement/unit_text.h"
#include "apps/limes/store/record_columns.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/store_schema.h"

namespace limes::host {
namespace {

constexpr std::int64_t kGuardingSince = 7;  ///< version of the tables
constexpr std::int64_t kHeldRecordingsSince = 8;

const char* SourceText(CStore::DriftSource source) {
  return source == CStore::DriftSource::kLearning  ? "learning"
         : source == CStore::DriftSource::kJudging ? "judging"
                                                   : "before";
}

}  // namespace

std::vector<SHeldPart> CStore::HeldParts(bool withRecords) {
  std::vector<SHeldPart> result;
  if (version_ < kGuardingSince) {
    return result;
  }
  CStatement list(database_->Handle(),
                  std::string("SELECT id, run, name, label, content, score, score_limit, quantity, "
                              "side, x, ") +
                      (withRecords ? "record, " : "NULL, ") +
                      (version_ < kHeldRecordingsSince ? "NULL" : "recording") +
                      ColumnNames<SScores>(version_) + " FROM held WHERE " + IsChosen() +
                      " ORDER BY id");
  while (list.Step()) {
    SHeldPart& held = result.emplace_back();
    held.part.id = list.Int(0);
    held.part.run = list.Int(1);
    held.part.name = list.Text(2);
    held.part.label = list.OptionalText(3);
    held.part.content = list.OptionalInt(4);
    held.score = list.Real(5).value_or(0.0);
    held.limit = list.Real(6).value_or(0.0);
    held.quantity = list.Text(7);
    held.side = SideFromText(list.Text(8));
    held.x = list.Real(9);
    held.part.record = list.Bytes(10);
    held.part.recording = list.OptionalInt(11);
    ReadFields(list, 12, held.part.scores);
  }
  return result;
}

std::int64_t CStore::AddHeld(std::int64_t run, const SHeldPart& held) {
  CStatement add(
      database_->Handle(),
      "INSERT INTO held(run, name, label, content, record, score, score_limit, quantity, "
      "side, x, recording" +
          ColumnNames<SScores>(kSchemaVersion) +
          ", variant) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?" + ColumnMarks<SScores>() +
          ", chosen_variant())");
  add.Bind(run).Bind(held.part.name).Bind(held.part.label).Bind(held.part.content);
  add.Bind(std::span(held.part.record)).Bind(std::optional(held.score));
  add.Bind(std::optional(held.limit)).Bind(held.quantity).Bind(SideText(held.side)).Bind(held.x);
  add.Bind(held.part.recording);
  BindFields(add, held.part.scores);
  add.Run();
  const std::int64_t id = database_->LastRowId();
  if (held.part.recording == SLearntPart::kNewRecording) {
    CStatement(database_->Handle(), "UPDATE held SET recording = id WHERE id = ?").Bind(id).Run();
  }
  return id;
}

std::int64_t CStore::ScoredRecordings() {
  return database_->QueryInt(
      "SELECT COUNT(DISTINCT recording) FROM part WHERE verdict = 'learnt' AND score_above NOT "
      "NULL AND variant = chosen_variant()");
}

std::int64_t CStore::BegunInRun() {
  return database_->QueryInt("SELECT COALESCE(MAX(run), 0) FROM past_state WHERE quantity IN " +
                             OwnQuantities());
}

void CStore::DropHeld(std::int64_t id) {
  CStatement(database_->Handle(), "DELETE FROM held WHERE id = ?").Bind(id).Run();
}

std::optional<std::string> CStore::FindHeld(std::int64_t content) {
  CStatement find(database_->Handle(), "SELECT name FROM held WHERE content = ? AND " + IsChosen());
  return find.Bind(content).Step() ? std::optional(find.Text(0)) : std::nullopt;
}

std::int64_t CStore::HoldLearnt(const SHeldPart& held) {
  CStatement find(database_->Handle(), "SELECT run, label, content FROM part WHERE id = ?");
  find.Bind(held.part.id).Step();
  SHeldPart whole = held;
  whole.part.label = find.OptionalText(1);
  whole.part.content = find.OptionalInt(2);
  const std::int64_t id = AddHeld(find.Int(0), whole);
  find.Reset();
  RemoveLearnt({held.part.id});
  return id;
}

std::uint16_t CStore::GuardRecent() {
  return static_cast<std::uint16_t>(
      database_->QueryInt("SELECT guard_recent FROM variant WHERE id = chosen_variant()"));
}

void CStore::SetGuardRecent(std::uint16_t recent) {
  CStatement(database_->Handle(), "UPDATE variant SET guard_recent = ? WHERE id = chosen_variant()")
      .Bind(std::int64_t{recent})
      .Run();
}

std::vector<SStoredDrift> CStore::Drift(DriftSource source) {
  std::vector<SStoredDrift> result;
  if (version_ < kGuardingSince) {
    return result;
  }
  CStatement list(database_->Handle(),
                  "SELECT name, record FROM drift JOIN quantity ON quantity.id = quantity "
                  "WHERE source = ? AND " +
                      IsChosen("quantity") + " ORDER BY quantity");
  list.Bind(SourceText(source));
  while (list.Step()) {
    result.push_back({list.Text(0), list.Bytes(1)});
  }
  return result;
}

void CStore::SetDrift(DriftSource source, const std::vector<SStoredDrift>& alarms) {
  CStatement(database_->Handle(),
             "DELETE FROM drift WHERE source = ? AND quantity IN " + OwnQuantities())
      .Bind(SourceText(source))
      .Run();
  CStatement add(database_->Handle(),
                 std::string("INSERT INTO drift VALUES(") + kChosenQuantity + ", ?, ?)");
  for (const SStoredDrift& alarm : alarms) {
    add.Bind(alarm.quantity).Bind(SourceText(source)).Bind(std::span(alarm.record)).Run();
  }
}

void CStore::ClearDrift() {
  database_->Execute("DELETE FROM drift WHERE quantity IN " + OwnQuantities());
}

void CStore::AddAlarms(std::int64_t run, const std::vector<SDriftFound>& alarms,
                       std::optional<std::int64_t> judged) {
  for (const SDriftFound& d : alarms) {
    CStatement(database_->Handle(),
               "INSERT INTO alarm(run, judged, part, quantity, direction, parts, x) "
               "VALUES(?, ?, ?, " +
                   std::string(kChosenQuantity) + ", ?, ?, ?)")
        .Bind(run)
        .Bind(judged)
        .Bind(d.part)
        .Bind(d.quantity)
        .Bind(d.up ? "up" : "down")
        .Bind(d.parts)
        .Bind(d.x)
        .Run();
  }
}

std::vector<std::pair<std::optional<std::int64_t>, SDriftFound>> CStore::ReadAlarms(
    const std::string& which) {
  std::vector<std::pair<std::optional<std::int64_t>, SDriftFound>> result;
  if (version_ < kGuardingSince) {
    return result;
  }
  CStatement list(database_->Handle(),
                  "SELECT judged, part, name, direction, parts, x, x_unit FROM alarm "
                  "JOIN quantity ON quantity.id = quantity " +
                      which);
  while (list.Step()) {
    result.emplace_back(list.OptionalInt(0),
                        SDriftFound{list.Text(1), list.Text(2), list.Text(3) == "up", list.Int(4),
                                    list.Real(5), UnitFromText(list.Text(6)).Display()});
  }
  return result;
}

std::vector<SDriftFound> CStore::Alarms(std::int64_t most) {
  std::vector<SDriftFound> result;
  for (auto& [judged, alarm] :
       ReadAlarms("WHERE alarm.id IN (SELECT alarm.id FROM alarm" +
                  (chosen_ == 0 ? "" : " WHERE quantity IN " + OwnQuantities()) +
                  " ORDER BY id DESC LIMIT " + std::to_string(most) + ") ORDER BY alarm.id")) {
    result.push_back(std::move(alarm));
  }
  return result;
}

void CStore::PutAside(std::int64_t run) {
  const std::string now = std::to_string(run);
  const std::string own = " WHERE variant = chosen_variant()";
  const std::string ofOwn = " WHERE quantity IN " + OwnQuantities() + ";";
  DropKept(std::numeric_limits<std::int64_t>::max());
  database_->Execute(
      "INSERT INTO past_state SELECT " + now +
      ", quantity, side, learnt, record, recorded, rms FROM state" + ofOwn +
      "INSERT INTO past_calibration SELECT " + now +
      ", base, source, left_out, record FROM calibration" + own +
      " AND id = 1;"
      "INSERT INTO past_part SELECT " +
      now + ", id, run, name, label, content, score_above, score_below, score_whole FROM part" +
      own + " AND verdict = 'learnt';" + "DELETE FROM part" + own + " AND verdict = 'learnt';" +
      "DELETE FROM state" + ofOwn + "INSERT INTO past_modes SELECT " + now + ", record FROM modes" +
      own + " AND id = 1;" + "DELETE FROM modes" + own + ";DELETE FROM base" + ofOwn +
      "DELETE FROM calibration" + own + ";DELETE FROM drift" + ofOwn);
  SetGuardRecent(0);
}

std::vector<std::int64_t> CStore::PutAsideIn() {
  std::vector<std::int64_t> runs;
  if (version_ >= kGuardingSince) {
    CStatement list(database_->Handle(), "SELECT DISTINCT run FROM past_state WHERE quantity IN " +
                                             OwnQuantities() + " ORDER BY run");
    while (list.Step()) {
      runs.push_back(list.Int(0));
    }
  }
  return runs;
}

std::vector<SStoredQuantity> CStore::PastQuantities(std::int64_t run) {
  return ReadQuantities("(SELECT * FROM past_state WHERE run = " + std::to_string(run) + ")");
}

}  // namespace limes::host
