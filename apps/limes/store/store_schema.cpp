#include "apps/limes/store/store_schema.h"

#include <chrono>
#include <thread>

#include "apps/limes/errors.h"
#include "apps/limes/store/checked_pages.h"
#include "apps/limes/store/page_check.h"
#include "apps/limes/store/record_columns.h"

namespace limes::host {
namespace {

/// Tables of version 1, without those of judged parts.
constexpr const char* kVersion1 = R"sql(
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
PRAGMA application_id = 0x4C494D45;
PRAGMA user_version = 1;
)sql";

/// Verdicts and defects of judged parts, as their fields are listed.
std::string JudgedTables() {
  const auto table = [](const std::string& columns) {
    return "(part INTEGER NOT NULL REFERENCES part(id), position INTEGER NOT NULL" + columns +
           ", PRIMARY KEY(part, position)) WITHOUT ROWID;";
  };
  return "CREATE TABLE verdict" +
         table(", quantity INTEGER NOT NULL REFERENCES quantity(id)" +
               NewColumns<SQuantityVerdict>(1, ", ", "")) +
         "CREATE TABLE defect" + table(NewColumns<SDefect>(1, ", ", ""));
}

/// What a later version knows more of them.
std::string AddedColumns(std::int64_t version) {
  const std::string verdict = "ALTER TABLE verdict ADD COLUMN ";
  return NewColumns<SQuantityVerdict>(version, verdict, ";") +
         NewColumns<SLimitSureness>(version, verdict, ";") +
         NewColumns<SScores>(version, "ALTER TABLE part ADD COLUMN ", ";") +
         NewColumns<SDefect>(version, "ALTER TABLE defect ADD COLUMN ", ";");
}

/// How sure the limit was that a verdict was given by, and which region a defect is of.
constexpr const char* kVersion2 = R"sql(
ALTER TABLE defect ADD COLUMN verdict INTEGER;
PRAGMA user_version = 2;
)sql";

/// Every page carries a check (checked_pages.h).
constexpr const char* kVersion3 = "PRAGMA user_version = 3";

/// How mean and limit moved from run to run.
constexpr const char* kVersion4 = R"sql(
CREATE TABLE history(
  run         INTEGER NOT NULL REFERENCES run(id),
  quantity    INTEGER NOT NULL REFERENCES quantity(id),
  side        TEXT NOT NULL CHECK(side IN ('upper', 'lower')),
  learnt      INTEGER NOT NULL,
  mean        REAL, limit_value REAL,
  PRIMARY KEY(run, quantity, side)) WITHOUT ROWID;
PRAGMA user_version = 4;
)sql";
static_assert(kCheckedSince == 3);

/// By which settings a run judged, who was learnt or judged twice, and what forgetting needs.
constexpr const char* kVersion5 = R"sql(
ALTER TABLE run ADD COLUMN settings TEXT;
ALTER TABLE part ADD COLUMN content INTEGER;
ALTER TABLE store ADD COLUMN kept_bytes INTEGER NOT NULL DEFAULT 0;
CREATE INDEX part_content ON part(content) WHERE content IS NOT NULL;
CREATE TABLE kept(
  part   INTEGER PRIMARY KEY REFERENCES part(id),
  record BLOB NOT NULL);
CREATE TABLE base(
  quantity INTEGER NOT NULL REFERENCES quantity(id),
  side     TEXT NOT NULL CHECK(side IN ('upper', 'lower')),
  learnt   INTEGER NOT NULL,
  record   BLOB NOT NULL,
  PRIMARY KEY(quantity, side));
INSERT INTO base SELECT quantity, side, learnt, record FROM state;
PRAGMA user_version = 5;
)sql";

/// The scores of the good parts; left_out: groups that were left out as a whole.
constexpr const char* kVersion6 = R"sql(
ALTER TABLE part ADD COLUMN recording INTEGER;
CREATE TABLE calibration(
  id       INTEGER PRIMARY KEY CHECK(id IN (0, 1)),
  base     REAL NOT NULL,
  source   TEXT NOT NULL CHECK(source IN ('learning', 'others', 'frozen')),
  left_out INTEGER,
  record   BLOB NOT NULL);
PRAGMA user_version = 6;
)sql";

/// Drift alarms, what is held back from learning, and what was learnt before a new beginning.
constexpr const char* kVersion7 = R"sql(
ALTER TABLE store ADD COLUMN guard_recent INTEGER NOT NULL DEFAULT 0;
ALTER TABLE part ADD COLUMN accepted INTEGER;
CREATE TABLE drift(
  quantity INTEGER NOT NULL REFERENCES quantity(id),
  source   TEXT NOT NULL CHECK(source IN ('learning', 'before', 'judging')),
  record   BLOB NOT NULL,
  PRIMARY KEY(quantity, source));
CREATE TABLE alarm(
  id        INTEGER PRIMARY KEY,
  run       INTEGER NOT NULL REFERENCES run(id),
  judged    INTEGER REFERENCES part(id),
  part      TEXT NOT NULL,
  quantity  INTEGER NOT NULL REFERENCES quantity(id),
  direction TEXT NOT NULL CHECK(direction IN ('up', 'down')),
  parts     INTEGER NOT NULL,
  x         REAL);
CREATE INDEX alarm_judged ON alarm(judged);
CREATE TABLE held(
  id          INTEGER PRIMARY KEY,
  run         INTEGER NOT NULL REFERENCES run(id),
  name        TEXT NOT NULL,
  label       TEXT,
  content     INTEGER,
  record      BLOB NOT NULL,
  score_above REAL, score_below REAL,
  score       REAL NOT NULL,
  score_limit REAL NOT NULL,
  quantity    TEXT NOT NULL,
  side        TEXT NOT NULL CHECK(side IN ('upper', 'lower')),
  x           REAL);
CREATE TABLE past_state(
  run      INTEGER NOT NULL REFERENCES run(id),
  quantity INTEGER NOT NULL REFERENCES quantity(id),
  side     TEXT NOT NULL CHECK(side IN ('upper', 'lower')),
  learnt   INTEGER NOT NULL,
  record   BLOB NOT NULL,
  PRIMARY KEY(run, quantity, side));
CREATE TABLE past_calibration(
  run      INTEGER PRIMARY KEY REFERENCES run(id),
  base     REAL NOT NULL,
  source   TEXT NOT NULL,
  left_out INTEGER,
  record   BLOB NOT NULL);
CREATE TABLE past_part(
  run         INTEGER NOT NULL REFERENCES run(id),
  id          INTEGER NOT NULL,
  learnt_in   INTEGER NOT NULL REFERENCES run(id),
  name        TEXT NOT NULL,
  label       TEXT,
  content     INTEGER,
  score_above REAL, score_below REAL,
  PRIMARY KEY(run, id));
PRAGMA user_version = 7;
)sql";

/// Parts whose single values have all passed are kept as these values, with the limits they were
/// judged by; both are seen through one view. Common modes, now, from before the parts that are
/// kept and before a new beginning. Who changed what, when parts were judged, and the files that
/// came to a bench.
constexpr const char* kVersion8 = R"sql(
ALTER TABLE held ADD COLUMN recording INTEGER;
ALTER TABLE part ADD COLUMN limits INTEGER;
ALTER TABLE part ADD COLUMN measured TEXT;
CREATE TABLE limits(
  id               INTEGER NOT NULL,
  position         INTEGER NOT NULL,
  item             INTEGER NOT NULL,
  quantity         INTEGER NOT NULL REFERENCES quantity(id),
  side             TEXT NOT NULL CHECK(side IN ('upper', 'lower')),
  learnt           INTEGER NOT NULL,
  base             REAL NOT NULL,
  limit_value      REAL NOT NULL,
  mean             REAL NOT NULL,
  spread           REAL NOT NULL,
  factor           REAL,
  effective_parts  REAL,
  chance_per_point REAL,
  PRIMARY KEY(id, position)) WITHOUT ROWID;
CREATE VIEW judged AS
  SELECT part, position, quantity, side, verdict, max_deviation, value, limit_value, mean, spread
    FROM verdict
  UNION ALL
  SELECT part, position, quantity, side, 'OK',
      CASE side WHEN 'upper' THEN value - limit_value ELSE limit_value - value END,
      value, limit_value, mean, spread
    FROM (SELECT part.id AS part, limits.*, json_extract(measured, '$[' || item || ']') AS value
          FROM part JOIN limits ON limits.id = part.limits);
CREATE TABLE modes(
  id     INTEGER PRIMARY KEY CHECK(id IN (0, 1)),
  record BLOB NOT NULL);
CREATE TABLE past_modes(
  run    INTEGER PRIMARY KEY REFERENCES run(id),
  record BLOB NOT NULL);
ALTER TABLE run ADD COLUMN user TEXT;
ALTER TABLE run ADD COLUMN host TEXT;
ALTER TABLE run ADD COLUMN because TEXT;
ALTER TABLE run ADD COLUMN parts TEXT;
ALTER TABLE run ADD COLUMN before TEXT;
CREATE TRIGGER run_is_kept BEFORE DELETE ON run
  BEGIN SELECT RAISE(ABORT, 'the history of a store stays as it is'); END;
CREATE TRIGGER run_stays BEFORE UPDATE ON run
  BEGIN SELECT RAISE(ABORT, 'the history of a store stays as it is'); END;
ALTER TABLE part ADD COLUMN at INTEGER;
CREATE INDEX part_at ON part(at) WHERE at IS NOT NULL;
CREATE TABLE arrival(
  id        INTEGER PRIMARY KEY,
  folder    TEXT NOT NULL,
  name      TEXT NOT NULL,
  bytes     INTEGER NOT NULL,
  changed   INTEGER NOT NULL,
  reason    TEXT,
  part      INTEGER NOT NULL,
  parts     INTEGER NOT NULL,
  reported  INTEGER NOT NULL,
  published INTEGER,
  learnt    INTEGER);
CREATE UNIQUE INDEX arrival_file ON arrival(folder, name, bytes, changed);
CREATE INDEX arrival_reported ON arrival(id) WHERE reported = 0;
CREATE INDEX arrival_published ON arrival(id) WHERE published = 0;
CREATE INDEX arrival_learnt ON arrival(id) WHERE learnt = 0;
PRAGMA user_version = 8;
)sql";

/// Which store it is, and how many transactions have changed it.
constexpr const char* kVersion9 = R"sql(
ALTER TABLE store ADD COLUMN identity BLOB;
ALTER TABLE store ADD COLUMN changes INTEGER NOT NULL DEFAULT 0;
UPDATE store SET identity = randomblob(16);
ALTER TABLE state ADD COLUMN recorded REAL;
ALTER TABLE base ADD COLUMN recorded REAL;
ALTER TABLE past_state ADD COLUMN recorded REAL;
ALTER TABLE held ADD COLUMN score_whole REAL;
ALTER TABLE past_part ADD COLUMN score_whole REAL;
PRAGMA user_version = 9;
)sql";

/// How loud the signal was that a quantity was formed of. Settings may move curves before they are
/// judged, which older programs would leave out.
constexpr const char* kVersion10 = R"sql(
ALTER TABLE state ADD COLUMN rms REAL;
ALTER TABLE base ADD COLUMN rms REAL;
ALTER TABLE past_state ADD COLUMN rms REAL;
PRAGMA user_version = 10;
)sql";

/// What was measured of judged parts, so that they can be drawn, and how many bytes that takes.
void AddCurves(CDatabase& database) {
  database.Execute(R"sql(
ALTER TABLE store ADD COLUMN curve_bytes INTEGER NOT NULL DEFAULT 0;
CREATE TABLE curve(
  part   INTEGER PRIMARY KEY REFERENCES part(id) ON DELETE CASCADE,
  bytes  INTEGER NOT NULL,
  stays  INTEGER NOT NULL,
  record BLOB NOT NULL);
CREATE INDEX curve_newest ON curve(part) WHERE stays = 0;
CREATE TRIGGER curve_kept AFTER INSERT ON curve
  BEGIN UPDATE store SET curve_bytes = curve_bytes + NEW.bytes; END;
CREATE TRIGGER curve_dropped AFTER DELETE ON curve
  BEGIN UPDATE store SET curve_bytes = curve_bytes - OLD.bytes; END;
)sql");
}
/// What is learnt of each variant; 0 is that of a store without variants. `settings`: its own rule.
constexpr const char* kVariants = R"sql(
CREATE TABLE variant(
  id           INTEGER PRIMARY KEY,
  name         TEXT NOT NULL UNIQUE,
  settings     TEXT,
  guard_recent INTEGER NOT NULL DEFAULT 0,
  kept_bytes   INTEGER NOT NULL DEFAULT 0);
INSERT INTO variant VALUES(0, '', NULL, coalesce((SELECT guard_recent FROM store), 0),
                           coalesce((SELECT kept_bytes FROM store), 0));
ALTER TABLE store DROP COLUMN guard_recent;
ALTER TABLE store DROP COLUMN kept_bytes;
CREATE TABLE quantity_9(
  id      INTEGER PRIMARY KEY,
  variant INTEGER NOT NULL REFERENCES variant(id),
  name    TEXT NOT NULL,
  kind    TEXT NOT NULL CHECK(kind IN ('curve', 'value')),
  x_unit  TEXT NOT NULL,
  unit    TEXT NOT NULL,
  UNIQUE(variant, name));
INSERT INTO quantity_9 SELECT id, 0, name, kind, x_unit, unit FROM quantity;
DROP TABLE quantity;
ALTER TABLE quantity_9 RENAME TO quantity;
ALTER TABLE calibration RENAME TO calibration_8;
CREATE TABLE calibration(
  variant  INTEGER NOT NULL REFERENCES variant(id),
  id       INTEGER NOT NULL CHECK(id IN (0, 1)),
  base     REAL NOT NULL,
  source   TEXT NOT NULL CHECK(source IN ('learning', 'others', 'frozen')),
  left_out INTEGER,
  record   BLOB NOT NULL,
  PRIMARY KEY(variant, id));
INSERT INTO calibration SELECT 0, id, base, source, left_out, record FROM calibration_8;
DROP TABLE calibration_8;
ALTER TABLE modes RENAME TO modes_8;
CREATE TABLE modes(
  variant INTEGER NOT NULL REFERENCES variant(id),
  id      INTEGER NOT NULL CHECK(id IN (0, 1)),
  record  BLOB NOT NULL,
  PRIMARY KEY(variant, id));
INSERT INTO modes SELECT 0, id, record FROM modes_8;
DROP TABLE modes_8;
ALTER TABLE held ADD COLUMN variant INTEGER NOT NULL DEFAULT 0;
ALTER TABLE run ADD COLUMN variant TEXT;
ALTER TABLE part ADD COLUMN variant INTEGER NOT NULL DEFAULT 0;
ALTER TABLE part ADD COLUMN limit_of TEXT;
ALTER TABLE part ADD COLUMN reason TEXT;
CREATE INDEX part_learnt ON part(variant) WHERE verdict = 'learnt';
)sql";

/// Going over to WAL needs the file alone, and SQLite does not wait for that by itself.
void SwitchToWal(CDatabase& database) {
  constexpr int kTries = 5000;
  for (int i = 0; i < kTries; ++i) {
    try {
      CStatement statement(database.Handle(), "PRAGMA journal_mode = WAL");
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
}

}  // namespace

std::int64_t SchemaVersion(CDatabase& database, const std::string& path) {
  std::int64_t application = 0;
  try {
    // Tables first: another process may make the store between the two questions.
    const std::int64_t tables = database.QueryInt("SELECT count(*) FROM sqlite_master");
    application = database.QueryInt("PRAGMA application_id");
    if (application == 0 && tables == 0) {
      return 0;
    }
  } catch (const CStoreError&) {
    throw CStoreError(path + ": is no store of limes, or cannot be read (" +
                      ReasonOf(database.Handle()) + ")");
  }
  if (application != kApplicationId) {
    throw CStoreError(path + ": is a database, but no store of limes");
  }
  const std::int64_t version = database.QueryInt("PRAGMA user_version");
  if (version < 1 || version > kSchemaVersion) {
    throw CStoreError(path + ": has schema version " + std::to_string(version) +
                      ", this program knows up to " + std::to_string(kSchemaVersion));
  }
  return version;
}

void MakeSchema(CDatabase& database, const std::string& path) {
  if (SchemaVersion(database, path) == 0) {
    SwitchToWal(database);
  }
  const std::int64_t found = SchemaVersion(database, path);
  if (found > 0 && found < kCheckedSince) {
    // Writes all pages anew, the header first, which says that all after it have checks.
    database.Execute("PRAGMA cache_spill = OFF; VACUUM; PRAGMA cache_spill = ON");
  }
  database.Execute("BEGIN IMMEDIATE");
  try {
    const std::int64_t version = SchemaVersion(database, path);  // others may have been first
    if (version < 1) {
      database.Execute(kVersion1);
      database.Execute(JudgedTables());
    }
    if (version < 2) {
      database.Execute(kVersion2);
      database.Execute(AddedColumns(2));
    }
    if (version < 3) {
      database.Execute(kVersion3);
    }
    if (version < 4) {
      database.Execute(kVersion4);
    }
    if (version < 5) {
      database.Execute(kVersion5);
      database.Execute(AddedColumns(5));
    }
    if (version < 6) {
      database.Execute(kVersion6);
      database.Execute(AddedColumns(6));
    }
    if (version < 7) {
      database.Execute(kVersion7);
    }
    if (version < 8) {
      database.Execute(kVersion8);
    }
    if (version < 9) {
      AddCurves(database);
      database.Execute(kVariants);
      database.Execute(kVersion9);
      database.Execute(AddedColumns(9));
    }
    if (version < 10) {
      database.Execute(kVersion10);
    }
  } catch (const CStoreError&) {
    database.Execute("ROLLBACK");
    throw;
  }
  database.Execute("COMMIT");
}

}  // namespace limes::host
