#include <cstdio>

#include "limes/limes.h"

int main() {
  limes::CSigCurveExt part = limes::CSigCurveExt::Make(1000, 0.0F, 1000.0F);  // 1000 points of 1 Hz
  part.SetName(u"Gear noise");
  part.SetXUnit(u"Hz");
  part.SetYUnit(u"dB(Pa)");

  limes::CKurvenLernWerkzeug tool;
  tool.Bildungsregel(3.0F, 3.0F, 0.0F);  // limit = 3 dB + mean + 3 spreads
  for (int good = 0; good < 50; ++good) {
    for (int i = 0; i < 1000; ++i) {
      part.SetAt(i, 60.0F + 0.1F * static_cast<float>((good + i) % 7));  // your measurement
    }
    if (const limes::LearnStatus status = tool.LearnPart(part); status != limes::LearnStatus::kOk) {
      std::printf("not learnt: %s\n", limes::WideToUtf8(limes::Text(status)).c_str());
      return 1;
    }
  }

  part.SetAt(440, 72.0F);  // a whining gear
  const limes::SPartJudgement judged = tool.JudgePart(part);
  std::printf("%.1f dB over the limit at %.0f Hz\n", judged.deviation, judged.x);
  return judged.verdict == limes::Verdict::kFail ? 0 : 1;
}
