#include "apps/limes/measurement/verdict.h"

namespace limes::host {

const char* VerdictText(Verdict verdict) {
  return verdict == Verdict::kPass ? "OK" : verdict == Verdict::kFail ? "NOK" : "not judged";
}

Verdict VerdictFromText(const std::string& text) {
  return text == "OK" ? Verdict::kPass : text == "NOK" ? Verdict::kFail : Verdict::kNotJudged;
}

const char* SideText(Side side) { return side == Side::kUpper ? "upper" : "lower"; }

Side SideFromText(const std::string& text) { return text == "lower" ? Side::kLower : Side::kUpper; }

}  // namespace limes::host
