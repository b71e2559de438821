#pragma once

#include <array>
#include <span>
#include <vector>

#include "limes/learning/checked_calls.h"
#include "limes/learning/part.h"
#include "limes/learning/part_score.h"
#include "limes/platform/memory_errors.h"

namespace limes {

/// Which sides of a quantity are limited.
enum class Sides { kUpper, kLower, kBoth };

/// Judgement of a part by the limits of its sides, all in the sign of the measurement; a deviation
/// above 0 is beyond the limit on either side. Keeps its memory from part to part.
class CSidedJudgement {
 public:
  SPartJudgement& operator[](Side side) { return judgements_[Index(side)]; }
  const SPartJudgement& operator[](Side side) const { return judgements_[Index(side)]; }

  /// The regions beyond the limit of a side, in order of x.
  std::vector<SCurveExcess>& Regions(Side side) { return regions_[Index(side)]; }
  const std::vector<SCurveExcess>& Regions(Side side) const { return regions_[Index(side)]; }

  /// Of each side what JudgeFitted adds to it, cleared before; null unless KeepMargins was called.
  CPartMargin* Margin(Side side) { return keepsMargins_ ? &margins_[Index(side)] : nullptr; }
  void KeepMargins() { keepsMargins_ = true; }

  static std::size_t Index(Side side) { return side == Side::kUpper ? 0 : 1; }

 private:
  std::array<SPartJudgement, 2> judgements_;
  std::array<std::vector<SCurveExcess>, 2> regions_;
  std::array<CPartMargin, 2> margins_;
  bool keepsMargins_ = false;
};

/// Upper and lower limit of one quantity: a learner for each side, the lower one of the values with
/// their sign changed. A part is prepared once for both, which tells whether it fits; learning and
/// judging it then cannot fail. Tool is CLernenderGrenzwert, CKurvenLernWerkzeug or
/// CTrackLernWerkzeug; see SetRule. One thread at a time.
template <class Tool>
class CSided {
 public:
  using Part = typename Tool::Part;

  explicit CSided(Sides sides = Sides::kBoth)
      : first_(sides == Sides::kLower ? 1 : 0), count_(sides == Sides::kBoth ? 2 : 1) {}

  /// The sides limited, the upper one first.
  std::span<const Side> Limited() const { return std::span(kSides).subspan(first_, count_); }

  Tool& operator[](Side side) { return tools_[CSidedJudgement::Index(side)]; }
  const Tool& operator[](Side side) const { return tools_[CSidedJudgement::Index(side)]; }

  /// Sets base and factor for all sides, without widening.
  void SetRule(float base, float factor) {
    for (const Side side : Limited()) {
      if constexpr (requires(Tool tool) { tool.Bildungsregel(base, factor, 0.0F); }) {
        (*this)[side].Bildungsregel(base, factor, 0.0F);
      } else {
        (*this)[side].Bildungsregel(base, factor);
      }
    }
  }

  /// Any one of the sides: what does not depend on the sign, as counts and grid.
  Tool& First() { return tools_[first_]; }
  const Tool& First() const { return tools_[first_]; }

  /// Prepares a part for Learn; kOk, or why it cannot be learnt: as of the tool's LearnPart. Room
  /// is made on all sides or on none.
  [[nodiscard]] PartStatus PrepareLearning(const Part& part, const SPartRule& rule = {}) {
    return detail::IfMemoryAllows(PartStatus::kMemory, [&] {
      return detail::PrepareLearning(std::span(tools_).subspan(first_, count_), part, rule,
                                     fitted_);
    });
  }

  /// Prepares a part for Judge; kOk, or why it cannot be judged.
  [[nodiscard]] PartStatus PrepareJudging(const Part& part) {
    return detail::IfMemoryAllows(PartStatus::kMemory, [&] { return First().Fit(part, fitted_); });
  }

  /// Learns the part that was prepared.
  void Learn() {
    for (const Side side : Limited()) {
      fitted_.TurnTo(side);
      (*this)[side].LearnFitted(fitted_);
    }
  }

  /// Scores of the part that was prepared, by what is learnt, in the sign of the measurement.
  SPartScoring Score(double base) { return Score(First(), fitted_, base); }

  /// The same of a part that was fitted to another learner of the same side as First().
  SPartScoring Score(const Tool& tool, typename Tool::Fitted& fitted, double base) const {
    const Side side = Limited()[0];
    fitted.TurnTo(side);
    const SPartScoring scoring = tool.ScoreFitted(fitted, base);
    return side == Side::kLower ? scoring.Mirrored() : scoring;
  }

  /// Judges the part that was prepared, for learning or for judging.
  void Judge(double minShare, CSidedJudgement& judgement) {
    for (const Side side : Limited()) {
      JudgeAnew(side, judgement, [&](Tool& tool, auto& fitted, auto& regions) {
        return tool.JudgeFitted(fitted, minShare, regions);
      });
    }
  }

  /// Judges the part that was prepared on one side by judge(tool, fitted, regions), which does it
  /// in the sign of that side.
  template <class JudgeSide>
  void JudgeAnew(Side side, CSidedJudgement& judgement, JudgeSide judge) {
    fitted_.TurnTo(side);
    fitted_.margin = judgement.Margin(side);
    if (fitted_.margin != nullptr) {
      fitted_.margin->Clear();
    }
    judgement[side] = judge((*this)[side], fitted_, judgement.Regions(side));
    if (side == Side::kLower) {
      TurnBack(judgement[side], judgement.Regions(side));
    }
  }

  /// As LearnPart of the tool, for all sides; scoring is in the sign of the measurement.
  [[nodiscard]] LearnStatus LearnPart(const Part& part, const SPartRule& rule = {},
                                      SPartScoring* scoring = nullptr) {
    const PartStatus status = PrepareLearning(part, rule);
    if (status == PartStatus::kOk && scoring != nullptr) {
      *scoring = Score(double{First().Sockel()});
    }
    if (status == PartStatus::kOk) {
      Learn();
    }
    return status;
  }

  /// As JudgePart of the tool, for each side.
  void JudgePart(const Part& part, CSidedJudgement& judgement, double minShare = Tool::kMinShare) {
    const PartStatus status = PrepareJudging(part);
    if (status == PartStatus::kOk) {
      Judge(minShare, judgement);
      return;
    }
    for (const Side side : Limited()) {
      judgement[side] = {};
      judgement[side].reason = status;
      judgement.Regions(side).clear();
    }
  }

  /// The part that was prepared, on the learnt grid and in the sign of a side.
  const typename Tool::Fitted& Fitted(Side side) {
    fitted_.TurnTo(side);
    return fitted_;
  }

 private:
  static constexpr std::array<Side, 2> kSides = {Side::kUpper, Side::kLower};

  static void TurnBack(SPartJudgement& judgement, std::vector<SCurveExcess>& regions) {
    for (double* const number : {&judgement.value, &judgement.limit, &judgement.mean}) {
      *number = -*number;
    }
    for (SCurveExcess& region : regions) {
      region.value = -region.value;
      region.limit = -region.limit;
      region.mean = -region.mean;
    }
  }

  std::size_t first_;
  std::size_t count_;
  std::array<Tool, 2> tools_;
  typename Tool::Fitted fitted_;
};

}  // namespace limes
