#pragma once

#include <string>
#include <vector>

#include "apps/limes/report/plot.h"

namespace limes::host {

/// Values of an axis and where a drawing shows them.
class CPlotAxis {
 public:
  struct STick {
    double place;
    std::string text;
  };

  /// first, last: places of the lowest and the highest value.
  CPlotAxis(const SRange& range, double first, double last);

  double PlaceOf(double value) const;

  /// As PlaceOf, at the nearer end for what is outside.
  double PlaceInside(double value) const;

  /// At round values, at most 16.
  std::vector<STick> Ticks() const;

  double First() const { return first_; }
  double Last() const { return last_; }

 private:
  SRange range_;
  double first_;
  double last_;
};

}  // namespace limes::host
