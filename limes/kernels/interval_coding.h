#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "limes/export.h"
#include "limes/platform/text.h"

namespace limes {

class CResourceSea;

/// Maps a value to an integer code through closed intervals; the last one that holds the value
/// decides, none of them gives the default code. Copies own their intervals.
/// Copying throws std::bad_alloc when memory is short. One thread at a time.
class LIMES_EXPORT CIntervallCodierung {
 public:
  CIntervallCodierung() = default;
  CIntervallCodierung(const CIntervallCodierung&) = default;
  CIntervallCodierung& operator=(const CIntervallCodierung&) = default;
  virtual ~CIntervallCodierung();

  /// Restarts without intervals; a default code below 0 leaves the one in use, 0 at first.
  void Neubeginn(int defaultCode);

  /// Appends an interval, both ends of which belong to it. No effect unless from <= to, and when
  /// memory is short: Anzahl() tells. O(1) amortised.
  void WeiteresIntervall(float from, float to, int code);

  /// Looks up the code of a value; a NaN has the default code. O(n).
  int CodeFinden(float x) const;
  int operator[](float x) const { return CodeFinden(x); }

  /// Code and lower bound of interval i; 0 outside.
  int Code(int i) const;
  float Von(int i) const;

  int Anzahl() const { return static_cast<int>(intervals_.size()); }
  int DefaultCode() const { return defaultCode_; }

  /// Reads one integer, which becomes the default code when it is above 0: the integer, -1 when
  /// there is none.
  int AusTextLesen(std::u16string_view text);
  int AusTextLesen(const wide_char* text) {
    return text == nullptr ? -1 : AusTextLesen(std::u16string_view(text));
  }

  /// Reads intervals from the lines "from to code" of a list: their number. Missing fields are 0,
  /// 0 and the default code, which restarts at 9999; with takeFirstAsDefault it becomes the first
  /// interval's code afterwards. None when the store has no such list or memory is short. No
  /// effect, and 0, for a null name. O(lines).
  int AusResListeLesen(const CResourceSea& store, std::u16string_view name, int takeFirstAsDefault);
  int AusResListeLesen(const CResourceSea& store, const wide_char* name, int takeFirstAsDefault) {
    return name == nullptr ? 0
                           : AusResListeLesen(store, std::u16string_view(name), takeFirstAsDefault);
  }

 private:
  struct SInterval {
    float from;
    float to;
    std::int32_t code;
  };

  [[nodiscard]] bool Append(float from, float to, int code);

  std::vector<SInterval> intervals_;
  std::int32_t defaultCode_ = 0;
};

}  // namespace limes
