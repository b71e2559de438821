#include "limes/learning/rated_limit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>
#include <type_traits>
#include <utility>

#include "limes/learning/learn_record.h"
#include "limes/learning/limit_sureness.h"
#include "limes/learning/score.h"
#include "limes/platform/file_stream.h"

namespace limes {
namespace {

template <class Tool>
constexpr bool kIsTrack = std::is_same_v<Tool, CTrackLernWerkzeug>;

template <class Tool>
constexpr bool kIsValue = std::is_same_v<Tool, CLernenderGrenzwert>;

template <class Tool>
constexpr bool kIsPrecise = std::is_same_v<Tool, CPreciseCurveTool>;

/// Counts stay at this one, so that two of them can be added.
constexpr std::int64_t kMostLearnt = std::int64_t{1} << 53;

ScoreSides ScoredSides(Sides sides) {
  return sides == Sides::kBoth ? ScoreSides::kBoth : ScoreSides::kOne;
}

template <class Tool>
void SetFactor(Tool& tool, double base, double factor) {
  const auto itsBase = static_cast<float>(base);
  const auto itsFactor = static_cast<float>(factor);
  if constexpr (kIsPrecise<Tool>) {
    tool.Bildungsregel(base, factor);
  } else if constexpr (kIsValue<Tool>) {
    tool.Bildungsregel(itsBase, itsFactor);
    tool.GrenzwertErneuern(1.0F);
  } else if constexpr (kIsTrack<Tool>) {
    tool.Bildungsregel(itsBase, itsFactor);
  } else {
    tool.Bildungsregel(itsBase, itsFactor, 0.0F);
  }
}

template <class Tool>
std::unique_ptr<CSided<Tool>> MadeTools(const SRatedRule& rule) {
  auto tools = std::make_unique<CSided<Tool>>(rule.sides);
  for (const Side side : tools->Limited()) {
    Tool& tool = (*tools)[side];
    if constexpr (kIsValue<Tool>) {
      tool.Neustart(rule.timeScale);
    } else if constexpr (kIsTrack<Tool>) {
      // Points that take no part in the scores are not promised anything.
      const std::int32_t least = rule.factor ? 1 : kPartsBeforeScores;
      tool.BasisLernenAnzahl(static_cast<std::uint32_t>(std::max(rule.minParts, least)));
    } else if constexpr (!kIsPrecise<Tool>) {
      tool.Zeitskala(rule.timeScale);
    }
    SetFactor(tool, rule.base, 0.0);
  }
  return tools;
}

/// Parts learnt, as far as a state tells.
template <class Tool>
std::int64_t Count(const Tool& tool) {
  if constexpr (kIsTrack<Tool>) {
    const auto counts = tool.LearnCounts();
    return counts.empty() ? 0 : *std::max_element(counts.begin(), counts.end());
  } else {
    return tool.NrGelernt();
  }
}

/// Whether the learners of both sides can have learnt the same parts.
template <class Tool>
bool AreAlike(const Tool& a, const Tool& b) {
  if (Count(a) != Count(b)) {
    return false;
  }
  if constexpr (kIsValue<Tool>) {
    return a.Unit() == b.Unit();
  } else {
    return detail::CheckCurves(a.Mittelwert(), b.Mittelwert()) == MergeStatus::kOk &&
           a.Mittelwert()->IMin() == b.Mittelwert()->IMin() &&
           a.Mittelwert()->IMax() == b.Mittelwert()->IMax();
  }
}

/// A record within a record: its length, then its bytes.
template <class Written>
bool PutRecord(detail::RecordWriter& out, const Written& written) {
  CMemoryStream stream;
  if (!written.WriteState(stream)) {
    return false;
  }
  out.Put(static_cast<std::uint64_t>(stream.Bytes().size()));
  out.PutBytes(stream.Bytes().data(), stream.Bytes().size());
  return true;
}

template <class Read>
LearnStateStatus ReadWhole(std::span<const std::uint8_t> bytes, Read& read) {
  CMemoryStream stream{bytes};
  const LearnStateStatus status = read.ReadState(stream);
  return status == LearnStateStatus::kOk && stream.Remaining() != 0 ? LearnStateStatus::kContent
                                                                    : status;
}

template <class Read>
LearnStateStatus GetRecord(detail::RecordReader& in, Read& read) {
  std::uint64_t size = 0;
  std::vector<std::uint8_t> bytes;
  if (!in.Get(size) || !in.Fits(size, 1) || !in.GetArray(bytes, size)) {
    return LearnStateStatus::kContent;
  }
  return ReadWhole(bytes, read);
}

}  // namespace

bool SRatedRule::IsValid() const {
  const auto isFrom0 = [](double x) {
    return x >= 0.0 && std::isfinite(static_cast<float>(x)) && !std::signbit(x);
  };
  return isFrom0(base) && (factor ? isFrom0(*factor) : reject > 0.0 && reject < 1.0) &&
         timeScale >= 1 && timeScale <= CExpAverFacGenerator::kNoForgetting && minParts >= 1;
}

/// Numbers of a rated limit in file order; the record of the scores and those of the learners
/// follow, the latter once something is learnt.
template <class Tool>
struct CRatedLimit<Tool>::SHead {
  std::uint8_t tool = kIsValue<Tool> ? 1 : kIsTrack<Tool> ? 3 : kIsPrecise<Tool> ? 4 : 2;
  std::uint8_t sides = 0;
  std::uint8_t given = 0;  ///< the factor is
  double base = 0.0;
  double rate = 0.0;  ///< or factor
  std::int32_t timeScale = 0;
  std::int32_t minParts = 0;
  std::int64_t learnt = 0;

  static constexpr auto Fields(auto& h) {
    return std::tie(h.tool, h.sides, h.given, h.base, h.rate, h.timeScale, h.minParts, h.learnt);
  }
};

template <class Tool>
CRatedLimit<Tool>::CRatedLimit(const SRatedRule& rule)
    : rule_(rule), tools_(MadeTools<Tool>(rule)), calibration_(ScoredSides(rule.sides)) {}

template <class Tool>
double CRatedLimit<Tool>::Effective() const {
  const Tool& tool = tools_->First();
  if constexpr (kIsTrack<Tool>) {
    const std::int64_t most = std::min<std::int64_t>(Count(tool), INT32_MAX);
    return EffectiveParts(static_cast<std::int32_t>(most), Tool::kTimeScale);
  } else if constexpr (kIsPrecise<Tool>) {
    return static_cast<double>(tool.NrGelernt());
  } else {
    return EffectiveParts(tool);
  }
}

template <class Tool>
LearnStatus CRatedLimit<Tool>::PrepareLearning(const Part& part, const SPartRule& rule) {
  const PartStatus status = tools_->PrepareLearning(part, rule);
  if (status != PartStatus::kOk) {
    return status;
  }
  scoring_ = tools_->Score(double{static_cast<float>(rule_.base)});
  return !scoring_.isScored || calibration_.MakeRoom() ? PartStatus::kOk : PartStatus::kMemory;
}

template <class Tool>
void CRatedLimit<Tool>::Learn() {
  if (scoring_.isScored) {
    const bool lower = rule_.sides == Sides::kLower;
    static_cast<void>(
        calibration_.Add(lower ? SPartScores{scoring_.scores.below} : scoring_.scores));
  }
  tools_->Learn();
  learnt_ = std::min(learnt_ + 1, kMostLearnt);
  Outdate();
}

template <class Tool>
LearnStatus CRatedLimit<Tool>::LearnPart(const Part& part, const SPartRule& rule) {
  const LearnStatus status = PrepareLearning(part, rule);
  if (status == PartStatus::kOk) {
    Learn();
  }
  return status;
}

template <class Tool>
void CRatedLimit<Tool>::Outdate() {
  formed_ = false;
  promise_.reset();
}

template <class Tool>
const SCalibratedLimit& CRatedLimit<Tool>::Promise() const {
  if (!promise_) {
    promise_ = rule_.factor ? SCalibratedLimit() : calibration_.ForRate(rule_.reject);
  }
  return *promise_;
}

template <class Tool>
std::optional<double> CRatedLimit<Tool>::Factor(Side side) const {
  if (rule_.factor) {
    return rule_.factor;
  }
  const SCalibratedLimit& limit = Promise();
  const double n = Effective();
  if (limit.basis == CalibrationBasis::kNone || limit.IsTooWide(n)) {
    return std::nullopt;
  }
  const bool below = rule_.sides == Sides::kBoth && side == Side::kLower;
  const double factor = below ? limit.FactorBelow(n) : limit.FactorAbove(n);
  // The spread of tracks is unbiased, that of a score has the divisor n.
  return kIsTrack<Tool> && n > 1.0 ? factor * std::sqrt((n - 1.0) / n) : factor;
}

template <class Tool>
bool CRatedLimit<Tool>::HasLimit() const {
  return learnt_ >= rule_.minParts && Factor(tools_->Limited()[0]).has_value();
}

template <class Tool>
void CRatedLimit<Tool>::Form() {
  if (formed_) {
    return;
  }
  const SCalibratedLimit& limit = Promise();
  for (const Side side : tools_->Limited()) {
    Tool& tool = (*tools_)[side];
    SetFactor(tool, rule_.base, Factor(side).value_or(0.0));
    if constexpr (kIsTrack<Tool>) {
      if (limit.basis != CalibrationBasis::kNone) {
        tool.LimitScore(rule_.sides == Sides::kBoth && side == Side::kLower ? limit.below
                                                                            : limit.above);
      }
    }
  }
  formed_ = true;
}

template <class Tool>
CSided<Tool>& CRatedLimit<Tool>::Formed() {
  Form();
  return *tools_;
}

template <class Tool>
void CRatedLimit<Tool>::JudgePart(const Part& part, CSidedJudgement& judgement, double minShare) {
  PartStatus status = HasLimit()                 ? PartStatus::kOk
                      : learnt_ < rule_.minParts ? PartStatus::kNothingLearnt
                                                 : PartStatus::kNoLimit;
  if (status == PartStatus::kOk) {
    Form();
    status = tools_->PrepareJudging(part);
  }
  if (status == PartStatus::kOk) {
    tools_->Judge(minShare, judgement);
    return;
  }
  for (const Side side : tools_->Limited()) {
    judgement[side] = {};
    judgement[side].reason = status;
    judgement.Regions(side).clear();
  }
}

template <class Tool>
MergeStatus CRatedLimit<Tool>::Merge(const CRatedLimit& other) {
  if (rule_ != other.rule_) {
    return MergeStatus::kRule;
  }
  if (other.learnt_ == 0) {
    return MergeStatus::kOk;
  }
  return detail::IfMemoryAllows(MergeStatus::kMemory, [&] {
    const auto copy = [](const CRatedLimit& from) {
      CRatedLimit made;
      CMemoryStream stream;
      if (!from.WriteState(stream)) {
        throw std::bad_alloc();
      }
      stream.Seek(0);
      if (made.ReadState(stream) != LearnStateStatus::kOk) {
        throw std::bad_alloc();
      }
      for (const Side side : made.tools_->Limited()) {
        SetFactor((*made.tools_)[side], from.rule_.base,
                  0.0);  // theirs differ, and are formed anew
      }
      return made;
    };
    CRatedLimit joined = copy(learnt_ == 0 ? other : *this);
    if (learnt_ > 0) {
      const CRatedLimit later = copy(other);
      for (const Side side : tools_->Limited()) {
        const MergeStatus status = (*joined.tools_)[side].Merge((*later.tools_)[side]);
        if (status != MergeStatus::kOk) {
          return status;
        }
      }
      if (joined.calibration_.Merge(later.calibration_) != MergeStatus::kOk) {
        return MergeStatus::kMemory;
      }
      joined.learnt_ = std::min(learnt_ + other.learnt_, kMostLearnt);
      joined.Outdate();
    }
    *this = std::move(joined);
    return MergeStatus::kOk;
  });
}

template <class Tool>
template <class Other>
bool CRatedLimit<Tool>::TakeFrom(const CRatedLimit<Other>& other) {
  if (other.rule_.timeScale != CExpAverFacGenerator::kNoForgetting) {
    return false;
  }
  return detail::IfMemoryAllows(false, [&] {
    CRatedLimit made(other.rule_);
    for (const Side side : made.tools_->Limited()) {
      if (other.learnt_ > 0 && !(*made.tools_)[side].TakeFrom((*other.tools_)[side])) {
        return false;
      }
      SetFactor((*made.tools_)[side], other.rule_.base, 0.0);
    }
    made.calibration_ = other.calibration_;
    made.learnt_ = other.learnt_;
    *this = std::move(made);
    return true;
  });
}

template <class Tool>
bool CRatedLimit<Tool>::WriteState(CFileStream& file) const {
  const auto put = [this](detail::RecordWriter& record) {
    SHead head;
    head.sides = static_cast<std::uint8_t>(rule_.sides);
    head.given = rule_.factor ? 1 : 0;
    head.base = rule_.base;
    head.rate = rule_.factor.value_or(rule_.reject);
    head.timeScale = rule_.timeScale;
    head.minParts = rule_.minParts;
    head.learnt = learnt_;
    record.PutFields(head);
    const auto limited = tools_->Limited();
    return PutRecord(record, calibration_) &&
           (learnt_ == 0 || std::all_of(limited.begin(), limited.end(), [&](Side side) {
              return PutRecord(record, (*tools_)[side]);
            }));
  };
  return detail::WriteLearnState(file, detail::LearnStateKind::kRatedLimit, put);
}

/// Whether learners and scores can be of the same parts.
template <class Tool>
bool CRatedLimit<Tool>::Agrees() const {
  const Tool& first = tools_->First();
  return calibration_.Sides() == ScoredSides(rule_.sides) && calibration_.Scores() <= learnt_ &&
         (learnt_ == 0 || (Count(first) > 0 && Count(first) <= learnt_ &&
                           AreAlike(first, (*tools_)[tools_->Limited().back()])));
}

template <class Tool>
LearnStateStatus CRatedLimit<Tool>::ReadRecords(
    const SRatedRule& rule, std::span<const std::span<const std::uint8_t>> sides,
    std::span<const std::uint8_t> scores) {
  return detail::IfMemoryAllows(LearnStateStatus::kMemory, [&] {
    CRatedLimit read(rule);
    const auto limited = read.tools_->Limited();
    LearnStateStatus status =
        scores.empty() ? LearnStateStatus::kOk : ReadWhole(scores, read.calibration_);
    if (sides.size() != limited.size()) {
      return LearnStateStatus::kContent;
    }
    for (std::size_t i = 0; i < limited.size() && status == LearnStateStatus::kOk; ++i) {
      status = ReadWhole(sides[i], (*read.tools_)[limited[i]]);
    }
    if (status != LearnStateStatus::kOk) {
      return status;
    }
    for (const Side side : limited) {
      SetFactor((*read.tools_)[side], rule.base, 0.0);  // theirs are of another rule
    }
    read.learnt_ = Count(std::as_const(*read.tools_).First());
    if (!read.Agrees()) {
      return LearnStateStatus::kContent;
    }
    *this = std::move(read);
    return LearnStateStatus::kOk;
  });
}

template <class Tool>
LearnStateStatus CRatedLimit<Tool>::ReadState(CFileStream& file) {
  const auto get = [](detail::RecordReader& in, CRatedLimit& read, std::uint16_t /*version*/) {
    SHead head;
    const std::uint8_t tool = head.tool;
    if (!in.GetFields(head) || head.sides > static_cast<std::uint8_t>(Sides::kBoth) ||
        head.given > 1 || head.learnt < 0 || head.learnt > kMostLearnt) {
      return LearnStateStatus::kContent;
    }
    if (head.tool != tool) {
      return LearnStateStatus::kOtherKind;
    }
    SRatedRule rule;
    rule.sides = static_cast<Sides>(head.sides);
    rule.base = head.base;
    (head.given != 0 ? rule.factor.emplace() : rule.reject) = head.rate;
    rule.timeScale = head.timeScale;
    rule.minParts = head.minParts;
    if (!rule.IsValid() ||
        (kIsPrecise<Tool> && rule.timeScale != CExpAverFacGenerator::kNoForgetting)) {
      return LearnStateStatus::kContent;
    }
    read = CRatedLimit(rule);
    read.learnt_ = head.learnt;
    const auto limited = read.tools_->Limited();
    LearnStateStatus status = GetRecord(in, read.calibration_);
    for (std::size_t i = 0;
         i < limited.size() && head.learnt > 0 && status == LearnStateStatus::kOk; ++i) {
      status = GetRecord(in, (*read.tools_)[limited[i]]);
    }
    return status != LearnStateStatus::kOk ? status
           : read.Agrees()                 ? LearnStateStatus::kOk
                                           : LearnStateStatus::kContent;
  };
  const auto commit = [this](CRatedLimit& read) { *this = std::move(read); };
  return detail::ReadLearnState<CRatedLimit>(file, detail::LearnStateKind::kRatedLimit, get,
                                             commit);
}

template class CRatedLimit<CLernenderGrenzwert>;
template class CRatedLimit<CKurvenLernWerkzeug>;
template class CRatedLimit<CTrackLernWerkzeug>;
template class CRatedLimit<CPreciseCurveTool>;
template bool CRatedLimit<CPreciseCurveTool>::TakeFrom(const CRatedLimit<CKurvenLernWerkzeug>&);
template bool CRatedLimit<CKurvenLernWerkzeug>::TakeFrom(const CRatedLimit<CPreciseCurveTool>&);

}  // namespace limes
