#include "limes/learning/hold_back.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <functional>
#include <numeric>
#include <unordered_map>

#include "limes/learning/other_parts.h"
#include "limes/platform/memory_errors.h"

namespace limes {
namespace {

constexpr double kMostScore = 60.0;
constexpr double kInner = 0.9;  ///< share of the parts that the search begins with

double LargerSide(const SPartScores& scores, ScoreSides sides) {
  return sides == ScoreSides::kOne ? scores.above : std::max(scores.above, scores.below);
}

/// The middle one of three parts at each point: near most parts though one may lie far off.
std::vector<float> NearMost(std::size_t parts, const PartValues& values) {
  std::vector<std::vector<float>> three;
  for (const std::size_t i : {std::size_t{0}, parts / 2, parts - 1}) {
    const std::span<const float> part = values(i);
    three.emplace_back(part.begin(), part.end());
  }
  std::vector<float>& middle = three[0];
  for (std::size_t i = 0; i < middle.size(); ++i) {
    if (i < three[1].size() && i < three[2].size()) {
      const float a = std::min(middle[i], three[1][i]);
      const float b = std::max(middle[i], three[1][i]);
      middle[i] = std::max(a, std::min(b, three[2][i]));
    }
  }
  return middle;
}

using Group = std::vector<std::size_t>;

/// The parts of each group, in the order of the first ones; without groups each part is one.
std::vector<Group> GroupsOf(std::size_t parts, std::span<const std::size_t> numbers) {
  std::vector<Group> groups;
  std::unordered_map<std::size_t, std::size_t> places;
  for (std::size_t i = 0; i < parts; ++i) {
    const auto [place, isNew] = places.try_emplace(numbers.empty() ? i : numbers[i], groups.size());
    if (isNew) {
      groups.emplace_back();
    }
    groups[place->second].push_back(i);
  }
  return groups;
}

/// The scores of all groups by the kept ones, each without itself.
bool ScoreByKept(const std::vector<Group>& groups, const PartValues& values,
                 std::span<const float> base, ScoreSides sides, SHeldParts& found,
                 COtherParts& kept) {
  kept.Clear();
  for (std::size_t g = 0; g < groups.size(); ++g) {
    for (const std::size_t i : groups[g]) {
      if (found.held[g] == 0 && !kept.Add(values(i))) {
        return false;
      }
    }
  }
  const COtherParts none;
  for (std::size_t g = 0; g < groups.size(); ++g) {
    const bool isAlone = found.held[g] == 0 && groups[g].size() == 1;
    COtherParts own = found.held[g] == 0 && !isAlone ? kept.NewGroup() : none;
    for (const std::size_t i : groups[g]) {
      if (found.held[g] == 0 && !isAlone && !own.Add(values(i))) {
        return false;
      }
    }
    found.scores[g] = kLowestScore;
    for (const std::size_t i : groups[g]) {
      const SPartScores scores =
          isAlone ? kept.Score(values(i), base) : kept.Score(values(i), base, own);
      found.scores[g] = std::max(found.scores[g], std::min(LargerSide(scores, sides), kMostScore));
    }
  }
  return true;
}

/// How many of the largest scores are held; the scores come largest first.
std::size_t CountHeld(std::span<const double> scores) {
  const std::size_t n = scores.size();
  auto in = static_cast<std::size_t>(std::ceil(kInner * static_cast<double>(n)));
  while (in < n && in > 0) {
    const std::span<const double> taken = scores.subspan(n - in);
    const double tail = detail::TailScore(taken, static_cast<std::int64_t>(in), detail::kHoldShare);
    if (scores[n - in - 1] > std::max(tail, taken.front())) {
      break;
    }
    ++in;
  }
  return n - in;
}

}  // namespace

bool HoldBack(std::size_t parts, const PartValues& values, std::span<const float> base,
              ScoreSides sides, SHeldParts& held, std::span<const std::size_t> numbers) {
  return detail::IfMemoryAllows(false, [&] {
    constexpr int kMostRounds = 10;
    if (!numbers.empty() && numbers.size() != parts) {
      return false;
    }
    SHeldParts result{std::vector<std::uint8_t>(parts, 0), std::vector<double>(parts)};
    if (parts == 0) {
      held = std::move(result);
      return true;
    }
    const std::vector<Group> groups = GroupsOf(parts, numbers);
    const std::size_t n = groups.size();
    SHeldParts found{std::vector<std::uint8_t>(n, 0), std::vector<double>(n)};
    std::vector<std::size_t> order(n);
    std::vector<double> scores(n);
    COtherParts kept(NearMost(parts, values));
    for (int round = 0; round < kMostRounds; ++round) {
      if (!ScoreByKept(groups, values, base, sides, found, kept)) {
        return false;
      }
      std::iota(order.begin(), order.end(), std::size_t{0});
      std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        // Of equal ones the later part is the first to be held.
        return found.scores[a] != found.scores[b] ? found.scores[a] > found.scores[b] : a > b;
      });
      std::transform(order.begin(), order.end(), scores.begin(),
                     [&](std::size_t i) { return found.scores[i]; });
      std::vector<std::uint8_t> now(n, 0);
      for (std::size_t j = CountHeld(scores); j > 0; --j) {
        now[order[j - 1]] = 1;
      }
      if (now == found.held) {
        break;
      }
      found.held.swap(now);
    }
    for (std::size_t g = 0; g < n; ++g) {
      for (const std::size_t i : groups[g]) {
        result.held[i] = found.held[g];
        result.scores[i] = found.scores[g];
      }
    }
    held = std::move(result);
    return true;
  });
}

bool CLearnGuard::Holds(const CLimitCalibration& kept, const SPartScores& part,
                        std::int64_t pieces) {
  const bool holds =
      kept.Scores() >= kStart && LargerSide(part, kept.Sides()) > kept.HoldLimit(pieces);
  recent_ = static_cast<std::uint16_t>((recent_ << 1 | (holds ? 1 : 0)) & kMask);
  return holds;
}

bool CLearnGuard::HasStepped() const {
  constexpr int kHeldOfStep = 5;
  return std::popcount(recent_) >= kHeldOfStep;
}

}  // namespace limes
