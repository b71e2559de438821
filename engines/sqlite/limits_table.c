#include "engines/sqlite/limits_table.h"

#include <string.h>

#include "engines/common/engine.h"

SQLITE_EXTENSION_INIT3

/* The hidden column is the state. */
enum { kState = 5 };

typedef struct Cursor {
  sqlite3_vtab_cursor base;
  engine_limits limits;
  size_t row;
} Cursor;

static int Connect(sqlite3* db, void* none, int count, const char* const* arguments,
                   sqlite3_vtab** table, char** error) {
  int status = sqlite3_declare_vtab(db,
                                    "CREATE TABLE x(x REAL, mean REAL, spread REAL, lower REAL, "
                                    "upper REAL, state HIDDEN)");
  (void)none;
  (void)count;
  (void)arguments;
  (void)error;
  if (status == SQLITE_OK) {
    *table = sqlite3_malloc(sizeof **table);
    status = *table == NULL ? SQLITE_NOMEM : SQLITE_OK;
  }
  if (status == SQLITE_OK) {
    memset(*table, 0, sizeof **table);
    sqlite3_vtab_config(db, SQLITE_VTAB_INNOCUOUS);
  }
  return status;
}

static int Disconnect(sqlite3_vtab* table) {
  sqlite3_free(table);
  return SQLITE_OK;
}

static int BestIndex(sqlite3_vtab* table, sqlite3_index_info* info) {
  int i;
  (void)table;
  for (i = 0; i < info->nConstraint; ++i) {
    if (info->aConstraint[i].iColumn == kState && info->aConstraint[i].usable &&
        info->aConstraint[i].op == SQLITE_INDEX_CONSTRAINT_EQ) {
      info->aConstraintUsage[i].argvIndex = 1;
      info->aConstraintUsage[i].omit = 1;
      info->estimatedCost = 1000.0;
      return SQLITE_OK;
    }
  }
  return SQLITE_CONSTRAINT; /* without a state there is no limit */
}

static int Open(sqlite3_vtab* table, sqlite3_vtab_cursor** cursor) {
  Cursor* made = sqlite3_malloc(sizeof *made);
  (void)table;
  if (made == NULL) {
    return SQLITE_NOMEM;
  }
  memset(made, 0, sizeof *made);
  *cursor = &made->base;
  return SQLITE_OK;
}

static int Close(sqlite3_vtab_cursor* cursor) {
  engine_free_limits(&((Cursor*)cursor)->limits);
  sqlite3_free(cursor);
  return SQLITE_OK;
}

static int Filter(sqlite3_vtab_cursor* base, int number, const char* text, int count,
                  sqlite3_value** values) {
  Cursor* cursor = (Cursor*)base;
  limes_limit* limit = NULL;
  limes_status status = LIMES_STATE;
  (void)number;
  (void)text;
  engine_free_limits(&cursor->limits);
  cursor->row = 0;
  if (count < 1 || sqlite3_value_type(values[0]) == SQLITE_NULL) {
    return SQLITE_OK;
  }
  if (sqlite3_value_type(values[0]) == SQLITE_BLOB) {
    status =
        limes_read(sqlite3_value_blob(values[0]), (size_t)sqlite3_value_bytes(values[0]), &limit);
  }
  if (status == LIMES_OK) {
    status = engine_make_limits(limit, &cursor->limits);
  }
  limes_free(limit);
  if (status == LIMES_OK || status == LIMES_NOTHING) {
    return SQLITE_OK;
  }
  base->pVtab->zErrMsg = sqlite3_mprintf("limes: %s", limes_status_text(status));
  return status == LIMES_MEMORY ? SQLITE_NOMEM : SQLITE_ERROR;
}

static int Next(sqlite3_vtab_cursor* cursor) {
  ++((Cursor*)cursor)->row;
  return SQLITE_OK;
}

static int Eof(sqlite3_vtab_cursor* cursor) {
  return ((Cursor*)cursor)->row >= ((Cursor*)cursor)->limits.count;
}

static int Column(sqlite3_vtab_cursor* base, sqlite3_context* context, int column) {
  const Cursor* cursor = (const Cursor*)base;
  const double* const columns[] = {cursor->limits.x, cursor->limits.mean, cursor->limits.spread,
                                   cursor->limits.lower, cursor->limits.upper};
  if (column >= 0 && column < kState) {
    sqlite3_result_double(context, columns[column][cursor->row]); /* NULL for NaN */
  }
  return SQLITE_OK;
}

static int Rowid(sqlite3_vtab_cursor* cursor, sqlite3_int64* row) {
  *row = (sqlite3_int64)((Cursor*)cursor)->row;
  return SQLITE_OK;
}

int CreateLimitsTable(sqlite3* db) {
  static const sqlite3_module kLimits = {.xConnect = Connect,
                                         .xBestIndex = BestIndex,
                                         .xDisconnect = Disconnect,
                                         .xOpen = Open,
                                         .xClose = Close,
                                         .xFilter = Filter,
                                         .xNext = Next,
                                         .xEof = Eof,
                                         .xColumn = Column,
                                         .xRowid = Rowid};
  return sqlite3_create_module_v2(db, "limes_limit", &kLimits, NULL, NULL);
}
