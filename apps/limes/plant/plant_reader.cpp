#include "apps/limes/plant/plant_reader.h"

#include <algorithm>
#include <exception>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/unit_text.h"
#include "apps/limes/plant/plant_schema.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Row = CPlantConnection::Row;

std::string Text(const Row& row, std::size_t column) { return row[column].value_or(""); }

std::int64_t Number(const Row& row, std::size_t column) {
  return std::stoll(row[column].value_or("0"));
}

std::optional<double> Real(const Row& row, std::size_t column) {
  return row[column] ? std::optional(std::stod(*row[column])) : std::nullopt;
}

std::optional<std::int64_t> Optional(const Row& row, std::size_t column) {
  return row[column] ? std::optional(Number(row, column)) : std::nullopt;
}

std::string NameOf(const Row& row, std::size_t name, std::size_t bytes) {
  const std::vector<std::uint8_t> raw = BytesOfHex(Text(row, bytes));
  return row[bytes] ? std::string(raw.begin(), raw.end()) : Text(row, name);
}

std::vector<SStoredQuantity> Quantities(CPlantConnection& plant, const std::string& id) {
  std::vector<SStoredQuantity> result;
  std::string last;
  for (const Row& row : plant.Query(
           "SELECT quantity.id, name, bytes, kind, x_unit_fields, unit_fields, side, learnt, "
           "record, recorded, rms "
           "FROM limes.quantity JOIN limes.state ON state.bench = quantity.bench AND "
           "state.quantity = quantity.id WHERE quantity.bench = $1 ORDER BY quantity.id, side DESC",
           {id})) {
    if (row[0] != last) {
      last = Text(row, 0);
      SStoredQuantity& q = result.emplace_back();
      q.name = NameOf(row, 1, 2);
      q.single = row[3] == "value";
      q.xUnit = UnitFromText(Text(row, 4));
      q.unit = UnitFromText(Text(row, 5));
    }
    result.back().states.push_back({SideFromText(Text(row, 6)), Number(row, 7),
                                    BytesOfHex(Text(row, 8)), Real(row, 9), Real(row, 10)});
  }
  return result;
}

std::vector<SLearntPart> Parts(CPlantConnection& plant, const std::string& id) {
  std::vector<SLearntPart> result;
  for (const Row& row :
       plant.Query("SELECT name, label, content, score_above, score_below, score_whole, id "
                   "FROM limes.part WHERE bench = $1 AND verdict = 'learnt' ORDER BY id",
                   {id})) {
    SLearntPart& part = result.emplace_back();
    part.name = Text(row, 0);
    part.label = row[1];
    part.content = Optional(row, 2);
    part.scores = {Real(row, 3), Real(row, 4), Real(row, 5)};
    part.id = Number(row, 6);
  }
  return result;
}

}  // namespace

CPlantReader::CPlantReader(CPlantConnection& plant) : plant_(plant) {
  if (PlantVersion(plant_) == 0) {
    throw CStoreError("the database holds no benches (limes push)");
  }
  plant_.Execute(
      "BEGIN TRANSACTION ISOLATION LEVEL REPEATABLE READ READ ONLY; SET extra_float_digits = 1");
}

std::vector<std::string> CPlantReader::Benches(const std::vector<std::string>& names) {
  std::vector<std::string> found;
  for (const Row& row : plant_.Query(
           "SELECT name FROM limes.bench WHERE until IS NULL ORDER BY name COLLATE \"C\"")) {
    found.push_back(Text(row, 0));
  }
  for (const std::string& name : names) {
    if (std::find(found.begin(), found.end(), name) == found.end()) {
      std::string known;
      for (const std::string& other : found) {
        known += (known.empty() ? " (there are " : ", ") + other;
      }
      throw CUsageError("the database holds no bench " + Quoted(name) + known +
                        (known.empty() ? "" : ")"));
    }
  }
  if (found.empty()) {
    throw CStoreError("the database holds no benches (limes push)");
  }
  return names.empty() ? found : names;
}

SLearntState CPlantReader::Read(const std::string& bench) {
  try {
    const Row row = plant_.Query(
        "SELECT bench.id, settings, base, source, left_out, calibration.record, modes.record "
        "FROM limes.bench LEFT JOIN limes.calibration ON calibration.bench = bench.id "
        "LEFT JOIN limes.modes ON modes.bench = bench.id WHERE name = $1 AND until IS NULL",
        {bench})[0];
    const std::string id = Text(row, 0);
    SLearntState state{SettingsFromText(Text(row, 1)), Quantities(plant_, id), {}, {}, {}, {}};
    if (row[5]) {
      state.calibration = {Real(row, 2).value_or(0.0), SourceFromText(Text(row, 3)),
                           Optional(row, 4), BytesOfHex(Text(row, 5))};
    }
    state.modes = BytesOfHex(Text(row, 6));
    for (const Row& drift : plant_.Query(
             "SELECT name, bytes, record FROM limes.drift JOIN limes.quantity ON "
             "quantity.bench = drift.bench AND quantity.id = quantity WHERE drift.bench = $1 "
             "ORDER BY quantity.id",
             {id})) {
      state.drift.push_back({NameOf(drift, 0, 1), BytesOfHex(Text(drift, 2))});
    }
    state.parts = Parts(plant_, id);
    return state;
  } catch (const CStoreError&) {
    throw;
  } catch (const std::exception& e) {
    throw CStoreError("bench " + Quoted(bench) + " cannot be read: " + e.what());
  }
}

}  // namespace limes::host
