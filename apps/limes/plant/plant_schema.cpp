#include "apps/limes/plant/plant_schema.h"

#include <array>
#include <string>
#include <utility>

#include "apps/limes/errors.h"
#include "apps/limes/store/record_columns.h"
#include "apps/limes/store/store_schema.h"

namespace limes::host {
namespace {

/// Everything but verdicts and defects.
constexpr const char* kTables = R"sql(
CREATE SCHEMA IF NOT EXISTS limes;
CREATE TABLE limes.about(
  id      integer PRIMARY KEY CHECK(id = 1),
  version integer NOT NULL,
  created timestamptz NOT NULL DEFAULT now());
CREATE TABLE limes.bench(
  id            integer GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
  name          text NOT NULL,
  until         timestamptz,
  created       text NOT NULL,
  identity      bytea,
  settings      text NOT NULL,
  state_version bigint NOT NULL,
  last_run      bigint NOT NULL,
  run_mark      text NOT NULL,
  last_judged   bigint NOT NULL,
  judged_mark   text NOT NULL,
  program       text NOT NULL,
  pushed        timestamptz NOT NULL);
CREATE UNIQUE INDEX bench_name ON limes.bench(name) WHERE until IS NULL;
CREATE TABLE limes.quantity(
  bench         integer REFERENCES limes.bench ON DELETE CASCADE,
  id            integer,
  name          text NOT NULL,
  bytes         bytea,
  kind          text CHECK(kind IN ('curve', 'value')),
  x_unit        text NOT NULL,
  unit          text NOT NULL,
  x_unit_fields text,
  unit_fields   text,
  PRIMARY KEY(bench, id));
CREATE TABLE limes.state(
  bench    integer,
  quantity integer,
  side     text CHECK(side IN ('upper', 'lower')),
  learnt   bigint NOT NULL,
  record   bytea NOT NULL,
  recorded double precision,
  PRIMARY KEY(bench, quantity, side),
  FOREIGN KEY(bench, quantity) REFERENCES limes.quantity ON DELETE CASCADE);
CREATE TABLE limes.calibration(
  bench    integer PRIMARY KEY REFERENCES limes.bench ON DELETE CASCADE,
  base     double precision NOT NULL,
  source   text NOT NULL,
  left_out bigint,
  record   bytea NOT NULL);
CREATE TABLE limes.modes(
  bench  integer PRIMARY KEY REFERENCES limes.bench ON DELETE CASCADE,
  record bytea NOT NULL);
CREATE TABLE limes.drift(
  bench    integer,
  quantity integer,
  record   bytea NOT NULL,
  PRIMARY KEY(bench, quantity),
  FOREIGN KEY(bench, quantity) REFERENCES limes.quantity ON DELETE CASCADE);
CREATE TABLE limes.run(
  bench    integer REFERENCES limes.bench ON DELETE CASCADE,
  id       bigint,
  command  text NOT NULL,
  program  text NOT NULL,
  started  timestamptz NOT NULL,
  settings text NOT NULL,
  by_user  text NOT NULL,
  host     text NOT NULL,
  because  text NOT NULL,
  parts    text NOT NULL,
  before   text NOT NULL,
  PRIMARY KEY(bench, id));
CREATE TABLE limes.history(
  bench       integer,
  run         bigint,
  quantity    integer,
  side        text CHECK(side IN ('upper', 'lower')),
  learnt      bigint NOT NULL,
  mean        double precision,
  limit_value double precision,
  PRIMARY KEY(bench, run, quantity, side),
  FOREIGN KEY(bench, run) REFERENCES limes.run ON DELETE CASCADE);
CREATE TABLE limes.part(
  bench     integer REFERENCES limes.bench ON DELETE CASCADE,
  id        bigint,
  run       bigint NOT NULL,
  variant   text,
  name      text NOT NULL,
  label     text,
  verdict   text NOT NULL CHECK(verdict IN ('learnt', 'OK', 'NOK', 'not judged')),
  content   bigint,
  recording bigint,
  at        timestamptz,
  PRIMARY KEY(bench, id));
CREATE INDEX part_at ON limes.part(bench, at);
CREATE TABLE limes.verdict(
  bench integer, part bigint, position integer, quantity integer NOT NULL,
  PRIMARY KEY(bench, part, position),
  FOREIGN KEY(bench, part) REFERENCES limes.part ON DELETE CASCADE);
CREATE TABLE limes.defect(
  bench integer, part bigint, position integer, quantity integer, side text,
  PRIMARY KEY(bench, part, position),
  FOREIGN KEY(bench, part) REFERENCES limes.part ON DELETE CASCADE);
CREATE TABLE limes.alarm(
  bench integer, part bigint, position integer, quantity integer NOT NULL,
  direction text NOT NULL CHECK(direction IN ('up', 'down')),
  parts bigint NOT NULL,
  x double precision,
  PRIMARY KEY(bench, part, position),
  FOREIGN KEY(bench, part) REFERENCES limes.part ON DELETE CASCADE);
)sql";

/// What queries begin with: the judged parts of the benches as they are, and their distances from
/// the limits in spreads, negative beyond them.
constexpr const char* kViews = R"sql(
CREATE OR REPLACE VIEW limes.judged AS
  SELECT bench.name AS bench, coalesce(part.at, run.started) AS time, part.bench AS bench_id,
         part.id AS part, part.name, part.variant, part.label, part.verdict
  FROM limes.part JOIN limes.bench ON bench.id = part.bench AND bench.until IS NULL
  JOIN limes.run ON run.bench = part.bench AND run.id = part.run
  WHERE part.verdict <> 'learnt';
CREATE OR REPLACE VIEW limes.margin AS
  SELECT judged.bench, judged.time, judged.part, judged.name, judged.variant,
         quantity.name AS quantity, verdict.side, verdict.verdict, -verdict.excess_in_s AS margin,
         verdict.x, verdict.value, verdict.limit_value, verdict.mean, verdict.spread,
         quantity.x_unit, quantity.unit
  FROM limes.judged JOIN limes.verdict ON verdict.bench = bench_id AND verdict.part = judged.part
  JOIN limes.quantity ON quantity.bench = bench_id AND quantity.id = verdict.quantity;
)sql";

/// The types that SQLite's stand for.
std::string PlantTypes(std::string columns) {
  constexpr std::array<std::pair<const char*, const char*>, 3> kTypes = {
      {{" INTEGER", " bigint"}, {" REAL", " double precision"}, {" BLOB", " bytea"}}};
  for (const auto& [theirs, ours] : kTypes) {
    for (std::size_t at = columns.find(theirs); at != std::string::npos;
         at = columns.find(theirs, at)) {
      columns.replace(at, std::string(theirs).size(), ours);
    }
  }
  return columns;
}

/// Columns of records that came with a version of a store's tables.
std::string AddedColumns(std::int64_t version) {
  const auto add = [&]<class Record>(const char* table, const Record&) {
    return NewColumns<Record>(version, std::string("ALTER TABLE limes.") + table + " ADD COLUMN ",
                              ";");
  };
  return PlantTypes((version == 10 ? "ALTER TABLE limes.state ADD COLUMN rms REAL;" : "") +
                    add("verdict", SQuantityVerdict()) + add("verdict", SLimitSureness()) +
                    add("part", SScores()) + add("defect", SDefect()));
}

}  // namespace

std::int64_t PlantVersion(CPlantConnection& plant) {
  // Asked of the tables: a name looked up before may be remembered as missing.
  if (plant
          .Query("SELECT 1 FROM pg_class JOIN pg_namespace ON pg_namespace.oid = relnamespace "
                 "WHERE nspname = 'limes' AND relname = 'about'")
          .empty()) {
    return 0;
  }
  const auto rows = plant.Query("SELECT version FROM limes.about");
  const std::string version = rows.empty() ? "" : rows[0][0].value_or("");
  const std::int64_t found = rows.empty() ? 0 : std::stoll("0" + version);
  if (found < 1 || found > kSchemaVersion) {
    throw CStoreError("the database: the schema limes has version " + version +
                      ", this program knows up to " + std::to_string(kSchemaVersion));
  }
  return found;
}

void MakePlant(CPlantConnection& plant) {
  if (PlantVersion(plant) == kSchemaVersion) {
    return;
  }
  plant.Execute("BEGIN; SELECT pg_advisory_xact_lock(1279872581)");
  std::int64_t version = PlantVersion(plant);
  if (version == 0) {
    plant.Execute(kTables);
    plant.Execute("INSERT INTO limes.about(id, version) VALUES(1, 0)");
  }
  while (version < kSchemaVersion) {
    const std::string columns = AddedColumns(++version);
    if (!columns.empty()) {
      plant.Execute(columns);
    }
  }
  plant.Execute(kViews);
  plant.Query("UPDATE limes.about SET version = $1", {std::to_string(version)});
  plant.Execute("COMMIT");
}

}  // namespace limes::host
