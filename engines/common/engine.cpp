#include "engines/common/engine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

/// Puts a sentence about a word into the error: false.
bool Tell(engine_error& error, const char* what, std::string_view word) {
  std::snprintf(error.text, sizeof error.text, "%s: %.*s", what,
                static_cast<int>(std::min<std::size_t>(word.size(), 80)), word.data());
  return false;
}

/// A number, whatever the locale says of decimal points.
template <class Number>
bool Get(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [read, status] = std::from_chars(text.data(), end, number);
  return status == std::errc() && read == end;
}

bool Get(std::string_view text, char (&room)[ENGINE_TEXT]) {
  if (text.size() >= ENGINE_TEXT || text.find('\0') != std::string_view::npos) {
    return false;
  }
  *std::copy(text.begin(), text.end(), room) = '\0';
  return true;
}

/// The number of a text in a list of them.
template <std::size_t n>
bool Get(std::string_view text, const std::array<std::string_view, n>& known,
         std::int32_t& number) {
  const auto found = std::find(known.begin(), known.end(), text);
  number = static_cast<std::int32_t>(found - known.begin());
  return found != known.end();
}

/// Calls take(key, value) for each word, which is false for what it cannot take.
template <class Take>
bool ForEachWord(const char* text, std::size_t size, engine_error* error, Take take) {
  error->text[0] = '\0';
  std::string_view rest = text == nullptr ? std::string_view() : std::string_view(text, size);
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    const std::string_view word = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (word.empty()) {
      continue;
    }
    const std::size_t sign = word.find('=');
    if (sign == std::string_view::npos) {
      return Tell(*error, "not of the form key=value", word);
    }
    if (!take(word.substr(0, sign), word.substr(sign + 1))) {
      return Tell(*error, "no such key, or not with this value", word);
    }
  }
  return true;
}

constexpr std::array<std::string_view, 3> kSides = {"upper", "lower", "both"};
constexpr std::array<std::string_view, 2> kTypes = {"float32", "float64"};

/// How much worse an outcome is.
int Rank(std::int32_t outcome) {
  return outcome == LIMES_FAIL ? 2 : outcome == LIMES_NOT_JUDGED ? 1 : 0;
}

}  // namespace

extern "C" {

int engine_read_rule(const char* text, size_t size, limes_rule* rule, engine_error* error) {
  limes_rule_init(rule);
  return ForEachWord(text, size, error, [rule](std::string_view key, std::string_view value) {
    return key == "sides"        ? Get(value, kSides, rule->sides)
           : key == "base"       ? Get(value, rule->base)
           : key == "reject"     ? Get(value, rule->reject)
           : key == "factor"     ? Get(value, rule->factor)
           : key == "time_scale" ? Get(value, rule->time_scale)
           : key == "min_parts"  ? Get(value, rule->min_parts)
           : key == "precise"    ? Get(value, rule->precise)
                                 : false;
  });
}

limes_status engine_begin(limes_kind kind, const limes_rule* rule, limes_limit** limit) {
  if (*limit == nullptr) {
    return limes_new(kind, rule, limit);
  }
  limes_rule own = {};
  own.size = sizeof own;
  const limes_status status = limes_rule_of(*limit, &own);
  if (status != LIMES_OK) {
    return status;
  }
  const auto same = [](double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); };
  return own.sides == rule->sides && own.time_scale == rule->time_scale &&
                 own.min_parts == rule->min_parts && own.precise == rule->precise &&
                 same(own.base, rule->base) && same(own.reject, rule->reject) &&
                 same(own.factor, rule->factor)
             ? LIMES_OK
             : LIMES_ARGUMENT;
}

int engine_read_grid(const char* text, size_t size, engine_grid* grid, engine_error* error) {
  *grid = {};
  grid->dx = 1.0;
  return ForEachWord(text, size, error, [grid](std::string_view key, std::string_view value) {
    if (key == "unit") {
      grid->has_unit = 1;
      return Get(value, grid->unit);
    }
    if (key == "reference") {
      return Get(value, grid->reference);
    }
    grid->is_along_x = 1;
    return key == "x0"       ? Get(value, grid->x0)
           : key == "dx"     ? Get(value, grid->dx)
           : key == "x_unit" ? Get(value, grid->x_unit)
           : key == "type"   ? Get(value, kTypes, grid->doubles)
                             : false;
  });
}

limes_curve engine_curve(const engine_grid* grid) {
  limes_curve curve = {};
  curve.size = sizeof curve;
  curve.x0 = grid->x0;
  curve.dx = grid->dx;
  curve.x_unit = grid->x_unit;
  curve.unit = grid->unit;
  curve.reference = grid->reference;
  return curve;
}

const char* engine_unit(const engine_grid* grid) {
  return grid->has_unit != 0 ? grid->unit : nullptr;
}

limes_status engine_worst(const limes_limit* limit, limes_side* side, limes_judgement* judgement) {
  limes_rule rule = {};
  rule.size = sizeof rule;
  limes_status status = limes_rule_of(limit, &rule);
  bool found = false;
  for (const limes_side of : {LIMES_UPPER, LIMES_LOWER}) {
    limes_judgement made = {};
    made.size = sizeof made;
    if (rule.sides != LIMES_BOTH && rule.sides != static_cast<std::int32_t>(of)) {
      continue;
    }
    if (status == LIMES_OK) {
      status = limes_judgement_of(limit, of, &made);
    }
    const int rank = Rank(made.outcome) - (found ? Rank(judgement->outcome) : -1);
    if (rank > 0 || (rank == 0 && made.excess > judgement->excess)) {
      *side = of;
      *judgement = made;
      found = true;
    }
  }
  return status;
}

const char* engine_outcome_text(int32_t outcome) {
  return outcome == LIMES_PASS ? "OK" : outcome == LIMES_FAIL ? "NOK" : "not judged";
}

const char* engine_side_text(limes_side side) { return kSides[side == LIMES_UPPER ? 0 : 1].data(); }

limes_status engine_make_limits(limes_limit* limit, engine_limits* limits) {
  *limits = {};
  limes_rule rule = {};
  rule.size = sizeof rule;
  limes_status status = limes_rule_of(limit, &rule);
  if (status != LIMES_OK) {
    return status;
  }
  const limes_side first = rule.sides == LIMES_LOWER ? LIMES_LOWER : LIMES_UPPER;
  std::size_t n = 0;
  status = limes_limits(limit, first, nullptr, nullptr, nullptr, nullptr, &n);
  if (status != LIMES_BUFFER) {
    return status;
  }
  constexpr std::size_t kRows = 5;
  if (n > std::numeric_limits<std::size_t>::max() / (kRows * sizeof(double))) {
    return LIMES_MEMORY;
  }
  limits->x = static_cast<double*>(std::malloc(n * kRows * sizeof(double)));
  if (limits->x == nullptr) {
    return LIMES_MEMORY;
  }
  limits->count = n;
  limits->mean = limits->x + n;
  limits->spread = limits->mean + n;
  limits->lower = limits->spread + n;
  limits->upper = limits->lower + n;
  std::fill_n(limits->lower, 2 * n, std::numeric_limits<double>::quiet_NaN());
  status = limes_limits(limit, first, limits->x, limits->mean, limits->spread,
                        first == LIMES_LOWER ? limits->lower : limits->upper, &n);
  if (status == LIMES_OK && rule.sides == LIMES_BOTH) {
    status = limes_limits(limit, LIMES_LOWER, nullptr, nullptr, nullptr, limits->lower, &n);
  }
  if (status != LIMES_OK) {
    engine_free_limits(limits);
  }
  return status;
}

void engine_free_limits(engine_limits* limits) {
  std::free(limits->x);
  *limits = {};
}

limes_status engine_cached(engine_cache* cache, const void* bytes, size_t size,
                           limes_limit** limit) {
  if (cache->limit != nullptr && cache->size == size &&
      std::memcmp(cache->bytes, bytes, size) == 0) {
    *limit = cache->limit;
    return LIMES_OK;
  }
  engine_clear(cache);
  const limes_status status = limes_read(bytes, size, &cache->limit);
  if (status != LIMES_OK) {
    return status;
  }
  cache->bytes = std::malloc(size);
  if (cache->bytes == nullptr) {
    engine_clear(cache);
    return LIMES_MEMORY;
  }
  std::memcpy(cache->bytes, bytes, size);
  cache->size = size;
  *limit = cache->limit;
  return LIMES_OK;
}

void engine_clear(engine_cache* cache) {
  limes_free(cache->limit);
  std::free(cache->bytes);
  *cache = {};
}

}  // extern "C"
