#include "limes/learning/calibration.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <tuple>

#include "limes/learning/distributions.h"
#include "limes/learning/score.h"
#include "limes/platform/conversions.h"
#include "limes/platform/memory_errors.h"

namespace limes {
namespace {

constexpr std::int64_t kMostScores = std::int64_t{1} << 53;
constexpr std::int64_t kLeastForTail = 4;
constexpr std::size_t kMostKept = 3 * CLimitCalibration::kKept;  ///< of all sides

bool IsRate(double rate) { return rate > 0.0 && rate < 1.0; }

/// Orders of parts: the largest above first, below or as a whole.
bool Higher(const SPartScores& a, const SPartScores& b) {
  return std::tie(a.above, a.below, a.whole) > std::tie(b.above, b.below, b.whole);
}
bool Deeper(const SPartScores& a, const SPartScores& b) {
  return std::tie(a.below, a.above, a.whole) > std::tie(b.below, b.above, b.whole);
}
bool Farther(const SPartScores& a, const SPartScores& b) {
  return std::tie(a.whole, a.above, a.below) > std::tie(b.whole, b.above, b.below);
}

/// Puts a part into its place of an ordered list, which keeps its room.
void Insert(std::vector<SPartScores>& parts, const SPartScores& part,
            bool (*before)(const SPartScores&, const SPartScores&)) {
  if (parts.size() == CLimitCalibration::kKept) {
    if (!before(part, parts.back())) {
      return;
    }
    parts.pop_back();
  }
  parts.insert(std::upper_bound(parts.begin(), parts.end(), part, before), part);
}

double Clamped(double score) {
  return std::clamp(score, kLowestScore, kHighestScore) + 0.0;  // -0 becomes 0
}

/// The limiting number of a side from that of the balanced scores.
double SideLimit(const detail::ScoreMoments& side, double n, double balanced) {
  const double spread = side.Spread(n);
  return side.Mean(n) + (spread > 0.0 ? FactorOf(balanced, n) * spread : 0.0);
}

}  // namespace

bool SCalibratedLimit::IsTooWide(double n) const {
  return basis != CalibrationBasis::kNone &&
         (std::max(FactorAbove(n), FactorBelow(n)) > kMostFactor ||
          (std::isfinite(whole) && std::exp(0.5 * whole) > kMostFactor));
}

double SCalibratedLimit::FactorAbove(double n) const { return std::fmax(FactorOf(above, n), 0.0); }
double SCalibratedLimit::FactorBelow(double n) const { return std::fmax(FactorOf(below, n), 0.0); }

std::int64_t RejectRank(std::int64_t m, double rate) {
  if (m <= 0 || !IsRate(rate)) {
    return rate >= 1.0 ? 1 : std::max<std::int64_t>(m, 0) + 1;
  }
  constexpr double kRounding = 1e-9;  // of the product, so that 5 % of 20 is 1
  const double rank = std::ceil((1.0 - rate) * (static_cast<double>(m) + 1.0) - kRounding);
  return std::clamp<std::int64_t>(TruncToInt64(rank), 1, m + 1);
}

std::int64_t ScoresNeeded(double rate) {
  constexpr double kRounding = 1e-9;
  return !(rate > 0.0) ? std::numeric_limits<std::int64_t>::max()
                       : TruncToInt64(std::fmax(std::ceil((1.0 - kRounding) / rate - 1.0), 0.0));
}

SInterval AchievedRate(std::int64_t m, std::int64_t rank, double sure) {
  if (rank < 1 || rank > m) {
    return {0.0, 1.0};
  }
  const auto beyond = static_cast<double>(m + 1 - rank);
  const auto within = static_cast<double>(rank);
  return {detail::BetaQuantile(0.5 * (1.0 - sure), beyond, within),
          detail::BetaQuantile(0.5 * (1.0 + sure), beyond, within)};
}

SInterval RejectedParts(std::int64_t m, std::int64_t rank, std::int64_t judged, double sure) {
  const auto n = static_cast<double>(judged);
  if (rank < 1 || rank > m || judged <= 0) {
    return {0.0, std::fmax(n, 0.0)};
  }
  const auto a = static_cast<double>(m + 1 - rank);
  const auto b = static_cast<double>(rank);
  using detail::LogGamma;
  // ln P(0), then from each number to the next one.
  double logarithm = LogGamma(n + b) - LogGamma(n + b + a) + LogGamma(a + b) - LogGamma(b);
  SInterval interval{n, n};
  double sum = 0.0;
  for (double x = 0.0; x <= n; x += 1.0) {
    sum += std::exp(logarithm);
    if (interval.low == n && sum >= 0.5 * (1.0 - sure)) {
      interval.low = x;
    }
    if (sum >= 0.5 * (1.0 + sure)) {
      interval.high = x;
      break;
    }
    logarithm += std::log((n - x) * (x + a) / ((x + 1.0) * (n - x - 1.0 + b)));
  }
  return interval;
}

namespace detail {

double TailScore(std::span<const double> largest, std::int64_t m, double share) {
  const auto tail = static_cast<std::size_t>(
      std::clamp<std::int64_t>(m / 4, 3, std::int64_t{CLimitCalibration::kKept} - 1));
  if (m < kLeastForTail || largest.size() <= tail) {
    return std::numeric_limits<double>::infinity();
  }
  const double next = largest[tail];
  double excess = 0.0;
  for (const double score : largest.first(tail)) {
    excess += score - next;
  }
  const auto j = static_cast<double>(tail);
  return next + excess / j * std::log(j / (share * (static_cast<double>(m) + 1.0)));
}

}  // namespace detail

bool CLimitCalibration::MakeRoom() {
  return detail::IfMemoryAllows(false, [&] {
    highest_.reserve(kKept);
    if (sides_ == ScoreSides::kBoth) {
      deepest_.reserve(kKept);
    }
    if (hasWhole_) {
      farthest_.reserve(kKept);
    }
    return true;
  });
}

void CLimitCalibration::Keep(const SPartScores& part) {
  Insert(highest_, part, Higher);
  if (sides_ == ScoreSides::kBoth) {
    Insert(deepest_, part, Deeper);
  }
  if (hasWhole_) {
    Insert(farthest_, part, Farther);
  }
}

bool CLimitCalibration::Add(const SPartScores& part) {
  const bool both = sides_ == ScoreSides::kBoth;
  if (std::isnan(part.above) || (both && std::isnan(part.below)) ||
      (hasWhole_ && std::isnan(part.whole)) || !MakeRoom()) {
    return false;
  }
  const SPartScores kept{Clamped(part.above), both ? Clamped(part.below) : kLowestScore,
                         hasWhole_ ? Clamped(part.whole) : kLowestScore};
  above_.Add(kept.above);
  below_.Add(kept.below);
  if (hasWhole_) {
    whole_.Add(kept.whole);
  }
  count_ = std::min(count_ + 1, kMostScores);
  Keep(kept);
  return true;
}

bool CLimitCalibration::IsOrdered() const {
  return std::is_sorted(highest_.begin(), highest_.end(), Higher) &&
         std::is_sorted(deepest_.begin(), deepest_.end(), Deeper) &&
         std::is_sorted(farthest_.begin(), farthest_.end(), Farther);
}

/// All parts that are kept, each once.
std::span<const SPartScores> CLimitCalibration::Kept(std::span<SPartScores> room) const {
  std::array<SPartScores, kKept> sorted;
  std::array<SPartScores, kMostKept> before;
  std::span<SPartScores> kept = room.first(highest_.size());
  std::copy(highest_.begin(), highest_.end(), kept.begin());
  for (const Parts* const parts : {&deepest_, &farthest_}) {
    const auto end = std::copy(parts->begin(), parts->end(), sorted.begin());
    std::sort(sorted.begin(), end, Higher);
    const auto beforeEnd = std::copy(kept.begin(), kept.end(), before.begin());
    // Of parts that are equal the union holds as many as the list with more of them.
    const auto last =
        std::set_union(before.begin(), beforeEnd, sorted.begin(), end, room.begin(), Higher);
    kept = room.first(static_cast<std::size_t>(last - room.begin()));
  }
  return kept;
}

/// Whether a part has numbers that cannot be compared, each in its own mean and spread.
bool CLimitCalibration::IsBalanced() const {
  return hasWhole_ || (sides_ == ScoreSides::kBoth && count_ >= kPartsBeforeScores);
}

/// The kKept largest numbers of parts, largest first: each side in the mean and spread of the other
/// parts' (balanced), or as it is, the larger one of a part.
std::span<const double> CLimitCalibration::LargestOf(std::span<double> room, bool balanced) const {
  std::array<SPartScores, kMostKept> kept;
  const auto n = static_cast<double>(count_);
  const auto number = [&](const SPartScores& part) {
    if (!balanced) {
      return std::max(part.above, part.below);
    }
    const double e =
        std::max(above_.ExcessOverOthers(part.above, n), below_.ExcessOverOthers(part.below, n));
    const double points = std::max(ScoreOf(e, n - 1.0), kLowestScore);
    if (!hasWhole_) {
      return points;
    }
    const double whole = ScoreOf(whole_.ExcessOverOthers(part.whole, n), n - 1.0);
    return std::max({points - kPointsBehind, whole, kLowestScore});
  };
  const std::span<const SPartScores> parts = Kept(kept);
  std::transform(parts.begin(), parts.end(), room.begin(), number);
  const std::span<double> numbers = room.first(parts.size());
  std::sort(numbers.begin(), numbers.end(), std::greater<>());
  return numbers.first(std::min(numbers.size(), kKept));
}

SCalibratedLimit CLimitCalibration::ForRate(double rate, double sure) const {
  SCalibratedLimit limit;
  limit.scores = count_;
  if (!IsRate(rate) || count_ < (hasWhole_ ? kPartsBeforeScores : kLeastForTail)) {
    return limit;
  }
  const bool balanced = IsBalanced();
  std::array<double, kMostKept> room;
  const std::span<const double> largest = LargestOf(room, balanced);
  const std::int64_t beyond =
      std::min(count_ + 1 - RejectRank(count_, rate), static_cast<std::int64_t>(kKept));
  limit.basis = beyond > 0 ? CalibrationBasis::kRank : CalibrationBasis::kExtrapolated;
  double number = 0.0;
  if (beyond > 0) {
    number = largest[static_cast<std::size_t>(beyond - 1)];
  } else {
    number = std::max(largest.front(), detail::TailScore(largest, count_, rate));
  }
  const std::int64_t promising = std::max<std::int64_t>(beyond, 1);
  limit.promised = static_cast<double>(promising) / (static_cast<double>(count_) + 1.0);
  const SInterval achieved = AchievedRate(count_, count_ + 1 - promising, sure);
  limit.low = beyond > 0 ? achieved.low : 0.0;
  limit.high = achieved.high;
  const auto n = static_cast<double>(count_);
  const double points = number + (hasWhole_ ? kPointsBehind : 0.0);
  limit.above = balanced ? SideLimit(above_, n, points) : number;
  limit.below =
      balanced && sides_ == ScoreSides::kBoth ? SideLimit(below_, n, points) : limit.above;
  if (hasWhole_) {
    limit.whole = std::min(SideLimit(whole_, n, number), kHighestScore);
  }
  return limit;
}

SPartsBeyond CLimitCalibration::Beyond(double above, double below, double whole) const {
  std::array<SPartScores, kMostKept> room;
  std::int64_t onAbove = 0;
  std::int64_t onBelow = 0;
  std::int64_t asWhole = 0;
  SPartsBeyond beyond;
  for (const SPartScores& part : Kept(room)) {
    const bool isAbove = part.above > above;
    const bool isBelow = sides_ == ScoreSides::kBoth && part.below > below;
    const bool isWhole = hasWhole_ && part.whole > whole;
    onAbove += isAbove ? 1 : 0;
    onBelow += isBelow ? 1 : 0;
    asWhole += isWhole ? 1 : 0;
    beyond.parts += isAbove || isBelow || isWhole ? 1 : 0;
  }
  constexpr auto kAll = static_cast<std::int64_t>(kKept);
  beyond.exact = count_ <= kAll || std::max({onAbove, onBelow, asWhole}) < kAll;
  return beyond;
}

double CLimitCalibration::HoldLimit(std::int64_t pieces) const {
  std::array<double, kMostKept> room;
  const std::span<const double> largest = LargestOf(room, false);
  const double tail =
      detail::TailScore(largest, count_, detail::kHoldShare / static_cast<double>(pieces));
  return largest.empty() ? tail : std::max(largest.front(), tail);
}

std::optional<SLoneScore> CLimitCalibration::Lone() const {
  std::array<double, kMostKept> room;
  const std::span<const double> largest = LargestOf(room, false);
  if (largest.size() < 2) {
    return std::nullopt;
  }
  const std::int64_t others = count_ - 1;
  const double share = detail::kLoneShare / static_cast<double>(others);
  const double explained =
      std::max(largest[1], detail::TailScore(largest.subspan(1), others, share));
  return largest[0] > explained ? std::optional(SLoneScore{largest[0], explained}) : std::nullopt;
}

MergeStatus CLimitCalibration::Merge(const CLimitCalibration& other) {
  return detail::IfMemoryAllows(MergeStatus::kMemory, [&] {
    if (sides_ != other.sides_ || hasWhole_ != other.hasWhole_) {
      return MergeStatus::kRule;
    }
    if (!MakeRoom()) {
      return MergeStatus::kMemory;
    }
    const Parts highest = other.highest_;  // other may be this one
    const Parts deepest = other.deepest_;
    const Parts farthest = other.farthest_;
    count_ = std::min(count_ + other.count_, kMostScores);
    above_.Add(other.above_);
    below_.Add(other.below_);
    whole_.Add(other.whole_);
    for (const SPartScores& part : highest) {
      Insert(highest_, part, Higher);
    }
    for (const SPartScores& part : deepest) {
      Insert(deepest_, part, Deeper);
    }
    for (const SPartScores& part : farthest) {
      Insert(farthest_, part, Farther);
    }
    return MergeStatus::kOk;
  });
}

}  // namespace limes
