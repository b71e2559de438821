#pragma once

#include <array>
#include <memory>
#include <span>
#include <vector>

#include "limes/learning/part.h"
#include "limes/learning/part_score.h"
#include "limes/platform/memory_errors.h"

namespace limes::detail {

/// What is made at first use. Throws std::bad_alloc.
template <class Pointer>
auto& Made(Pointer& object) {
  if (object == nullptr) {
    object = Pointer(new typename Pointer::element_type());
  }
  return *object;
}

/// All that can fail of learning a part, by one learner or by one for each side: room is made for
/// all of them or for none.
template <class Tool>
PartStatus PrepareLearning(std::span<Tool> tools, const typename Tool::Part& part,
                           const SPartRule& rule, typename Tool::Fitted& fitted) {
  const PartStatus status = tools[0].CheckForLearning(part, rule, fitted);
  if (status != PartStatus::kOk || !fitted.room.IsNeeded()) {
    return status;
  }
  std::array<typename Tool::Room, 2> rooms;
  for (std::size_t i = 0; i < tools.size(); ++i) {
    if (!tools[i].MakeRoom(part, fitted, rooms[i])) {
      return PartStatus::kMemory;
    }
  }
  for (std::size_t i = 0; i < tools.size(); ++i) {
    tools[i].TakeRoom(rooms[i]);
  }
  return tools[0].Fit(part, fitted);
}

/// The checked calls of a learner, put together from its steps: CheckForLearning tells whether a
/// part may be learnt and what room it needs, MakeRoom makes that beside it, TakeRoom takes it,
/// which cannot fail, Fit draws the part on the grid; after them LearnFitted and JudgeFitted cannot
/// fail. Scratch is the fitted part to use.
template <class Tool, class ItsPart, class ItsFitted>
class CheckedCalls {
 public:
  using Part = ItsPart;
  using Fitted = ItsFitted;

  /// Learns a part: kOk, or why nothing was learnt, as the learner says. scoring, unless null,
  /// receives the scores by what was learnt before. O(n).
  [[nodiscard]] LearnStatus LearnPart(const Part& part, const SPartRule& rule = {},
                                      SPartScoring* scoring = nullptr) {
    return IfMemoryAllows(PartStatus::kMemory, [&] {
      auto& tool = static_cast<Tool&>(*this);
      auto&& fitted = tool.Scratch();
      const PartStatus status = PrepareLearning(std::span(&tool, 1), part, rule, fitted);
      if (status == PartStatus::kOk && scoring != nullptr) {
        *scoring = tool.ScoreFitted(fitted, double{tool.Sockel()});
      }
      if (status == PartStatus::kOk) {
        tool.LearnFitted(fitted);
      }
      return status;
    });
  }

  /// Judges a part by the rule as it is now, as the learner says. Passed only when at least this
  /// share was compared; failed whatever the share, with the regions beyond the limit when they
  /// are asked for. O(n).
  [[nodiscard]] SPartJudgement JudgePart(const Part& part, double minShare = Tool::kMinShare,
                                         std::vector<SCurveExcess>* regions = nullptr) {
    std::vector<SCurveExcess> own;
    std::vector<SCurveExcess>& found = regions != nullptr ? *regions : own;
    found.clear();
    SPartJudgement judgement;
    judgement.reason = PartStatus::kMemory;
    return IfMemoryAllows(judgement, [&] {
      auto& tool = static_cast<Tool&>(*this);
      auto&& fitted = tool.Scratch();
      judgement.reason = tool.Fit(part, fitted);
      return judgement.reason == PartStatus::kOk ? tool.JudgeFitted(fitted, minShare, found)
                                                 : judgement;
    });
  }
};

}  // namespace limes::detail
