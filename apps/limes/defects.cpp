#include "apps/limes/defects.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "apps/limes/measurement.h"
#include "limes/platform/text.h"
#include "limes/results/defect_report_folder.h"

namespace limes::host {
namespace {

/// Excess in hundredths of the spread; without spread before all others.
std::int32_t Priority(const std::optional<double>& excessInS) {
  constexpr double kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(
      excessInS ? std::clamp(std::round(100.0 * *excessInS), 0.0, kMost - 1.0) : kMost);
}

SDefect MakeDefect(const SQuantityVerdict& numbers, std::uint32_t type) {
  SDefect defect;
  defect.quantity = numbers.name;
  defect.side = numbers.side;
  defect.priority = Priority(numbers.excessInS);
  defect.type = type;
  defect.value = numbers.value.value_or(0.0);
  defect.limit = numbers.limit.value_or(0.0);
  defect.mean = numbers.mean.value_or(0.0);
  defect.excess = numbers.maxDeviation;
  defect.place = numbers.x.value_or(0.0);
  defect.unit = numbers.unit;
  defect.xUnit = numbers.xUnit;
  return defect;
}

void Fill(const SDefect& defect, CDefectReport& report) {
  report.Name(Utf8ToWide(defect.quantity));
  report.NameAt(1, defect.side == Side::kUpper ? u"above upper limit" : u"below lower limit");
  if (defect.from && *defect.from != *defect.to) {
    report.NameAt(2, Utf8ToWide(NumberText(*defect.from) + " .. " + NumberText(*defect.to)));
  }
  report.NameAt(4, Utf8ToWide(defect.xUnit));
  report.Code(defect.code);
  report.Type(defect.type);
  report.Value(static_cast<float>(defect.value));
  report.Limit(static_cast<float>(defect.limit));
  report.Average(static_cast<float>(defect.mean));
  report.Place(static_cast<float>(defect.place));
  report.Unit(Utf8ToWide(defect.unit));
  report.PrioritaetSetzen(defect.priority);
}

}  // namespace

SDefect CurveDefect(const SQuantityVerdict& numbers, double from, double to) {
  SDefect defect = MakeDefect(numbers, CDefectReport::kWithPlace);
  defect.from = from;
  defect.to = to;
  return defect;
}

SDefect ValueDefect(const SQuantityVerdict& numbers) {
  return MakeDefect(numbers, CDefectReport::kWithPercent);
}

void OrderDefects(std::vector<SDefect>& defects) {
  if (defects.empty()) {
    return;
  }
  CDefectReportOrdner folder(static_cast<int>(defects.size()));
  for (const SDefect& defect : defects) {
    if (CDefectReport* report = folder.Naechster()) {
      Fill(defect, *report);
    }
  }
  folder.Ordnen();
  for (int i = 0; i < folder.Anzahl(); ++i) {
    folder[static_cast<int>(folder.Geordnet(i) - &folder[0])].Number(i + 1);
  }
  folder.BerichteFormatieren();
  std::vector<SDefect> ordered;
  for (int i = 0; i < folder.Anzahl(); ++i) {
    const CDefectReport& report = *folder.Geordnet(i);
    ordered.push_back(std::move(defects[static_cast<std::size_t>(&report - &folder[0])]));
    ordered.back().text = WideToUtf8(report.Berichtstext());
  }
  defects = std::move(ordered);
}

}  // namespace limes::host
