#include "limes/results/protocol_item_list.h"

#include <algorithm>
#include <utility>

#include "limes/platform/memory_errors.h"
#include "limes/results/defect_report_folder.h"

namespace limes {

CProtocolItem* CProtocolItemList::Add(const CProtocolItem& item) {
  return detail::IfMemoryAllows(nullptr, [&] { return &items_.emplace_back(item); });
}

int CProtocolItemList::FindFirst(const CQuinterMFC& pattern, int start) const {
  for (int i = std::max(start, 0); i < Anzahl(); ++i) {
    if ((*this)[i].names.matchesPattern(pattern)) {
      return i;
    }
  }
  return -1;
}

Verdict CProtocolItemList::OverallVerdict() const {
  const CProtocolItem* const worst = Worst();
  return worst != nullptr ? worst->state : items_.empty() ? Verdict::kNotJudged : Verdict::kPass;
}

const CProtocolItem* CProtocolItemList::Worst() const {
  const CProtocolItem* worst = nullptr;
  for (const CProtocolItem& item : items_) {
    const bool failed = item.state == Verdict::kFail;
    const bool foundFailed = worst != nullptr && worst->state == Verdict::kFail;
    if (failed ? !foundFailed || item.priority > worst->priority
               : worst == nullptr && item.state == Verdict::kNotJudged) {
      worst = &item;
    }
  }
  return worst;
}

bool CProtocolItemList::ToFolder(CDefectReportOrdner& folder) const {
  return detail::IfMemoryAllows(false, [&] {
    std::vector<const CProtocolItem*> failed;
    for (const CProtocolItem& item : items_) {
      if (item.state == Verdict::kFail) {
        failed.push_back(&item);
      }
    }
    std::stable_sort(failed.begin(), failed.end(),
                     [](const auto* a, const auto* b) { return a->priority > b->priority; });
    for (const CProtocolItem* const item : failed) {
      CDefectReport filled;  // first, so that no half report is left when memory is short
      filled.Fillin(*item, folder.Anzahl() + 1, item->group);
      CDefectReport* const report = folder.Naechster();
      if (report == nullptr) {
        return false;
      }
      *report = std::move(filled);
    }
    return true;
  });
}

bool CProtocolItemList::FromFolder(const CDefectReportOrdner& folder) {
  return detail::IfMemoryAllows(false, [&] {
    std::vector<CProtocolItem> items = items_;
    for (int i = 0; i < folder.Anzahl(); ++i) {
      folder[i].InProtokollWandeln(items.emplace_back());
    }
    items_.swap(items);
    return true;
  });
}

}  // namespace limes
