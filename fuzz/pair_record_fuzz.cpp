// Pair records of any bytes: read, looked up, combined, cut, written and read again.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "limes/platform/file_stream.h"
#include "limes/platform/print_window.h"
#include "limes/signals/curve.h"
#include "limes/signals/pair_signal.h"

namespace {

using limes::CMemoryStream;
using limes::CSigPairs;

void Require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

std::vector<std::uint8_t> Record(const CSigPairs& run) {
  CMemoryStream file;
  Require(run.DateiExport(file) == 1);
  return {file.Bytes().begin(), file.Bytes().end()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto kQuiet = limes::PrWin::SetSink([](int, int, std::u16string_view) {});
  if (size == 0 || size > 1500) {  // equal x far from their places make sorting slow
    return 0;
  }
  CMemoryStream file(std::span<const std::uint8_t>(data + 1, size - 1));
  CSigPairs run;
  if ((data[0] & 16U) != 0 ? !run.ReadFromFile(file, 2) : run.DateiImport(file) != 1) {
    Require(run.NPaare() == 0);
    return 0;
  }
  const auto once = Record(run);
  CMemoryStream stored{std::span<const std::uint8_t>(once)};
  CSigPairs other;
  Require(other.DateiImport(stored) == 1 && (run.Name()[0] == 0 || other.NPaare() == run.NPaare()));
  limes::CSigCurve curve(50);
  run.KurveBilden(&curve, true);
  other.DatenWenden();
  other.CutLeft(other.WertBei(0.5F));
  run.Glaetten(run.MinStepSize() * 3);
  run.Verrechnen(other, data[0] & 15);
  run.Linearisieren(10);
  for (std::uint32_t i = 0; i < run.NPaare(); ++i) {
    const int index = run.IndexZu(run.Punkt(i), static_cast<int>(i % 3));
    Require(index >= 0 && index < static_cast<int>(run.NPaare()));
    static_cast<void>(run.WertBei(run.Punkt(i)));
  }
  run.NeuesPaarEinsortieren(run.Parameter(), 1.0F);
  run.CutRight(run.WertBei(1.0F));
  return 0;
}
