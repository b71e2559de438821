/* The C interface of limes: limits learnt from good parts, as handles and as bytes. C99.
 *
 * Every function that can fail returns a status and changes nothing unless LIMES_OK; none throws or
 * aborts. A handle is used by one thread at a time, different handles by any number of threads.
 * Texts are UTF-8 with a terminating zero. Structs begin with their size, which the caller sets (or
 * the init function): a newer library accepts the structs of an older header. */
#ifndef LIMES_C_LIMES_H
#define LIMES_C_LIMES_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && !defined(LIMES_C_STATIC)
#ifdef LIMES_C_BUILD
#define LIMES_C_API __declspec(dllexport)
#else
#define LIMES_C_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define LIMES_C_API __attribute__((visibility("default")))
#else
#define LIMES_C_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** What came of a call. limes_error says more. */
typedef enum limes_status {
  LIMES_OK = 0,
  LIMES_ARGUMENT = 1, /**< a null pointer, a struct too small, a number out of its range */
  LIMES_MEMORY = 2,   /**< memory is short */
  LIMES_KIND = 3,     /**< the limit is of another kind of measurement */
  LIMES_UNIT = 4,     /**< a text that names no known unit */
  LIMES_PART = 5,     /**< the part cannot be learnt */
  LIMES_STATE = 6,    /**< the bytes are no state, or damaged */
  LIMES_MERGE = 7,    /**< the states cannot be joined */
  LIMES_BUFFER = 8,   /**< the buffer is too small; the size needed was given */
  LIMES_NOTHING = 9,  /**< there is nothing yet to hand out */
  LIMES_UNKNOWN = 10  /**< what the host has replaced, as its heap, threw an error of its own: free
                           the limit, it may be half changed */
} limes_status;

/** What is measured. */
typedef enum limes_kind { LIMES_VALUE = 1, LIMES_CURVE = 2, LIMES_TRACK = 3 } limes_kind;

/** Which side of a measurement is limited. */
typedef enum limes_side { LIMES_UPPER = 0, LIMES_LOWER = 1, LIMES_BOTH = 2 } limes_side;

/** What the limits say of a part. */
typedef enum limes_outcome { LIMES_PASS = 0, LIMES_FAIL = 1, LIMES_NOT_JUDGED = 2 } limes_outcome;

/** Limits of one quantity: learners, scores of the parts learnt, rule and the last judgement. */
typedef struct limes_limit limes_limit;

/** How limits follow from what is learnt: base + mean + factor * spread, and the mirror image. */
typedef struct limes_rule {
  size_t size;        /**< of this struct */
  int32_t sides;      /**< a limes_side; LIMES_BOTH */
  int32_t time_scale; /**< parts after which old ones are forgotten by and by, 1 to 10000; 10000:
                           never. Tracks have 200 */
  double base;        /**< from 0 on, in the unit; 0 */
  double reject;      /**< rate of good parts that may be rejected, between 0 and 1; 0.01 */
  double factor;      /**< from 0 on, replaces the rate; NaN: it follows from the rate */
  int32_t min_parts;  /**< fewer learnt parts judge nothing; 3 */
  int32_t precise;    /**< 1: curves in double, see limes_convert; 0 */
} limes_rule;

/** A measured curve or track: values at equal steps of x. Either floats or doubles is given, the
 *  other is null; doubles are rounded to float. Nothing is kept of it after the call. */
typedef struct limes_curve {
  size_t size;            /**< of this struct */
  const float* floats;    /**< count values, or null */
  const double* doubles;  /**< count values, or null */
  size_t count;           /**< at most 2^31 - 1 */
  double x0;              /**< x of the first value */
  double dx;              /**< step, above 0 */
  const char* x_unit;     /**< as "Hz"; null or empty: none */
  const char* unit;       /**< of the values */
  const uint8_t* covered; /**< for each value 0 where nothing was measured; null: everywhere */
  double reference;       /**< of a level in dB, as 2e-5 of "dB(Pa)"; 0: none */
} limes_curve;

/** Judgement of a part by the limit of one side, in the sign of the measurement. The numbers are 0
 *  when nothing could be compared. */
typedef struct limes_judgement {
  size_t size;     /**< of this struct */
  int32_t outcome; /**< a limes_outcome */
  int32_t reason;  /**< why it was not judged, for limes_reason_text; 0: it was */
  double share;    /**< of the learnt range that was judged, 0 to 1 */
  double x_first;  /**< first and last x judged */
  double x_last;
  double excess; /**< largest distance beyond the limit; below 0 inside it */
  double x;      /**< where that lies; the four numbers that follow are that point's */
  double value;
  double limit;
  double mean;
  double spread;
  double in_spreads;   /**< the factor at which the part would just pass; NaN: no spread */
  double x_in_spreads; /**< where that is */
} limes_judgement;

/** A run of neighbouring points beyond the limit. */
typedef struct limes_region {
  double x_first;
  double x_last;
  double x; /**< where it is worst; the numbers that follow are that point's */
  double excess;
  double value;
  double limit;
} limes_region;

/** What a limit promises: see limes_promise_of. */
typedef struct limes_promise {
  size_t size;   /**< of this struct */
  int32_t basis; /**< 0: no limit yet, or a given factor; 1: promised; 2: extrapolated */
  int32_t reserved;
  int64_t scores;  /**< good parts judged before they were learnt */
  double promised; /**< chance that a further good part is rejected */
  double low;      /**< 95 % interval of the rate that is reached */
  double high;
  double factor_upper; /**< in the limits; NaN: none */
  double factor_lower;
} limes_promise;

/** Version of the library, as "0.2.0". */
LIMES_C_API const char* limes_version(void);

/** A status, and the reason of a judgement, in English; valid for the process. */
LIMES_C_API const char* limes_status_text(int32_t status);
LIMES_C_API const char* limes_reason_text(int32_t reason);

/** Sets the defaults of a rule, and its size. */
LIMES_C_API void limes_rule_init(limes_rule* rule);

/** A limit that has learnt nothing; null for the default rule. To be freed by limes_free. */
LIMES_C_API limes_status limes_new(limes_kind kind, const limes_rule* rule, limes_limit** limit);

/** Frees a limit; null is none. */
LIMES_C_API void limes_free(limes_limit* limit);

/** Why the last call with this limit failed; empty when it did not. Valid until the next call. */
LIMES_C_API const char* limes_error(const limes_limit* limit);

/** Kind, rule (its size set before) and number of parts learnt. */
LIMES_C_API limes_kind limes_kind_of(const limes_limit* limit);
LIMES_C_API limes_status limes_rule_of(const limes_limit* limit, limes_rule* rule);
LIMES_C_API int64_t limes_learnt(const limes_limit* limit);

/** Learns a good part. LIMES_PART says why it cannot be learnt: another unit or step, values that
 *  are not finite, too short, no signal. A value without a unit (null) fits those learnt so. O(n).
 */
LIMES_C_API limes_status limes_learn_value(limes_limit* limit, double value, const char* unit);
LIMES_C_API limes_status limes_learn_curve(limes_limit* limit, const limes_curve* part);

/** Judges a part on all sides that are limited: failed when one fails, passed when all pass. What
 *  was not measured is never passed: a curve passes when 90 %, a track when 50 % of the limit was
 *  compared. LIMES_OK also when it could not be judged; limes_judgement_of says why. O(n). */
LIMES_C_API limes_status limes_judge_value(limes_limit* limit, double value, const char* unit,
                                           limes_outcome* outcome);
LIMES_C_API limes_status limes_judge_curve(limes_limit* limit, const limes_curve* part,
                                           limes_outcome* outcome);

/** The last judgement by the limit of a side; LIMES_NOTHING before one. Its size is set before. */
LIMES_C_API limes_status limes_judgement_of(const limes_limit* limit, limes_side side,
                                            limes_judgement* judgement);

/** The regions beyond the limit of a side in the last judgement, in order of x. count: room, then
 *  the number there is. LIMES_BUFFER when that is more than the room; regions may be null then. */
LIMES_C_API limes_status limes_regions(const limes_limit* limit, limes_side side,
                                       limes_region* regions, size_t* count);

/** What the limit promises. Its size is set before. */
LIMES_C_API limes_status limes_promise_of(limes_limit* limit, limes_promise* promise);

/** Mean, spread and limit of a side along x, in the sign of the measurement; any but x may be null,
 *  x too. A value has one point. count: room, then the number there is; LIMES_BUFFER when that is
 *  more than the room. NaN where there is no limit yet. O(n). */
LIMES_C_API limes_status limes_limits(limes_limit* limit, limes_side side, double* x, double* mean,
                                      double* spread, double* bound, size_t* count);

/** Joins with what was learnt elsewhere by the same rule; the other stays as it is. O(n). */
LIMES_C_API limes_status limes_merge(limes_limit* limit, const limes_limit* other);

/** From a state of curves in float to a precise one (1), and back (0). Precise states joined in any
 *  order, of any number of parts, give the limits of learning the parts one after the other, within
 *  1e-9 of the spread, by a given factor: the rate's follows from scores, which depend on what was
 *  learnt before each part. They have no time scale and take 24 bytes a point and side instead
 * of 8. Their limits are told in double, and rounded to float once to judge. What was learnt in
 * float keeps its rounding; back in float the spread is known to M^2 / S 2^-24. LIMES_KIND for
 * values, which are held in double anyway, and tracks; LIMES_ARGUMENT with a time scale. O(n). */
LIMES_C_API limes_status limes_convert(limes_limit* limit, int32_t precise);

/** Writes the whole state, bit for bit. size: room, then the bytes there are; LIMES_BUFFER when
 *  they are more than the room, bytes may be null then. O(n). */
LIMES_C_API limes_status limes_write(const limes_limit* limit, void* bytes, size_t* size);

/** A limit of the bytes of a state, which may come from anywhere: LIMES_STATE when they are none.
 *  To be freed by limes_free. O(n). */
LIMES_C_API limes_status limes_read(const void* bytes, size_t size, limes_limit** limit);

/** A limit by a rule of what a store of the program keeps apart: the `record` of the state of each
 *  side, null and 0 of one that the rule does not limit, and that of the scores, null and 0 where
 *  the factor is given. LIMES_STATE when they are none, or not of the same parts. To be freed by
 *  limes_free. O(n). */
LIMES_C_API limes_status limes_read_records(const limes_rule* rule, const void* upper,
                                            size_t upper_size, const void* lower, size_t lower_size,
                                            const void* scores, size_t scores_size,
                                            limes_limit** limit);

#ifdef __cplusplus
}
#endif

#endif
