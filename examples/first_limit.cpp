#include <cstdio>

#include "limes/limes.h"

int main() {
  limes::CSigCurveExt part = limes::CSigCurveExt::Make(1000, 0.0F, 1000.0F);  // 1000 points of 1 Hz
  part.SetName(u"Gear noise");
  part.SetXUnit(u"Hz");
  part.SetYUnit(u"dB(Pa)");

  limes::CKurvenLernWerkzeug tool;
  tool.Bildungsregel(3.0F, 3.0F, 0.0F);  // limit = 3 dB + mean + 3 spreads
  tool.Vorlage(&part);                   // the grid,
  tool.Neustart(10000);                  // and nothing learnt yet: a plain mean
  for (int good = 0; good < 50; ++good) {
    part = 60.0F + 0.1F * static_cast<float>(good % 7);  // your measurement
    tool.NeueMessung(&part);
  }
  tool.UpdateLimit();

  part.SetAt(440, 72.0F);  // a whining gear
  const limes::SCurveJudgement judged = tool.Judge(part);
  std::printf("%.1f dB over the limit at %.0f Hz\n", judged.deviation, judged.x);
  return judged.verdict == limes::Verdict::kFail ? 0 : 1;
}
