#pragma once

#include <span>
#include <vector>

#include "limes/core/signal_key.h"
#include "limes/export.h"
#include "limes/learning/judgement.h"
#include "limes/results/protocol_item.h"

namespace limes {

class CDefectReportOrdner;

/// The test protocol of a part: its items in the order they were added. One thread at a time;
/// copying throws std::bad_alloc when memory is short, nothing else throws.
class LIMES_EXPORT CProtocolItemList {
 public:
  /// Adds an item: it, until the next one is added; null when memory is short.
  CProtocolItem* Add(const CProtocolItem& item);

  void Clear() { items_.clear(); }
  int Anzahl() const { return static_cast<int>(items_.size()); }
  bool IsEmpty() const { return items_.empty(); }

  /// Item i, which must lie below Anzahl().
  CProtocolItem& operator[](int i) { return items_[static_cast<std::size_t>(i)]; }
  const CProtocolItem& operator[](int i) const { return items_[static_cast<std::size_t>(i)]; }
  std::span<CProtocolItem> Items() { return {items_.data(), items_.size()}; }
  std::span<const CProtocolItem> Items() const { return {items_.data(), items_.size()}; }

  /// Index of the first item from start on whose names match the pattern ("*" there stands for
  /// any), -1 when there is none. O(n).
  int FindFirst(const CQuinterMFC& pattern, int start = 0) const;

  /// Fail when one item failed, else not judged when one was not judged or there is none, else
  /// pass. O(n).
  Verdict OverallVerdict() const;

  /// Every item passed, and there is one.
  bool AllOk() const { return OverallVerdict() == Verdict::kPass; }

  /// The failed item of the highest priority, the first of equal ones; without a failed one the
  /// first that was not judged; null when all passed. O(n).
  const CProtocolItem* Worst() const;

  /// Turns the failed items into defect reports behind those of the folder, in priority order
  /// (equal ones in their own), numbered on from Anzahl() + 1. False when the folder has no room
  /// for all, which then holds the most urgent ones, or when memory is short. O(n log n).
  [[nodiscard]] bool ToFolder(CDefectReportOrdner& folder) const;

  /// Adds an item for each report of a folder: what ToFolder made comes back the same. False, with
  /// nothing changed, when memory is short. O(n).
  [[nodiscard]] bool FromFolder(const CDefectReportOrdner& folder);

 private:
  std::vector<CProtocolItem> items_;
};

}  // namespace limes
