// Raw signal records in archives of any words: loading stays inside the array, and what was loaded
// stores and loads again.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "limes/signals/raw_signal.h"

namespace {

void Require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr unsigned kHeader = limes::CSerializer::kHeaderWords;
  const auto words = static_cast<unsigned>(size / 4);
  std::vector<std::uint32_t> archive(kHeader + words);
  if (words > 0) {
    std::memcpy(archive.data() + kHeader, data, words * 4);
  }
  for (const int copy : {0, 1}) {
    limes::CSerializer in(archive.data(), kHeader + words, limes::CSerializer::kLoad);
    while (in.WordsToEnd() > 0) {
      limes::CSigRaw raw(2);
      raw.DoCopyData(copy);
      const unsigned before = in.WordsToEnd();
      const bool loaded = raw.Serialize(&in) != 0;
      Require(raw.DLen() <= before || raw.DLen() == 2);
      if (!loaded) {
        break;
      }
      std::vector<std::uint32_t> stored(kHeader + 5 + raw.DLen());
      limes::CSerializer out(stored.data(), static_cast<unsigned>(stored.size()), 0);
      Require(raw.Serialize(&out) == 1);
      limes::CSigRaw back;
      limes::CSerializer again(stored.data(), static_cast<unsigned>(stored.size()),
                               limes::CSerializer::kLoad);
      Require(back.Serialize(&again) == 1);
      Require(back.DLen() == raw.DLen() && back.TypeCode() == raw.TypeCode() &&
              back.SigId() == raw.SigId());
      Require(raw.DLen() == 0 ||
              std::memcmp(back.Data(), raw.Data(), std::size_t{raw.DLen()} * 4) == 0);
      raw.ShiftData(static_cast<int>(back.TypeCode()));  // also of words in the archive
    }
  }
  return 0;
}
