// The list of arrays that another process sends: what can be decoded comes back the same, and its
// channels are made and read.
#include <algorithm>

#include "fuzz/fuzz.h"
#include "recordings/errors.h"
#include "recordings/formats/array_protocol.h"
#include "recordings/part_source.h"

namespace limes::recordings {
namespace {

class CListed : public CArrayFile {
 public:
  explicit CListed(const SArrayList& list) : arrays_(list.arrays) {
    TellLeftOut(list.arrays, list.leftOut, list.complex, "t", "MAT");
    MakeChannels(list.arrays);
  }

 private:
  void ReadColumn(std::size_t array, std::uint64_t column, std::uint64_t first,
                  std::span<double> values) override {
    const SArray& known = arrays_.at(array);
    fuzz::Require(column < known.columns && first + values.size() <= known.rows);
    for (double& value : values) {
      value = static_cast<double>(first++);
    }
  }

  std::vector<SArray> arrays_;
};

}  // namespace
}  // namespace limes::recordings

void limes::fuzz::Try(Input input) {
  using namespace limes::recordings;
  constexpr std::uint64_t kMostBytes = 1 << 16;
  SReadSettings settings;
  settings.cut = TakeByte(input) % 8;
  const std::vector<SCondition> where;
  try {
    const SArrayList list = DecodeList(input, kMostBytes, "t", "MAT");
    const Bytes again = EncodeList(list);
    Require(EncodeList(DecodeList(again, kMostBytes, "t", "MAT")) == again);
    const auto reader =
        MakeChannelReader(std::make_unique<CListed>(list), {"t", &settings, &where, false, false});
    for (SPart part; reader->Next(part);) {
      Require(!part.quantities.empty());
    }
  } catch (const CReadError&) {
  }
}
