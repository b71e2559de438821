/* Learnt limits in PostgreSQL: see limes--1.0.sql for what there is.
 *
 * Limits are the library's memory, not PostgreSQL's: each lies in a box of a memory context that
 * frees it when the context is reset, so that nothing is left behind by an error. */
/* clang-format off: what all others need comes first */
#include "postgres.h"
/* clang-format on */

#include <math.h>

#include "catalog/pg_type.h"
#include "engines/common/engine.h"
#include "fmgr.h"
#include "funcapi.h"
#include "miscadmin.h"
#include "utils/array.h"
#include "utils/builtins.h"
#include "utils/memutils.h"
#include "utils/tuplestore.h"

PG_MODULE_MAGIC;

static void Raise(limes_status status, const limes_limit* limit) {
  const char* why = limes_error(limit);
  const int code = status == LIMES_MEMORY  ? ERRCODE_OUT_OF_MEMORY
                   : status == LIMES_STATE ? ERRCODE_DATA_CORRUPTED
                                           : ERRCODE_INVALID_PARAMETER_VALUE;
  ereport(ERROR,
          (errcode(code), errmsg("limes: %s", *why == '\0' ? limes_status_text(status) : why)));
}

static void RaiseText(const char* why) {
  ereport(ERROR, (errcode(ERRCODE_INVALID_PARAMETER_VALUE), errmsg("limes: %s", why)));
}

/* What the library allocated, in a memory context. */
typedef struct Box {
  limes_limit* limit;
  engine_limits limits;
  engine_cache cache;
  TupleDesc row;
  MemoryContextCallback callback;
} Box;

static void FreeBox(void* argument) {
  Box* box = argument;
  limes_free(box->limit);
  engine_free_limits(&box->limits);
  engine_clear(&box->cache);
}

static Box* MakeBox(MemoryContext context) {
  Box* box = MemoryContextAllocZero(context, sizeof *box);
  box->callback.func = FreeBox;
  box->callback.arg = box;
  MemoryContextRegisterResetCallback(context, &box->callback);
  return box;
}

/* Texts. */

static void GetGrid(text* given, engine_grid* grid) {
  engine_error error;
  if (!engine_read_grid(VARDATA_ANY(given), VARSIZE_ANY_EXHDR(given), grid, &error)) {
    RaiseText(error.text);
  }
}

static void GetValueGrid(text* given, engine_grid* grid) {
  GetGrid(given, grid);
  if (grid->is_along_x) {
    RaiseText("a single value has no x");
  }
}

static void GetRule(FunctionCallInfo fcinfo, int argument, limes_rule* rule) {
  engine_error error;
  text* given =
      PG_NARGS() > argument && !PG_ARGISNULL(argument) ? PG_GETARG_TEXT_PP(argument) : NULL;
  if (!engine_read_rule(given == NULL ? NULL : VARDATA_ANY(given),
                        given == NULL ? 0 : VARSIZE_ANY_EXHDR(given), rule, &error)) {
    RaiseText(error.text);
  }
}

/* A curve of the values of an array, which is not copied unless it has NULLs: there nothing was
 * measured. */
static void GetArray(ArrayType* array, limes_curve* curve) {
  const bool doubles = ARR_ELEMTYPE(array) == FLOAT8OID;
  uint8* covered = NULL;
  Datum* values = NULL;
  bool* nulls = NULL;
  double* copy = NULL;
  int count = 0;
  int i = 0;
  if (ARR_NDIM(array) > 1) {
    RaiseText("a part has one dimension");
  }
  curve->count = (size_t)ArrayGetNItems(ARR_NDIM(array), ARR_DIMS(array));
  if (!ARR_HASNULL(array)) {
    if (doubles) {
      curve->doubles = (const double*)(const void*)ARR_DATA_PTR(array);
    } else {
      curve->floats = (const float*)(const void*)ARR_DATA_PTR(array);
    }
    return;
  }
  deconstruct_array(array, ARR_ELEMTYPE(array), doubles ? sizeof(float8) : sizeof(float4), true,
                    doubles ? TYPALIGN_DOUBLE : TYPALIGN_INT, &values, &nulls, &count);
  copy = palloc((Size)count * sizeof(double));
  covered = palloc((Size)count);
  for (i = 0; i < count; ++i) {
    covered[i] = nulls[i] ? 0 : 1;
    copy[i] = nulls[i]  ? 0.0
              : doubles ? DatumGetFloat8(values[i])
                        : (double)DatumGetFloat4(values[i]);
  }
  curve->doubles = copy;
  curve->covered = covered;
}

/* Steps of the aggregates. */

static MemoryContext AggregateContext(FunctionCallInfo fcinfo) {
  MemoryContext context = NULL;
  if (AggCheckCallContext(fcinfo, &context) == 0) {
    elog(ERROR, "limes: called outside an aggregate");
  }
  return context;
}

/* The box of the aggregate, and in it a limit of this kind by the rule in an argument. */
static Box* LearningBox(FunctionCallInfo fcinfo, limes_kind kind, int ruleArgument) {
  MemoryContext context = AggregateContext(fcinfo);
  Box* box = PG_ARGISNULL(0) ? MakeBox(context) : (Box*)PG_GETARG_POINTER(0);
  limes_rule rule;
  limes_status status = LIMES_OK;
  CHECK_FOR_INTERRUPTS();
  GetRule(fcinfo, ruleArgument, &rule);
  status = engine_begin(kind, &rule, &box->limit);
  if (status == LIMES_ARGUMENT && box->limit != NULL) {
    RaiseText("the rule changes from part to part");
  }
  if (status != LIMES_OK) {
    Raise(status, NULL);
  }
  return box;
}

static Datum SameState(FunctionCallInfo fcinfo) {
  if (PG_ARGISNULL(0)) {
    PG_RETURN_NULL();
  }
  PG_RETURN_DATUM(PG_GETARG_DATUM(0));
}

static void RequireGrid(FunctionCallInfo fcinfo, int argument) {
  if (PG_ARGISNULL(argument)) {
    RaiseText("the grid is NULL; it may be empty");
  }
}

PG_FUNCTION_INFO_V1(pg_limes_learn_step);
Datum pg_limes_learn_step(PG_FUNCTION_ARGS) {
  engine_grid grid;
  limes_curve curve;
  limes_status status = LIMES_OK;
  Box* box = NULL;
  if (PG_ARGISNULL(1)) {
    return SameState(fcinfo);
  }
  RequireGrid(fcinfo, 2);
  box = LearningBox(fcinfo, LIMES_CURVE, 3);
  GetGrid(PG_GETARG_TEXT_PP(2), &grid);
  curve = engine_curve(&grid);
  GetArray(PG_GETARG_ARRAYTYPE_P(1), &curve);
  status = limes_learn_curve(box->limit, &curve);
  if (status != LIMES_OK) {
    Raise(status, box->limit);
  }
  PG_RETURN_POINTER(box);
}

PG_FUNCTION_INFO_V1(pg_limes_learn_value_step);
Datum pg_limes_learn_value_step(PG_FUNCTION_ARGS) {
  engine_grid grid;
  limes_status status = LIMES_OK;
  Box* box = NULL;
  if (PG_ARGISNULL(1)) {
    return SameState(fcinfo);
  }
  RequireGrid(fcinfo, 2);
  box = LearningBox(fcinfo, LIMES_VALUE, 3);
  GetValueGrid(PG_GETARG_TEXT_PP(2), &grid);
  status = limes_learn_value(box->limit, PG_GETARG_FLOAT8(1), engine_unit(&grid));
  if (status != LIMES_OK) {
    Raise(status, box->limit);
  }
  PG_RETURN_POINTER(box);
}

/* Joins another limit, which stays as it is. */
static void AddState(Box* box, const limes_limit* other) {
  limes_status status = LIMES_OK;
  CHECK_FOR_INTERRUPTS();
  if (box->limit == NULL) {
    limes_rule rule;
    rule.size = sizeof rule;
    status = limes_rule_of(other, &rule);
    if (status == LIMES_OK) {
      status = limes_new(limes_kind_of(other), &rule, &box->limit);
    }
  }
  if (status == LIMES_OK) {
    status = limes_merge(box->limit, other);
  }
  if (status != LIMES_OK) {
    Raise(status, box->limit);
  }
}

static Box* ReadState(MemoryContext context, bytea* state) {
  Box* box = MakeBox(context);
  const limes_status status = limes_read(VARDATA_ANY(state), VARSIZE_ANY_EXHDR(state), &box->limit);
  if (status != LIMES_OK) {
    Raise(status, NULL);
  }
  return box;
}

/* Frees a box before its context does, so that a long series of states needs the room of one. */
static void Empty(Box* box) {
  limes_free(box->limit);
  box->limit = NULL;
}

PG_FUNCTION_INFO_V1(pg_limes_merge_step);
Datum pg_limes_merge_step(PG_FUNCTION_ARGS) {
  MemoryContext context = AggregateContext(fcinfo);
  Box* box = NULL;
  Box* other = NULL;
  if (PG_ARGISNULL(1)) {
    return SameState(fcinfo);
  }
  box = PG_ARGISNULL(0) ? MakeBox(context) : (Box*)PG_GETARG_POINTER(0);
  other = ReadState(CurrentMemoryContext, PG_GETARG_BYTEA_PP(1));
  AddState(box, other->limit);
  Empty(other);
  PG_RETURN_POINTER(box);
}

PG_FUNCTION_INFO_V1(pg_limes_combine);
Datum pg_limes_combine(PG_FUNCTION_ARGS) {
  MemoryContext context = AggregateContext(fcinfo);
  Box* box = NULL;
  if (PG_ARGISNULL(1)) {
    return SameState(fcinfo);
  }
  box = PG_ARGISNULL(0) ? MakeBox(context) : (Box*)PG_GETARG_POINTER(0);
  AddState(box, ((Box*)PG_GETARG_POINTER(1))->limit);
  PG_RETURN_POINTER(box);
}

PG_FUNCTION_INFO_V1(pg_limes_deserial);
Datum pg_limes_deserial(PG_FUNCTION_ARGS) {
  AggregateContext(fcinfo);
  PG_RETURN_POINTER(ReadState(CurrentMemoryContext, PG_GETARG_BYTEA_PP(0)));
}

PG_FUNCTION_INFO_V1(pg_limes_final);
Datum pg_limes_final(PG_FUNCTION_ARGS) {
  const Box* box = PG_ARGISNULL(0) ? NULL : (const Box*)PG_GETARG_POINTER(0);
  bytea* state = NULL;
  size_t size = 0;
  limes_status status = LIMES_OK;
  AggregateContext(fcinfo);
  if (box == NULL || box->limit == NULL) {
    PG_RETURN_NULL();
  }
  status = limes_write(box->limit, NULL, &size);
  if (status == LIMES_BUFFER) {
    state = palloc(size + VARHDRSZ);
    SET_VARSIZE(state, size + VARHDRSZ);
    status = limes_write(box->limit, VARDATA(state), &size);
  }
  if (status != LIMES_OK) {
    Raise(status, box->limit);
  }
  PG_RETURN_BYTEA_P(state);
}

/* The type. */

static Datum Checked(Datum state) {
  Empty(ReadState(CurrentMemoryContext, DatumGetByteaPP(state)));
  return state;
}

PG_FUNCTION_INFO_V1(pg_limes_in);
Datum pg_limes_in(PG_FUNCTION_ARGS) {
  return Checked(DirectFunctionCall1(byteain, PG_GETARG_DATUM(0)));
}

PG_FUNCTION_INFO_V1(pg_limes_recv);
Datum pg_limes_recv(PG_FUNCTION_ARGS) {
  return Checked(DirectFunctionCall1(bytearecv, PG_GETARG_DATUM(0)));
}

PG_FUNCTION_INFO_V1(pg_limes_check);
Datum pg_limes_check(PG_FUNCTION_ARGS) { return Checked(PG_GETARG_DATUM(0)); }

/* Functions of a state. */

/* The box of a function, with the limit of its state and its row type; the same from call to call.
 */
static limes_limit* GetLimit(FunctionCallInfo fcinfo) {
  bytea* state = PG_GETARG_BYTEA_PP(0);
  limes_limit* limit = NULL;
  limes_status status = LIMES_OK;
  if (fcinfo->flinfo->fn_extra == NULL) {
    fcinfo->flinfo->fn_extra = MakeBox(fcinfo->flinfo->fn_mcxt);
  }
  status = engine_cached(&((Box*)fcinfo->flinfo->fn_extra)->cache, VARDATA_ANY(state),
                         VARSIZE_ANY_EXHDR(state), &limit);
  if (status != LIMES_OK) {
    Raise(status, NULL);
  }
  return limit;
}

static Datum MakeRow(FunctionCallInfo fcinfo, Datum* values, bool* nulls) {
  Box* box = fcinfo->flinfo->fn_extra;
  if (box->row == NULL) {
    TupleDesc row = NULL;
    MemoryContext before = MemoryContextSwitchTo(fcinfo->flinfo->fn_mcxt);
    if (get_call_result_type(fcinfo, NULL, &row) != TYPEFUNC_COMPOSITE) {
      elog(ERROR, "limes: called for no row");
    }
    box->row = BlessTupleDesc(CreateTupleDescCopy(row));
    MemoryContextSwitchTo(before);
  }
  return HeapTupleGetDatum(heap_form_tuple(box->row, values, nulls));
}

/* Columns of a row, one after the other; a number that is NaN is NULL. */
enum { MOST_COLUMNS = 10 };
typedef struct Row {
  Datum values[MOST_COLUMNS];
  bool nulls[MOST_COLUMNS];
  int count;
} Row;

static void Put(Row* row, Datum value, bool null) {
  row->values[row->count] = value;
  row->nulls[row->count++] = null;
}

static void PutNumber(Row* row, double number, bool null) {
  Put(row, Float8GetDatum(number), null || isnan(number));
}

static void PutText(Row* row, const char* text) {
  Put(row, text == NULL ? (Datum)0 : CStringGetTextDatum(text), text == NULL);
}

static Datum Judgement(FunctionCallInfo fcinfo, const limes_limit* limit, limes_outcome outcome,
                       limes_status status) {
  limes_judgement judgement = {0};
  limes_side side = LIMES_UPPER;
  const bool none = outcome == LIMES_NOT_JUDGED;
  Row row = {.count = 0};
  if (status == LIMES_OK) {
    status = engine_worst(limit, &side, &judgement);
  }
  if (status != LIMES_OK) {
    Raise(status, limit);
  }
  PutText(&row, engine_outcome_text(outcome));
  PutText(&row, engine_side_text(side));
  PutNumber(&row, judgement.excess, none);
  PutNumber(&row, judgement.x, none);
  PutNumber(&row, judgement.value, none);
  PutNumber(&row, judgement.limit, none);
  PutNumber(&row, judgement.mean, none);
  PutNumber(&row, judgement.spread, none);
  PutNumber(&row, judgement.share, false);
  PutText(&row, none ? limes_reason_text(judgement.reason) : NULL);
  return MakeRow(fcinfo, row.values, row.nulls);
}

PG_FUNCTION_INFO_V1(pg_limes_judge);
Datum pg_limes_judge(PG_FUNCTION_ARGS) {
  limes_limit* limit = GetLimit(fcinfo);
  limes_outcome outcome = LIMES_NOT_JUDGED;
  engine_grid grid;
  limes_curve curve;
  limes_status status = LIMES_OK;
  GetGrid(PG_GETARG_TEXT_PP(2), &grid);
  curve = engine_curve(&grid);
  GetArray(PG_GETARG_ARRAYTYPE_P(1), &curve);
  status = limes_judge_curve(limit, &curve, &outcome);
  return Judgement(fcinfo, limit, outcome, status);
}

PG_FUNCTION_INFO_V1(pg_limes_judge_value);
Datum pg_limes_judge_value(PG_FUNCTION_ARGS) {
  limes_limit* limit = GetLimit(fcinfo);
  limes_outcome outcome = LIMES_NOT_JUDGED;
  engine_grid grid;
  limes_status status = LIMES_OK;
  GetValueGrid(PG_GETARG_TEXT_PP(2), &grid);
  status = limes_judge_value(limit, PG_GETARG_FLOAT8(1), engine_unit(&grid), &outcome);
  return Judgement(fcinfo, limit, outcome, status);
}

PG_FUNCTION_INFO_V1(pg_limes_learnt);
Datum pg_limes_learnt(PG_FUNCTION_ARGS) { PG_RETURN_INT64(limes_learnt(GetLimit(fcinfo))); }

PG_FUNCTION_INFO_V1(pg_limes_info);
Datum pg_limes_info(PG_FUNCTION_ARGS) {
  static const char* const kKinds[] = {"value", "curve", "track"};
  limes_limit* limit = GetLimit(fcinfo);
  limes_promise promise = {.size = sizeof promise};
  const limes_status status = limes_promise_of(limit, &promise);
  const bool none = promise.basis == 0;
  Row row = {.count = 0};
  if (status != LIMES_OK) {
    Raise(status, limit);
  }
  PutText(&row, kKinds[limes_kind_of(limit) - LIMES_VALUE]);
  Put(&row, Int64GetDatum(limes_learnt(limit)), false);
  Put(&row, Int64GetDatum(promise.scores), false);
  PutNumber(&row, promise.promised, none);
  PutNumber(&row, promise.low, none);
  PutNumber(&row, promise.high, none);
  PutNumber(&row, promise.factor_upper, false);
  PutNumber(&row, promise.factor_lower, false);
  return MakeRow(fcinfo, row.values, row.nulls);
}

PG_FUNCTION_INFO_V1(pg_limes_limit);
Datum pg_limes_limit(PG_FUNCTION_ARGS) {
  ReturnSetInfo* result = (ReturnSetInfo*)fcinfo->resultinfo;
  Box* box = ReadState(CurrentMemoryContext, PG_GETARG_BYTEA_PP(0));
  const limes_status status = engine_make_limits(box->limit, &box->limits);
  size_t i = 0;
  if (status != LIMES_OK && status != LIMES_NOTHING) {
    Raise(status, box->limit);
  }
  InitMaterializedSRF(fcinfo, 0);
  for (i = 0; i < box->limits.count; ++i) {
    Row row = {.count = 0};
    CHECK_FOR_INTERRUPTS();
    PutNumber(&row, box->limits.x[i], false);
    PutNumber(&row, box->limits.mean[i], false);
    PutNumber(&row, box->limits.spread[i], false);
    PutNumber(&row, box->limits.lower[i], false);
    PutNumber(&row, box->limits.upper[i], false);
    tuplestore_putvalues(result->setResult, result->setDesc, row.values, row.nulls);
  }
  return (Datum)0;
}
