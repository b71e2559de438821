// File record of the curve array.

#include <memory>
#include <string>
#include <tuple>
#include <utility>

#include "limes/platform/memory_errors.h"
#include "limes/platform/record_io.h"
#include "limes/signals/curve_array.h"
#include "limes/signals/extended_curve.h"
#include "limes/signals/record_buffer.h"

namespace limes {

namespace {

constexpr std::uint32_t kMagic = 52719;
constexpr std::uint32_t kVersion = 1;        ///< written
constexpr std::uint32_t kNewestVersion = 2;  ///< read
constexpr std::uint32_t kTextLength = CSigCurveArray::kNameBytes - 1;
constexpr std::uint32_t kCurveVersion = 2;
constexpr std::size_t kLeastCurveBytes = 104;  ///< record of an empty curve of version 1
constexpr std::size_t kTailBytes = 12;         ///< what version 2 adds

/// What follows the T unit in every version, in file order.
struct SArrayHead {
  std::int32_t count = 0;
  float tMin = 0.0F;
  float tMax = 0.0F;
  float tDelta = 0.0F;
  float tvMin = 0.0F;
  float tvMax = 0.0F;
  std::uint32_t curveVersion = kCurveVersion;

  static constexpr auto Fields(auto& h) {
    return std::tie(h.count, h.tMin, h.tMax, h.tDelta, h.tvMin, h.tvMax, h.curveVersion);
  }
};

/// Reads magic, version and text length; without the magic the first word is the text length.
bool ReadStart(detail::RecordReader& in, std::uint32_t& textLength, int& failure) {
  std::uint32_t first = 0;
  std::uint32_t version = 0;
  if (!in.Get(first)) {
    return false;
  }
  if (first != kMagic) {
    textLength = first;
    return true;
  }
  if (!in.Get(version)) {
    return false;
  }
  if (version > kNewestVersion) {
    failure = CSigCurveArray::kStatusVersion;
    return false;
  }
  return in.Get(textLength);
}

bool ReadName(detail::RecordReader& in, std::uint32_t textLength, wide_string& name) {
  char text[CSigCurveArray::kNameBytes] = {};
  if (textLength > kTextLength || !in.GetBytes(text, textLength + 1)) {
    return false;
  }
  const std::string_view bytes(text, textLength + 1);
  name = Utf8ToWide(bytes.substr(0, bytes.find('\0')));
  return true;
}

/// The next curve; false when it is cut short or malformed, or memory is short.
bool ReadCurve(CFileStream& file, unsigned version, CSigCurveExt& curve) {
  const detail::RecordBuffer buffer(curve);
  return curve.ReadFromFileChecked(file, version) == CurveReadStatus::kOk;
}

bool Plausible(const detail::RecordReader& in, const SArrayHead& head) {
  const bool tail = head.curveVersion == kCurveVersion;
  return (tail || head.curveVersion == 1) && head.count >= 0 &&
         in.Fits(static_cast<std::uint64_t>(head.count),
                 kLeastCurveBytes + (tail ? kTailBytes : 0));
}

}  // namespace

bool CSigCurveArray::DateiExport(CFileStream& file) const { return Export(file, false); }

bool CSigCurveArray::ExportRaw(CFileStream& file) const { return Export(file, true); }

bool CSigCurveArray::Export(CFileStream& file, bool raw) const {
  const bool begun = detail::IfMemoryAllows(false, [&] {
    detail::RecordWriter start;
    start.Put(kMagic);
    start.Put(kVersion);
    start.Put(kTextLength);
    start.PutChars(Utf8Prefix(WideToUtf8(head_.name), kTextLength), kNameBytes);
    start.WriteTo(file);
    CMeasuringUnit unit = head_.tUnit;
    if (!unit.is_log()) {
      unit.logref(0.0F);
    }
    detail::RecordWriter head;
    head.PutFields(
        SArrayHead{head_.count, head_.tMin, head_.tMax, head_.tDelta, head_.tvMin, head_.tvMax});
    if (!unit.WriteToFile(file)) {
      return false;
    }
    head.WriteTo(file);
    return true;
  });
  const auto write = [&](CSigCurveExt& curve) {
    const detail::RecordBuffer buffer(curve);
    return raw ? curve.WriteToFileRaw(file, kCurveVersion) : curve.WriteToFile(file, kCurveVersion);
  };
  for (int i = 0; begun && i < head_.count; ++i) {
    const bool written = At(i) != nullptr ? write(*At(i)) : detail::IfMemoryAllows(false, [&] {
      CSigCurveExt empty;
      return write(empty);
    });
    if (!written) {
      return false;
    }
  }
  return begun;
}

bool CSigCurveArray::DateiImport(CFileStream& file, int& status) {
  int failure = kStatusData;
  const bool ok = detail::IfMemoryAllows(false, [&] {
    CSigCurveArray read;
    std::uint32_t textLength = 0;
    SArrayHead head;
    detail::RecordReader in(file);
    if (!ReadStart(in, textLength, failure) || !ReadName(in, textLength, read.head_.name) ||
        !read.head_.tUnit.ReadFromFile(file) || !in.GetFields(head) || !Plausible(in, head)) {
      return false;
    }
    for (std::int32_t i = 0; i < head.count; ++i) {
      read.slots_.push_back({std::make_unique<CSigCurveExt>()});
      if (!ReadCurve(file, head.curveVersion, *read.slots_.back().curve)) {
        return false;
      }
    }
    read.head_.count = head.count;
    read.head_.lastDelivered = head.count - 1;
    std::tie(read.head_.tMin, read.head_.tMax, read.head_.tDelta, read.head_.tvMin,
             read.head_.tvMax) =
        std::tie(head.tMin, head.tMax, head.tDelta, head.tvMin, head.tvMax);
    read.TakeFirstRange();
    if (const CSigCurveExt* const curve = read.At(0)) {
      read.head_.xUnit = curve->XUnit();
      read.head_.yUnit = curve->YUnit();
    }
    read.head_.quinter = std::move(head_.quinter);  // in no record, as the mode
    read.head_.mode = head_.mode;
    *this = std::move(read);
    return true;
  });
  status = ok ? kStatusOk : failure;
  return ok;
}

}  // namespace limes
