#pragma once

#include <array>
#include <concepts>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "limes/core/measuring_unit.h"
#include "limes/core/signal_info.h"
#include "limes/core/signal_key.h"
#include "limes/export.h"
#include "limes/platform/object.h"
#include "limes/platform/text.h"
#include "limes/signals/raw_signal.h"

namespace limes {

class CFileStream;

/// What every measured signal has: a name, units, an optional six-part name, a time stamp, and an
/// info record that signals share until one of them changes it.
///
/// File record, shared by all signals: the name (UTF-8, 40 bytes) and the two units. Everything
/// else (extension name, six-part name, time stamp, info nodes) is in no file record.
///
/// Memory is reported short by results. Only what has none throws std::bad_alloc, with nothing
/// changed: constructors, and what sets units, extension or six-part name, type number or an info
/// node. One thread at a time.
class LIMES_EXPORT CSignal : public CSigRaw, public CClonable, public CViewable {
 public:
  /// Two points: (x, y) or the lower bounds first, then those of the upper end.
  using Range = std::pair<std::pair<float, float>, std::pair<float, float>>;

  /// Bytes of the name in the file record; at most 39 of them are text.
  static constexpr std::size_t kNameBytes = 40;

  const CRuntimeClass* GetRuntimeClass() const override;
  ~CSignal() override;

  using CSigRaw::Serialize;

  /// The raw record: 1 when it succeeded, else 0.
  int Serialize(CSerializer* archive) override;

  /// As CSigRaw::Resize; the x length becomes n. O(n).
  [[nodiscard]] bool Resize(unsigned n) override;
  unsigned Size() const override;

 protected:
  /// Appends the other's words; false, with nothing changed, when they cannot be held. The other
  /// may be this signal. O(n).
  virtual bool Append(const CSignal& other) = 0;

 public:
  /// Writes the record shared by all signals; version 0 writes nothing. Any other version writes
  /// version 2, but only 1 and 2 can be read: use CurrentFileVersion(). What the stream throws
  /// passes through.
  [[nodiscard]] virtual bool WriteToFile(CFileStream& file, unsigned version) const;

  /// Reads the record of version 1 or 2; false for another version, without reading, and for one
  /// that is cut short or malformed, or when memory is short: what was read until then is kept. The
  /// version is not in the record.
  [[nodiscard]] virtual bool ReadFromFile(CFileStream& file, unsigned version);

  /// Makes every value positive.
  virtual void Abs() = 0;

  /// Values beyond the limit become the limit: those above it when upper, else those below.
  virtual void Clip(float limit, bool upper) = 0;

  /// Adds c to every value.
  virtual void Add(float c) = 0;

  /// Multiplies every value by c; units stay.
  virtual void Scale(float c) = 0;

  /// Drops what lies left of x.
  virtual void CutLeft(float x) = 0;

  /// Takes over data, name, info and header of another signal, which must not be this one. Deep:
  /// an own copy of the info; otherwise the info is shared. The six-part name stays when the other
  /// has none; extension data are never copied, owned ones are deleted. False, with nothing
  /// changed, for itself, for an object that is no signal, and when memory is short. O(n).
  bool Copy(const CClonable& other, bool deep) override;

  static const CRuntimeClass* GetThisClass();

  /// Takes over name, info (shared), extension name, time stamp and, when the other has one, the
  /// six-part name, not the data; owned extension data are deleted, others stay attached. False,
  /// with nothing changed, for itself and when memory is short.
  bool CopyInfo(const CSignal& other);

  /// Takes over extension name and time stamp; owned extension data are deleted. The bool is not
  /// looked at.
  void InitHeader(const CSignal& other, bool deep = true);

  /// Empties name and extension name.
  void ClearNames();

  /// The name, ending with 0; valid until it changes.
  const wide_char* Name() const { return name_.empty() ? u"" : name_.data(); }

  /// Sets the name; false, with nothing changed, for null and when memory is short.
  bool SetName(const wide_char* name);
  bool SetName(const wide_string& name) { return SetName(name.c_str()); }

  /// UTF-8; an ill-formed piece becomes U+FFFD, all behind 499 characters is cut.
  bool SetName(const char* name);

  /// Appends to the name; false, with nothing changed, for null and when memory is short.
  bool AppendToName(const wide_char* text);

  /// Characters that the name's buffer holds, the closing 0 included: 40 at first.
  std::uint32_t NameCapacity() const { return static_cast<std::uint32_t>(name_.size()); }

  const wide_string& ExtName() const { return extName_; }
  void SetExtName(std::u16string_view name) { extName_ = name; }

  /// Number of x values by the info record: the value count of a curve, or its valid points after
  /// a valid range was set. It stays behind when the info is shared and memory too short for an own
  /// one, where the operation has no result to report it: ask DLen() for the values.
  std::uint32_t XLen() const { return info_.X1Len(); }

  const CMeasuringUnit& XUnit() const { return info_.X1Unit(); }
  const CMeasuringUnit& YUnit() const { return info_.YUnit(); }
  void SetXUnit(const CMeasuringUnit& unit) { info_.X1Unit(unit); }
  void SetYUnit(const CMeasuringUnit& unit) { info_.YUnit(unit); }

  /// Takes over both units; a shared info stays shared when they are the same.
  void TakeUnits(const CSignal& other);

  /// Takes over name and units, a unit also when only the text it shows differs; false, with
  /// nothing changed, when memory is short.
  [[nodiscard]] bool TakeNameAndUnits(const CSignal& other);

  /// Parses the text with CMeasuringUnit::set and returns its result; a null pointer changes
  /// nothing and is false.
  bool SetXUnit(std::u16string_view text);
  bool SetYUnit(std::u16string_view text);
  bool SetXUnit(const wide_char* text);
  bool SetYUnit(const wide_char* text);

  /// Both units become none, shown as "-".
  void ClearUnits();

  /// Type number in the info record, free for the host; not the type code.
  std::uint32_t SigType() const { return info_.SigType(); }
  void SigType(std::uint32_t type) { info_.SigType(type); }

  /// Id of the info record.
  std::uint32_t InfoID() const { return info_.Rep().Id(); }
  const CSignalInfoHandle& Info() const { return info_; }

  /// Node of the info record; an empty one when there is none. O(log n).
  template <std::convertible_to<std::u16string_view> Key>
  const CInfoNode& operator[](const Key& key) const {
    return InfoNode(key);
  }

  /// Node of the info record, made when there is none; the info becomes this signal's own.
  template <std::convertible_to<std::u16string_view> Key>
  CInfoNode& operator[](const Key& key) {
    return InfoNode(key);
  }

  bool HasQuinter() const { return quinter_ != nullptr; }

  /// The six-part name; null when there is none.
  const CQuinterMFC* Quinter() const { return quinter_.get(); }
  void SetQuinter(const CQuinterMFC& quinter);
  void ClearQuinter() { quinter_.reset(); }

  /// Time in seconds since 1970-01-01 UTC; 0 unless set.
  std::int64_t Timestamp() const { return timestamp_; }
  void SetTimestamp(std::int64_t seconds) { timestamp_ = seconds; }

  /// Takes ownership of data of the host; other data owned until then are deleted.
  void AttachExtData(CObject* data);

  /// Sets only whether the attached data are owned.
  void AttachExtData(bool owned) { ownsExtData_ = owned; }
  CObject* ExtData() const { return extData_; }

  /// Version of the records that are written.
  static unsigned CurrentFileVersion() { return 2; }

  /// Lowers the lower and raises the upper bounds to the other's; a NaN there never replaces one.
  static void ExpandRange(Range& range, const Range& other);

  /// Raises the lower and lowers the upper bounds to the other's; a NaN there never replaces one.
  static void ShrinkRange(Range& range, const Range& other);

 protected:
  /// No data, both units none.
  CSignal();

  /// n values of 0.
  explicit CSignal(int n);

  /// Copies all but extension data. Deep: an own copy of the info; otherwise it is shared.
  CSignal(const CSignal& other, bool deep);
  CSignal(const CSignal& other) : CSignal(other, true) {}

  /// Copy with an own info.
  CSignal& operator=(const CSignal& other);

  /// As a copy, but takes over words, names and six-part name; the info is shared with what is left
  /// of the other, until one of them changes it. Extension data stay with the other.
  CSignal(CSignal&& other) noexcept;

  /// As Copy with an own info, but may take over the other's words: see CSigRaw.
  CSignal& operator=(CSignal&& other) noexcept;

  /// As Copy, with an x length.
  [[nodiscard]] bool CopyWithXLen(const CSignal& other, bool deep, std::uint32_t xLen);

  /// Sets the x length; the info becomes this signal's own only when it changes. False, with the x
  /// length as it was, when a shared info cannot be copied for want of memory.
  [[nodiscard]] bool TrySetXLen(std::uint32_t n) noexcept;

  /// The same for operations without a result, which are done all the same.
  void SetXLen(std::uint32_t n);

  /// Room for n words whose content is open, and the x length n: false, with nothing changed, when
  /// memory is short.
  [[nodiscard]] bool AllocateValues(unsigned n);

  /// Room for the other's extension name, so that InitHeader of it cannot fail.
  [[nodiscard]] bool ReserveExtName(const CSignal& other);

  /// Room for n words, with name and units of another signal: false, with nothing changed, when
  /// memory is short.
  [[nodiscard]] bool AllocateWithHead(unsigned n, const CSignal& head);

 private:
  const CInfoNode& InfoNode(std::u16string_view key) const;
  CInfoNode& InfoNode(std::u16string_view key);
  void DropExtData();
  template <class MakeRoom>
  bool TakeHead(const CSignal& other, bool ownInfo, MakeRoom makeRoom);
  bool ReserveName(std::size_t characters, std::vector<wide_char>* former = nullptr);
  void TakeNames(const CSignal& other, const CSignalInfoHandle& info, wide_string& extName,
                 std::unique_ptr<CQuinterMFC>& quinter);
  void WriteName(std::size_t at, std::u16string_view text);

  CObject* extData_ = nullptr;
  bool ownsExtData_ = false;
  CSignalInfoHandle info_;
  std::vector<wide_char> name_;  ///< always ends with 0; never shrinks
  wide_string extName_;
  std::unique_ptr<CQuinterMFC> quinter_;
  std::int64_t timestamp_ = 0;
  std::array<std::uint32_t, 3> reserved_{};  ///< carried over by Copy
};

}  // namespace limes
