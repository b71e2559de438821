#include <algorithm>
#include <array>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "limes/kernels/pair_loops.h"
#include "limes/platform/record_io.h"
#include "limes/platform/text.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

/// What stands before the pairs in a record, in file order; the name and the floats follow.
struct PairsHead {
  std::uint32_t capacity = 0;  ///< floats behind the head
  std::uint32_t zero = 0;
  std::uint32_t count = 0;  ///< pairs
  float parameter = 0.0F;
  std::int32_t number = 0;
  std::array<std::uint8_t, 20> reserved{};
  std::array<std::uint8_t, CSignal::kNameBytes> name{};

  static constexpr auto Fields(auto& h) {
    return std::tie(h.capacity, h.zero, h.count, h.parameter, h.number, h.reserved, h.name);
  }
};

constexpr std::size_t kHeadBytes = 80;

}  // namespace

bool CSigPairs::WriteToFile(CFileStream& file, unsigned version) const {
  return CSignal::WriteToFile(file, version) && DateiExport(file) == 1;
}

bool CSigPairs::ReadFromFile(CFileStream& file, unsigned version) {
  return CSignal::ReadFromFile(file, version) && DateiImport(file) == 1;
}

int CSigPairs::DateiExport(CFileStream& file) const {
  detail::RecordWriter record;
  try {
    const std::uint32_t n = NPaare();
    const std::string name = WideToCp1252(Name());
    PairsHead head = {DLen(), 0, n, parameter_, nummer_, {}, {}};
    std::memcpy(head.name.data(), name.data(), std::min(name.size(), kNameBytes - 1));
    record.Reserve(kHeadBytes + std::size_t{DLen()} * sizeof(float));
    record.PutFields(head);
    const std::size_t half = DLen() / 2;
    record.PutEvery(Words(), n, 2, half);
    record.PutEvery(n > 0 ? Words() + 1 : nullptr, n, 2, DLen() - half);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  record.WriteTo(file);
  return 1;
}

int CSigPairs::DateiImport(CFileStream& file) {
  detail::RecordReader record(file);
  PairsHead head;
  std::vector<float> values;
  if (!record.GetFields(head) || head.capacity > kMaxWords || head.count > head.capacity / 2 ||
      !record.GetArray(values, head.capacity)) {
    return 0;
  }
  const auto end = std::find(head.name.begin(), head.name.end(), 0);
  const std::string name(head.name.begin(), end);
  // The common record holds the name in full.
  const bool takesName = *Name() == 0;
  if ((takesName && !SetName(Cp1252ToWide(name))) || !MallocOrKeep(head.capacity)) {
    static_cast<void>(takesName && SetName(u""));
    return 0;
  }
  if (head.count > 0) {
    detail::PutEverySecond(values.data(), head.count, Words());
    detail::PutEverySecond(values.data() + head.capacity / 2, head.count, Words() + 1);
  }
  parameter_ = head.parameter;
  nummer_ = head.number;
  SetCount(head.count);
  PruefeSortierung();
  return 1;
}

}  // namespace limes
