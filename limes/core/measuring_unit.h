#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <tuple>

#include "limes/export.h"
#include "limes/platform/text.h"

namespace limes {

class CFileStream;
class CMeasuringUnit;
struct SUnitConversion;

/// The fields of a unit without its text: 16 bytes, for the fixed records of other classes. No
/// field is checked. One thread at a time.
struct LIMES_EXPORT SMeasuringUnitPOD {
  SMeasuringUnitPOD() = default;
  explicit SMeasuringUnitPOD(const CMeasuringUnit& unit);

  std::uint32_t unit = 0;     ///< number in the table of texts
  std::int16_t exponent = 0;  ///< decimal exponent, of the base unit with its power
  std::int16_t power = 0;     // kept: 0 here, unlike the default unit's 1
  float logref = 0.0F;        ///< reference of a level; 0 when linear
  std::uint32_t flags = 0;    ///< bit 0: level in dB

  static constexpr auto Fields(auto& u) {
    return std::tie(u.unit, u.exponent, u.power, u.logref, u.flags);
  }
};

/// Physical unit of an axis: 10^exponent times a base unit raised to a power, linear or as a level
/// in dB over a reference.
///
/// The base unit is a number of the process-wide table of unit texts (0: no unit). The text shown
/// is kept ready: "kHz", "(m/s)²", "dB(Pa)". A small value; one thread at a time each. No operation
/// throws, except what a stream throws while writing, and std::bad_alloc from constructors, copies,
/// assignments and what returns a text. Where only the text shown has no room in memory, the fields
/// hold and it is "?" until it is built anew.
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

  /// As set with these fields.
  CMeasuringUnit(commonUnits unit, short exponent = 0, short power = 1, float logref = 0.0F);

  /// With exponent 0 and power 1 as set(text), logref not looked at; otherwise the whole text is a
  /// base unit, looked up as it stands.
  explicit CMeasuringUnit(std::u16string_view text, short exponent = 0, short power = 1,
                          float logref = 0.0F);
  CMeasuringUnit(const CMeasuringUnit& other) = default;
  CMeasuringUnit(CMeasuringUnit&& other) noexcept = default;

  /// A copy, as every other; deep has no effect.
  CMeasuringUnit(const CMeasuringUnit& other, bool deep);
  CMeasuringUnit& operator=(const CMeasuringUnit& other);
  CMeasuringUnit& operator=(CMeasuringUnit&& other) noexcept = default;
  ~CMeasuringUnit() = default;

  /// An assignment; deep has no effect.
  void copy(const CMeasuringUnit& other, bool deep);

  /// The default fields with an empty text.
  void clear() { _construct(false); }

  /// False: as clear(). True: rebuilds the text only.
  void _construct(bool keepFields);

  /// Sets all fields, unchecked; the unit is logarithmic when logref is not 0 (NaN counts so). Of
  /// a number that the table does not hold, the text is "?".
  void set(std::uint32_t unit, short exponent, short power, float logref);

  /// Sets the unit from a text such as "kHz", "m/s²", "dB(Pa)". False for an empty text or an empty
  /// result. Prefixes: f p n u µ m k M G T. The reference of a level is 1, of "dB(Pa)" and "dB(A)"
  /// 2e-5. Unknown units, and what is no expression or has more than 256 characters or a power
  /// beyond ±1000, become unit 0 with a message, unless the table allows new ones; the return value
  /// is true all the same. O(length).
  // kept: a prefix letter is split off before any look-up, so "km/h" is not the built-in km/h;
  // FromText looks first
  bool set(std::u16string_view text);

  /// As set, for a text in code page 1252 of which the first 256 characters count. Null is empty.
  bool setA(const char* text);

  /// The n-th power of the unit. Exponent and power keep the low 16 bits.
  CMeasuringUnit& power(short n);

  /// The n-th root; a decimal exponent that n does not divide is truncated. False, with nothing
  /// changed, when n does not divide the power or is 0, and for power 0.
  [[nodiscard]] bool root(short n);

  /// The reciprocal: of s and Hz, rev and ord, n and pu the other one, of ° and rad ord, each with
  /// its power; else the negated power. A unit with a reference stays as it is.
  void invert();

  /// How values in this unit become values in the other: linear ones of one dimension whose ratio
  /// is exact, and levels of such, which move by the references. Empty for other dimensions,
  /// between linear and level, and where one of the units stands for itself only ("%", "n"). ° and
  /// rad, Hz, rpm and rad/s are dimensions of their own; g is the gravity.
  std::optional<SUnitConversion> ConversionTo(const CMeasuringUnit& other) const;

  /// Whether values can be converted.
  bool SameDimension(const CMeasuringUnit& other) const;

  /// Sets the reference, and logarithmic when it is not 0.
  // kept: the text stays as it was
  CMeasuringUnit& logref(float reference);

  /// Sets or clears logarithmic alone.
  // kept: the text stays as it was
  void set_log(bool on);

  /// Sets the decimal exponent to 0.
  void clearExponent();

  /// Sets the power to 0: "V^0".
  void clearPower();

  /// Number of the base unit in the table.
  std::uint32_t Unit_e() const { return fields_.unit; }

  /// Decimal exponent of the whole: km² has 6.
  short Exponent() const { return fields_.exponent; }
  short exponent() const { return fields_.exponent; }

  short Power() const { return fields_.power; }
  short power() const { return fields_.power; }

  /// Reference of a level, in the unit itself; 0 when linear.
  float Logref() const { return fields_.logref; }
  float logref() const { return fields_.logref; }

  /// Bit 0: level in dB. The others are 0 unless a record brought them.
  std::uint32_t Flags() const { return fields_.flags; }
  bool is_log() const { return (fields_.flags & kLogarithmic) != 0; }

  /// No unit, whatever its exponent and power.
  bool operator!() const { return fields_.unit == 0; }
  bool empty() const { return fields_.unit == 0; }

  /// The text shown. A decimal exponent that is no multiple of 3 per power is not in it.
  // kept: 10^-1 s shows "ms"; ExactText tells
  wide_string prefixunit() const { return text_; }

  /// The text in code page 1252, at most 255 characters, '?' for those it does not hold; valid
  /// until the thread's next call.
  const char* prefixunitA() const;

  /// Text of the base unit alone; valid for the process.
  const wide_string& baseunit() const;

  /// The base unit with its power, in "dB(...)" for a level, without prefix.
  wide_string mainunit() const;

  /// As prefixunit, with "10^n " before it where prefixunit hides a part of the exponent.
  wide_string ExactText() const;

  /// Unit of a text as people write it, and of every text that is shown here, "dB" alone excepted:
  /// what stands in "dB(...)", under a power or behind a prefix is looked up as a whole before it
  /// is split, so that "km/h", "(km/h)²", "dB(mph)", "pu" or "rad/s^2" keep their units; µ may be
  /// the Greek letter. Other texts are parsed as by set. An unknown unit is no unit, with a message
  /// that names it, or registered as it stands where the table allows it. exact: true when the base
  /// unit was in the table before and no prefix was read before n, x, y, z, t or g ("kg" is no
  /// kilo-g). Throws std::bad_alloc as a constructor does. O(length).
  static CMeasuringUnit FromText(std::u16string_view text, bool* exact = nullptr);

  /// All fields equal, the reference as float; the text is not compared.
  bool operator==(const CMeasuringUnit& other) const;
  /// The text shown equals the text.
  bool operator==(std::u16string_view text) const;
  bool operator==(const wide_string& text) const { return *this == std::u16string_view(text); }
  bool operator==(const wide_char* text) const {
    return text != nullptr && *this == std::u16string_view(text);
  }

  /// Process-wide display flags, 0 at first; a bit is taken modulo 32. Texts built before a change
  /// stay as they are. Any thread.
  static std::uint32_t GlobalFlags();
  static void SetGlobalFlags(std::uint32_t flags);
  static bool TestGlobalFlag(unsigned bit);
  static void SetGlobalFlag(unsigned bit, bool on);

  /// Writes a record of version 2, 18 bytes, without the text. True; what the stream throws passes
  /// through.
  [[nodiscard]] bool WriteToFile(CFileStream& file) const;

  /// The same record with the base unit's text, which every reader takes; registered units come
  /// back by it. False, with nothing written, for a text that is no 255 characters of code page
  /// 1252 or holds a 0, and for a unit that the table does not hold.
  [[nodiscard]] bool WriteToFileWithText(CFileStream& file) const;

  /// Reads a record of version 0 to 12. False when it is cut short (the fields are then the
  /// default ones, with no text) or its version is unknown (nothing changed). A unit beyond the
  /// built-in ones is found by its text, up to a 0 in it, or registered, whether the table allows
  /// it or not. Reads at most 273 bytes.
  [[nodiscard]] bool ReadFromFile(CFileStream& file);

 private:
  friend struct SMeasuringUnitPOD;

  static constexpr std::uint32_t kLogarithmic = 1;

  /// No unit, with power 1.
  static SMeasuringUnitPOD NoFields() {
    SMeasuringUnitPOD fields;
    fields.power = 1;
    return fields;
  }

  /// What a look-up takes of a text: a 0 ends it, as in texts from buffers of fixed size.
  static std::u16string_view UpToZero(std::u16string_view text) {
    return text.substr(0, text.find(u'\0'));
  }

  /// As set; what it throws leaves the unit as it was.
  bool Parse(std::u16string_view text);
  bool WriteRecord(CFileStream& file, std::string_view text) const;

  static wide_string ShownText(const SMeasuringUnitPOD& fields);

  /// Takes the fields and builds the text.
  void Take(const SMeasuringUnitPOD& fields);

  /// Fields logarithmic when logref is not 0; further flags stay as they are.
  SMeasuringUnitPOD With(std::uint32_t unit, short exponent, short power, float logref) const;

  SMeasuringUnitPOD fields_ = NoFields();
  wide_string text_;
};

using commonUnits = CMeasuringUnit::commonUnits;

/// Product and quotient of linear units, where one base unit with an exponent and a power says
/// them: m * m, m/s² * s, V * A; empty for others, and for mere powers of ten (m / km), which no
/// text shows.
LIMES_EXPORT std::optional<CMeasuringUnit> operator*(const CMeasuringUnit& a,
                                                     const CMeasuringUnit& b);
LIMES_EXPORT std::optional<CMeasuringUnit> operator/(const CMeasuringUnit& a,
                                                     const CMeasuringUnit& b);

/// The process-wide table of unit texts: 31 built-in ones, and those registered at run time, whose
/// numbers hold for the process only. Every operation may be called by any thread; references to
/// texts stay valid for the process.
class LIMES_EXPORT CMeasuringUnit::UnitStrings {
 public:
  /// Units the table takes at most; further ones are rejected.
  static constexpr std::size_t kMaxUnits = 65536;

  /// The table, made at the first call, gone with the process.
  static UnitStrings& theStrings();

  /// Text of a unit; "?" for a number that the table does not hold.
  const wide_string& operator[](std::uint32_t unit) const;

  /// Number of a text or of one of its other spellings, -1 when unknown. O(length).
  int index(const wide_char* text) const { return Find(text == nullptr ? u"" : text); }

  /// As above; an unknown text is registered when that is allowed, else rejected with a message: 0.
  /// A registration is reported when that is set.
  std::uint32_t index(const wide_char* text) { return FindOrAdd(text == nullptr ? u"" : text); }

  /// The two forms of index, for texts that need no 0 at their end.
  int Find(std::u16string_view text) const;
  std::uint32_t FindOrAdd(std::u16string_view text);

  /// Sets whether unknown texts are registered, at first not; returns the former setting.
  bool allowAddNewUnits(bool allow);

  /// Sets whether a registration is reported, at first so; returns the former setting.
  bool complainAddNewUnits(bool complain);

  /// Reciprocal of a built-in unit, 0 when it has none.
  static std::uint32_t inverseIndex(std::uint32_t unit);

  /// Reciprocal of the unit behind the one of that text.
  // kept: one row too far, as it has always answered; the number form has the right row
  static std::uint32_t inverseIndex(const wide_char* text);

  /// As FindOrAdd with settings of its own instead of the table's.
  std::uint32_t FindOrAdd(std::u16string_view text, bool allow, bool complain);

  /// The settings.
  bool Allows() const;
  bool Complains() const;

 private:
  struct Table;

  UnitStrings();

  Table& table_;  ///< stays for the process
};

}  // namespace limes
