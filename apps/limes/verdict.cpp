#include "apps/limes/verdict.h"

namespace limes::host {

const char* VerdictText(Verdict verdict) {
  return verdict == Verdict::kPass ? "OK" : verdict == Verdict::kFail ? "NOK" : "not judged";
}

Verdict VerdictFromText(const std::string& text) {
  return text == "OK" ? Verdict::kPass : text == "NOK" ? Verdict::kFail : Verdict::kNotJudged;
}

Verdict Worse(Verdict a, Verdict b) {
  if (a == Verdict::kFail || b == Verdict::kFail) {
    return Verdict::kFail;
  }
  return a == Verdict::kPass ? b : a;
}

const char* SideText(Side side) { return side == Side::kUpper ? "upper" : "lower"; }

Side SideFromText(const std::string& text) { return text == "lower" ? Side::kLower : Side::kUpper; }

}  // namespace limes::host
