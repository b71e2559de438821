// File record of the curve array.

#include <new>
#include <string>
#include <tuple>
#include <utility>

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
bool ReadStart(detail::RecordReader& in, std::uint32_t& textLength, int& status) {
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
    status = CSigCurveArray::kStatusVersion;
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

bool ReadCurves(CFileStream& file, const SArrayHead& head,
                std::vector<std::unique_ptr<CSigCurveExt>>& curves) {
  for (std::int32_t i = 0; i < head.count; ++i) {
    auto curve = std::make_unique<CSigCurveExt>();
    const detail::RecordBuffer buffer(*curve);
    if (curve->ReadFromFileChecked(file, head.curveVersion) != CurveReadStatus::kOk) {
      return false;
    }
    curves.push_back(std::move(curve));
  }
  return true;
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
  detail::RecordWriter start;
  start.Put(kMagic);
  start.Put(kVersion);
  start.Put(kTextLength);
  start.PutChars(Utf8Prefix(WideToUtf8(name_), kTextLength), kNameBytes);
  start.WriteTo(file);

  CMeasuringUnit unit = tUnit_;
  if (!unit.is_log()) {
    unit.logref(0.0F);
  }
  if (!unit.WriteToFile(file)) {
    return false;
  }
  detail::RecordWriter head;
  head.PutFields(SArrayHead{count_, tMin_, tMax_, tDelta_, tvMin_, tvMax_});
  head.WriteTo(file);

  CSigCurveExt empty;
  for (int i = 0; i < count_; ++i) {
    CSigCurveExt& curve = Slot(i) == nullptr ? empty : *Slot(i);
    const detail::RecordBuffer buffer(curve);
    if (!(raw ? curve.WriteToFileRaw(file, kCurveVersion)
              : curve.WriteToFile(file, kCurveVersion))) {
      return false;
    }
  }
  return true;
}

bool CSigCurveArray::DateiImport(CFileStream& file, int& status) {
  status = kStatusOk;
  detail::RecordReader in(file);
  CSigCurveArray read;
  try {
    std::uint32_t textLength = 0;
    SArrayHead head;
    if (!ReadStart(in, textLength, status) || !ReadName(in, textLength, read.name_) ||
        !read.tUnit_.ReadFromFile(file) || !in.GetFields(head) || !Plausible(in, head) ||
        !ReadCurves(file, head, read.slots_)) {
      status = status == kStatusOk ? kStatusData : status;
      return false;
    }
    read.count_ = head.count;
    read.lastDelivered_ = head.count - 1;
    read.tMin_ = head.tMin;
    read.tMax_ = head.tMax;
    read.tDelta_ = head.tDelta;
    read.tvMin_ = head.tvMin;
    read.tvMax_ = head.tvMax;
  } catch (const std::bad_alloc&) {
    status = kStatusData;
    return false;
  }
  read.TakeVBereich();
  if (const CSigCurveExt* const curve = read.FirstCurve()) {
    read.xUnit_ = curve->XUnit();
    read.yUnit_ = curve->YUnit();
  }
  read.quinter_ = std::move(quinter_);  // in no record, as the mode
  read.mode_ = mode_;
  slots_.swap(read.slots_);
  TakeHeader(read);
  return true;
}

}  // namespace limes
