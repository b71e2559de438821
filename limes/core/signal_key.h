#pragma once

#include <array>
#include <bitset>
#include <compare>
#include <cstdint>

#include "limes/export.h"
#include "limes/platform/text.h"

namespace limes {

/// Six coordinates of a signal as integers, -1 = not set: test step, instrument, channel,
/// location, parameter, sensor.
struct SClavis {
  std::array<std::int32_t, 6> value = {-1, -1, -1, -1, -1, -1};
};

/// Five integers of the host's choice, cleared to -1.
struct RQuinter {
  std::array<std::int32_t, 5> value = {-1, -1, -1, -1, -1};
};

/// Five integers of the host's choice, cleared to 0.
struct SQuinter {
  std::array<std::int32_t, 5> value = {};
};

namespace Clavis {

/// Sets all six to -1.
LIMES_EXPORT void SClavisClear(SClavis& key);

/// Sets all five to -1.
LIMES_EXPORT void RQuinterClear(RQuinter& key);

}  // namespace Clavis

namespace Quinter {

/// Sets all five to 0.
LIMES_EXPORT void SQuinterClear(SQuinter& key);

/// Copies all five.
LIMES_EXPORT void SQuinterCopy(SQuinter& target, const SQuinter& source);

/// All five are 0.
LIMES_EXPORT bool SQuinterIsEmpty(const SQuinter& key);

/// All five are equal.
LIMES_EXPORT bool SQuinterEquals(const SQuinter& a, const SQuinter& b);

/// Lexicographic by signed values in the order of positions 0, 3, 1, 2, 4.
LIMES_EXPORT bool SQuinterLessThan(const SQuinter& a, const SQuinter& b);

/// Names of the coordinates, "Test step" to "Sensor", in the language of the first call of each;
/// they stay for the process. Any thread.
LIMES_EXPORT const wide_string& ModeName();
LIMES_EXPORT const wide_string& InstrumentName();
LIMES_EXPORT const wide_string& ChannelName();
LIMES_EXPORT const wide_string& LocationName();
LIMES_EXPORT const wide_string& ParameterName();
LIMES_EXPORT const wide_string& SensorName();

}  // namespace Quinter

/// Sort and search key of a signal: six integers, compared in the order test step, instrument,
/// channel, location, parameter, sensor. One thread at a time.
class LIMES_EXPORT CClavis {
 public:
  /// Nothing set: all six -1.
  CClavis() = default;
  CClavis(int mode, int instrument, int channel, int location, int parameter, int sensor)
      : key_{{mode, instrument, channel, location, parameter, sensor}} {}
  CClavis(const SClavis& key) : key_(key) {}
  CClavis& operator=(const SClavis& key) {
    key_ = key;
    return *this;
  }

  /// Sets all six to -1.
  void clear() { key_ = SClavis(); }

  /// Position i, which must lie below 6.
  std::int32_t operator[](unsigned i) const { return key_.value[i]; }
  std::int32_t& operator[](unsigned i) { return key_.value[i]; }

  /// The coordinates by name, Mode is the test step. InstrParam is Parameter, ApplicationSignal is
  /// Sensor.
  std::int32_t Mode() const { return key_.value[0]; }
  std::int32_t Instrument() const { return key_.value[1]; }
  std::int32_t Channel() const { return key_.value[2]; }
  std::int32_t Location() const { return key_.value[3]; }
  std::int32_t Parameter() const { return key_.value[4]; }
  std::int32_t InstrParam() const { return key_.value[4]; }
  std::int32_t Sensor() const { return key_.value[5]; }
  std::int32_t ApplicationSignal() const { return key_.value[5]; }

  void Mode(std::int32_t value) { key_.value[0] = value; }
  void Instrument(std::int32_t value) { key_.value[1] = value; }
  void Channel(std::int32_t value) { key_.value[2] = value; }
  void Location(std::int32_t value) { key_.value[3] = value; }
  void Parameter(std::int32_t value) { key_.value[4] = value; }
  void InstrParam(std::int32_t value) { key_.value[4] = value; }
  void Sensor(std::int32_t value) { key_.value[5] = value; }
  void ApplicationSignal(std::int32_t value) { key_.value[5] = value; }

  /// The plain record.
  const SClavis& Base() const { return key_; }
  SClavis& Base() { return key_; }

  bool operator==(const CClavis& other) const { return key_.value == other.key_.value; }
  /// The first position that differs decides, by its signed value.
  std::strong_ordering operator<=>(const CClavis& other) const {
    return key_.value <=> other.key_.value;
  }

 private:
  SClavis key_;
};

/// The six coordinates of a signal as texts, "*" = any; in another order than CClavis: test step,
/// channel, location, instrument, parameter, sensor. One thread at a time.
class LIMES_EXPORT CQuinterMFC {
 public:
  static constexpr unsigned kFields = 6;

  /// Separates the fields of an identification text.
  static constexpr wide_char kSeparator = u'\u00A6';

  /// Six empty texts.
  CQuinterMFC() = default;

  /// Null texts are empty. Without a sensor the channel goes through SetChanPlusSensor.
  CQuinterMFC(const wide_char* mode, const wide_char* channel, const wide_char* location,
              const wide_char* instrument, const wide_char* parameter, const wide_char* sensor);

  /// Empties all six.
  void clear();

  /// The coordinates by name; Mode is the test step.
  const wide_string& Mode() const { return field_[0]; }
  const wide_string& Channel() const { return field_[1]; }
  const wide_string& Location() const { return field_[2]; }
  const wide_string& Instrument() const { return field_[3]; }
  const wide_string& Parameter() const { return field_[4]; }
  const wide_string& Sensor() const { return field_[5]; }

  void Mode(std::u16string_view text) { field_[0] = text; }
  void Channel(std::u16string_view text) { field_[1] = text; }
  void Location(std::u16string_view text) { field_[2] = text; }
  void Instrument(std::u16string_view text) { field_[3] = text; }
  void Parameter(std::u16string_view text) { field_[4] = text; }
  void Sensor(std::u16string_view text) { field_[5] = text; }

  /// Field by position, which must lie below 6.
  const wide_string& Field(unsigned i) const { return field_[i]; }
  void Field(unsigned i, std::u16string_view text) { field_[i] = text; }

  /// The channel; with a sensor "channel,sensor", cut at 99 characters.
  wide_string GetChanPlusSensor() const;

  /// Splits at the first ',' into channel and sensor; all is channel when there is none or it
  /// comes first.
  void SetChanPlusSensor(std::u16string_view text);

  /// Writes the six fields, joined by U+00A6 and ended by 0, into a buffer of size characters;
  /// false, with the buffer untouched, when that or a text of 1199 characters is too small.
  [[nodiscard]] bool BuildIdentificationString(wide_char* buffer, unsigned size) const;

  /// Takes the fields from the first 1199 characters of such a text: missing ones are empty,
  /// surplus ones are dropped. Always true; null is an empty text.
  bool ReadIdentificationString(const wide_char* text);

  /// "*"
  static const wide_string& Asterisk();

  /// A name of six "*".
  static const CQuinterMFC& TheAsterisks();

  /// Every field is empty or "*".
  bool IsEmpty() const;

  /// Every field is "*".
  bool isTotalPattern() const;

  /// Every field of p is "*" or equals this name's; a "*" here matches a "*" there only.
  bool matchesPattern(const CQuinterMFC& p) const;

  /// Fills the fields that are "*" from the other name; true when one stays "*".
  bool Overlay(const CQuinterMFC& other);

  /// Always throws std::out_of_range: the set has five positions, the name six fields. Use
  /// hasWildcard.
  std::bitset<5> pattern() const;

  /// As pattern.
  bool isPattern() const;

  /// At least one field is "*".
  bool hasWildcard() const;

  /// All six are equal, case included.
  bool operator==(const CQuinterMFC& other) const;

  /// The first field that differs decides, by its 16-bit characters.
  std::strong_ordering operator<=>(const CQuinterMFC& other) const;

 private:
  std::array<wide_string, kFields> field_;
};

}  // namespace limes
