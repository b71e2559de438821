#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "limes/export.h"
#include "limes/platform/object.h"
#include "limes/results/defect_report.h"

namespace limes {

/// A fixed number of defect reports: hands out the next free one, orders them by priority, removes
/// and prints them. References to reports stay valid for its life, but deleting moves reports. One
/// thread at a time.
class LIMES_EXPORT CDefectReportOrdner {
 public:
  /// Room for capacity reports; none when it is negative or memory is short. O(capacity).
  explicit CDefectReportOrdner(int capacity);
  CDefectReportOrdner(const CDefectReportOrdner&) = delete;
  CDefectReportOrdner& operator=(const CDefectReportOrdner&) = delete;
  virtual ~CDefectReportOrdner();

  static const CRuntimeClass* GetThisClass();
  virtual const CRuntimeClass* GetRuntimeClass() const { return GetThisClass(); }

  /// Starts anew: all reports cleared, none in use, open. O(capacity).
  void Neu();

  /// Takes the next free report; null when the folder is full.
  CDefectReport* Naechster();

  /// Number of reports in use.
  int Anzahl() const { return count_; }

  /// Number of reports whose name 0 begins with the text; all for null, 0 for an empty text. O(n).
  int Anzahl(const wide_char* text) const;

  int SlotCapacity() const { return capacity_; }

  /// Whether reports may still come; free for the host.
  bool BerichtOffen() const { return open_; }
  void BerichtOffen(bool open) { open_ = open; }

  /// Report i in the order taken; i must be below the capacity.
  CDefectReport& operator[](int i) { return records_[static_cast<std::size_t>(i)]; }
  const CDefectReport& operator[](int i) const { return records_[static_cast<std::size_t>(i)]; }

  /// Sorts the ordered view by descending priority, equal ones in the order taken. The reports stay
  /// where they are. O(n log n).
  void Ordnen();

  /// Report i of the ordered view, in the order taken until Ordnen; null outside.
  const CDefectReport* Ordered(int i) const;

  /// Removes the reports of a group. The ordered view starts anew. O(n).
  void GruppeLoeschen(int group);

  /// Removes the reports whose name 0 is the text ("*": all of them); an empty text removes none.
  /// The ordered view starts anew. O(n).
  void ModeLoeschen(std::u16string_view mode);
  void ModeLoeschen(const wide_char* mode) {
    ModeLoeschen(mode == nullptr ? std::u16string_view() : std::u16string_view(mode));
  }

  /// Formats the reports that have no text yet. O(n).
  void BerichteFormatieren();

  /// Prints all reports' texts to the print window, in the order taken. O(n).
  void PrWinAusgabe() const;

 private:
  template <class Condition>
  void Remove(Condition condition);
  void ResetOrder();

  std::int32_t capacity_ = 0;
  bool open_ = false;
  std::vector<CDefectReport> records_;  ///< never grows
  std::vector<const CDefectReport*> order_;
  std::int32_t count_ = 0;
};

}  // namespace limes
