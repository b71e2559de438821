#include "apps/limes/store/record_columns.h"

#include <cmath>

#include "limes/platform/record_io.h"

namespace limes::host {

std::vector<std::uint8_t> CornerBytes(const TCorners& value) {
  std::vector<std::uint8_t> bytes(16 * value.size());
  for (std::size_t i = 0; i < value.size(); ++i) {
    detail::ToLittleEndian(value[i].spread, bytes.data() + 16 * i);
    detail::ToLittleEndian(value[i].excess, bytes.data() + 16 * i + 8);
  }
  return bytes;
}

/// None where they cannot be: nothing is guessed of them then.
void ReadField(const CStatement& s, int i, TCorners& value) {
  const std::vector<std::uint8_t> bytes = s.Bytes(i);
  value.resize(bytes.size() / 16);
  bool good = bytes.size() % 16 == 0;
  for (std::size_t j = 0; j < value.size(); ++j) {
    value[j] = {detail::FromLittleEndian<double>(bytes.data() + 16 * j),
                detail::FromLittleEndian<double>(bytes.data() + 16 * j + 8)};
    good = good && value[j].spread >= 0.0 && std::isfinite(value[j].excess);
  }
  if (!good) {
    value.clear();
  }
}

}  // namespace limes::host
