#include "apps/limes/measurement/part_record.h"

#include <algorithm>
#include <tuple>

#include "apps/limes/errors.h"
#include "limes/platform/file_stream.h"
#include "limes/platform/record_io.h"

namespace limes::host {
namespace {

constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kFewValues = 16;  ///< that two parts may have alike by chance

/// Behind the length of the name.
struct SHead {
  std::uint32_t single = 0;
  double x0 = 0.0;
  double dx = 1.0;
  double value = 0.0;        ///< of a single value
  std::uint32_t places = 0;  ///< x of each value where steps are not equal
  std::uint32_t values = 0;
  std::uint32_t covered = 0;  ///< marks of points near a measurement, or none
  std::uint32_t health = 0;

  static constexpr auto Fields(auto& h) {
    return std::tie(h.single, h.x0, h.dx, h.value, h.places, h.values, h.covered, h.health);
  }
};

/// In place of the length of a name: what follows is how the quantities were recorded, without
/// their rms before version 10 of the store.
constexpr std::uint32_t kRecordedTime = UINT32_MAX;
constexpr std::uint32_t kRecorded = UINT32_MAX - 1;

/// The bytes of that; none where nothing was formed.
std::size_t RecordedBytes(const SPart& part) {
  const bool any = std::any_of(part.quantities.begin(), part.quantities.end(),
                               [](const SQuantity& q) { return q.recorded.time > 0.0; });
  return any ? sizeof(kRecorded) + part.quantities.size() * 2 * sizeof(double) : 0;
}

bool ReadRecorded(detail::RecordReader& in, bool withRms, SPart& part) {
  return std::all_of(part.quantities.begin(), part.quantities.end(), [&](SQuantity& q) {
    return withRms ? in.GetFields(q.recorded) : in.Get(q.recorded.time);
  });
}

bool Read(detail::RecordReader& in, std::uint32_t nameBytes, SQuantity& q) {
  SHead head;
  std::vector<char> name;
  if (!in.GetFields(head) || !in.GetArray(name, nameBytes) || !in.GetArray(q.x, head.places) ||
      !in.GetArray(q.values, head.values) || !in.GetArray(q.covered, head.covered)) {
    return false;
  }
  q.name.assign(name.begin(), name.end());
  q.single = head.single != 0;
  q.x0 = head.x0;
  q.dx = head.dx;
  q.value = head.value;
  q.health = static_cast<SignalHealth>(
      std::min(head.health, static_cast<std::uint32_t>(SignalHealth::kClipped)));
  return q.values.empty() == q.single && (q.x.empty() || q.x.size() == q.values.size()) &&
         (q.covered.empty() || q.covered.size() == q.values.size());
}

}  // namespace

std::vector<std::uint8_t> RecordOf(const SPart& part) {
  detail::RecordWriter out;
  out.Put(kVersion);
  for (const SQuantity& q : part.quantities) {
    out.Put(static_cast<std::uint32_t>(q.name.size()));
    out.PutFields(
        SHead{q.single ? 1U : 0U, q.x0, q.dx, q.value, static_cast<std::uint32_t>(q.x.size()),
              static_cast<std::uint32_t>(q.values.size()),
              static_cast<std::uint32_t>(q.covered.size()), static_cast<std::uint32_t>(q.health)});
    out.PutBytes(q.name.data(), q.name.size());
    out.PutArray(std::span(q.x));
    out.PutArray(std::span(q.values));
    out.PutArray(std::span(q.covered));
  }
  if (RecordedBytes(part) > 0) {
    out.Put(kRecorded);
    for (const SQuantity& q : part.quantities) {
      out.PutFields(q.recorded);
    }
  }
  return {out.Bytes().begin(), out.Bytes().end()};
}

SPart PartFromRecord(std::span<const std::uint8_t> record,
                     const std::vector<SStoredQuantity>& quantities) {
  CMemoryStream stream(record);
  detail::RecordReader in(stream);
  std::uint32_t version = 0;
  SPart part;
  bool good = in.Get(version) && version == kVersion;
  while (good && in.Remaining() > 0) {
    std::uint32_t nameBytes = 0;
    if (good = in.Get(nameBytes); good && (nameBytes == kRecorded || nameBytes == kRecordedTime)) {
      good = ReadRecorded(in, nameBytes == kRecorded, part) && in.Remaining() == 0;
      break;
    }
    SQuantity& q = part.quantities.emplace_back();
    good = good && Read(in, nameBytes, q);
    const auto known = std::find_if(quantities.begin(), quantities.end(),
                                    [&](const SStoredQuantity& s) { return s.name == q.name; });
    if (known == quantities.end()) {
      good = false;
      break;
    }
    q.unit = known->unit;
    q.xUnit = known->xUnit;
  }
  if (!good) {
    throw CStoreError("the values of a learnt part cannot be read");
  }
  return part;
}

std::int64_t ContentOf(const SPart& part, std::span<const std::uint8_t> record) {
  std::uint64_t hash = 0x9E3779B97F4A7C15U;
  const auto addWord = [&](const std::uint8_t* bytes, std::size_t count) {
    std::uint64_t word = 0;
    for (std::size_t k = 0; k < count; ++k) {
      word = word << 8 | bytes[k];
    }
    hash = (hash ^ word) * 0xFF51AFD7ED558CCDU;
    hash ^= hash >> 32;
  };
  const auto add = [&](std::span<const std::uint8_t> bytes) {
    std::size_t i = 0;
    for (; i + 8 <= bytes.size(); i += 8) {
      addWord(bytes.data() + i, 8);
    }
    if (i < bytes.size()) {
      addWord(bytes.data() + i, bytes.size() - i);
    }
  };
  std::size_t values = 0;
  for (const SQuantity& q : part.quantities) {
    values += q.single ? 1 : q.values.size();
  }
  add(record.first(record.size() - RecordedBytes(part)));  // as before these were kept
  if (values < kFewValues) {
    add({reinterpret_cast<const std::uint8_t*>(part.name.data()), part.name.size()});
  }
  return static_cast<std::int64_t>(hash);
}

}  // namespace limes::host
