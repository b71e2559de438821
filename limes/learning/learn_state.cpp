#include "limes/learning/learn_state.h"

#include "limes/signals/extended_curve.h"

namespace limes {

const wide_char* Text(LearnStateStatus status) {
  switch (status) {
    case LearnStateStatus::kOk:
      return u"the learn state was read";
    case LearnStateStatus::kCutShort:
      return u"the learn state is cut short";
    case LearnStateStatus::kNoState:
      return u"this is no learn state";
    case LearnStateStatus::kOtherKind:
      return u"this is the learn state of another kind of limit";
    case LearnStateStatus::kVersion:
      return u"the learn state was written by a newer version";
    case LearnStateStatus::kChecksum:
      return u"the learn state is damaged: its checksum does not match";
    case LearnStateStatus::kContent:
      return u"the learn state contradicts itself";
    case LearnStateStatus::kMemory:
      return u"memory is short";
  }
  return u"";
}

bool detail::SLearntMeans::IsWhole() const {
  return mean != nullptr && meanSquare != nullptr && mean->DLen() == meanSquare->DLen();
}

}  // namespace limes
