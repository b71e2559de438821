#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/promise_text.h"
#include "apps/limes/model/defects.h"
#include "apps/limes/model/quantity_model.h"
#include "limes/learning/curve_learning_tool.h"
#include "limes/learning/learn_state.h"
#include "limes/learning/limit_sureness.h"
#include "limes/learning/precise_curve_tool.h"
#include "limes/learning/score.h"
#include "limes/learning/sided.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/text.h"
#include "recordings/text.h"

namespace limes::host {

/// Reads the learn state of a store.
template <class Tool>
LearnStateStatus ReadState(Tool& tool, std::span<const std::uint8_t> record) {
  CMemoryStream stream{record};
  return tool.ReadState(stream);
}

/// Curves that were learnt in float until --precise was set are taken over as they are.
inline LearnStateStatus ReadState(CPreciseCurveTool& tool, std::span<const std::uint8_t> record) {
  CMemoryStream stream{record};
  LearnStateStatus status = tool.ReadState(stream);
  if (CKurvenLernWerkzeug plain; status == LearnStateStatus::kOtherKind) {
    CMemoryStream again{record};
    status = plain.ReadState(again);
    if (status == LearnStateStatus::kOk && !tool.TakeFrom(plain)) {
      status = plain.NrGelernt() > 0 ? LearnStateStatus::kMemory : LearnStateStatus::kContent;
    }
  }
  return status;
}

/// What the limits of all kinds of quantities have in common: Tool learns one side.
template <class Tool>
class CSidedModel : public CQuantityModel {
 public:
  void Learn() override {
    tools_.Learn();
    SetStale();
  }

  void TakeLimit(const SCalibratedLimit& limit, std::optional<double> factor) override {
    limit_ = limit;
    factor_ = factor;
    if (Learnt() > 0) {
      SetRule();
    }
    SetStale();
  }

  std::optional<double> Factor(Side side) const override {
    return factor_ ? factor_
           : limit_.basis == CalibrationBasis::kNone
               ? std::nullopt
               : std::optional(FactorOfScore(LimitScore(side)));
  }

  void Freeze() override {
    frozen_ = std::make_unique<SFrozen>();
    CMemoryStream stream;
    if (tools_.First().WriteState(stream)) {  // else nothing is learnt
      CMemoryStream again{std::span<const std::uint8_t>(stream.Bytes())};
      if (frozen_->tool.ReadState(again) != LearnStateStatus::kOk) {
        throw std::bad_alloc();
      }
    }
  }

  void Thaw() override { frozen_.reset(); }

  void Judge(SPartVerdict& verdict, CProtocolItemList& items) override {
    const bool judges = fits_ && EnoughLearnt() && HasRule() && held_.empty();
    if (judges) {
      judgement_.KeepMargins();
      tools_.Judge(settings_.minShare, judgement_);
      if (!expected_.empty()) {
        JudgeExpected();
      }
      const auto isPassed = [this](Side s) { return judgement_[s].verdict == Verdict::kPass; };
      if (std::all_of(tools_.Limited().begin(), tools_.Limited().end(), isPassed) &&
          HasNoSignal()) {
        judgement_[tools_.Limited()[0]].verdict = Verdict::kNotJudged;
        judgement_[tools_.Limited()[0]].reason = PartStatus::kNoSignal;
      }
    }
    for (const Side side : tools_.Limited()) {
      SQuantityVerdict q;
      q.name = name_;
      q.side = side;
      q.unit = unit_.Display();
      q.xUnit = xUnit_.Display();
      q.sureness = Sureness(side);
      q.factor = FactorKept(side);
      static const std::vector<SCurveExcess> kNone;
      SPartJudgement none;
      none.reason = fits_ ? PartStatus::kNothingLearnt : PartStatus::kNoCommonPoint;
      const SPartJudgement& judgement = judges ? judgement_[side] : none;
      Fill(judgement, q);
      if (!held_.empty()) {
        q.reason = held_;
      }
      if (judges) {
        const auto corners = judgement_.Margin(side)->Corners();
        q.corners.assign(corners.begin(), corners.end());
      }
      const auto before = static_cast<int>(items.Items().size());
      AddItems(q, judgement, judges ? judgement_.Regions(side) : kNone, items);
      for (int i = before; i < static_cast<int>(items.Items().size()); ++i) {
        items[i].group = static_cast<std::int32_t>(verdict.quantities.size());
      }
      verdict.quantities.push_back(std::move(q));
    }
    judgedBy_ = std::exchange(expected_, {});
    held_.clear();
  }

  std::span<const Side> Limited() const override { return tools_.Limited(); }

  std::vector<std::uint8_t> State(Side side) const override {
    CMemoryStream stream;
    if (!tools_[side].WriteState(stream)) {
      throw CStoreError("the learn state of " + name_ + " cannot be written");
    }
    return {stream.Bytes().begin(), stream.Bytes().end()};
  }

  std::string SetState(const SStoredQuantity::SState& state) override {
    const LearnStateStatus status = ReadState(tools_[state.side], state.record);
    if (status != LearnStateStatus::kOk) {
      return WideToUtf8(Text(status));
    }
    SetStale();
    leastRecorded_ = {state.recorded.value_or(0.0), state.rms.value_or(0.0)};
    return TakeState(state);
  }

  SLimitSureness Sureness(Side side) override {
    std::optional<SLimitSureness>& sureness = sureness_[CSidedJudgement::Index(side)];
    if (!sureness) {
      sureness = SurenessOf(tools_[side]);
      if (modesEffective_) {
        sureness->effectiveParts = *modesEffective_;
      }
      if (!HasRule() || modesEffective_) {
        sureness->rejectedPerPoint = sureness->rejectedBound = std::nan("");
      }
    }
    return *sureness;
  }

 protected:
  using CQuantityModel::CQuantityModel;

  bool HasRule() const { return factor_ || limit_.basis != CalibrationBasis::kNone; }

  /// The factor that the tools hold: without one for the rate they judge nothing.
  float FactorInTool(Side side) const {
    constexpr double kUnused = 3.0;
    return static_cast<float>(Factor(side).value_or(kUnused));
  }

  /// Of a part that lies just on the limit of a side; with one side it is the first of the two.
  double LimitScore(Side side) const {
    return tools_.Limited().size() == 2 && side == Side::kLower ? limit_.below : limit_.above;
  }

  /// The factor that belongs to a score.
  virtual double FactorOfScore(double score) const {
    return std::max(FactorOf(score, modesEffective_.value_or(Effective())), 0.0);
  }

  /// Judges the part anew by what is expected of it; the tools have judged it.
  virtual void JudgeExpected() = 0;

  /// Whether the part, which was passed, was measured by a sensor without a signal.
  virtual bool HasNoSignal() { return IsFarWeaker(); }

  /// Sets the rule of the tools; something is learnt.
  virtual void SetRule() = 0;

  static float Sign(Side side) { return side == Side::kUpper ? 1.0F : -1.0F; }

  /// The scores of the part that was prepared, which is given once more for a frozen state.
  SPartScoring ScoreOf(const typename Tool::Part& part) {
    const double base = static_cast<float>(settings_.base);  // as the limit has it
    if (frozen_ == nullptr) {
      return fits_ ? tools_.Score(base) : SPartScoring();
    }
    return frozen_->tool.Fit(part, frozen_->fitted) == PartStatus::kOk
               ? tools_.Score(frozen_->tool, frozen_->fitted, base)
               : SPartScoring();
  }

  /// Takes over what a learn state does not hold; empty, or what is wrong with it.
  virtual std::string TakeState(const SStoredQuantity::SState& state) = 0;

  /// A number of a judgement as it is shown.
  virtual double Show(double number) const = 0;

  /// Adds the items of a side to the part's protocol.
  virtual void AddItems(const SQuantityVerdict& q, const SPartJudgement& judgement,
                        const std::vector<SCurveExcess>& regions,
                        CProtocolItemList& items) const = 0;

  /// After a change of what is learnt, or of the rule.
  void SetStale() {
    stale_ = true;
    sureness_ = {};
    factors_ = {};
  }

  /// Throws for what does not fit; what must not be learnt is told by the text.
  std::string Refusal(PartStatus status, const std::string& part) const {
    switch (status) {
      case PartStatus::kOk:
        return "";
      case PartStatus::kMemory:
        throw std::bad_alloc();
      case PartStatus::kCoversTooLittle:
      case PartStatus::kLongerThanTemplate:
      case PartStatus::kNoSignal:
      case PartStatus::kClipped:
        return "quantity " + Quoted(name_) + ": " + WideToUtf8(Text(status)) + Advice(status);
      default:
        throw CInputError(part, "quantity " + Quoted(name_) + ": " + WideToUtf8(Text(status)));
    }
  }

  CSided<Tool> tools_{settings_.WhichSides()};
  CSidedJudgement judgement_;
  bool stale_ = false;  ///< limits are older than the means
  bool fits_ = true;    ///< the part that was prepared has points in common with what was learnt

 private:
  struct SFrozen {
    Tool tool;
    typename Tool::Fitted fitted;
  };

  static std::string Advice(PartStatus status) {
    return status == PartStatus::kCoversTooLittle ? " (--allow-short learns it all the same)"
           : status == PartStatus::kLongerThanTemplate
               ? ": begin a new store with a whole part (--allow-short learns what both cover)"
               : "";
  }

  /// The factor, formed once for many parts.
  std::optional<double> FactorKept(Side side) {
    auto& kept = factors_[CSidedJudgement::Index(side)];
    if (!kept) {
      kept = Factor(side);
    }
    return *kept;
  }

  std::optional<double> InSpreads(double excess, double spread) const {
    return spread > 0.0 ? std::optional(Show(Show(excess) / spread)) : std::nullopt;
  }

  void Fill(const SPartJudgement& j, SQuantityVerdict& q) const {
    q.verdict = j.verdict;
    if (j.share > 0.0) {
      q.maxDeviation = Show(j.deviation);
      q.excessInS = InSpreads(j.deviation, j.spread);
      q.largestInS = j.inSpreads ? std::optional(Show(*j.inSpreads)) : std::nullopt;
      q.value = Show(j.value);
      q.limit = Show(j.limit);
      q.mean = Show(j.mean);
      q.spread = Show(j.spread);
      q.rmsDeviation = Show(j.rms);
      q.judgedShare = Shown(static_cast<float>(j.share));
      if (!single_) {
        q.x = Show(j.x);
        q.largestInSX = j.inSpreads ? std::optional(Show(j.xInSpreads)) : std::nullopt;
      }
    }
    if (j.verdict == Verdict::kNotJudged) {
      q.reason = Reason(j, q);
    }
  }

  std::string Reason(const SPartJudgement& j, const SQuantityVerdict& q) const {
    const std::string limit = std::string(SideText(q.side)) + " limit";
    if (j.reason == PartStatus::kCoversTooLittle) {
      return "covers only " + Percent(q.judgedShare) + " of the " + limit;
    }
    if (j.reason == PartStatus::kLongerThanTemplate) {
      return "only " + Percent(q.judgedShare) + " of it lies in the learnt range";
    }
    if (j.reason == PartStatus::kNothingLearnt && !HasRule() && EnoughLearnt()) {
      return settings_.reject ? NoLimitText(*settings_.reject, Learnt(), limit_.scores)
                              : NoCoverText(*settings_.cover, *settings_.sure, Learnt());
    }
    if (j.reason == PartStatus::kNothingLearnt) {
      return "no " + limit + " holds for it, " + std::to_string(q.sureness->parts) +
             (q.sureness->parts == 1 ? " part learnt" : " parts learnt");
    }
    if (j.reason == PartStatus::kNoSignal && (single_ || IsFarWeaker())) {
      return single_ && !(isFormed_ && IsFarWeaker())
                 ? "no signal: " + Brief(Show(j.value)) + " lies far below all good parts"
                 : WeakerText();
    }
    return WideToUtf8(Text(j.reason));
  }

  SCalibratedLimit limit_;        ///< for the rate
  std::optional<double> factor_;  ///< where there is none
  std::unique_ptr<SFrozen> frozen_;
  std::array<std::optional<SLimitSureness>, 2> sureness_;
  std::array<std::optional<std::optional<double>>, 2> factors_;
};

}  // namespace limes::host
