#include "apps/limes/plant/plant_writer.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <nlohmann/json.hpp>
#include <thread>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/unit_text.h"
#include "apps/limes/plant/plant_schema.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/store/store_schema.h"
#include "limes/version.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr std::int64_t kPartsAtOnce = 2000;
constexpr std::size_t kBytesAtOnce = std::size_t{8} << 20U;

/// What tells a run apart, and a judged part, from another one of the same number.
std::string MarkOf(const SChange& run) {
  return PlantText(run.time + " " + run.command + " " + run.user + "@" + run.host + " " +
                   run.program + " " + run.after);
}

std::string MarkOf(const SPartVerdict& part) {
  return PlantText(TimeText(part.at).value_or("") + " " + VerdictText(part.verdict) + " " +
                   std::to_string(part.content.value_or(0)) + " " + part.part);
}

CPlantConnection::Value IdentityOf(CStore& store) {
  const std::vector<std::uint8_t> identity = store.Identity();
  return identity.empty() ? std::nullopt : CPlantConnection::Value(HexText(identity));
}

std::string Text(std::int64_t number) { return std::to_string(number); }

}  // namespace

CPlantWriter::CPlantWriter(CPlantConnection& plant, const std::string& bench)
    : plant_(plant), bench_(PlantText(bench)) {
  MakePlant(plant_);
  constexpr int kTries = 600;
  for (int i = 0;
       plant_.Query("SELECT pg_try_advisory_lock(1279872581, hashtext($1))", {bench_})[0][0] != "t";
       ++i) {
    if (i == kTries) {
      throw CStoreError("bench " + Quoted(bench_) + " is being pushed by another process");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
}

SPushed CPlantWriter::Push(CStore& store, bool anew) {
  store.BeginReading();
  if (!store.Settings()) {
    throw CStoreError(store.Path() + ": nothing is learnt in this store");
  }
  SPushed pushed;
  plant_.Execute("BEGIN");
  Find(store, anew);
  WriteRuns(store);
  if (store.StateVersion() != stateVersion_) {
    WriteLearnt(store);
    WriteStates(store);
  }
  plant_.Query(
      "UPDATE limes.bench SET settings = $2, state_version = $3, last_run = $4, run_mark = $5, "
      "program = $6, identity = $7, pushed = now() WHERE id = $1",
      {id_, SettingsToText(*store.Settings()), Text(store.StateVersion()), Text(lastRun_), runMark_,
       LIMES_VERSION_STRING, IdentityOf(store)});
  plant_.Execute("COMMIT");
  pushed.judged = WriteJudged(store);
  pushed.learnt = store.CountParts(true);
  store.Rollback();
  return pushed;
}

/// Reads how far the bench has come, or makes it.
void CPlantWriter::Find(CStore& store, bool anew) {
  const auto rows = plant_.Query(
      "SELECT id, state_version, last_run, run_mark, last_judged, judged_mark FROM limes.bench "
      "WHERE name = $1 AND until IS NULL",
      {bench_});
  if (!rows.empty()) {
    const auto text = [&](std::size_t column) { return rows[0][column].value_or("0"); };
    id_ = text(0);
    stateVersion_ = std::stoll(text(1));
    lastRun_ = std::stoll(text(2));
    runMark_ = text(3);
    lastJudged_ = std::stoll(text(4));
    judgedMark_ = text(5);
    const std::string why = Foreign(store);
    if (why.empty()) {
      ReadQuantities();
      return;
    }
    if (!anew) {
      throw CUsageError("bench " + Quoted(bench_) + " was pushed from another store, or from " +
                        store.Path() + " as it was before a backup was put back: " + why +
                        " (--bench gives this store a name of its own; --anew puts aside what is "
                        "there and begins anew)");
    }
    plant_.Query("UPDATE limes.bench SET until = now() WHERE id = $1", {id_});
  }
  stateVersion_ = -1;
  lastRun_ = lastJudged_ = 0;
  runMark_ = judgedMark_ = "";
  id_ = plant_
            .Query(
                "INSERT INTO limes.bench(name, created, settings, state_version, last_run, "
                "run_mark, last_judged, judged_mark, program, pushed) "
                "VALUES($1, $2, '', -1, 0, '', 0, '', '', now()) RETURNING id",
                {bench_, PlantText(store.Created())})[0][0]
            .value_or("");
}

/// Why the bench is not that of this store; empty when it is.
std::string CPlantWriter::Foreign(CStore& store) {
  const auto row =
      plant_.Query("SELECT created, identity FROM limes.bench WHERE id = $1", {id_})[0];
  const auto identity = IdentityOf(store);
  if (row[0] != store.Created() || (row[1] && identity && row[1] != identity)) {
    return "that was made at " + row[0].value_or("") + ", this one at " + store.Created();
  }
  if (store.StateVersion() < stateVersion_) {
    return "it has learnt less than was pushed";
  }
  const auto runs = store.ChangesMade(true);
  const auto run =
      std::find_if(runs.begin(), runs.end(), [&](const SChange& r) { return r.run == lastRun_; });
  if (lastRun_ > 0 && (run == runs.end() || MarkOf(*run) != runMark_)) {
    return "run " + Text(lastRun_) + " was another one then";
  }
  std::string mark;
  store.ForEachJudged(lastJudged_, lastJudged_,
                      [&](const SPartVerdict& part) { mark = MarkOf(part); });
  if (lastJudged_ > 0 && mark != judgedMark_) {
    return "part " + Text(lastJudged_) + " was another one then";
  }
  return "";
}

void CPlantWriter::ReadQuantities() {
  for (const auto& row :
       plant_.Query("SELECT id, name, bytes FROM limes.quantity WHERE bench = $1", {id_})) {
    const std::vector<std::uint8_t> bytes = BytesOfHex(row[2].value_or(""));
    const std::string name = row[2] ? std::string(bytes.begin(), bytes.end()) : row[1].value_or("");
    quantities_[name] = std::stoll(row[0].value_or("0"));
  }
}

std::int64_t CPlantWriter::Quantity(const std::string& name, const std::string& xUnit,
                                    const std::string& unit) {
  const auto [found, isNew] =
      quantities_.try_emplace(name, static_cast<std::int64_t>(quantities_.size()) + 1);
  if (isNew) {
    const std::string text = PlantText(name);
    const auto raw = std::as_bytes(std::span(name));
    const CPlantConnection::Value bytes =
        text == name ? std::nullopt
                     : CPlantConnection::Value(HexText(
                           {reinterpret_cast<const std::uint8_t*>(raw.data()), raw.size()}));
    plant_.Query(
        "INSERT INTO limes.quantity(bench, id, name, bytes, x_unit, unit) "
        "VALUES($1, $2, $3, $4, $5, $6)",
        {id_, Text(found->second), text, bytes, PlantText(xUnit), PlantText(unit)});
  }
  return found->second;
}

void CPlantWriter::WriteRuns(CStore& store) {
  CCopyRows rows;
  for (const SChange& run : store.ChangesMade(true)) {
    if (run.run <= lastRun_) {
      continue;
    }
    rows.Bind(std::string_view(id_)).Bind(run.run).Bind(run.command).Bind(run.program);
    rows.Bind(run.time).Bind(run.after).Bind(run.user).Bind(run.host).Bind(run.reason);
    rows.Bind(Dumped(run.parts)).Bind(run.before);
    rows.EndRow();
    lastRun_ = run.run;
    runMark_ = MarkOf(run);
  }
  plant_.Copy("limes.run", rows.Text());
}

/// The learnt parts as they are: those forgotten since go, those learnt since come.
void CPlantWriter::WriteLearnt(CStore& store) {
  plant_.Query("DELETE FROM limes.part WHERE bench = $1 AND verdict = 'learnt'", {id_});
  CCopyRows rows;
  for (const SLearntPart& part : store.LearntParts()) {
    rows.Bind(std::string_view(id_)).Bind(part.id).Bind(part.run).Bind(part.name).Bind(part.label);
    rows.Bind("learnt").Bind(part.content).Bind(part.recording);
    BindFields(rows, part.scores);
    rows.EndRow();
  }
  plant_.Copy("limes.part(bench, id, run, name, label, verdict, content, recording" +
                  ColumnNames<SScores>(kSchemaVersion) + ")",
              rows.Text());
}

void CPlantWriter::WriteStates(CStore& store) {
  plant_.Query("DELETE FROM limes.state WHERE bench = $1", {id_});
  CCopyRows states;
  for (const SStoredQuantity& q : store.Quantities()) {
    const std::int64_t quantity = Quantity(q.name, q.xUnit.Display(), q.unit.Display());
    plant_.Query(
        "UPDATE limes.quantity SET kind = $3, x_unit_fields = $4, unit_fields = $5 "
        "WHERE bench = $1 AND id = $2",
        {id_, Text(quantity), q.single ? "value" : "curve", UnitToText(q.xUnit),
         UnitToText(q.unit)});
    for (const SStoredQuantity::SState& s : q.states) {
      states.Bind(std::string_view(id_)).Bind(quantity).Bind(SideText(s.side)).Bind(s.learnt);
      states.Bind(std::span(s.record)).Bind(s.recorded).Bind(s.rms).EndRow();
    }
  }
  plant_.Copy("limes.state", states.Text());
  plant_.Query("DELETE FROM limes.calibration WHERE bench = $1", {id_});
  if (const auto scores = store.Calibration()) {
    CCopyRows row;
    row.Bind(std::string_view(id_)).Bind(std::optional(scores->base));
    row.Bind(SourceText(scores->source)).Bind(scores->groups).Bind(std::span(scores->record));
    row.EndRow();
    plant_.Copy("limes.calibration", row.Text());
  }
  plant_.Query("DELETE FROM limes.modes WHERE bench = $1", {id_});
  if (const std::vector<std::uint8_t> modes = store.Modes(); !modes.empty()) {
    plant_.Query("INSERT INTO limes.modes VALUES($1, $2)", {id_, HexText(modes)});
  }
  CCopyRows drift;
  for (const SStoredDrift& d : store.Drift(CStore::DriftSource::kLearning)) {
    drift.Bind(std::string_view(id_)).Bind(Quantity(d.quantity, "", ""));
    drift.Bind(std::span(d.record)).EndRow();
  }
  plant_.Query("DELETE FROM limes.drift WHERE bench = $1", {id_});
  plant_.Copy("limes.drift", drift.Text());
  CCopyRows history;
  for (const SHistory& h : store.History()) {
    history.Bind(std::string_view(id_)).Bind(h.run).Bind(Quantity(h.quantity, "", ""));
    history.Bind(SideText(h.side)).Bind(h.learnt).Bind(h.mean).Bind(h.limit).EndRow();
  }
  plant_.Query("DELETE FROM limes.history WHERE bench = $1", {id_});
  plant_.Copy("limes.history", history.Text());
}

std::int64_t CPlantWriter::WriteJudged(CStore& store) {
  std::int64_t written = 0;
  plant_.Execute("BEGIN");
  store.ForEachJudged(
      lastJudged_ + 1, std::numeric_limits<std::int64_t>::max(), [&](const SPartVerdict& part) {
        Add(part);
        ++written;
        if (block_.count >= kPartsAtOnce || block_.verdicts.Text().size() >= kBytesAtOnce) {
          Flush();
          plant_.Execute("BEGIN");
        }
      });
  Flush();
  return written;
}

void CPlantWriter::Add(const SPartVerdict& part) {
  const auto head = [&](CCopyRows& rows, std::size_t position) {
    rows.Bind(std::string_view(id_)).Bind(part.id).Bind(static_cast<std::int64_t>(position));
  };
  const auto quantity = [&](const std::string& name, const std::string& xUnit,
                            const std::string& unit) {
    return name.empty() ? std::nullopt : std::optional(Quantity(name, xUnit, unit));
  };
  CCopyRows& parts = block_.parts;
  parts.Bind(std::string_view(id_)).Bind(part.id).Bind(part.run).Bind(part.part).Bind(part.label);
  parts.Bind(VerdictText(part.verdict)).Bind(part.content).Bind(TimeText(part.at));
  BindFields(parts, part.scores);
  parts.EndRow();
  for (std::size_t i = 0; i < part.quantities.size(); ++i) {
    const SQuantityVerdict& q = part.quantities[i];
    head(block_.verdicts, i);
    block_.verdicts.Bind(Quantity(q.name, q.xUnit, q.unit));
    BindFields(block_.verdicts, q);
    if (SLimitSureness none; q.sureness) {
      BindFields(block_.verdicts, *q.sureness);
    } else {
      VisitColumns([&](const SField&, const auto&) { block_.verdicts.Null(); }, none);
    }
    block_.verdicts.EndRow();
  }
  for (std::size_t i = 0; i < part.defects.size(); ++i) {
    const SDefect& d = part.defects[i];
    head(block_.defects, i);
    block_.defects.Bind(quantity(d.quantity, "", d.unit)).Bind(SideText(d.side));
    BindFields(block_.defects, d);
    block_.defects.EndRow();
  }
  for (std::size_t i = 0; i < part.drifts.size(); ++i) {
    const SDriftFound& d = part.drifts[i];
    head(block_.alarms, i);
    block_.alarms.Bind(Quantity(d.quantity, d.xUnit, "")).Bind(d.up ? "up" : "down");
    block_.alarms.Bind(d.parts).Bind(d.x).EndRow();
  }
  ++block_.count;
  block_.last = part.id;
  block_.mark = MarkOf(part);
}

/// Ends the transaction with the parts gathered.
void CPlantWriter::Flush() {
  if (block_.count > 0) {
    plant_.Copy("limes.part(bench, id, run, name, label, verdict, content, at" +
                    ColumnNames<SScores>(kSchemaVersion) + ")",
                block_.parts.Text());
    plant_.Copy("limes.verdict(bench, part, position, quantity" +
                    ColumnNames<SQuantityVerdict>(kSchemaVersion) +
                    ColumnNames<SLimitSureness>(kSchemaVersion) + ")",
                block_.verdicts.Text());
    plant_.Copy("limes.defect(bench, part, position, quantity, side" +
                    ColumnNames<SDefect>(kSchemaVersion) + ")",
                block_.defects.Text());
    plant_.Copy("limes.alarm", block_.alarms.Text());
    plant_.Query(
        "UPDATE limes.bench SET last_judged = $2, judged_mark = $3, pushed = now() WHERE id = $1",
        {id_, Text(block_.last), block_.mark});
  }
  plant_.Execute("COMMIT");
  block_ = SBlock();
}

}  // namespace limes::host
