#pragma once

#include <cstdint>
#include <span>
#include <tuple>
#include <vector>

#include "limes/export.h"
#include "limes/platform/object.h"

namespace limes {

class CFileStream;
class CSigCurve;
enum class CurveReadStatus;

/// The values of a curve as its file record holds them: raw floats, or one byte per value over the
/// range of the values. One thread at a time.
class LIMES_EXPORT CCompressedVector {
 public:
  static constexpr std::int32_t kRaw = 0;    ///< floats as they are; so is every unknown method
  static constexpr std::int32_t kRange = 1;  ///< 256 steps over the range; 2 is the same
  static constexpr std::int32_t kRange2 = 2;
  static constexpr std::int32_t kHeadBytes = 28;

  CCompressedVector() = default;
  CCompressedVector(const CCompressedVector&) = default;
  CCompressedVector& operator=(const CCompressedVector&) = default;
  virtual ~CCompressedVector();

  static const CRuntimeClass* GetThisClass();
  virtual const CRuntimeClass* GetRuntimeClass() const { return GetThisClass(); }

  /// Codes n values: bytes of the record; 0, with no values held, when memory is short or the
  /// record would exceed 2^31 - 1 bytes. A range that holds a NaN at its first value, or an
  /// infinity, decodes to NaN. O(n).
  int Komprimieren(const float* values, int n, float xFirst, float xLast, int method);

  /// The same with a curve's values and x range. O(n).
  int Komprimieren(const CSigCurve* curve, int method);

  /// Writes the ValueCount() values back into room for as many: bytes of the data, 0 for null.
  /// O(n).
  int Dekomprimieren(float* out) const;

  /// Sizes the curve, writes the values and the x range into it; an extended curve becomes wholly
  /// valid. Bytes of the data; 0, with the curve as it was, when memory is short. O(n).
  int Dekomprimieren(CSigCurve* curve) const;

  /// Writes the record; what the stream throws passes through. True.
  [[nodiscard]] bool WriteToFile(CFileStream& file) const;

  /// Reads a record. False, with no values held, when it is cut short, its length is negative or
  /// memory is short; never allocates more than the stream still holds. O(n).
  [[nodiscard]] bool ReadFromFile(CFileStream& file);

  /// Number of coded values.
  std::uint32_t ValueCount() const;

  /// Forgets the values; the memory is kept.
  void Clear();

  std::int32_t Method() const { return head_.method; }
  std::int32_t DataBytes() const { return head_.dataBytes; }
  std::int32_t RecordSize() const { return head_.recordSize; }
  float XFirst() const { return head_.xFirst; }
  float XLast() const { return head_.xLast; }
  float YMin() const { return head_.yMin; }
  float YMax() const { return head_.yMax; }

 private:
  /// Head of the record, in file order; the data follow.
  struct SHead {
    std::int32_t method = kRaw;
    std::int32_t dataBytes = 0;
    std::int32_t recordSize = kHeadBytes;
    float xFirst = 0.0F;
    float xLast = 0.0F;
    float yMin = 0.0F;
    float yMax = 0.0F;

    static constexpr auto Fields(auto& h) {
      return std::tie(h.method, h.dataBytes, h.recordSize, h.xFirst, h.xLast, h.yMin, h.yMax);
    }

    bool IsByteCoded() const { return method == kRange || method == kRange2; }
    std::uint32_t ValueCount() const {
      const auto bytes = static_cast<std::uint32_t>(dataBytes);
      return IsByteCoded() ? bytes : bytes / 4;
    }
  };

  friend class CSigCurve;  // moves raw values past the coder

  /// The head of the record of these values; false when it would be too long. O(n).
  static bool Describe(std::span<const float> values, float xFirst, float xLast, int method,
                       SHead& head);
  static void WriteHead(CFileStream& file, const SHead& head);

  /// Writes a record of raw values that nobody holds; as Komprimieren and WriteToFile.
  [[nodiscard]] static bool WriteRaw(CFileStream& file, std::span<const float> values, float xFirst,
                                     float xLast);

  /// Reads a head whose data the stream may still hold, then the data.
  static bool ReadHead(CFileStream& file, SHead& head);
  bool ReadData(CFileStream& file, const SHead& head);

  /// Reads a record. More than `room` raw values go into the curve, with the x range, when the end
  /// of the stream is known; others are held, and the curve stays without values.
  CurveReadStatus ReadInto(CSigCurve& curve, std::uint32_t room, CFileStream& file);

  SHead head_;
  std::vector<std::uint8_t> data_;
};

}  // namespace limes
