#include "limes/core/signal_info.h"

namespace limes {

CSignalInfo* CSignalInfo::clone(bool /*deep*/) const { return new CSignalInfo(*this); }

int siginfo::Index(std::u16string_view text, const wide_char* const* table, unsigned n) {
  for (unsigned i = 0; table != nullptr && i < n; ++i) {
    if (table[i] != nullptr && text == table[i]) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

}  // namespace limes
