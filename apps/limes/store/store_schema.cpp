#include "apps/limes/store/store_schema.h"

#include <chrono>
#include <thread>

#include "apps/limes/errors.h"
#include "apps/limes/store/checked_pages.h"

namespace limes::host {
namespace {

/// Tables of version 1.
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

/// How sure the limit was that a verdict was given by, and which region a defect is of.
constexpr const char* kVersion2 = R"sql(
ALTER TABLE verdict ADD COLUMN learnt INTEGER;
ALTER TABLE verdict ADD COLUMN effective_parts REAL;
ALTER TABLE verdict ADD COLUMN chance_per_point REAL;
ALTER TABLE verdict ADD COLUMN chance_bound REAL;
ALTER TABLE defect ADD COLUMN verdict INTEGER;
ALTER TABLE defect ADD COLUMN excess REAL;
ALTER TABLE defect ADD COLUMN x_from REAL;
ALTER TABLE defect ADD COLUMN x_to REAL;
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
    }
    if (version < 2) {
      database.Execute(kVersion2);
    }
    if (version < 3) {
      database.Execute(kVersion3);
    }
    if (version < 4) {
      database.Execute(kVersion4);
    }
  } catch (const CStoreError&) {
    database.Execute("ROLLBACK");
    throw;
  }
  database.Execute("COMMIT");
}

}  // namespace limes::host
