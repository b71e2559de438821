/* Learnt limits in SQLite. Load it with: SELECT load_extension('limes_sqlite')
 *
 *   limes_learn(part, grid [, rule])   aggregate: the state of all parts, a blob; NULL of none
 *   limes_merge(state)                 aggregate: the states joined
 *   limes_judge(state, part, grid)     JSON: verdict, side, excess, x, value, limit, ...
 *   limes_limit(state)                 table: x, mean, spread, lower, upper
 *   limes_learnt(state)                number of parts
 *   limes_of_store(side, record, settings, scores)
 *                                      aggregate: a state of what a store keeps apart
 *
 * A part is a number, or a blob of floats (doubles with type=float64 in the grid) in the byte order
 * of the machine. Grid and rule are texts of words key=value: see engine.h. NULL is no part: it is
 * not learnt, and judging it gives NULL. Everything that does not fit is an error. */
#include <sqlite3ext.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "engines/common/engine.h"
#include "engines/sqlite/limits_table.h"

SQLITE_EXTENSION_INIT1

static void TellStatus(sqlite3_context* context, limes_status status, const limes_limit* limit) {
  const char* why = limes_error(limit);
  char* text = NULL;
  if (status == LIMES_MEMORY) {
    sqlite3_result_error_nomem(context);
    return;
  }
  text = sqlite3_mprintf("limes: %s", *why == '\0' ? limes_status_text(status) : why);
  if (text == NULL) {
    sqlite3_result_error_nomem(context);
    return;
  }
  sqlite3_result_error(context, text, -1);
  sqlite3_free(text);
}

static int Tell(sqlite3_context* context, const char* text) {
  char room[ENGINE_ERROR + 16];
  snprintf(room, sizeof room, "limes: %s", text);
  sqlite3_result_error(context, room, -1);
  return 0;
}

/* A part as it was given: of which kind, with its grid. */
typedef struct Given {
  limes_kind kind;
  double value;
  engine_grid grid;
  limes_curve curve;
  float* copy; /* of values that lie unaligned */
} Given;

static int GetText(sqlite3_value* value, const char** text, size_t* size) {
  *text = (const char*)sqlite3_value_text(value);
  *size = (size_t)sqlite3_value_bytes(value);
  return *text != NULL || sqlite3_value_type(value) == SQLITE_NULL;
}

/* Zero with an error told for what is no part. To be freed by FreePart. */
static int GetPart(sqlite3_context* context, sqlite3_value* part, sqlite3_value* grid,
                   Given* given) {
  engine_error error;
  const char* text = NULL;
  size_t size = 0;
  size_t width = 0;
  given->copy = NULL;
  if (!GetText(grid, &text, &size)) {
    sqlite3_result_error_nomem(context);
    return 0;
  }
  if (!engine_read_grid(text, size, &given->grid, &error)) {
    return Tell(context, error.text);
  }
  if (sqlite3_value_type(part) == SQLITE_INTEGER || sqlite3_value_type(part) == SQLITE_FLOAT) {
    given->kind = LIMES_VALUE;
    given->value = sqlite3_value_double(part);
    return !given->grid.is_along_x || Tell(context, "a single value has no x");
  }
  if (sqlite3_value_type(part) != SQLITE_BLOB) {
    return Tell(context, "a part is a number or a blob of floats");
  }
  given->kind = LIMES_CURVE;
  given->curve = engine_curve(&given->grid);
  size = (size_t)sqlite3_value_bytes(part);
  width = given->grid.doubles ? sizeof(double) : sizeof(float);
  if (size == 0 || size % width != 0) {
    return Tell(context, "the blob holds no whole number of values");
  }
  given->copy = malloc(size);
  if (given->copy == NULL) {
    sqlite3_result_error_nomem(context);
    return 0;
  }
  memcpy(given->copy, sqlite3_value_blob(part), size);
  given->curve.count = size / width;
  if (given->grid.doubles) {
    given->curve.doubles = (const double*)(const void*)given->copy;
  } else {
    given->curve.floats = given->copy;
  }
  return 1;
}

static void FreePart(Given* given) { free(given->copy); }

static limes_limit** Aggregate(sqlite3_context* context) {
  limes_limit** limit = sqlite3_aggregate_context(context, sizeof(limes_limit*));
  if (limit == NULL) {
    sqlite3_result_error_nomem(context);
  }
  return limit;
}

static void LearnStep(sqlite3_context* context, int count, sqlite3_value** values) {
  limes_limit** limit = Aggregate(context);
  limes_status status = LIMES_OK;
  limes_rule rule;
  engine_error error;
  const char* text = NULL;
  size_t size = 0;
  Given given;
  if (limit == NULL || sqlite3_value_type(values[0]) == SQLITE_NULL) {
    return;
  }
  if (!GetPart(context, values[0], values[1], &given)) {
    return;
  }
  if (count > 2 && !GetText(values[2], &text, &size)) {
    status = LIMES_MEMORY;
  } else if (!engine_read_rule(text, size, &rule, &error)) {
    Tell(context, error.text);
    FreePart(&given);
    return;
  } else {
    status = engine_begin(given.kind, &rule, limit);
  }
  if (status == LIMES_ARGUMENT && *limit != NULL) {
    Tell(context, "the rule changes from part to part");
    FreePart(&given);
    return;
  }
  if (status == LIMES_OK) {
    status = given.kind == LIMES_VALUE
                 ? limes_learn_value(*limit, given.value, engine_unit(&given.grid))
                 : limes_learn_curve(*limit, &given.curve);
  }
  if (status != LIMES_OK) {
    TellStatus(context, status, *limit);
  }
  FreePart(&given);
}

/* The limit of a state; null with an error told, or of NULL. It stays the connection's. */
static limes_limit* GetLimit(sqlite3_context* context, sqlite3_value* state) {
  limes_limit* limit = NULL;
  limes_status status = LIMES_OK;
  if (sqlite3_value_type(state) == SQLITE_NULL) {
    return NULL;
  }
  status = sqlite3_value_type(state) != SQLITE_BLOB
               ? LIMES_STATE
               : engine_cached(sqlite3_user_data(context), sqlite3_value_blob(state),
                               (size_t)sqlite3_value_bytes(state), &limit);
  if (status != LIMES_OK) {
    TellStatus(context, status, NULL);
    return NULL;
  }
  return limit;
}

static void MergeStep(sqlite3_context* context, int count, sqlite3_value** values) {
  limes_limit** limit = Aggregate(context);
  limes_limit* other = NULL;
  limes_status status = LIMES_OK;
  (void)count;
  if (limit == NULL || sqlite3_value_type(values[0]) == SQLITE_NULL) {
    return;
  }
  status = sqlite3_value_type(values[0]) != SQLITE_BLOB
               ? LIMES_STATE
               : limes_read(sqlite3_value_blob(values[0]), (size_t)sqlite3_value_bytes(values[0]),
                            &other);
  if (status == LIMES_OK && *limit == NULL) {
    *limit = other;
    return;
  }
  if (status == LIMES_OK) {
    status = limes_merge(*limit, other);
  }
  if (status != LIMES_OK) {
    TellStatus(context, status, *limit);
  }
  limes_free(other);
}

/* Gives the state of a limit, which is freed. */
static void GiveState(sqlite3_context* context, limes_limit* limit) {
  size_t size = 0;
  void* bytes = NULL;
  limes_status status = limes_write(limit, NULL, &size);
  if (status == LIMES_BUFFER) {
    bytes = sqlite3_malloc64(size);
    status = bytes == NULL ? LIMES_MEMORY : limes_write(limit, bytes, &size);
  }
  if (status == LIMES_OK) {
    sqlite3_result_blob64(context, bytes, size, sqlite3_free);
  } else {
    sqlite3_free(bytes);
    TellStatus(context, status, limit);
  }
  limes_free(limit);
}

static void Final(sqlite3_context* context) {
  limes_limit** limit = sqlite3_aggregate_context(context, 0);
  if (limit == NULL || *limit == NULL) {
    sqlite3_result_null(context);
    return;
  }
  GiveState(context, *limit);
  *limit = NULL;
}

/* What a store keeps of a quantity: the records of its sides, upper and lower, those of the scores,
 * and the settings. */
typedef struct Stored {
  sqlite3_value* records[2];
  sqlite3_value* settings;
  sqlite3_value* scores;
} Stored;

static void StoreStep(sqlite3_context* context, int count, sqlite3_value** values) {
  Stored* stored = sqlite3_aggregate_context(context, sizeof *stored);
  const char* side = (const char*)sqlite3_value_text(values[0]);
  const int at = side != NULL && strcmp(side, "lower") == 0;
  (void)count;
  if (stored == NULL || side == NULL || (at == 0 && strcmp(side, "upper") != 0)) {
    Tell(context, "a side is upper or lower");
    return;
  }
  if (stored->records[at] != NULL) {
    Tell(context, "two records of a side: GROUP BY quantity");
    return;
  }
  stored->records[at] = sqlite3_value_dup(values[1]);
  if (stored->settings == NULL) {
    stored->settings = sqlite3_value_dup(values[2]);
    stored->scores = sqlite3_value_dup(values[3]);
  }
}

/* The rule of a store's settings; zero with an error told. */
static int GetStoredRule(sqlite3_context* context, sqlite3_value* settings, limes_rule* rule) {
  static const char kSql[] =
      "SELECT 'sides=' || json_extract(s, '$.sides') || printf(' base=%!.17g time_scale=%d "
      "min_parts=%d %s=%!.17g', json_extract(s, '$.base'), json_extract(s, '$.time-scale'), "
      "json_extract(s, '$.min-parts'), iif(json_extract(s, '$.factor') IS NULL, 'reject', "
      "'factor'), "
      "coalesce(json_extract(s, '$.factor'), json_extract(s, '$.reject'))), "
      "coalesce(json_extract(s, '$.factor'), json_extract(s, '$.reject')) IS NULL OR "
      "json_extract(s, '$.width') <> 0 OR coalesce(json_extract(s, '$.modes'), 0) <> 0 OR "
      "coalesce(json_extract(s, '$.whole'), 0) <> 0 OR json_extract(s, '$.align') IS NOT NULL "
      "FROM (SELECT ?1 AS s)";
  sqlite3_stmt* statement = NULL;
  engine_error error = {"the settings are not those of a store"};
  int good = sqlite3_prepare_v2(sqlite3_context_db_handle(context), kSql, -1, &statement, NULL) ==
                 SQLITE_OK &&
             sqlite3_bind_value(statement, 1, settings) == SQLITE_OK &&
             sqlite3_step(statement) == SQLITE_ROW &&
             sqlite3_column_type(statement, 0) == SQLITE_TEXT;
  if (good && sqlite3_column_int(statement, 1) != 0) {
    strcpy(error.text, "--cover, --width, --modes, --whole, --align: limits of the program alone");
    good = 0;
  } else if (good) {
    good = engine_read_rule((const char*)sqlite3_column_text(statement, 0),
                            (size_t)sqlite3_column_bytes(statement, 0), rule, &error);
  }
  sqlite3_finalize(statement);
  return good || Tell(context, error.text);
}

static void StoreFinal(sqlite3_context* context) {
  Stored* stored = sqlite3_aggregate_context(context, 0);
  limes_limit* limit = NULL;
  limes_rule rule;
  const void* bytes[3] = {NULL, NULL, NULL};
  size_t sizes[3] = {0, 0, 0};
  int i;
  if (stored == NULL || stored->settings == NULL) {
    sqlite3_result_null(context);
    return;
  }
  for (i = 0; i < 3; ++i) {
    sqlite3_value* value = i < 2 ? stored->records[i] : stored->scores;
    if (value != NULL) {
      bytes[i] = sqlite3_value_blob(value);
      sizes[i] = (size_t)sqlite3_value_bytes(value);
    }
  }
  if (GetStoredRule(context, stored->settings, &rule)) {
    const limes_status status = limes_read_records(&rule, bytes[0], sizes[0], bytes[1], sizes[1],
                                                   bytes[2], sizes[2], &limit);
    if (status == LIMES_OK) {
      GiveState(context, limit);
    } else {
      TellStatus(context, status, NULL);
    }
  }
  for (i = 0; i < 2; ++i) {
    sqlite3_value_free(stored->records[i]);
  }
  sqlite3_value_free(stored->settings);
  sqlite3_value_free(stored->scores);
}

/* A member of a JSON object; null for what is no number. */
static void PutNumber(sqlite3_str* json, const char* name, double number) {
  sqlite3_str_appendf(json, number == number ? ",\"%s\":%!.17g" : ",\"%s\":null", name, number);
}

static void Judge(sqlite3_context* context, int count, sqlite3_value** values) {
  limes_limit* limit = GetLimit(context, values[0]);
  limes_outcome outcome = LIMES_NOT_JUDGED;
  limes_judgement judgement;
  limes_side side = LIMES_UPPER;
  limes_status status = LIMES_OK;
  sqlite3_str* json = NULL;
  Given given;
  (void)count;
  if (limit == NULL || sqlite3_value_type(values[1]) == SQLITE_NULL ||
      !GetPart(context, values[1], values[2], &given)) {
    return;
  }
  status = given.kind == LIMES_VALUE
               ? limes_judge_value(limit, given.value, engine_unit(&given.grid), &outcome)
               : limes_judge_curve(limit, &given.curve, &outcome);
  FreePart(&given);
  if (status == LIMES_OK) {
    status = engine_worst(limit, &side, &judgement);
  }
  if (status != LIMES_OK) {
    TellStatus(context, status, limit);
    return;
  }
  json = sqlite3_str_new(sqlite3_context_db_handle(context));
  sqlite3_str_appendf(json, "{\"verdict\":\"%s\",\"side\":\"%s\"", engine_outcome_text(outcome),
                      engine_side_text(side));
  if (outcome == LIMES_NOT_JUDGED) {
    sqlite3_str_appendf(json, ",\"reason\":\"%s\"", limes_reason_text(judgement.reason));
  } else {
    PutNumber(json, "excess", judgement.excess);
    PutNumber(json, "x", judgement.x);
    PutNumber(json, "value", judgement.value);
    PutNumber(json, "limit", judgement.limit);
    PutNumber(json, "mean", judgement.mean);
    PutNumber(json, "spread", judgement.spread);
  }
  PutNumber(json, "share", judgement.share);
  sqlite3_str_appendchar(json, 1, '}');
  if (sqlite3_str_errcode(json) != SQLITE_OK) {
    sqlite3_result_error_nomem(context);
    sqlite3_free(sqlite3_str_finish(json));
    return;
  }
  sqlite3_result_text(context, sqlite3_str_finish(json), -1, sqlite3_free);
}

static void Learnt(sqlite3_context* context, int count, sqlite3_value** values) {
  const limes_limit* limit = GetLimit(context, values[0]);
  (void)count;
  if (limit != NULL) {
    sqlite3_result_int64(context, limes_learnt(limit));
  }
}

static void FreeCache(void* cache) {
  engine_clear(cache);
  sqlite3_free(cache);
}

/* A function with a limit of its own that it remembers from call to call. */
static int CreateFunction(sqlite3* db, const char* name, int count,
                          void (*call)(sqlite3_context*, int, sqlite3_value**)) {
  engine_cache* cache = sqlite3_malloc(sizeof *cache);
  if (cache == NULL) {
    return SQLITE_NOMEM;
  }
  memset(cache, 0, sizeof *cache);
  return sqlite3_create_function_v2(db, name, count,
                                    SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS, cache,
                                    call, NULL, NULL, FreeCache);
}

static int CreateAggregate(sqlite3* db, const char* name, int count,
                           void (*step)(sqlite3_context*, int, sqlite3_value**)) {
  return sqlite3_create_function_v2(db, name, count, SQLITE_UTF8 | SQLITE_INNOCUOUS, NULL, NULL,
                                    step, Final, NULL);
}

LIMES_C_API int sqlite3_limessqlite_init(sqlite3* db, char** error,
                                         const sqlite3_api_routines* api) {
  int status = SQLITE_OK;
  SQLITE_EXTENSION_INIT2(api)
  (void)error;
  status = CreateAggregate(db, "limes_learn", 2, LearnStep);
  status = status == SQLITE_OK ? CreateAggregate(db, "limes_learn", 3, LearnStep) : status;
  status = status == SQLITE_OK ? CreateAggregate(db, "limes_merge", 1, MergeStep) : status;
  status = status == SQLITE_OK ? sqlite3_create_function_v2(db, "limes_of_store", 4, SQLITE_UTF8,
                                                            NULL, NULL, StoreStep, StoreFinal, NULL)
                               : status;
  status = status == SQLITE_OK ? CreateFunction(db, "limes_judge", 3, Judge) : status;
  status = status == SQLITE_OK ? CreateFunction(db, "limes_learnt", 1, Learnt) : status;
  return status == SQLITE_OK ? CreateLimitsTable(db) : status;
}
