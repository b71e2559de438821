#pragma once

#include <cstdint>

#include "limes/core/object_archive.h"
#include "limes/export.h"

namespace limes {

/// Block of 32-bit words behind every signal: the floats of a curve, the x and y of pairs.
///
/// The words lie in a buffer of the signal, aligned to 128 bytes, or in memory of someone else (an
/// archive, the caller), which must then outlive their use and is never freed here. At most
/// 2^31 - 1 words. One thread at a time.
class LIMES_EXPORT CSigRaw : public CSObject {
 public:
  static constexpr std::uint32_t kTypeRaw = 101;
  static constexpr std::uint32_t kTypeCurve = 102;
  static constexpr std::uint32_t kTypeCurveExt = 1021;
  static constexpr std::uint32_t kTypePairs = 109;

  /// Most words of a signal: indices are signed 32-bit numbers.
  static constexpr std::uint32_t kMaxWords = 0x7FFFFFFF;

  /// Type 101, no words, id 1.
  CSigRaw();

  /// n words of 0; none when n is negative or memory is short. O(n).
  explicit CSigRaw(int n);

  /// Copies type, id and words; the copy owns its words. No words when memory is short. O(n).
  CSigRaw(const CSigRaw& other);

  /// As the copy constructor; unchanged when memory is short. O(n).
  CSigRaw& operator=(const CSigRaw& other);

  /// As a copy, but takes over the other's own buffer instead of making one; the other has no words
  /// then. Assigning copies where this one's buffer has room, so that pointers to it stay valid.
  CSigRaw(CSigRaw&& other) noexcept;
  CSigRaw& operator=(CSigRaw&& other) noexcept;

  const CRuntimeClass* GetRuntimeClass() const override;
  ~CSigRaw() override;

  using CSObject::Serialize;

  /// Stores or loads five words (type, word count, 0, id, extension flag 0) and the data: 1, or 0
  /// when the first word or the data do not fit. Loading takes no more words than the archive
  /// holds; without them the signal is left without data. With DoCopyData(0) the data stay in the
  /// archive's array, which must outlive them. O(n).
  int Serialize(CSerializer* archive) override;

  /// Keeps the words, adding zeros at the end. False, with nothing changed, when memory is short
  /// or foreign words would have to grow. O(n).
  [[nodiscard]] virtual bool Resize(unsigned n);

  /// Bytes of the data.
  virtual unsigned Size() const;

  static const CRuntimeClass* GetThisClass();
  static CObject* CreateObject();

  /// n words of 0 in an own buffer, which grows but does not shrink: the words. Null, with no
  /// words left, when memory is short; null for 0 words without a buffer. O(n).
  std::uint32_t* Malloc(unsigned n);

  /// Frees an own buffer: no words.
  void Free();

  /// Points at n words of the caller, freeing an own buffer; a negative n is 0.
  void SetBuffer(std::uint32_t* words, std::int32_t n);
  void SetBuffer(float* values, std::int32_t n);

  /// Copies foreign words into an own buffer; false, with nothing changed, when memory is short.
  /// O(n).
  bool CopyToRealData();

  /// Moves the words by k places, to higher indices for k > 0, and fills with 0. O(n).
  void ShiftData(int k);

  /// Sets all words to 0. O(n).
  void Nullsetzen();

  /// Number of words in use.
  std::uint32_t DLen() const { return length_; }

  /// The words, DLen() of them; may be null when there are none. Valid until their number grows.
  std::uint32_t* Data() {
    writtenOutside_ = true;
    return data_;
  }
  const std::uint32_t* Data() const { return data_; }

  /// The same words as floats.
  float* FloatData() { return reinterpret_cast<float*>(Data()); }
  const float* FloatData() const { return reinterpret_cast<const float*>(data_); }

  /// Words that the own buffer holds; 0 for foreign data.
  std::uint32_t Capacity() const { return capacity_; }

  /// True when the words lie in an own buffer.
  bool OwnsData() const { return owns_; }

  /// Type code: one of the kType... above for this library's signals. An archive may state another
  /// than the object has, so test the class too before a cast.
  std::uint32_t TypeCode() const { return type_; }
  bool IsSigCurve() const { return type_ == kTypeCurve; }
  bool IsSigCurveExt() const { return type_ == kTypeCurveExt; }
  bool IsSigCurveAny() const { return IsSigCurve() || IsSigCurveExt(); }
  bool IsSigPairs() const { return type_ == kTypePairs; }

  /// Number free for the host; 1 unless set.
  std::int32_t SigId() const { return id_; }
  void SetSigId(std::int32_t id) { id_ = id; }

  /// Whether loading from an archive copies the words (the default) or points into the archive.
  void DoCopyData(int copy) { copyData_ = copy != 0; }
  bool DoCopyData() const { return copyData_; }

 protected:
  void SetTypeCode(std::uint32_t type) { type_ = type; }

  /// The words as floats, for the class that answers for what it writes.
  float* Words() { return reinterpret_cast<float*>(data_); }
  const float* Words() const { return reinterpret_cast<const float*>(data_); }

  /// True once a pointer to the words was handed out, or a public operation of this class changed
  /// them: a derived class then knows nothing of their content any more.
  bool WrittenOutside() const { return writtenOutside_; }

  /// As Malloc, but nothing changes when memory is short. O(n).
  [[nodiscard]] bool MallocOrKeep(unsigned n);

  /// As MallocOrKeep, but the content of the words is open.
  [[nodiscard]] bool AllocateOrKeep(unsigned n);

  /// Copies type, id and words; false, with nothing changed, when memory is short. O(n).
  bool CopyWords(const CSigRaw& other);

  /// Room for what CopyWords of the other takes. O(n).
  [[nodiscard]] bool MakeRoomFor(const CSigRaw& other);

  /// Runs copy(), in which CopyWords may take over the other's buffer.
  template <class DoCopy>
  static void WhileYielding(CSigRaw& other, DoCopy copy) noexcept {
    other.yields_ = true;
    copy();
    if (!other.yields_) {
      other.Free();
    }
    other.yields_ = false;
  }

  /// Makes room for n words without changing those in use; false, with nothing changed, when
  /// memory is short or the words are foreign. O(n).
  [[nodiscard]] bool Reserve(unsigned n);

  /// Sets the number of words in use, at most the present one.
  void Shorten(unsigned n);

 private:
  bool LoadWords(CSerializer& archive, std::uint32_t n);
  bool YieldsTo(const CSigRaw& target) const;
  void TakeBuffer(CSigRaw& other) noexcept;
  void TakeBlock(std::uint32_t* block, std::uint32_t words) noexcept;

  std::uint32_t type_ = kTypeRaw;
  std::uint32_t length_ = 0;
  std::int32_t id_ = 1;
  std::uint32_t* data_ = nullptr;
  std::uint32_t* buffer_ = nullptr;
  std::uint32_t capacity_ = 0;
  bool owns_ = false;
  bool copyData_ = true;
  bool writtenOutside_ = false;
  bool yields_ = false;  ///< the own buffer may be taken; false once it was
};

}  // namespace limes
