// Raw signal records in archives of any words: loading stays inside the array, and what was loaded
// stores and loads again.
#include "fuzz/fuzz.h"
#include "limes/signals/raw_signal.h"

void limes::fuzz::Try(Input input) {
  constexpr unsigned kHeader = CSerializer::kHeaderWords;
  auto archive = ArrayOf<std::uint32_t>(input);
  archive.insert(archive.begin(), kHeader, 0U);
  const auto words = static_cast<unsigned>(archive.size());
  for (const int copy : {0, 1}) {
    CSerializer in(archive.data(), words, CSerializer::kLoad);
    while (in.WordsToEnd() > 0) {
      CSigRaw raw(2);
      raw.DoCopyData(copy);
      const unsigned before = in.WordsToEnd();
      const bool loaded = raw.Serialize(&in) != 0;
      Require(raw.DLen() <= before || raw.DLen() == 2);
      if (!loaded) {
        break;
      }
      std::vector<std::uint32_t> stored(kHeader + 5 + raw.DLen());
      const auto room = static_cast<unsigned>(stored.size());
      CSerializer out(stored.data(), room, 0);
      Require(raw.Serialize(&out) == 1);
      CSigRaw back;
      CSerializer again(stored.data(), room, CSerializer::kLoad);
      Require(back.Serialize(&again) == 1);
      Require(back.DLen() == raw.DLen() && back.TypeCode() == raw.TypeCode() &&
              back.SigId() == raw.SigId());
      Require(raw.DLen() == 0 ||
              std::memcmp(back.Data(), raw.Data(), std::size_t{raw.DLen()} * 4) == 0);
      raw.ShiftData(static_cast<int>(back.TypeCode()));  // also of words in the archive
    }
  }
}
