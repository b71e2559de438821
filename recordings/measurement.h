#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "limes/core/measuring_unit.h"
#include "limes/learning/signal_health.h"

namespace limes::recordings {

/// A unit as a file names it. A text that the library does not know is kept as it stands, so that
/// parts in different unknown units are still told apart.
struct SUnit {
  CMeasuringUnit unit;
  std::string text;        ///< of an unknown unit, else empty
  float reference = 0.0F;  ///< of decibels of an unknown unit

  bool operator==(const SUnit& other) const {
    return unit == other.unit && text == other.text && reference == other.reference;
  }
  bool IsNone() const { return unit.empty() && text.empty(); }
  bool IsDecibel() const;

  /// As shown; empty without unit.
  std::string Display() const;

  /// With the reference of decibels, for messages and comparison: "dB(Pa) re 2e-05".
  std::string DisplayFull() const;
};

SUnit ParseUnit(std::string_view text);

/// Reciprocal unit of an axis: s gives Hz.
SUnit ReciprocalUnit(const SUnit& unit);

/// The decibel unit of levels of this unit.
SUnit LevelUnit(const SUnit& unit, double reference);

/// A decibel unit with another reference; false for anything else.
bool SetReference(SUnit& unit, double reference);

/// The signal that a quantity was formed of, or a sound as it is; all 0 of anything else.
struct SRecorded {
  double time = 0.0;  ///< how long it was recorded and moved, in s, or in the unit of x if no time
  double rms = 0.0;   ///< without its mean and before any weighting, in the unit of the signal

  static constexpr auto Fields(auto& r) { return std::tie(r.time, r.rms); }
};

/// One measured quantity of a part: a curve, or a single value.
struct SQuantity {
  std::string name;
  SUnit xUnit;
  SUnit unit;
  bool single = false;
  double x0 = 0.0;         ///< x of the first value
  double dx = 1.0;         ///< step, positive; the mean one where steps are not equal
  std::vector<float> x;    ///< x of each value where steps are not equal, else empty
  std::optional<float> t;  ///< place on a second axis, of curves of an array; else their date
  SUnit tUnit;
  std::vector<float> values;  ///< of a curve; finite
  double value = 0.0;         ///< of a single value; finite

  /// For each value whether something was measured nearby, 0 where lines were drawn over a gap;
  /// empty when all are covered.
  std::vector<std::uint8_t> covered;

  SignalHealth health = SignalHealth::kUnknown;  ///< of the samples that a curve was formed of
  SRecorded recorded;
};

/// Which variant of a product a part is; all empty where variants are not told apart.
struct SVariant {
  std::vector<std::string> values;  ///< in the order of their names; empty: not known
  std::string name;                 ///< "product=A,gear=3"; empty when it cannot be told
  std::string fault;                ///< why it cannot be told
};

/// What was measured on one part.
struct SPart {
  std::string name;                  ///< file, then row, group or cut where a file holds several
  std::optional<std::string> label;  ///< the known verdict, when there is a label column
  std::vector<SQuantity> quantities;
  SVariant variant{};
};

}  // namespace limes::recordings
