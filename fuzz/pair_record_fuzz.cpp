// Pair records of any bytes: read, looked up, combined, cut, written and read again.
#include "fuzz/fuzz.h"
#include "limes/signals/curve.h"
#include "limes/signals/pair_signal.h"

void limes::fuzz::Try(Input input) {
  if (input.empty() || input.size() > 1500) {  // equal x far from their places make sorting slow
    return;
  }
  CMemoryStream file(input.subspan(1));
  CSigPairs run;
  if ((input[0] & 16U) != 0 ? !run.ReadFromFile(file, 2) : run.DateiImport(file) != 1) {
    Require(run.NPaare() == 0);
    return;
  }
  CMemoryStream stored;
  Require(run.DateiExport(stored) == 1);
  stored.Seek(0);
  CSigPairs other;
  Require(other.DateiImport(stored) == 1 && (run.Name()[0] == 0 || other.NPaare() == run.NPaare()));
  CSigCurve curve(50);
  run.KurveBilden(&curve, true);
  other.DatenWenden();
  other.CutLeft(other.WertBei(0.5F));
  run.Glaetten(run.MinStepSize() * 3);
  run.Verrechnen(other, input[0] & 15);
  run.Linearisieren(10);
  for (std::uint32_t i = 0; i < run.NPaare(); ++i) {
    const int index = run.IndexZu(run.Punkt(i), static_cast<int>(i % 3));
    Require(index >= 0 && index < static_cast<int>(run.NPaare()));
    static_cast<void>(run.WertBei(run.Punkt(i)));
  }
  run.NeuesPaarEinsortieren(run.Parameter(), 1.0F);
  run.CutRight(run.WertBei(1.0F));
}
