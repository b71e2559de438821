#pragma once

#include <memory>
#include <vector>

#include "limes/learning/part.h"
#include "limes/platform/memory_errors.h"

namespace limes::detail {

// The checked calls of a learner are put together from its steps: CheckForLearning tells whether a
// part may be learnt and what room it needs, MakeRoom makes that beside it, TakeRoom takes it,
// which cannot fail, Fit draws the part on the grid; after them LearnFitted and JudgeFitted cannot
// fail.

/// All that can fail of learning.
template <class Tool>
PartStatus PrepareLearning(Tool& tool, const typename Tool::Part& part, const SPartRule& rule,
                           typename Tool::Fitted& fitted) {
  const PartStatus status = tool.CheckForLearning(part, rule, fitted);
  if (status != PartStatus::kOk || !fitted.room.IsNeeded()) {
    return status;
  }
  typename Tool::Room room;
  if (!tool.MakeRoom(part, fitted, room)) {
    return PartStatus::kMemory;
  }
  tool.TakeRoom(room);
  return tool.Fit(part, fitted);
}

/// The tool's own fitted part, made at first use. Throws std::bad_alloc.
template <class Pointer>
auto& Scratch(Pointer& fitted) {
  if (fitted == nullptr) {
    fitted = Pointer(new typename Pointer::element_type());
  }
  return *fitted;
}

inline SFittedValue& Scratch(SFittedValue& fitted) { return fitted; }

template <class Tool, class Pointer>
LearnStatus LearnPart(Tool& tool, const typename Tool::Part& part, const SPartRule& rule,
                      Pointer& scratch) {
  return IfMemoryAllows(PartStatus::kMemory, [&] {
    auto& fitted = Scratch(scratch);
    const PartStatus status = PrepareLearning(tool, part, rule, fitted);
    if (status == PartStatus::kOk) {
      tool.LearnFitted(fitted);
    }
    return status;
  });
}

template <class Tool, class Pointer>
SPartJudgement JudgePart(Tool& tool, const typename Tool::Part& part, double minShare,
                         std::vector<SCurveExcess>* regions, Pointer& scratch) {
  std::vector<SCurveExcess> own;
  std::vector<SCurveExcess>& found = regions != nullptr ? *regions : own;
  found.clear();
  SPartJudgement judgement;
  judgement.reason = PartStatus::kMemory;
  return IfMemoryAllows(judgement, [&] {
    auto& fitted = Scratch(scratch);
    judgement.reason = tool.Fit(part, fitted);
    return judgement.reason == PartStatus::kOk ? tool.JudgeFitted(fitted, minShare, found)
                                               : judgement;
  });
}

}  // namespace limes::detail
