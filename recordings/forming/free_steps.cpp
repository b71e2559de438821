#include "recordings/forming/free_steps.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numeric>
#include <utility>
#include <vector>

#include "limes/platform/text.h"
#include "recordings/errors.h"
#include "recordings/text.h"

namespace limes::recordings {
namespace {

constexpr double kMostSteps = 1 << 24;
constexpr double kNearSteps = 1.5;       ///< of the grid, to the nearest measurement
constexpr double kMostOwnSteps = 3.0;    ///< of the grid, that a coarser measurement may bridge
constexpr double kStepTolerance = 1e-4;  ///< by which single precision may change a step

/// In the order of x, equal ones as they came. The library's own sorting would repeat the exchanges
/// that decide on equal x, which takes minutes where many of them lie far from their places.
CSigPairs SortedPairs(const SQuantity& quantity, const std::string& what) {
  std::vector<std::size_t> order(quantity.x.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return quantity.x[a] < quantity.x[b]; });
  SQuantity sorted = quantity;
  for (std::size_t i = 0; i < order.size(); ++i) {
    sorted.x[i] = quantity.x[order[i]];
    sorted.values[i] = quantity.values[order[i]];
  }
  CSigPairs pairs = MakePairs(sorted);
  pairs.DatenSortieren(true);
  const std::uint32_t n = pairs.NPaare();
  if (n < 2 || !(pairs.Punkt(n - 1) > pairs.Punkt(0))) {
    throw CInputError(what, "has values at one x only; it takes two");
  }
  return pairs;
}

/// Marks the values that have no measurement nearby; nothing when all have one.
void MarkGaps(const CSigPairs& pairs, SQuantity& drawn) {
  const std::uint32_t n = pairs.NPaare();
  std::vector<float> steps;
  for (std::uint32_t i = 1; i < n; ++i) {
    steps.push_back(pairs.Punkt(i) - pairs.Punkt(i - 1));
  }
  const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
  std::nth_element(steps.begin(), middle, steps.end());
  const double near =
      std::max(kNearSteps * drawn.dx, std::min(double{*middle}, kMostOwnSteps * drawn.dx));
  drawn.covered.assign(drawn.values.size(), 1);
  bool gaps = false;
  std::uint32_t next = 0;  // first pair that is not before the value
  for (std::size_t k = 0; k < drawn.values.size(); ++k) {
    const double x = drawn.x0 + static_cast<double>(k) * drawn.dx;
    while (next < n && pairs.Punkt(next) < x) {
      ++next;
    }
    const bool isNear = (next < n && pairs.Punkt(next) - x <= near) ||
                        (next > 0 && x - pairs.Punkt(next - 1) <= near);
    drawn.covered[k] = isNear ? 1 : 0;
    gaps = gaps || !isNear;
  }
  if (!gaps) {
    drawn.covered.clear();
  }
}

SQuantity Drawn(const SQuantity& quantity, const std::string& what, const CSigPairs& pairs,
                double origin, double step) {
  const double first = std::round((pairs.Punkt(0) - origin) / step);
  const double last = std::round((pairs.Punkt(pairs.NPaare() - 1) - origin) / step);
  if (!(last - first < kMostSteps)) {
    throw CInputError(
        what, "covers more than " + NumberText(kMostSteps) + " steps of " + NumberText(step));
  }
  CSigCurveExt curve =
      MakeCurveOn(what, origin + first * step, step, static_cast<std::size_t>(last - first) + 1);
  pairs.KurveBilden(&curve, false);
  SQuantity drawn = quantity;
  drawn.x.clear();
  // In float an end may fall a step inside.
  drawn.x0 = origin + (first + static_cast<double>(curve.ValidIndices().first)) * step;
  drawn.dx = step;
  const std::span<const float> values = std::as_const(curve).ValidValues();
  drawn.values.assign(values.begin(), values.end());
  MarkGaps(pairs, drawn);
  return drawn;
}

}  // namespace

CSigPairs MakePairs(const SQuantity& quantity) {
  CSigPairs pairs;
  const std::size_t n = quantity.values.size();
  if (n > std::numeric_limits<std::int32_t>::max() ||
      !pairs.NeueGroesse(static_cast<unsigned>(n))) {
    throw std::bad_alloc();
  }
  for (std::size_t i = 0; i < n; ++i) {
    const double x = quantity.x.empty() ? quantity.x0 + static_cast<double>(i) * quantity.dx
                                        : double{quantity.x[i]};
    if (pairs.NeuesPaar(static_cast<float>(x), quantity.values[i]) == 0) {
      throw std::bad_alloc();
    }
  }
  pairs.SetName(Utf8ToWide(quantity.name).c_str());
  pairs.SetXUnit(quantity.xUnit.unit);
  pairs.SetYUnit(quantity.unit.unit);
  return pairs;
}

CSigCurveExt MakeCurveOn(const std::string& what, double x0, double dx, std::size_t n) {
  const auto begin = static_cast<float>(x0);
  const auto end = static_cast<float>(x0 + dx * static_cast<double>(n));
  const double step = (double{end} - begin) / static_cast<double>(n);
  if (!(std::fabs(step - dx) <= kStepTolerance * dx)) {
    throw CInputError(what, "steps of " + NumberText(dx) + " from " + NumberText(x0) +
                                " on are too fine for single precision");
  }
  if (n > std::numeric_limits<std::int32_t>::max()) {
    throw std::bad_alloc();
  }
  CSigCurveExt curve = CSigCurveExt::Make(static_cast<int>(n), begin, end);
  if (curve.DLen() != n) {
    throw std::bad_alloc();
  }
  return curve;
}

SQuantity DrawnOnGrid(const SQuantity& quantity, const std::string& what, double origin,
                      double step) {
  return Drawn(quantity, what, SortedPairs(quantity, what), origin, step);
}

SQuantity DrawnOnOwnGrid(const SQuantity& quantity, const std::string& what) {
  const CSigPairs pairs = SortedPairs(quantity, what);
  const std::uint32_t last = pairs.NPaare() - 1;
  const double origin = pairs.Punkt(0);
  return Drawn(quantity, what, pairs, origin, (pairs.Punkt(last) - origin) / last);
}

}  // namespace limes::recordings
