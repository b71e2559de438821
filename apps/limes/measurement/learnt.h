#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/verdict.h"
#include "limes/learning/calibration.h"
#include "recordings/measurement.h"

namespace limes::host {

/// A learnt quantity as it lies in the store.
struct SStoredQuantity {
  struct SState {
    Side side;
    std::int64_t learnt;
    std::vector<std::uint8_t> record;  ///< learn-state record of the library
    std::optional<double> recorded;    ///< shortest time of a part, where something is formed
    std::optional<double> rms;         ///< of the signal of the quietest part, as well

    bool operator==(const SState&) const = default;
  };

  std::string name;
  bool single = false;
  SUnit xUnit;
  SUnit unit;
  std::vector<SState> states;
};

/// Where the scores come from that a limit's rate is promised by.
enum class ScoreSource {
  kLearning,  ///< each part was judged before it was learnt
  kOthers,    ///< each part, or group of them, by all others
  kFrozen,    ///< further parts by what was learnt
};

/// "learning", "others" or "frozen".
const char* SourceText(ScoreSource source);
ScoreSource SourceFromText(const std::string& text);

/// The scores of good parts as they lie in the store.
struct SStoredCalibration {
  double base = 0.0;  ///< of the rule that they were formed with
  ScoreSource source = ScoreSource::kLearning;
  std::optional<std::int64_t>
      groups;                        ///< that were left out as a whole; empty: each part by itself
  std::vector<std::uint8_t> record;  ///< of the library
};

/// What a run left behind of a quantity and side; of curves the averages over x.
struct SHistory {
  std::string quantity;
  Side side = Side::kUpper;
  std::string started;  ///< of the run, UTC
  std::int64_t learnt = 0;
  std::optional<double> mean;
  std::optional<double> limit;
  std::int64_t run = 0;  ///< in the store
};

/// What the limits of a store do to good parts, as far as their scores tell.
struct SPromise {
  std::optional<double> rate;   ///< wanted; empty with a factor
  std::optional<double> cover;  ///< share of Normal values within each limit
  std::optional<double> sure;   ///< confidence of that
  bool hasFactor = false;       ///< not by a rate: of a quantity at least
  SCalibratedLimit limit;       ///< for the rate
  SPartsBeyond beyond;          ///< of the parts with scores, by the limits as they are
  std::int64_t scores = 0;
  std::int64_t learnt = 0;
  ScoreSource source = ScoreSource::kLearning;
  std::optional<std::int64_t> groups;  ///< that were left out as a whole
  std::int64_t neverChanged = 0;       ///< values and points of curves
  double changes = 0.0;                ///< share of good parts at most in which one of them does
  bool atMost = false;                 ///< fewer are rejected: widened, or no factor below 0
  std::optional<double> tooWide;       ///< the factor it would take, where that is no limit
  std::optional<SLoneScore> lone;      ///< of the part that widens the limits alone
  std::string loneName;                ///< of that part, where it is known
  std::string waits;                   ///< what common modes wait for; empty when they are formed
};

/// A learnt quantity and side at a glance.
struct SLearntSummary {
  std::string name;
  Side side = Side::kUpper;
  SLimitSureness sureness;
  std::optional<double> factor;  ///< in the limit, of tracks where most was learnt; empty: no limit
  std::string kind;              ///< curve, track or value
  std::int64_t parts = 0;
  std::size_t points = 0;
  double xFirst = 0.0;  ///< valid range of the learnt curves
  double xLast = 0.0;
  double step = 0.0;
  std::string xUnit;
  std::string unit;
  std::vector<std::int64_t> learntAt;  ///< parts per point; empty for a value
  std::vector<float> mean;  ///< over the learnt range, in the sign of the measurement; NaN: none
  std::vector<float> spread;
  std::vector<float> limit;
};

}  // namespace limes::host
