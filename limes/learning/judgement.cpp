#include "limes/learning/judgement.h"

namespace limes {

const wide_char* Text(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPass:
      return u"pass";
    case Verdict::kFail:
      return u"fail";
    case Verdict::kNotJudged:
      return u"not judged";
  }
  return u"";
}

const wide_char* Text(PartStatus status) {
  switch (status) {
    case PartStatus::kOk:
      return u"ok";
    case PartStatus::kNothingLearnt:
      return u"nothing is learnt";
    case PartStatus::kNoValues:
      return u"no values, or an x axis that does not rise";
    case PartStatus::kNotFinite:
      return u"a value or the limit is not finite";
    case PartStatus::kUnit:
      return u"another unit than learnt";
    case PartStatus::kReference:
      return u"another reference of the level than learnt";
    case PartStatus::kXUnit:
      return u"another unit of the x axis than learnt";
    case PartStatus::kStep:
      return u"another step of the x axis than learnt";
    case PartStatus::kGaps:
      return u"the first part was not measured everywhere";
    case PartStatus::kNoCommonPoint:
      return u"no measured point lies in the learnt range";
    case PartStatus::kCoversTooLittle:
      return u"too little was measured";
    case PartStatus::kLongerThanTemplate:
      return u"the first part covers too little of this one";
    case PartStatus::kNoSignal:
      return u"no signal";
    case PartStatus::kClipped:
      return u"clipped";
    case PartStatus::kResolution:
      return u"the spread is smaller than the measurement can show";
    case PartStatus::kTooLong:
      return u"too far from what is learnt";
    case PartStatus::kMemory:
      return u"memory is short";
    case PartStatus::kNoLimit:
      return u"the parts learnt give no limit for the rate";
  }
  return u"";
}

}  // namespace limes
