#include "limes/learning/drift_alarm.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "limes/learning/calibration.h"
#include "limes/learning/distributions.h"
#include "limes/learning/learn_record.h"
#include "limes/learning/score.h"

namespace limes {
namespace {

constexpr double kMostThreshold = 40.0;
constexpr double kMostAllowance = 5.0;
constexpr double kMostShift = 1000.0;  ///< larger ones count as this one
constexpr std::int64_t kMostShifts = std::int64_t{1} << 53;

}  // namespace

namespace detail {

double OneSidedRunLength(double threshold, double allowance) {
  // States 0 to t - 1: the sum within w / 2 of j w, and below w / 2; solves (I - P) length = 1 by
  // elimination, which needs no exchange of rows for such a matrix.
  constexpr std::size_t t = 400;
  const double w = 2.0 * threshold / (2.0 * t - 1.0);
  std::array<double, 2 * t> below{};  // P(step ends below the upper bound of cell j, from cell i)
  for (std::size_t d = 0; d < 2 * t; ++d) {
    below[d] = NormalShare((static_cast<double>(d) - t) * w + 0.5 * w + allowance);
  }
  std::vector<double> rows(t * t);
  std::vector<double> length(t, 1.0);
  for (std::size_t i = 0; i < t; ++i) {
    for (std::size_t j = 0; j < t; ++j) {
      const double share = below[t + j - i] - (j == 0 ? 0.0 : below[t + j - i - 1]);
      rows[i * t + j] = (i == j ? 1.0 : 0.0) - share;
    }
  }
  for (std::size_t i = 0; i < t; ++i) {
    for (std::size_t r = i + 1; r < t; ++r) {
      const double f = rows[r * t + i] / rows[i * t + i];
      for (std::size_t j = i + 1; j < t; ++j) {
        rows[r * t + j] -= f * rows[i * t + j];
      }
      length[r] -= f * length[i];
    }
  }
  for (std::size_t i = t; i-- > 0;) {
    for (std::size_t j = i + 1; j < t; ++j) {
      length[i] -= rows[i * t + j] * length[j];
    }
    length[i] /= rows[i * t + i];
  }
  return length[0];
}

}  // namespace detail

double DriftThreshold(double partsBetweenFalseAlarms, double allowance) {
  // The sides alarm independently, each half as often. The logarithm of the run length grows almost
  // linearly with the threshold: a few secant steps.
  const double wanted = std::log(2.0 * partsBetweenFalseAlarms);
  double h0 = 0.0;
  double l0 = std::log(detail::OneSidedRunLength(0.0, allowance));
  if (!(wanted > l0)) {
    return 0.0;
  }
  if (std::isinf(wanted)) {
    return kMostThreshold;
  }
  double h1 = std::min(wanted, kMostThreshold);
  for (int step = 0; step < 20; ++step) {
    const double l1 = std::log(detail::OneSidedRunLength(h1, allowance));
    const double h2 = std::clamp(h1 + (wanted - l1) * (h1 - h0) / (l1 - l0), 0.0, kMostThreshold);
    if (!(std::fabs(h2 - h1) > 1e-9)) {
      return h2;
    }
    h0 = h1;
    l0 = l1;
    h1 = h2;
  }
  return h1;
}

CDriftAlarm::CDriftAlarm(double threshold, double allowance)
    : threshold_(threshold > 0.0 ? std::min(threshold, kMostThreshold) : 0.0),
      allowance_(allowance > 0.0 ? std::min(allowance, kMostAllowance) : 0.0) {}

void CDriftAlarm::Side::Add(double step, double excessHere, double placeHere) {
  if (!(sum + step > 0.0)) {
    *this = Side();
    return;
  }
  if (parts == 0 || excessHere > excess) {
    excess = excessHere;
    place = placeHere;
  }
  sum += step;
  ++parts;
}

SDrift CDriftAlarm::Add(double meanShift, const SPlaces& places) {
  SDrift drift;
  if (std::isnan(meanShift)) {
    return drift;
  }
  const double shift = std::clamp(meanShift, -kMostShift, kMostShift);
  if (shifts_ >= kShiftsBeforeScores) {
    const auto n = static_cast<double>(shifts_);
    const double spread = moments_.Spread(n);
    const double score = spread > 0.0 ? std::clamp(ScoreOf((shift - moments_.Mean(n)) / spread, n),
                                                   -kMostShift, kMostShift)
                                      : 0.0;
    up_.Add(score - allowance_, places.excessAbove, places.above);
    down_.Add(-score - allowance_, places.excessBelow, places.below);
  }
  moments_.Add(shift);
  shifts_ = std::min(shifts_ + 1, kMostShifts);
  const Side* const beyond = up_.sum > threshold_     ? &up_
                             : down_.sum > threshold_ ? &down_
                                                      : nullptr;
  if (beyond != nullptr) {
    drift = {beyond == &up_ ? DriftDirection::kUp : DriftDirection::kDown, beyond->parts,
             beyond->place};
    alarms_ = std::min(alarms_ + 1, kMostShifts);
    up_ = down_ = Side();
  }
  return drift;
}

MergeStatus CDriftAlarm::Merge(const CDriftAlarm& other) {
  if (threshold_ != other.threshold_ || allowance_ != other.allowance_) {
    return MergeStatus::kRule;
  }
  shifts_ = std::min(shifts_ + other.shifts_, kMostShifts);
  alarms_ = std::min(alarms_ + other.alarms_, kMostShifts);
  moments_.Add(other.moments_);
  const auto before = [](const Side& a, const Side& b) {
    return Side::Fields(a) < Side::Fields(b);
  };
  up_ = std::max(up_, other.up_, before);
  down_ = std::max(down_, other.down_, before);
  return MergeStatus::kOk;
}

/// Everything of an alarm, in the order of its record.
template <class Alarm>
struct CDriftAlarm::SRecord {
  Alarm& alarm;

  static constexpr auto Fields(auto& r) {
    auto& a = r.alarm;
    return std::tuple_cat(std::tie(a.threshold_, a.allowance_, a.shifts_, a.alarms_),
                          detail::ScoreMoments::Fields(a.moments_), Side::Fields(a.up_),
                          Side::Fields(a.down_));
  }
};

bool CDriftAlarm::IsConsistent() const {
  const auto count = [](std::int64_t n, std::int64_t most) { return n >= 0 && n <= most; };
  const auto side = [&](const Side& s) {
    return s.sum >= 0.0 && s.sum <= threshold_ && count(s.parts, shifts_) &&
           !std::isnan(s.excess) && !std::isnan(s.place);
  };
  return threshold_ >= 0.0 && threshold_ <= kMostThreshold && allowance_ >= 0.0 &&
         allowance_ <= kMostAllowance && count(shifts_, kMostShifts) && count(alarms_, shifts_) &&
         side(up_) && side(down_);
}

bool CDriftAlarm::WriteState(CFileStream& file) const {
  return detail::WriteLearnState(file, detail::LearnStateKind::kDriftAlarm,
                                 [this](detail::RecordWriter& record) {
                                   record.PutFields(SRecord<const CDriftAlarm>{*this});
                                   return true;
                                 });
}

LearnStateStatus CDriftAlarm::ReadState(CFileStream& file) {
  const auto get = [](detail::RecordReader& in, CDriftAlarm& read, std::uint16_t /*version*/) {
    SRecord<CDriftAlarm> record{read};
    return in.GetFields(record) && read.IsConsistent() ? LearnStateStatus::kOk
                                                       : LearnStateStatus::kContent;
  };
  const auto commit = [this](const CDriftAlarm& read) { *this = read; };
  return detail::ReadLearnState<CDriftAlarm>(file, detail::LearnStateKind::kDriftAlarm, get,
                                             commit);
}

}  // namespace limes
