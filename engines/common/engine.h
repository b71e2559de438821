/* What the modules of all databases have in common: rule and grid as text, the side of a judgement
 * to tell of, and the limit of the state that was asked for last. */
#ifndef LIMES_ENGINES_COMMON_ENGINE_H
#define LIMES_ENGINES_COMMON_ENGINE_H

#include "limes/c/limes.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { ENGINE_TEXT = 64, ENGINE_ERROR = 200 };

/** What is wrong with a text: a sentence, empty when nothing is. */
typedef struct engine_error {
  char text[ENGINE_ERROR];
} engine_error;

/** How values lie along x, and their units. */
typedef struct engine_grid {
  double x0;        /**< 0 */
  double dx;        /**< 1 */
  double reference; /**< of dB; 0: none */
  int doubles;      /**< bytes hold doubles, not floats */
  int is_along_x;   /**< x0, dx, x_unit or type was given: not a grid of a single value */
  char x_unit[ENGINE_TEXT];
  char unit[ENGINE_TEXT];
  int has_unit;
} engine_grid;

/** Reads words "key=value" with spaces between them, as "sides=upper base=3 reject=0.01": sides
 *  (upper, lower, both), base, reject, factor, time_scale, min_parts, precise. Null or empty: the
 *  defaults. 0 and the error for anything else. */
int engine_read_rule(const char* text, size_t size, limes_rule* rule, engine_error* error);

/** Makes a limit that learns, unless there is one: then LIMES_ARGUMENT for another rule than its
 * own. Rules are texts of each row, and one of them would be ignored. */
limes_status engine_begin(limes_kind kind, const limes_rule* rule, limes_limit** limit);

/** As engine_read_rule: x0, dx, x_unit, unit, reference, type (float32, float64), as "dx=10
 * x_unit=Hz". */
int engine_read_grid(const char* text, size_t size, engine_grid* grid, engine_error* error);

/** The curve of a grid without its values, whose texts stay the grid's. */
limes_curve engine_curve(const engine_grid* grid);

/** The unit of a single value; null: not given. */
const char* engine_unit(const engine_grid* grid);

/** The side of the last judgement to tell of: one that failed before one that was not judged before
 *  one that passed, of two alike the one with the larger excess. */
limes_status engine_worst(const limes_limit* limit, limes_side* side, limes_judgement* judgement);

/** Texts of an outcome and of a side. */
const char* engine_outcome_text(int32_t outcome);
const char* engine_side_text(limes_side side);

/** Mean, spread and both limits along x, NaN where there are none. To be freed by
 * engine_free_limits. */
typedef struct engine_limits {
  size_t count;
  double* x;
  double* mean;
  double* spread;
  double* lower;
  double* upper;
} engine_limits;

limes_status engine_make_limits(limes_limit* limit, engine_limits* limits);
void engine_free_limits(engine_limits* limits);

/** Keeps the limit of the state last read, so that the next part is judged without reading it. */
typedef struct engine_cache {
  void* bytes;
  size_t size;
  limes_limit* limit;
} engine_cache;

/** The limit of a state, which stays the cache's. */
limes_status engine_cached(engine_cache* cache, const void* bytes, size_t size,
                           limes_limit** limit);
void engine_clear(engine_cache* cache);

#ifdef __cplusplus
}
#endif

#endif
