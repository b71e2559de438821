#include "limes/c/limes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "limes/learning/rated_limit.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/print_window.h"
#include "limes/version.h"

namespace {

using namespace limes;

using ValueLimit = CRatedLimit<CLernenderGrenzwert>;
using CurveLimit = CRatedLimit<CKurvenLernWerkzeug>;
using TrackLimit = CRatedLimit<CTrackLernWerkzeug>;
using PreciseLimit = CRatedLimit<CPreciseCurveTool>;
using AnyLimit = std::variant<ValueLimit, CurveLimit, TrackLimit, PreciseLimit>;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

}  // namespace

/// The curve given last, so that the next one on its grid brings its values only.
struct SLastCurve {
  CSigCurveExt curve;
  double x0 = 0.0;
  double dx = 0.0;
  double reference = 0.0;
  std::string xUnit;
  std::string unit;
  bool isSet = false;

  bool IsLike(const limes_curve& given) const {
    const auto same = [](const std::string& known, const char* text) {
      return known == (text == nullptr ? "" : text);
    };
    return isSet && curve.DLen() == given.count && x0 == given.x0 && dx == given.dx &&
           reference == given.reference && same(xUnit, given.x_unit) && same(unit, given.unit);
  }
};

struct limes_limit {
  explicit limes_limit(AnyLimit made) : any(std::move(made)) {}

  AnyLimit any;
  CSidedJudgement judgement;
  SLastCurve last;
  bool judged = false;
  std::string error;
};

namespace {

/// What goes wrong on the way, with its reason.
struct SFailure {
  limes_status status;
  std::string text;
};

/// Does something that may fail; error, unless null, says why. Nothing is thrown.
template <class Action>
limes_status Caught(std::string* error, Action action) noexcept {
  const auto tell = [error](limes_status status, const char* text) {
    try {
      if (error != nullptr) {
        *error = text;
      }
    } catch (const std::bad_alloc&) {
      error->clear();
    }
    return status;
  };
  try {
    if (error != nullptr) {
      error->clear();
    }
    action();
    return LIMES_OK;
  } catch (const SFailure& failure) {
    return tell(failure.status, failure.text.c_str());
  } catch (const std::bad_alloc&) {
    return tell(LIMES_MEMORY, limes_status_text(LIMES_MEMORY));
  } catch (const std::length_error&) {
    return tell(LIMES_MEMORY, limes_status_text(LIMES_MEMORY));
  }
}

template <class Action>
limes_status Guarded(limes_limit* limit, Action action) noexcept {
  return limit == nullptr ? LIMES_ARGUMENT : Caught(&limit->error, action);
}

/// Of a limit that is only read, whose error is still its own to change.
template <class Action>
limes_status Guarded(const limes_limit* limit, Action action) noexcept {
  return Guarded(const_cast<limes_limit*>(limit), action);
}

void Require(bool holds, const char* text) {
  if (!holds) {
    throw SFailure{LIMES_ARGUMENT, text};
  }
}

/// A struct of the caller's size; what it has beyond ours is left alone.
template <class T>
void Check(const T* given, std::size_t least) {
  Require(given != nullptr, "a null pointer");
  Require(given->size >= least, "a struct without its size, or of no version known");
}

template <class T>
void Fill(T* given, T made, std::size_t least) {
  Check(given, least);
  const std::size_t size = given->size;
  made.size = size;
  std::memcpy(given, &made, std::min(size, sizeof(T)));
}

/// How a struct looked in the first version; none is accepted that is shorter.
constexpr std::size_t kRuleSize = 48;
constexpr std::size_t kCurveSize = 10 * 8;
constexpr std::size_t kJudgementSize = 104;
constexpr std::size_t kPromiseSize = 64;
static_assert(sizeof(void*) != 8 ||
              (sizeof(limes_rule) == kRuleSize && sizeof(limes_curve) == kCurveSize &&
               sizeof(limes_judgement) == kJudgementSize && sizeof(limes_promise) == kPromiseSize));

template <class T>
constexpr std::size_t LeastSize(std::size_t in64Bits) {
  return std::min(in64Bits, sizeof(T));
}

/// What is wrong comes as a status, not on standard error.
[[maybe_unused]] const PrWin::Sink kFormerSink =
    PrWin::SetSink([](int /*category*/, int /*style*/, std::u16string_view /*text*/) {});

std::optional<CMeasuringUnit> UnitOf(const char* text) {
  if (text == nullptr) {
    return std::nullopt;
  }
  if (*text == '\0') {
    return CMeasuringUnit();
  }
  if (std::string_view(text) == "dB") {
    return CMeasuringUnit().logref(1.0F);
  }
  bool exact = false;
  CMeasuringUnit unit = CMeasuringUnit::FromText(Utf8ToWide(text), &exact);
  if (!exact || unit.empty()) {
    throw SFailure{LIMES_UNIT, std::string("no known unit: ") + text};
  }
  return unit;
}

SRatedRule RuleOf(const limes_rule& rule) {
  SRatedRule made;
  Require(rule.sides >= LIMES_UPPER && rule.sides <= LIMES_BOTH, "no such sides");
  made.sides = static_cast<Sides>(rule.sides);
  made.base = rule.base;
  made.reject = rule.reject;
  made.timeScale = rule.time_scale;
  made.minParts = rule.min_parts;
  if (!std::isnan(rule.factor)) {
    made.factor = rule.factor;
  }
  Require(rule.precise == 0 || rule.precise == 1, "neither precise nor not");
  Require(made.IsValid(), "a rule with a number out of its range");
  return made;
}

limes_rule RuleOf(const SRatedRule& rule) {
  limes_rule made = {};
  made.size = sizeof made;
  made.sides = static_cast<std::int32_t>(rule.sides);
  made.time_scale = rule.timeScale;
  made.base = rule.base;
  made.reject = rule.reject;
  made.factor = rule.factor.value_or(kNone);
  made.min_parts = rule.minParts;
  return made;
}

Side SideOf(limes_side side) {
  Require(side == LIMES_UPPER || side == LIMES_LOWER, "no such side");
  return side == LIMES_UPPER ? Side::kUpper : Side::kLower;
}

/// A curve of the caller's values, and the mask of those that count.
struct SGivenCurve {
  SGivenCurve(SLastCurve& last, const limes_curve* given) : curve(last.curve) {
    Check(given, LeastSize<limes_curve>(kCurveSize));
    Require((given->floats != nullptr) != (given->doubles != nullptr) || given->count == 0,
            "values as floats or as doubles, not both");
    Require(given->count <= std::size_t{std::numeric_limits<std::int32_t>::max()},
            "too many values");
    const double end = given->x0 + given->dx * static_cast<double>(given->count);
    Require(given->dx > 0.0 && std::isfinite(static_cast<float>(given->x0)) &&
                std::isfinite(static_cast<float>(end)),
            "x that is not finite or does not rise");
    if (!last.IsLike(*given)) {
      Make(last, *given, static_cast<float>(end));
    }
    if (given->floats != nullptr) {
      std::copy_n(given->floats, given->count, curve.ValArray());
    } else if (given->doubles != nullptr) {
      std::transform(given->doubles, given->doubles + given->count, curve.ValArray(), ToFloat);
    }
    covered = given->covered == nullptr ? std::span<const std::uint8_t>()
                                        : std::span(given->covered, given->count);
  }

  static void Make(SLastCurve& last, const limes_curve& given, float end) {
    last.isSet = false;
    last.curve =
        CSigCurveExt::Make(static_cast<int>(given.count), static_cast<float>(given.x0), end);
    if (last.curve.DLen() != given.count) {
      throw std::bad_alloc();
    }
    last.curve.SetXUnit(UnitOf(given.x_unit).value_or(CMeasuringUnit()));
    CMeasuringUnit unit = UnitOf(given.unit).value_or(CMeasuringUnit());
    if (given.reference != 0.0) {
      Require(given.reference > 0.0 && std::isfinite(static_cast<float>(given.reference)),
              "a reference that is not above 0");
      unit.logref(static_cast<float>(given.reference));
    }
    last.curve.SetYUnit(unit);
    last.xUnit = given.x_unit == nullptr ? "" : given.x_unit;
    last.unit = given.unit == nullptr ? "" : given.unit;
    last.x0 = given.x0;
    last.dx = given.dx;
    last.reference = given.reference;
    last.isSet = true;
  }

  /// Infinite beyond what a float holds.
  static float ToFloat(double x) {
    constexpr double kMost = std::numeric_limits<float>::max();
    return std::fabs(x) > kMost ? std::copysign(std::numeric_limits<float>::infinity(),
                                                static_cast<float>(std::copysign(1.0, x)))
                                : static_cast<float>(x);
  }

  CSigCurveExt& curve;
  std::span<const std::uint8_t> covered;
};

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

/// Whether a side is limited; a mistake of the caller when it is not.
void RequireSide(const limes_limit& limit, Side side) {
  const Sides sides = std::visit([](const auto& known) { return known.Rule().sides; }, limit.any);
  Require(sides == Sides::kBoth || (sides == Sides::kUpper) == (side == Side::kUpper),
          "this side is not limited");
}

void RequireJudged(const limes_limit& limit, Side side) {
  RequireSide(limit, side);
  if (!limit.judged) {
    throw SFailure{LIMES_NOTHING, "no part was judged yet"};
  }
}

/// Tells how much there is; a failure when that is more than the room.
void TellCount(std::size_t wanted, std::size_t* count) {
  if (std::exchange(*count, wanted) < wanted) {
    throw SFailure{LIMES_BUFFER, limes_status_text(LIMES_BUFFER)};
  }
}

/// Where the caller wants the limits of a side.
struct SLimitRows {
  double* x;
  double* mean;
  double* spread;
  double* bound;

  void Put(std::size_t i, double atX, double itsMean, double itsSpread, double itsBound) const {
    const auto put = [i](double* row, double value) {
      if (row != nullptr) {
        row[i] = value;
      }
    };
    put(x, atX);
    put(mean, itsMean);
    put(spread, itsSpread);
    put(bound, itsBound);
  }
};

void PutLimits(ValueLimit& limit, Side side, const SLimitRows& rows, std::size_t* count) {
  TellCount(1, count);
  CLernenderGrenzwert& tool = limit.Formed()[side];
  // A judgement tells them in double.
  const SPartJudgement of = tool.JudgePart(SValuePart(double{tool.Mittelwert()}));
  const double sign = side == Side::kUpper ? 1.0 : -1.0;
  rows.Put(0, 0.0, sign * of.mean, of.spread, limit.HasLimit() ? sign * of.limit : kNone);
}

void PutLimits(PreciseLimit& limit, Side side, const SLimitRows& rows, std::size_t* count) {
  const CPreciseCurveTool& tool = limit.Formed()[side];
  const CSigCurveExt& mean = *tool.Mittelwert();
  TellCount(static_cast<std::size_t>(std::max(mean.IMax() - mean.IMin() + 1, 0)), count);
  const double sign = side == Side::kUpper ? 1.0 : -1.0;
  for (std::size_t j = 0; j < *count; ++j) {
    const std::int32_t i = mean.IMin() + static_cast<std::int32_t>(j);
    rows.Put(j, double{mean.GetPoint(i)}, sign * tool.MeanAt(i), tool.SpreadAt(i),
             limit.HasLimit() ? sign * tool.LimitAt(i) : kNone);
  }
}

template <class Tool>
void PutLimits(CRatedLimit<Tool>& limit, Side side, const SLimitRows& rows, std::size_t* count) {
  constexpr bool kTrack = std::is_same_v<Tool, CTrackLernWerkzeug>;
  Tool& tool = limit.Formed()[side];
  const CSigCurveExt& mean = *tool.Mittelwert();
  std::int32_t first = mean.IMin();
  std::int32_t last = mean.IMax();
  if constexpr (kTrack) {  // the grid has room at its ends
    const auto isLearnt = [&](std::int32_t i) {
      return tool.LearnCounts()[static_cast<std::size_t>(i)] > 0;
    };
    for (; first < last && !isLearnt(first); ++first) {
    }
    for (; last > first && !isLearnt(last); --last) {
    }
  }
  TellCount(static_cast<std::size_t>(std::max(last - first + 1, 0)), count);
  const CSigCurveExt* spread = nullptr;
  bool formed = false;
  if constexpr (kTrack) {
    spread = tool.StdAbwKurve();
    formed = tool.GrenzeBilden();
  } else {
    formed = tool.UpdateLimit() != 0 && tool.StandardAbwBilden() != 0;
    spread = tool.StandardAbw();
  }
  if (!formed || spread == nullptr) {
    throw std::bad_alloc();
  }
  const double sign = side == Side::kUpper ? 1.0 : -1.0;
  for (std::size_t j = 0; j < *count; ++j) {
    const std::int32_t i = first + static_cast<std::int32_t>(j);
    bool has = limit.HasLimit();
    bool known = true;
    if constexpr (kTrack) {
      const std::uint32_t learnt = tool.LearnCounts()[static_cast<std::size_t>(i)];
      known = learnt > 0;
      has = has && learnt >= tool.BasisLernenAnzahl();
    }
    rows.Put(j, double{mean.GetPoint(i)}, known ? sign * double{mean[i]} : kNone,
             known ? double{(*spread)[i]} : kNone,
             has ? sign * double{(*tool.Grenzkurve())[i]} : kNone);
  }
}

template <class Make>
limes_status MakeLimit(limes_limit** limit, Make make) noexcept {
  if (limit == nullptr) {
    return LIMES_ARGUMENT;
  }
  *limit = nullptr;
  return Caught(nullptr, [&] { *limit = new limes_limit(make()); });
}

constexpr int kPrecise = 4;  ///< stands for precise curves where states tell their kind

/// Kinds by their numbers in states, which are those of the interface but for the last one.
AnyLimit Made(int kind, const SRatedRule& rule) {
  switch (kind) {
    case LIMES_VALUE:
      return ValueLimit(rule);
    case LIMES_CURVE:
      return CurveLimit(rule);
    case LIMES_TRACK:
      return TrackLimit(rule);
    case kPrecise:
      Require(rule.timeScale == CExpAverFacGenerator::kNoForgetting,
              "precise, but with a time scale");
      return PreciseLimit(rule);
    default:
      throw SFailure{LIMES_ARGUMENT, "no such kind"};
  }
}

/// The other form of a limit of curves.
template <class To, class From>
AnyLimit Converted(const From& from) {
  To made;
  Require(from.Rule().timeScale == CExpAverFacGenerator::kNoForgetting,
          "precise, but with a time scale");
  if (!made.TakeFrom(from)) {
    throw std::bad_alloc();
  }
  return made;
}

/// Where a state of rated limits says what kind it is of: behind the head of the record.
constexpr std::size_t kKindAt = 16;

AnyLimit Read(const void* bytes, std::size_t size) {
  Require(bytes != nullptr, "a null pointer");
  const std::span given(static_cast<const std::uint8_t*>(bytes), size);
  const int kind = size > kKindAt ? given[kKindAt] : 0;
  LearnStateStatus status = LearnStateStatus::kContent;
  if (kind >= LIMES_VALUE && kind <= kPrecise) {
    AnyLimit any = Made(kind, {});
    CMemoryStream stream(given);
    status = std::visit([&](auto& known) { return known.ReadState(stream); }, any);
    if (status == LearnStateStatus::kOk && stream.Remaining() == 0) {
      return any;
    }
  }
  if (status == LearnStateStatus::kMemory) {
    throw std::bad_alloc();
  }
  throw SFailure{LIMES_STATE, limes_status_text(LIMES_STATE)};
}

using Bytes = std::span<const std::uint8_t>;

Bytes BytesOf(const void* bytes, std::size_t size) {
  Require(bytes != nullptr || size == 0, "a null pointer");
  return {static_cast<const std::uint8_t*>(bytes), size};
}

/// Where a state of a learner says what kind it is of: the numbers are those of the interface.
constexpr std::size_t kLearnerKindAt = 6;
constexpr int kPreciseLearner = 8;

AnyLimit ReadRecords(const SRatedRule& rule, Bytes upper, Bytes lower, Bytes scores) {
  std::vector<Bytes> sides;
  if (rule.sides != Sides::kLower) {
    sides.push_back(upper);
  }
  if (rule.sides != Sides::kUpper) {
    sides.push_back(lower);
  }
  const int told = sides[0].size() > kLearnerKindAt ? sides[0][kLearnerKindAt] : 0;
  const int kind = told == kPreciseLearner ? kPrecise : told;
  if (kind >= LIMES_VALUE && (kind <= LIMES_TRACK || told == kPreciseLearner)) {
    AnyLimit any = Made(kind, rule);
    const LearnStateStatus status =
        std::visit([&](auto& known) { return known.ReadRecords(rule, sides, scores); }, any);
    if (status == LearnStateStatus::kOk) {
      return any;
    }
    if (status == LearnStateStatus::kMemory) {
      throw std::bad_alloc();
    }
  }
  throw SFailure{LIMES_STATE, limes_status_text(LIMES_STATE)};
}

}  // namespace

extern "C" {

const char* limes_version() { return LIMES_VERSION_STRING; }

const char* limes_status_text(int32_t status) {
  switch (status) {
    case LIMES_OK:
      return "ok";
    case LIMES_ARGUMENT:
      return "an argument that is not allowed";
    case LIMES_MEMORY:
      return "memory is short";
    case LIMES_KIND:
      return "the limit is of another kind of measurement";
    case LIMES_UNIT:
      return "no known unit";
    case LIMES_PART:
      return "the part cannot be learnt";
    case LIMES_STATE:
      return "no state, or a damaged one";
    case LIMES_MERGE:
      return "the states cannot be joined";
    case LIMES_BUFFER:
      return "the buffer is too small";
    case LIMES_NOTHING:
      return "there is nothing yet";
    default:
      return "no such status";
  }
}

const char* limes_reason_text(int32_t reason) {
  try {
    static const std::vector<std::string> kTexts = [] {
      std::vector<std::string> texts;
      for (int i = 0; i <= static_cast<int>(PartStatus::kNoLimit); ++i) {
        texts.push_back(WideToUtf8(Text(static_cast<PartStatus>(i))));
      }
      return texts;
    }();
    return reason < 0 || static_cast<std::size_t>(reason) >= kTexts.size()
               ? "no such reason"
               : kTexts[static_cast<std::size_t>(reason)].c_str();
  } catch (const std::bad_alloc&) {
    return limes_status_text(LIMES_MEMORY);
  }
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
    std::visit([&](auto& known) { PutLimits(known, SideOf(side), rows, count); }, limit->any);
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
      limit->any = is ? Converted<CurveLimit>(std::get<PreciseLimit>(limit->any))
                      : Converted<PreciseLimit>(std::get<CurveLimit>(limit->any));
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
