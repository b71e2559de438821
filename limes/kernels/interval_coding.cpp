#include "limes/kernels/interval_coding.h"

#include <limits>

#include "limes/platform/memory_errors.h"
#include "limes/platform/resource_sea.h"

namespace limes {

CIntervallCodierung::~CIntervallCodierung() = default;

void CIntervallCodierung::Neubeginn(int defaultCode) {
  intervals_.clear();
  if (defaultCode >= 0) {
    defaultCode_ = defaultCode;
  }
}

bool CIntervallCodierung::Append(float from, float to, int code) {
  return intervals_.size() < std::numeric_limits<std::int32_t>::max() &&
         detail::IfMemoryAllows([&] {
           intervals_.push_back({from, to, code});
         });
}

void CIntervallCodierung::WeiteresIntervall(float from, float to, int code) {
  if (from <= to) {
    static_cast<void>(Append(from, to, code));
  }
}

int CIntervallCodierung::CodeFinden(float x) const {
  for (auto interval = intervals_.rbegin(); interval != intervals_.rend(); ++interval) {
    if (interval->from <= x && x <= interval->to) {
      return interval->code;
    }
  }
  return defaultCode_;
}

int CIntervallCodierung::Code(int i) const {
  return i >= 0 && i < Anzahl() ? intervals_[static_cast<std::size_t>(i)].code : 0;
}

float CIntervallCodierung::Von(int i) const {
  return i >= 0 && i < Anzahl() ? intervals_[static_cast<std::size_t>(i)].from : 0.0F;
}

int CIntervallCodierung::AusTextLesen(std::u16string_view text) {
  std::int32_t value = 0;
  if (Scan(text, u"%d", &value) != 1) {
    return -1;
  }
  if (value > 0) {
    defaultCode_ = value;
  }
  return value;
}

int CIntervallCodierung::AusResListeLesen(const CResourceSea& store, std::u16string_view name,
                                          int takeFirstAsDefault) {
  constexpr std::int32_t kDefaultOfLists = 9999;
  intervals_.clear();
  defaultCode_ = kDefaultOfLists;
  const CResourceList* list = store.List(name);
  if (list == nullptr) {
    return 0;
  }
  for (const CResourceEntry& entry : *list) {
    float from = 0.0F;
    float to = 0.0F;
    std::int32_t code = defaultCode_;
    entry.Scan(u"%f %f %d", &from, &to, &code);
    if (from <= to && !Append(from, to, code)) {
      intervals_.clear();  // half a list would give wrong codes
      return 0;
    }
  }
  if (takeFirstAsDefault != 0 && !intervals_.empty()) {
    defaultCode_ = intervals_.front().code;
  }
  return Anzahl();
}

}  // namespace limes
