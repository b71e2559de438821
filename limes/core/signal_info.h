#pragma once

#include <cstdint>
#include <string_view>

#include "limes/core/measuring_unit.h"
#include "limes/export.h"
#include "limes/platform/info_object.h"
#include "limes/platform/text.h"

namespace limes {

/// What describes a signal: x length, names, units, type number; with a node store for the host. No
/// field is checked against the signal. Setters of texts and units throw std::bad_alloc when memory
/// is short, with nothing changed. One thread at a time.
class LIMES_EXPORT CSignalInfo : public CInfoObject {
 public:
  static constexpr unsigned version = 1;
  static unsigned Version() { return version; }

  /// Length and type 0, empty names, no units ("-").
  CSignalInfo() = default;

  /// A new copy, owned by the caller, with an id of its own; deep or not, all of it is copied.
  CSignalInfo* clone(bool deep) const override;

  /// Number of values along x.
  std::uint32_t X1Len() const { return x1Len_; }
  const wide_string& Name() const { return name_; }
  const CMeasuringUnit& X1Unit() const { return x1Unit_; }
  const wide_string& X1Name() const { return x1Name_; }
  const CMeasuringUnit& YUnit() const { return yUnit_; }
  const wide_string& YName() const { return yName_; }

  /// A number of the host's choice, not the signal's type code.
  std::uint32_t SigType() const { return sigType_; }

  void X1Len(std::uint32_t value) { x1Len_ = value; }
  void Name(std::u16string_view value) { name_ = value; }
  void X1Unit(const CMeasuringUnit& value) { x1Unit_ = value; }
  void X1Name(std::u16string_view value) { x1Name_ = value; }
  void YUnit(const CMeasuringUnit& value) { yUnit_ = value; }
  void YName(std::u16string_view value) { yName_ = value; }
  void SigType(std::uint32_t value) { sigType_ = value; }

 private:
  std::uint32_t x1Len_ = 0;
  wide_string name_;
  CMeasuringUnit x1Unit_;
  wide_string x1Name_;
  CMeasuringUnit yUnit_;
  wide_string yName_;
  std::uint32_t sigType_ = 0;
};

/// Handle on a shared signal info; a plain copy shares it. Every setter makes the info private to
/// this handle first, so no other signal sees the change: O(info) the first time, else O(1). The
/// references that getters return hold until the next change through this handle. One thread at a
/// time each.
template <>
class LIMES_EXPORT CInfoHandle<CSignalInfo> : public CInfoHandleBase {
 public:
  /// A new info from the server.
  explicit CInfoHandle(CInfoObjectServer<CSignalInfo>& server) : CInfoHandleBase(server.Create()) {}

  /// A new info.
  CInfoHandle() : CInfoHandleBase(new CSignalInfo) {}

  /// Deep: an own copy of the other's info; otherwise the same one.
  CInfoHandle(const CInfoHandle& other, bool deep) : CInfoHandleBase(other, deep) {}

  /// The info for reading. Ask a const handle: the other form copies a shared info.
  const CSignalInfo& Rep() const { return static_cast<const CSignalInfo&>(*Object()); }

  /// The info for changing: private to this handle from now on.
  CSignalInfo& Rep() { return static_cast<CSignalInfo&>(*modify()); }

  std::uint32_t X1Len() const { return Rep().X1Len(); }
  const wide_string& Name() const { return Rep().Name(); }
  const CMeasuringUnit& X1Unit() const { return Rep().X1Unit(); }
  const wide_string& X1Name() const { return Rep().X1Name(); }
  const CMeasuringUnit& YUnit() const { return Rep().YUnit(); }
  const wide_string& YName() const { return Rep().YName(); }
  std::uint32_t SigType() const { return Rep().SigType(); }

  void X1Len(std::uint32_t value) { Rep().X1Len(value); }
  void Name(std::u16string_view value) { Rep().Name(value); }
  void X1Unit(const CMeasuringUnit& value) { Rep().X1Unit(value); }
  void X1Name(std::u16string_view value) { Rep().X1Name(value); }
  void YUnit(const CMeasuringUnit& value) { Rep().YUnit(value); }
  void YName(std::u16string_view value) { Rep().YName(value); }
  void SigType(std::uint32_t value) { Rep().SigType(value); }
};

using CSignalInfoHandle = CInfoHandle<CSignalInfo>;

/// Keys of processing parameters that hosts store as nodes of a signal's info, and the values of
/// the three enumerated ones. The library defines them and reads none.
namespace siginfo {

inline constexpr std::u16string_view ResampTypeKey = u"ResampType";
inline constexpr std::u16string_view ResampRatioKey = u"ResampRatio";
inline constexpr std::u16string_view ResampRevPerBlockKey = u"ResampRevPerBlock";
inline constexpr std::u16string_view ResampBlockOverlap = u"ResampBlockOverlap";
inline constexpr std::u16string_view ResampSamplesPerRev = u"ResampSamplesPerRev";
inline constexpr std::u16string_view OverlapSampleShiftKey = u"OverlapSampleShift";
// kept: hosts have stored values under this text
inline constexpr std::u16string_view RepartBlocksPerRevKey = u"OverlapBlocksPerRev";
inline constexpr std::u16string_view FftTypeKey = u"FftType";
inline constexpr std::u16string_view FftGaugeTypeKey = u"FftGaugeType";
inline constexpr std::u16string_view FftGaugeFacKey = u"FftGaugeFactor";
inline constexpr std::u16string_view BaseOrderNameKey = u"BaseOrderName";
inline constexpr std::u16string_view BaseOrderValueKey = u"BaseOrderValue";
inline constexpr std::u16string_view TrackOrderDefKey = u"TrackOrderDef";
inline constexpr std::u16string_view OrderDefAsPairsKey = u"OrderDefAsPairs";
inline constexpr std::u16string_view OrderDefValues = u"OrderDefValues";
inline constexpr std::u16string_view OrderDefValuesShort = u"OrderDefValuesShort";
inline constexpr std::u16string_view TrackNameKey = u"TrackName";
inline constexpr std::u16string_view TrackStartKey = u"TrackStart";
inline constexpr std::u16string_view TrackEndKey = u"TrackEnd";

inline constexpr const wide_char* ResampTypes[] = {u"Fix", u"Sync"};
inline constexpr const wide_char* FftTypes[] = {u"magnitude", u"power", u"log"};
inline constexpr const wide_char* FftGaugeTypes[] = {u"peak", u"rms"};

/// Position of the first of n entries that equals the text exactly, case included; -1 when none
/// does. O(n).
LIMES_EXPORT int Index(std::u16string_view text, const wide_char* const* table, unsigned n);

}  // namespace siginfo
}  // namespace limes
