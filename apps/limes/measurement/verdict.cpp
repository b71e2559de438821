#include "apps/limes/measurement/verdict.h"

#include "apps/limes/measurement/learnt.h"

namespace limes::host {

const char* VerdictText(Verdict verdict) {
  return verdict == Verdict::kPass ? "OK" : verdict == Verdict::kFail ? "NOK" : "not judged";
}

Verdict VerdictFromText(const std::string& text) {
  return text == "OK" ? Verdict::kPass : text == "NOK" ? Verdict::kFail : Verdict::kNotJudged;
}

const char* SideText(Side side) { return side == Side::kUpper ? "upper" : "lower"; }

Side SideFromText(const std::string& text) { return text == "lower" ? Side::kLower : Side::kUpper; }

const char* SourceText(ScoreSource source) {
  return source == ScoreSource::kOthers   ? "others"
         : source == ScoreSource::kFrozen ? "frozen"
                                          : "learning";
}

ScoreSource SourceFromText(const std::string& text) {
  return text == "others"   ? ScoreSource::kOthers
         : text == "frozen" ? ScoreSource::kFrozen
                            : ScoreSource::kLearning;
}

}  // namespace limes::host
