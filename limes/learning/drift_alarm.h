#pragma once

#include <cstdint>
#include <tuple>

#include "limes/export.h"
#include "limes/learning/exact_sum.h"
#include "limes/learning/learn_merge.h"
#include "limes/learning/learn_state.h"

namespace limes {

class CFileStream;

/// Part of each score that a CUSUM passes over: half of the shift, in spreads, that it finds
/// soonest.
inline constexpr double kDriftAllowance = 0.25;

/// Threshold of a CUSUM whose two sides together give a false alarm once in so many parts on
/// average: with the allowance 1/2 370 gives 4.774. By the Markov chain of Brook and Evans
/// (Biometrika 59, 1972, 539). 0 for a number up to the smallest there is, and for NaN; at most 40.
/// Some 50 ms.
LIMES_EXPORT double DriftThreshold(double partsBetweenFalseAlarms,
                                   double allowance = kDriftAllowance);

/// Which way a quantity drifts.
enum class DriftDirection : std::int8_t { kDown = -1, kNone = 0, kUp = 1 };

/// What the last part told.
struct SDrift {
  DriftDirection direction = DriftDirection::kNone;  ///< of the alarm that this part gave
  std::int64_t parts = 0;                            ///< that the drift has lasted
  double place = 0.0;  ///< where a part of the drift lay furthest out on that side
};

/// Alarm when a quantity drifts slowly: a self-starting CUSUM of the parts' mean shifts, each
/// scored by those before it, so that no stable phase is needed to set it up (Hawkins,
/// Technometrics 29, 1987; Hawkins, Olwell, Cumulative Sum Charts and Charting for Quality
/// Improvement, 1998, chapter 7). Both sides; after an alarm both begin anew. O(1) a part,
/// allocates nothing. One thread at a time.
///
/// With the usual allowance 1/2 the mean of the parts itself follows a small shift before the sum
/// has grown: half a spread after 200 parts is found after 1604 parts on average at one false alarm
/// in 5000, with 1/4 after 160.
class LIMES_EXPORT CDriftAlarm {
 public:
  /// Shifts gathered before the first one is scored.
  static constexpr std::int64_t kShiftsBeforeScores = 10;

  /// Threshold of DriftThreshold for the allowance, kept from 0 to 40 and 0 to 5. With several
  /// quantities ask for as many times the parts.
  explicit CDriftAlarm(double threshold = kDefaultThreshold, double allowance = kDriftAllowance);

  /// Where a part lies furthest out on either side, as a host counts places.
  struct SPlaces {
    float excessAbove = 0.0F;
    float excessBelow = 0.0F;
    double above = 0.0;
    double below = 0.0;
  };

  /// Takes the mean shift of a part before it was learnt (SPartExcess::MeanShift), from the tenth
  /// learnt part on. A NaN changes nothing.
  SDrift Add(double meanShift, const SPlaces& places);
  SDrift Add(double meanShift) { return Add(meanShift, SPlaces()); }

  double Threshold() const { return threshold_; }
  double Allowance() const { return allowance_; }
  std::int64_t Shifts() const { return shifts_; }
  std::int64_t Alarms() const { return alarms_; }

  /// The sums, from 0 to the threshold.
  double Up() const { return up_.sum; }
  double Down() const { return down_.sum; }

  /// Joins the alarm of another bench: the shifts of both, of each side the sum that is nearer to
  /// an alarm, the same whatever the order. kRule when thresholds or allowances differ.
  MergeStatus Merge(const CDriftAlarm& other);

  /// Writes everything, bit for bit. True; false when memory is short; what the stream throws
  /// passes through.
  [[nodiscard]] bool WriteState(CFileStream& file) const;

  /// Reads what WriteState wrote: all of it, or nothing and the reason.
  [[nodiscard]] LearnStateStatus ReadState(CFileStream& file);

 private:
  static constexpr double kDefaultThreshold = 14.4929;  // one false alarm in 10,000 parts

  template <class Alarm>
  struct SRecord;
  bool IsConsistent() const;

  /// One side since it last left 0.
  struct Side {
    double sum = 0.0;
    std::int64_t parts = 0;
    double excess = 0.0;
    double place = 0.0;

    static constexpr auto Fields(auto& s) { return std::tie(s.sum, s.parts, s.excess, s.place); }
    void Add(double step, double excessHere, double placeHere);
  };

  double threshold_;
  double allowance_;
  std::int64_t shifts_ = 0;
  std::int64_t alarms_ = 0;
  detail::ScoreMoments moments_;  ///< of the shifts
  Side up_;
  Side down_;
};

namespace detail {

/// Mean number of parts until one side of the CUSUM passes the threshold, from 0.
double OneSidedRunLength(double threshold, double allowance);

}  // namespace detail
}  // namespace limes
