/* Learns limits of a spectrum from good parts, judges two more parts, and hands the state on: the C
 * interface from beginning to end. */
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include "limes/c/limes.h"

enum { kPoints = 200 };

/* Noise from -1 to 1, the same on every machine. */
static float Noise(uint32_t* state) {
  *state = *state * 1664525U + 1013904223U;
  return (float)(*state >> 8) / 8388608.0F - 1.0F;
}

static void Measure(uint32_t part, float* level) {
  uint32_t state = part * 2654435761U + 1U;
  int i;
  for (i = 0; i < kPoints; ++i) {
    level[i] = 60.0F + 0.05F * (float)i + Noise(&state) + Noise(&state) + Noise(&state);
  }
}

static void Require(limes_status status, const limes_limit* limit) {
  if (status != LIMES_OK) {
    fprintf(stderr, "limits: %s: %s\n", limes_status_text(status), limes_error(limit));
    exit(1);
  }
}

static void Judge(limes_limit* limit, const limes_curve* part) {
  static const char* const kOutcomes[] = {"OK", "NOK", "not judged"};
  limes_outcome outcome = LIMES_NOT_JUDGED;
  limes_judgement judgement = {0};
  Require(limes_judge_curve(limit, part, &outcome), limit);
  judgement.size = sizeof judgement;
  Require(limes_judgement_of(limit, LIMES_UPPER, &judgement), limit);
  printf("%s: largest excess %.2f dB at %.0f Hz\n", kOutcomes[outcome], judgement.excess,
         judgement.x);
}

int main(void) {
  float level[kPoints];
  limes_rule rule;
  limes_curve part = {0};
  limes_limit* limit = NULL;
  limes_limit* copy = NULL;
  limes_promise promise = {0};
  void* state = NULL;
  size_t size = 0;
  uint32_t i;

  limes_rule_init(&rule);
  rule.reject = 0.05;
  Require(limes_new(LIMES_CURVE, &rule, &limit), limit);

  part.size = sizeof part;
  part.floats = level;
  part.count = kPoints;
  part.x0 = 0.0;
  part.dx = 10.0;
  part.x_unit = "Hz";
  part.unit = "dB";
  for (i = 0; i < 60; ++i) {
    Measure(i, level);
    Require(limes_learn_curve(limit, &part), limit);
  }
  promise.size = sizeof promise;
  Require(limes_promise_of(limit, &promise), limit);
  printf("%lld parts learnt, of further good parts at most %.1f %% are rejected (factor %.2f)\n",
         (long long)limes_learnt(limit), 100.0 * promise.promised, promise.factor_upper);

  Measure(1000, level);
  Judge(limit, &part);
  level[120] += 12.0F;
  Judge(limit, &part);

  /* The state as bytes: into a file, a database, another process. */
  if (limes_write(limit, NULL, &size) != LIMES_BUFFER || (state = malloc(size)) == NULL) {
    return 1;
  }
  Require(limes_write(limit, state, &size), limit);
  Require(limes_read(state, size, &copy), NULL);
  Judge(copy, &part);

  free(state);
  limes_free(copy);
  limes_free(limit);
  return 0;
}
