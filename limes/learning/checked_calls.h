#pragma once

#include <memory>
#include <new>
#include <vector>

#include "limes/learning/part.h"

namespace limes::detail {

// The checked calls of a learner are put together from its steps: CheckForLearning tells whether a
// part may be learnt and what room it needs, MakeRoom makes that, Fit draws the part on the grid;
// after them LearnFitted and JudgeFitted cannot fail.

/// All that can fail of learning.
template <class Tool>
PartStatus PrepareLearning(Tool& tool, const typename Tool::Part& part, const SPartRule& rule,
                           typename Tool::Fitted& fitted) {
  const PartStatus status = tool.CheckForLearning(part, rule, fitted);
  if (status != PartStatus::kOk || !fitted.room.IsNeeded()) {
    return status;
  }
  return tool.MakeRoom(part, fitted) ? tool.Fit(part, fitted) : PartStatus::kMemory;
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
                      Pointer& scratch) try {
  auto& fitted = Scratch(scratch);
  const PartStatus status = PrepareLearning(tool, part, rule, fitted);
  if (status == PartStatus::kOk) {
    tool.LearnFitted(fitted);
  }
  return status;
} catch (const std::bad_alloc&) {
  return PartStatus::kMemory;
}

template <class Tool, class Pointer>
SPartJudgement JudgePart(Tool& tool, const typename Tool::Part& part, double minShare,
                         std::vector<SCurveExcess>* regions, Pointer& scratch) {
  SPartJudgement judgement;
  judgement.reason = PartStatus::kMemory;
  std::vector<SCurveExcess> own;
  try {
    auto& fitted = Scratch(scratch);
    judgement.reason = tool.Fit(part, fitted);
    if (judgement.reason == PartStatus::kOk) {
      return tool.JudgeFitted(fitted, minShare, regions != nullptr ? *regions : own);
    }
  } catch (const std::bad_alloc&) {
  }
  if (regions != nullptr) {
    regions->clear();
  }
  return judgement;
}

}  // namespace limes::detail
