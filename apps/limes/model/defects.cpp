#include "apps/limes/model/defects.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/number_text.h"
#include "limes/platform/text.h"
#include "limes/results/defect_report_folder.h"
#include "recordings/measurement.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// Excess in hundredths of the spread; without a number for it before all others.
std::int32_t Priority(const std::optional<double>& excessInS) {
  constexpr double kMost = std::numeric_limits<std::int32_t>::max();
  const bool known = excessInS && !std::isnan(*excessInS);
  return static_cast<std::int32_t>(
      known ? std::clamp(std::round(100.0 * *excessInS), 0.0, kMost - 1.0) : kMost);
}

SDefect DefectOf(const CDefectReport& report, const SQuantityVerdict& quantity) {
  CProtocolItem item;
  report.InProtokollWandeln(item);
  SDefect defect;
  defect.quantity = quantity.name;
  defect.side = quantity.side;
  defect.priority = item.priority;
  defect.code = item.code;
  defect.type = item.type;
  defect.value = Shown(item.value);
  defect.limit = Shown(item.limit);
  defect.mean = Shown(item.average);
  defect.unit = quantity.unit;
  if (quantity.x) {
    defect.place = Shown(item.place);
    defect.from = Shown(item.from);
    defect.to = Shown(item.to);
    defect.excess = Shown(std::fabs(item.value - item.limit));
  } else {
    defect.value = quantity.value.value_or(defect.value);
    defect.limit = quantity.limit.value_or(defect.limit);
    defect.mean = quantity.mean.value_or(defect.mean);
    defect.excess = quantity.maxDeviation;
  }
  defect.text = WideToUtf8(report.Berichtstext());
  return defect;
}

}  // namespace

void AddItem(CProtocolItemList& items, CProtocolItem item, const SQuantityVerdict& verdict,
             const std::optional<double>& excessInS) {
  if (item.state == Verdict::kPass && !items.Items().empty()) {
    return;  // says nothing that the others do not
  }
  item.name = Utf8ToWide(verdict.name);
  item.unit = Utf8ToWide(verdict.unit);
  item.priority = Priority(excessInS);
  // Few characters and digits: a line of a report holds 119 characters.
  item.names.Channel(verdict.side == Side::kUpper ? u"above limit" : u"below limit");
  item.names.Parameter(Utf8ToWide(verdict.xUnit));
  if (item.from != item.to) {
    item.names.Location(
        Utf8ToWide(PlaceNumber(Shown(item.from)) + " .. " + PlaceNumber(Shown(item.to))));
  }
  if (items.Add(item) == nullptr) {
    throw std::bad_alloc();
  }
}

std::vector<SDefect> DefectsOf(const CProtocolItemList& items,
                               const std::vector<SQuantityVerdict>& quantities) {
  std::vector<SDefect> defects;
  const auto failed =
      std::count_if(items.Items().begin(), items.Items().end(),
                    [](const CProtocolItem& item) { return item.state == Verdict::kFail; });
  if (failed == 0) {
    return defects;
  }
  CDefectReportOrdner folder(static_cast<int>(failed));
  if (!items.ToFolder(folder)) {
    throw std::bad_alloc();
  }
  folder.BerichteFormatieren();
  for (int i = 0; i < folder.Anzahl(); ++i) {
    defects.push_back(
        DefectOf(folder[i], quantities[static_cast<std::size_t>(folder[i].Gruppe())]));
  }
  return defects;
}

}  // namespace limes::host
