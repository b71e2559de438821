#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "limes/learning/drift_alarm.h"

namespace limes::host {

/// How a part moved a quantity, in the sign of the measurement.
struct SShift {
  std::string quantity;
  std::string xUnit;
  bool single = false;
  double mean = 0.0;  ///< over the points, in spreads
  CDriftAlarm::SPlaces places;
};

/// A quantity drifts.
struct SDriftFound {
  std::string part;  ///< that gave the alarm
  std::string quantity;
  bool up = false;
  std::int64_t parts = 0;   ///< that it has lasted
  std::optional<double> x;  ///< where a part lay furthest out; empty for a single value
  std::string xUnit;
};

/// The alarm of a quantity as it lies in the store.
struct SStoredDrift {
  std::string quantity;
  std::vector<std::uint8_t> record;  ///< of the library
};

}  // namespace limes::host
