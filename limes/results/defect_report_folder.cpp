#include "limes/results/defect_report_folder.h"

#include <algorithm>
#include <functional>
#include <new>
#include <utility>

#include "limes/platform/memory_errors.h"
#include "limes/platform/print_window.h"

namespace limes {

CDefectReportOrdner::CDefectReportOrdner(int capacity) {
  const auto n = static_cast<std::size_t>(std::max(capacity, 0));
  detail::IfMemoryAllows([&] {
    std::vector<CDefectReport> records(n);
    order_.resize(n);
    records_.swap(records);
    capacity_ = static_cast<std::int32_t>(n);
  });
  ResetOrder();
}

CDefectReportOrdner::~CDefectReportOrdner() = default;

const CRuntimeClass* CDefectReportOrdner::GetThisClass() {
  static constexpr CRuntimeClass kClass{"CDefectReportOrdner", nullptr, nullptr};
  return &kClass;
}

void CDefectReportOrdner::ResetOrder() {
  for (std::int32_t i = 0; i < capacity_; ++i) {
    order_[static_cast<std::size_t>(i)] = &(*this)[i];
  }
}

void CDefectReportOrdner::Neu() {
  for (std::int32_t i = 0; i < capacity_; ++i) {
    (*this)[i].Clear();
  }
  ResetOrder();
  count_ = 0;
  open_ = true;
}

CDefectReport* CDefectReportOrdner::Naechster() {
  return count_ < capacity_ ? &(*this)[count_++] : nullptr;
}

int CDefectReportOrdner::Anzahl(const wide_char* text) const {
  if (text == nullptr) {
    return count_;
  }
  const std::u16string_view start = text;
  if (start.empty()) {
    return 0;
  }
  return static_cast<int>(std::count_if(
      records_.data(), records_.data() + count_,
      [start](const CDefectReport& report) { return report.NameAt(0).starts_with(start); }));
}

void CDefectReportOrdner::Ordnen() {
  ResetOrder();
  std::sort(order_.data(), order_.data() + count_,
            [](const CDefectReport* a, const CDefectReport* b) {
              return *a > *b || (a->Prioritaet() == b->Prioritaet() && std::less<>()(a, b));
            });
}

const CDefectReport* CDefectReportOrdner::Ordered(int i) const {
  return i >= 0 && i < count_ ? order_[static_cast<std::size_t>(i)] : nullptr;
}

template <class Condition>
void CDefectReportOrdner::Remove(Condition condition) {
  CDefectReport* const end = records_.data() + count_;
  CDefectReport* const left = std::remove_if(records_.data(), end, condition);
  std::for_each(left, end, [](CDefectReport& report) { report.Clear(); });
  count_ = static_cast<std::int32_t>(left - records_.data());
  ResetOrder();
}

void CDefectReportOrdner::GruppeLoeschen(int group) {
  Remove([group](const CDefectReport& report) { return report.Gruppe() == group; });
}

void CDefectReportOrdner::ModeLoeschen(std::u16string_view mode) {
  if (!mode.empty()) {
    Remove([mode](const CDefectReport& report) {
      return mode == u"*" || report.NameAt(0) == u"*" || report.NameAt(0) == mode;
    });
  }
}

void CDefectReportOrdner::BerichteFormatieren() {
  for (std::int32_t i = 0; i < count_; ++i) {
    if ((*this)[i].Berichtstext()[0] == 0) {
      (*this)[i].FormatReport();
    }
  }
}

void CDefectReportOrdner::PrWinAusgabe() const {
  PrWinPrintf(u"Fehlerberichte: -------------------\n");
  for (std::int32_t i = 0; i < count_; ++i) {
    PrWinPrintf(u"%d: %s\n", i, (*this)[i].Berichtstext());
  }
}

}  // namespace limes
