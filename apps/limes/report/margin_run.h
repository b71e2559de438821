#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/measurement/verdict.h"

namespace limes::host {

/// How far parts stay from their limits, in spreads and in the order of judging: below 0 they are
/// beyond them. Of very many parts the smallest of each so many that follow each other is kept, and
/// how often which distance occurred, so that memory does not grow with their number.
class CMarginRun {
 public:
  /// A part, or the one nearest to or furthest beyond its limit of several.
  struct SPoint {
    double margin = 0.0;
    std::uint64_t number = 0;  ///< among all parts judged, from 1 on
    bool beyond = false;
    std::string part{};
    std::optional<std::int64_t> at{};  ///< when it was judged, in ms since 1970 UTC
  };

  /// A drift alarm at a part.
  struct SAlarm {
    std::uint64_t number = 0;
    std::string text;
  };

  /// Parts whose distance lies in [low, low + width).
  struct SBar {
    double low = 0.0;
    std::uint64_t parts = 0;
  };

  /// Distances from so many spreads on count as this one, and beyond the limit, too.
  static constexpr double kEnd = 100.0;
  static constexpr std::size_t kMostAlarms = 30;

  /// The distance of a part that is beyond a limit where good parts do not vary.
  static constexpr double kWithoutSpread = -1e300;

  /// most: points that are kept, at least 2.
  explicit CMarginRun(std::size_t most) : most_(most) {}

  void Add(SPoint point);
  void AddAlarm(SAlarm alarm);

  std::uint64_t Count() const { return count_; }
  std::uint64_t Beyond() const { return beyond_; }

  /// In the order of judging, each of Each() parts, the last one perhaps of fewer.
  const std::vector<SPoint>& Points() const { return points_; }
  std::uint64_t Each() const { return each_; }

  /// The first ones.
  const std::vector<SAlarm>& Alarms() const { return alarms_; }

  /// The smallest distance that pictures show: as far beyond the limit as parts stay from it at
  /// most, 4 spreads at least, or the smallest of all. Parts further beyond would hide the others.
  double ShownFrom() const;

  /// Of all parts.
  double Least() const { return least_; }

  /// The largest one, 1 at least.
  double ShownTo() const;

  /// The parts from this distance on, rounded down to a bar, counted in bars of equal width, at
  /// most so many, one of which begins at 0.
  std::vector<SBar> Bars(double from, std::size_t most, double& width) const;

 private:
  std::size_t most_;
  std::uint64_t count_ = 0;
  std::uint64_t beyond_ = 0;
  std::uint64_t each_ = 1;
  std::uint64_t filled_ = 0;  ///< parts of the last point
  double least_ = std::numeric_limits<double>::infinity();
  double largest_ = -std::numeric_limits<double>::infinity();
  std::vector<SPoint> points_;
  std::vector<SAlarm> alarms_;
  std::map<int, std::uint64_t> counts_;  ///< by tenths of a spread
};

/// The distance of a judged part, or of one of its quantities, from the limit it is nearest to or
/// furthest beyond; empty where nothing was judged, or its spread is 0.
std::optional<double> MarginOf(const SPartVerdict& verdict, const std::string* quantity = nullptr);

}  // namespace limes::host
