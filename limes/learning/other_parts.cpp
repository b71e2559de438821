#include "limes/learning/other_parts.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "limes/learning/part_score.h"
#include "limes/learning/score.h"
#include "limes/platform/memory_errors.h"

namespace limes {
namespace {

constexpr double kNoSpread = 0x1p-24;  ///< of |M|: S is a rounding of the values
constexpr double kRounding = 1e-14;    ///< of the mean square, in the variance
constexpr double kLeftOut = 1e-15;     ///< of the squares left out, in the variance
constexpr double kNone = -std::numeric_limits<double>::infinity();

/// The larger excesses of points with the same number of parts, and the scores so far.
class Worst {
 public:
  void Add(double n, double above, double below) {
    if (n != n_) {
      Close();
      n_ = n;
    }
    above_ = std::max(above_, above);
    below_ = std::max(below_, below);
  }

  SPartScores Close() {
    if (n_ > 0.0) {
      scores_ = Larger(scores_, {ScoreOf(above_, n_), ScoreOf(below_, n_)});
    }
    above_ = below_ = kNone;
    return scores_;
  }

 private:
  double n_ = 0.0;
  double above_ = kNone;
  double below_ = kNone;
  SPartScores scores_;
};

}  // namespace

COtherParts::COtherParts(std::vector<float> about)
    : about_(std::move(about)), points_(about_.size()) {}

void COtherParts::Point::Add(double y) {
  const double size = std::fabs(y);
  sum += y;
  squares += y * y;
  second = std::max(second, std::min(size, largest));
  largest = std::max(size, largest);
  ++n;
}

bool COtherParts::Add(std::span<const float> part) {
  return detail::IfMemoryAllows(false, [&] {
    if (points_.empty()) {
      std::vector<float> about(part.size(), NAN);
      std::vector<Point> points(part.size());
      about_.swap(about);
      points_.swap(points);
    }
    if (part.size() != points_.size()) {
      return false;
    }
    for (std::size_t i = 0; i < part.size(); ++i) {
      if (std::isnan(part[i])) {
        continue;
      }
      if (std::isnan(about_[i])) {
        about_[i] = part[i];
      }
      const double y = double{part[i]} - about_[i];
      points_[i].Add(y);
    }
    ++parts_;
    return true;
  });
}

COtherParts COtherParts::NewGroup() const {
  COtherParts group(*this);
  group.Clear();
  return group;
}

void COtherParts::Clear() {
  std::fill(points_.begin(), points_.end(), Point());
  parts_ = 0;
}

template <class Left>
SPartScores COtherParts::ScoreWithout(std::span<const float> part, std::span<const float> base,
                                      Left left) const {
  Worst worst;
  if (part.size() != points_.size() || (base.size() != 1 && base.size() != part.size())) {
    return {};
  }
  for (std::size_t i = 0; i < part.size(); ++i) {
    const double y = double{part[i]} - about_[i];
    const Point out = left(i, y);
    const auto n = static_cast<double>(points_[i].n - out.n);
    if (std::isnan(y) || n < 2.0) {
      continue;
    }
    const double mean = (points_[i].sum - out.sum) / n;
    const double square = (points_[i].squares - out.squares) / n;
    double variance = square - mean * mean;
    // A part so far out that its squares swallow those of the others: their spread is below this.
    const double swallowed = kLeftOut * out.squares / n;
    const Point& all = points_[i];
    const bool othersVary = out.largest < all.largest || out.second < all.second;
    variance = othersVary && variance < swallowed ? swallowed : variance;
    const double spread = std::sqrt(std::fmax(variance, 0.0));
    if (spread > kNoSpread * std::fabs(mean + about_[i]) && variance > kRounding * square) {
      const double least = base.size() == 1 ? base[0] : base[i];
      worst.Add(n, (y - mean - least) / spread, (mean - least - y) / spread);
    }
  }
  return worst.Close();
}

SPartScores COtherParts::Score(std::span<const float> part, std::span<const float> base) const {
  return ScoreWithout(part, base, [](std::size_t, double y) {
    Point own;
    own.Add(y);
    return own;
  });
}

SPartScores COtherParts::Score(std::span<const float> part, std::span<const float> base,
                               const COtherParts& group) const {
  if (group.points_.empty()) {
    return ScoreWithout(part, base, [](std::size_t, double) { return Point(); });
  }
  if (group.points_.size() != points_.size()) {
    return {};
  }
  return ScoreWithout(part, base, [&](std::size_t i, double) { return group.points_[i]; });
}

}  // namespace limes
