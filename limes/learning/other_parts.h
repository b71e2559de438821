#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "limes/export.h"
#include "limes/learning/calibration.h"

namespace limes {

/// Scores of parts that are all at hand, each by the mean and spread of the others: leave one out,
/// in a second pass over the parts. Where pieces of one recording resemble each other, whole groups
/// are left out (Dunn, Wasserman, Ramdas, Distribution-Free Prediction Sets for Two-Layer
/// Hierarchical Models, JASA 2023).
///
/// A part is the values of all its points, of all quantities one behind the other, always the same
/// points; a NaN stands where it has none. Sums are held in double about
/// the first part's values, 44 bytes a point. One thread at a time.
class LIMES_EXPORT COtherParts {
 public:
  COtherParts() = default;

  /// About given values, one a point, where the first part may lie far off; NaN for the first
  /// value. They need no precision, but to lie near most parts.
  explicit COtherParts(std::vector<float> about);

  /// Adds a part. False, with nothing changed, when it has other points than the first one or
  /// memory is short. Allocates with the first part at most. O(n).
  [[nodiscard]] bool Add(std::span<const float> part);

  std::int64_t Parts() const { return parts_; }

  /// For the parts of a group, which are added to it before they are scored: no parts yet, about
  /// the same values. Throws std::bad_alloc.
  COtherParts NewGroup() const;

  /// Forgets the parts, not what their values are about.
  void Clear();

  /// Scores of a part that was added, by all others. base holds one number for all points or one
  /// for each. kLowestScore for other points. O(n).
  SPartScores Score(std::span<const float> part, std::span<const float> base) const;

  /// The same by all parts that are not of the group, which may be empty.
  SPartScores Score(std::span<const float> part, std::span<const float> base,
                    const COtherParts& group) const;

 private:
  struct Point {
    double sum = 0.0;      ///< of y = x - about
    double squares = 0.0;  ///< of y
    double largest = 0.0;  ///< |y|, and the one after it
    double second = 0.0;
    std::int64_t n = 0;

    void Add(double y);
  };

  template <class Left>
  SPartScores ScoreWithout(std::span<const float> part, std::span<const float> base,
                           Left left) const;

  std::vector<float> about_;  ///< the first value of each point; NaN before one came
  std::vector<Point> points_;
  std::int64_t parts_ = 0;
};

}  // namespace limes
