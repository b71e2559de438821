#include "limes/c/limes.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "limes/c/given.h"
#include "limes/c/limit_handle.h"
#include "limes/c/limit_rows.h"
#include "limes/c/state.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/print_window.h"
#include "limes/version.h"

namespace {

using namespace limes;
using namespace limes::c;

/// What is wrong comes as a status, not on standard error.
[[maybe_unused]] const PrWin::Sink kFormerSink =
    PrWin::SetSink([](int /*category*/, int /*style*/, std::u16string_view /*text*/) {});

/// Uses the limit with a part, which only some kinds take.
template <class Part, class Use>
void WithPart(AnyLimit& any, const Part& part, Use use) {
  std::visit(
      [&]<class Limit>(Limit& limit) {
        if constexpr (requires { limit.LearnPart(part); }) {
          use(limit);
        } else {
          throw SFailure{LIMES_KIND, "the limit is of another kind of measurement"};
        }
      },
      any);
}

template <class Part>
void Learn(limes_limit& limit, const Part& part) {
  WithPart(limit.any, part, [&](auto& known) {
    const PartStatus status = known.LearnPart(part);
    if (status == PartStatus::kMemory) {
      throw std::bad_alloc();
    }
    if (status != PartStatus::kOk) {
      throw SFailure{LIMES_PART, WideToUtf8(Text(status))};
    }
  });
}

template <class Part>
limes_outcome Judge(limes_limit& limit, const Part& part) {
  limes_outcome outcome = LIMES_PASS;
  WithPart(limit.any, part, [&](auto& known) {
    limit.judged = false;
    known.JudgePart(part, limit.judgement);
    for (const Side side : known.Formed().Limited()) {
      const SPartJudgement& judgement = limit.judgement[side];
      if (judgement.reason == PartStatus::kMemory) {
        throw std::bad_alloc();
      }
      if (judgement.verdict == Verdict::kFail) {
        outcome = LIMES_FAIL;
      } else if (judgement.verdict == Verdict::kNotJudged && outcome == LIMES_PASS) {
        outcome = LIMES_NOT_JUDGED;
      }
    }
    limit.judged = true;
  });
  return outcome;
}

}  // namespace

extern "C" {

const char* limes_version() { return LIMES_VERSION_STRING; }

const char* limes_reason_text(int32_t reason) {
  const char* text = "no such reason";
  const limes_status status = Caught(nullptr, [&] {
    static const std::vector<std::string> kTexts = [] {
      std::vector<std::string> texts;
      for (int i = 0; i <= static_cast<int>(PartStatus::kNoLimit); ++i) {
        texts.push_back(WideToUtf8(Text(static_cast<PartStatus>(i))));
      }
      return texts;
    }();
    if (reason >= 0 && static_cast<std::size_t>(reason) < kTexts.size()) {
      text = kTexts[static_cast<std::size_t>(reason)].c_str();
    }
  });
  return status == LIMES_OK ? text : limes_status_text(status);
}

void limes_rule_init(limes_rule* rule) {
  if (rule != nullptr) {
    *rule = RuleOf(SRatedRule());
  }
}

limes_status limes_new(limes_kind kind, const limes_rule* rule, limes_limit** limit) {
  return MakeLimit(limit, [&] {
    if (rule != nullptr) {
      Check(rule, LeastSize<limes_rule>(kRuleSize));
    }
    const bool precise = rule != nullptr && rule->precise != 0;
    Require(!precise || kind == LIMES_CURVE, "only curves are learnt precisely");
    return Made(precise ? kPrecise : kind, rule == nullptr ? SRatedRule() : RuleOf(*rule));
  });
}

void limes_free(limes_limit* limit) { delete limit; }

const char* limes_error(const limes_limit* limit) {
  return limit == nullptr ? "" : limit->error.c_str();
}

limes_kind limes_kind_of(const limes_limit* limit) {
  if (limit == nullptr) {
    return static_cast<limes_kind>(0);
  }
  return std::holds_alternative<PreciseLimit>(limit->any)
             ? LIMES_CURVE
             : static_cast<limes_kind>(limit->any.index() + LIMES_VALUE);
}

limes_status limes_rule_of(const limes_limit* limit, limes_rule* rule) {
  return Guarded(limit, [&] {
    limes_rule made =
        std::visit([](const auto& known) { return RuleOf(known.Rule()); }, limit->any);
    made.precise = std::holds_alternative<PreciseLimit>(limit->any) ? 1 : 0;
    Fill(rule, made, LeastSize<limes_rule>(kRuleSize));
  });
}

int64_t limes_learnt(const limes_limit* limit) {
  return limit == nullptr
             ? 0
             : std::visit([](const auto& known) { return known.Learnt(); }, limit->any);
}

limes_status limes_learn_value(limes_limit* limit, double value, const char* unit) {
  return Guarded(limit, [&] {
    SValuePart part(value);
    part.unit = UnitOf(unit);
    Learn(*limit, part);
  });
}

limes_status limes_learn_curve(limes_limit* limit, const limes_curve* part) {
  return Guarded(limit, [&] {
    const SGivenCurve given(limit->last, part);
    Learn(*limit, SCurvePart(given.curve, given.covered));
  });
}

limes_status limes_judge_value(limes_limit* limit, double value, const char* unit,
                               limes_outcome* outcome) {
  return Guarded(limit, [&] {
    Require(outcome != nullptr, "a null pointer");
    SValuePart part(value);
    part.unit = UnitOf(unit);
    *outcome = Judge(*limit, part);
  });
}

limes_status limes_judge_curve(limes_limit* limit, const limes_curve* part,
                               limes_outcome* outcome) {
  return Guarded(limit, [&] {
    Require(outcome != nullptr, "a null pointer");
    const SGivenCurve given(limit->last, part);
    *outcome = Judge(*limit, SCurvePart(given.curve, given.covered));
  });
}

limes_status limes_judgement_of(const limes_limit* limit, limes_side side,
                                limes_judgement* judgement) {
  return Guarded(limit, [&] {
    RequireJudged(*limit, SideOf(side));
    const SPartJudgement& j = limit->judgement[SideOf(side)];
    limes_judgement made = {};
    made.outcome = static_cast<std::int32_t>(j.verdict);
    made.reason = static_cast<std::int32_t>(j.reason);
    made.share = j.share;
    made.x_first = j.x0;
    made.x_last = j.x1;
    made.excess = j.deviation;
    made.x = j.x;
    made.value = j.value;
    made.limit = j.limit;
    made.mean = j.mean;
    made.spread = j.spread;
    made.in_spreads = j.inSpreads.value_or(kNone);
    made.x_in_spreads = j.xInSpreads;
    Fill(judgement, made, LeastSize<limes_judgement>(kJudgementSize));
  });
}

limes_status limes_regions(const limes_limit* limit, limes_side side, limes_region* regions,
                           size_t* count) {
  return Guarded(limit, [&] {
    Require(count != nullptr && (regions != nullptr || *count == 0), "a null pointer");
    RequireJudged(*limit, SideOf(side));
    const std::vector<SCurveExcess>& found = limit->judgement.Regions(SideOf(side));
    TellCount(found.size(), count);
    std::transform(found.begin(), found.end(), regions, [](const SCurveExcess& r) {
      return limes_region{r.x0, r.x1, r.x, r.excess, r.value, r.limit};
    });
  });
}

limes_status limes_promise_of(limes_limit* limit, limes_promise* promise) {
  return Guarded(limit, [&] {
    std::visit(
        [&](const auto& known) {
          const SCalibratedLimit& of = known.Promise();
          limes_promise made = {};
          made.basis = static_cast<std::int32_t>(of.basis);
          made.scores = known.Calibration().Scores();
          made.promised = of.promised;
          made.low = of.low;
          made.high = of.high;
          made.factor_upper = known.Factor(Side::kUpper).value_or(kNone);
          made.factor_lower = known.Factor(Side::kLower).value_or(kNone);
          Fill(promise, made, LeastSize<limes_promise>(kPromiseSize));
        },
        limit->any);
  });
}

limes_status limes_limits(limes_limit* limit, limes_side side, double* x, double* mean,
                          double* spread, double* bound, size_t* count) {
  return Guarded(limit, [&] {
    Require(count != nullptr, "a null pointer");
    RequireSide(*limit, SideOf(side));
    if (limes_learnt(limit) == 0) {
      throw SFailure{LIMES_NOTHING, limes_status_text(LIMES_NOTHING)};
    }
    const SLimitRows rows{x, mean, spread, bound};
    PutLimits(limit->any, SideOf(side), rows, count);
  });
}

limes_status limes_merge(limes_limit* limit, const limes_limit* other) {
  return Guarded(limit, [&] {
    Require(other != nullptr && other != limit, "a null pointer, or the limit itself");
    std::visit(
        [&]<class Mine>(Mine& mine) {
          const Mine* const theirs = std::get_if<Mine>(&other->any);
          if (theirs == nullptr) {
            throw SFailure{LIMES_KIND, limes_status_text(LIMES_KIND)};
          }
          const MergeStatus status = mine.Merge(*theirs);
          if (status == MergeStatus::kMemory) {
            throw std::bad_alloc();
          }
          if (status != MergeStatus::kOk) {
            throw SFailure{LIMES_MERGE, WideToUtf8(Text(status))};
          }
        },
        limit->any);
    limit->judged = false;
  });
}

limes_status limes_convert(limes_limit* limit, int32_t precise) {
  return Guarded(limit, [&] {
    const bool is = std::holds_alternative<PreciseLimit>(limit->any);
    if (limes_kind_of(limit) != LIMES_CURVE) {
      throw SFailure{LIMES_KIND, "only curves are learnt precisely"};
    }
    Require(precise == 0 || precise == 1, "neither precise nor not");
    if (is != (precise == 1)) {
      limit->any = Converted(limit->any);
      limit->judged = false;
    }
  });
}

limes_status limes_write(const limes_limit* limit, void* bytes, size_t* size) {
  return Guarded(limit, [&] {
    Require(size != nullptr && (bytes != nullptr || *size == 0), "a null pointer");
    CMemoryStream stream;
    if (!std::visit([&](const auto& known) { return known.WriteState(stream); }, limit->any)) {
      throw std::bad_alloc();
    }
    TellCount(stream.Bytes().size(), size);
    std::memcpy(bytes, stream.Bytes().data(), stream.Bytes().size());
  });
}

limes_status limes_read(const void* bytes, size_t size, limes_limit** limit) {
  return MakeLimit(limit, [&] { return Read(bytes, size); });
}

limes_status limes_read_records(const limes_rule* rule, const void* upper, size_t upper_size,
                                const void* lower, size_t lower_size, const void* scores,
                                size_t scores_size, limes_limit** limit) {
  return MakeLimit(limit, [&] {
    Check(rule, LeastSize<limes_rule>(kRuleSize));
    return ReadRecords(RuleOf(*rule), BytesOf(upper, upper_size), BytesOf(lower, lower_size),
                       BytesOf(scores, scores_size));
  });
}

}  // extern "C"
