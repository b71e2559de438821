#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "limes/export.h"
#include "limes/platform/text.h"

namespace limes {

class CFileStream;
class CMeasuringUnit;

/// The fields of a unit without its text: 16 bytes, for the fixed records of other classes.
/// One thread at a time.
struct LIMES_EXPORT SMeasuringUnitPOD {
  SMeasuringUnitPOD() = default;
  explicit SMeasuringUnitPOD(const CMeasuringUnit& unit);

  std::uint32_t unit = 0;
  std::int16_t exponent = 0;
  std::int16_t power = 0;  // kept: 0 here, unlike the default unit's 1
  float logref = 0.0F;
  std::uint32_t flags = 0;
};

/// Physical unit of an axis: 10^exponent times a base unit raised to a power, linear or as a level
/// in dB over a reference.
///
/// The base unit is a number of the process-wide table of unit texts (0: no unit). The text shown
/// is kept ready: "kHz", "(m/s)²", "dB(Pa)". A small value; one thread at a time each. No operation
/// throws, except what a stream throws while writing, and std::bad_alloc where the memory for a
/// text of more than 7 characters is short: an assignment then changes nothing, after others the
/// unit may be given a new value only.
class LIMES_EXPORT CMeasuringUnit {
 public:
  /// The built-in units; their values are their numbers in the table.
  enum commonUnits : std::uint32_t {
    none,
    number,
    axisX,
    axisY,
    axisZ,
    newton,
    percent,
    second,
    hertz,
    rpm,
    revolution,
    order,
    volt,
    pascal,
    newtonMetre,
    celsius,
    metrePerSecond2,
    gravity,
    metre,
    degree,
    radian,
    kilometrePerHour,
    milePerHour,
    metrePerSecond,
    radianPerSecond,
    radianPerSecond2,
    ampere,
    perUnit,
    bar,
    dateTime,
    watt
  };
  static constexpr std::uint32_t kBuiltInUnits = 31;

  /// Bit of the process-wide flags: levels of Pa show as "dB(A)".
  static constexpr unsigned kShowDbA = 0;
  /// Bit of the process-wide flags: levels of g, m/s² and m/s show as plain "dB".
  static constexpr unsigned kShowPlainDb = 1;

  class UnitStrings;

  /// No unit: exponent 0, power 1, linear; shows "-".
  CMeasuringUnit();
  CMeasuringUnit(commonUnits unit, short exponent = 0, short power = 1, float logref = 0.0F);

  /// With exponent 0 and power 1 as set(text), logref not looked at; otherwise the whole text is a
  /// base unit.
  explicit CMeasuringUnit(std::u16string_view text, short exponent = 0, short power = 1,
                          float logref = 0.0F);
  CMeasuringUnit(const CMeasuringUnit& other) = default;
  CMeasuringUnit(CMeasuringUnit&& other) noexcept = default;
  CMeasuringUnit(const CMeasuringUnit& other, bool deep);
  CMeasuringUnit& operator=(const CMeasuringUnit& other);
  CMeasuringUnit& operator=(CMeasuringUnit&& other) noexcept = default;
  ~CMeasuringUnit() = default;

  void copy(const CMeasuringUnit& other, bool deep);

  /// The default fields with an empty text.
  void clear() { _construct(false); }

  /// False: as clear(). True: rebuilds the text only.
  void _construct(bool keepFields);

  /// Sets all fields; the unit is logarithmic when logref is not 0 (NaN counts so).
  void set(std::uint32_t unit, short exponent, short power, float logref);

  /// Sets the unit from a text such as "kHz", "m/s²", "dB(Pa)". False for an empty text or an empty
  /// result. Unknown units become unit 0 with a message, unless the table allows new ones; the
  /// return value is true all the same. O(length).
  // kept: a prefix letter is split off before any look-up, so "km/h" is not the built-in km/h;
  // FromText looks first
  bool set(std::u16string_view text);

  /// As set, for a text in code page 1252 of which at most 256 characters count. Null is empty.
  bool setA(const char* text);

  /// The n-th power of the unit. Exponents keep 16 bits.
  CMeasuringUnit& power(short n);

  /// The n-th root. False, with nothing changed, when the power has none.
  [[nodiscard]] bool root(short n);

  /// The reciprocal unit (s and Hz, rev and ord, n and pu), else the negated power. Levels stay.
  void invert();

  /// Sets the reference, and logarithmic when it is not 0.
  // kept: the text stays as it was
  CMeasuringUnit& logref(float reference);

  /// Sets or clears logarithmic alone.
  // kept: the text stays as it was
  void set_log(bool on);

  void clearExponent();
  void clearPower();

  std::uint32_t Unit_e() const { return unit_; }
  short Exponent() const { return exponent_; }
  short exponent() const { return exponent_; }
  short Power() const { return power_; }
  short power() const { return power_; }
  float Logref() const { return logref_; }
  float logref() const { return logref_; }
  std::uint32_t Flags() const { return flags_; }
  bool is_log() const { return (flags_ & kLogarithmic) != 0; }
  bool operator!() const { return unit_ == 0; }
  bool empty() const { return unit_ == 0; }

  /// The text shown. A decimal exponent that is no multiple of 3 per power is not in it.
  // kept: 10^-1 s shows "ms"; ExactText tells
  wide_string prefixunit() const { return text_; }

  /// The text in code page 1252, at most 255 characters; valid until the thread's next call.
  const char* prefixunitA() const;

  /// Text of the base unit alone; valid for the process.
  const wide_string& baseunit() const;

  /// The base unit with its power, in "dB(...)" for a level, without prefix.
  wide_string mainunit() const;

  /// As prefixunit, with "10^n " before it where prefixunit hides a part of the exponent.
  wide_string ExactText() const;

  /// Unit of a text as people write it: the whole text is looked up before it is parsed as by set,
  /// so that "km/h", "mph", "pu" or "rad/s^2" are not split. exact: true when the base unit was in
  /// the table before and no prefix was read before n, x, y, z, t or g ("kg" is no kilo-g).
  /// O(length).
  static CMeasuringUnit FromText(std::u16string_view text, bool* exact = nullptr);

  /// All fields equal, the reference as float; the text is not compared.
  bool operator==(const CMeasuringUnit& other) const;
  /// The text shown equals the text.
  bool operator==(std::u16string_view text) const { return text_ == text; }
  bool operator==(const wide_string& text) const { return text_ == text; }
  bool operator==(const wide_char* text) const { return text != nullptr && text_ == text; }

  /// Process-wide display flags; texts built before a change stay as they are. Any thread.
  static std::uint32_t GlobalFlags();
  static void SetGlobalFlags(std::uint32_t flags);
  static bool TestGlobalFlag(unsigned bit);
  static void SetGlobalFlag(unsigned bit, bool on);

  /// Writes a record of version 2, 18 bytes, without the text. True; what the stream throws passes
  /// through.
  [[nodiscard]] bool WriteToFile(CFileStream& file) const;

  /// The same record with the base unit's text, which every reader takes; registered units come
  /// back by it. False, with nothing written, for a text that is no 255 characters of code page
  /// 1252.
  [[nodiscard]] bool WriteToFileWithText(CFileStream& file) const;

  /// Reads a record of version 0 to 12. False when it is cut short (the fields are then the
  /// default ones, with an empty text) or its version is unknown (nothing changed). A unit beyond
  /// the built-in ones is found, or registered, by its text.
  [[nodiscard]] bool ReadFromFile(CFileStream& file);

 private:
  static constexpr std::uint32_t kLogarithmic = 1;

  /// Sets all fields but the unit from a text; base becomes what to look it up by, a part of text
  /// or of infix. The text shown is not built. False when there is nothing to look up.
  bool ParseFields(std::u16string_view text, std::u16string_view& base, wide_string& infix);
  bool WriteRecord(CFileStream& file, std::string_view text) const;
  void buildstringrep();
  void SetLogarithmic(bool on) { flags_ = (flags_ & ~kLogarithmic) | (on ? kLogarithmic : 0); }
  void SetFields(std::uint32_t unit, short exponent, short power, float logref);
  bool IsPlainLevel() const;

  std::uint32_t unit_ = 0;
  std::int16_t exponent_ = 0;
  std::int16_t power_ = 1;
  float logref_ = 0.0F;
  std::uint32_t flags_ = 0;
  wide_string text_;
};

using commonUnits = CMeasuringUnit::commonUnits;

/// The process-wide table of unit texts: 31 built-in ones, and those registered at run time, whose
/// numbers hold for the process only. Every operation may be called by any thread; references to
/// texts stay valid for the process.
class LIMES_EXPORT CMeasuringUnit::UnitStrings {
 public:
  /// Units the table takes at most; further ones are rejected.
  static constexpr std::size_t kMaxUnits = 65536;

  static UnitStrings& theStrings();

  /// Text of a unit; "?" for a number that the table does not hold.
  const wide_string& operator[](std::uint32_t unit) const;

  /// Number of a text or of one of its other spellings, -1 when unknown. O(length).
  int index(const wide_char* text) const { return Find(text == nullptr ? u"" : text); }

  /// As above; an unknown text is registered when that is allowed, else rejected with a message: 0.
  std::uint32_t index(const wide_char* text) { return FindOrAdd(text == nullptr ? u"" : text); }

  int Find(std::u16string_view text) const;
  std::uint32_t FindOrAdd(std::u16string_view text);

  /// Whether unknown texts are registered; the former setting.
  bool allowAddNewUnits(bool allow);

  /// Whether a registration is reported; the former setting.
  bool complainAddNewUnits(bool complain);

  /// Reciprocal of a built-in unit, 0 when it has none.
  static std::uint32_t inverseIndex(std::uint32_t unit);

  /// Reciprocal of the unit behind the one of that text.
  // kept: one row too far; hosts rely on it
  static std::uint32_t inverseIndex(const wide_char* text);

  /// As FindOrAdd with settings of its own instead of the table's.
  std::uint32_t FindOrAdd(std::u16string_view text, bool allow, bool complain);

  bool Allows() const;
  bool Complains() const;

 private:
  UnitStrings() = default;

  mutable std::mutex mutex_;
  std::deque<wide_string> added_;  ///< units from 31 on; its elements never move
  std::unordered_map<std::u16string_view, std::uint32_t> numbers_;  ///< of the added units
  bool allow_ = false;
  bool complain_ = true;
};

}  // namespace limes
