#include "limes/display/vis_data_polygon.h"

#include <algorithm>
#include <cmath>

#include "limes/platform/memory_errors.h"
#include "limes/signals/pair_signal.h"

namespace limes {

namespace {

bool IsPlaced(const SVisPoint& p) { return std::isfinite(p.x) && std::isfinite(p.y); }

/// Calls run(first, last) for every run of columns that hold values.
template <class Run>
void ForRuns(std::span<const SVisExtremes> columns, Run run) {
  const auto isEmpty = [](const SVisExtremes& column) { return column.IsEmpty(); };
  for (auto first = columns.begin(); first != columns.end();) {
    first = std::find_if_not(first, columns.end(), isEmpty);
    const auto last = std::find_if(first, columns.end(), isEmpty);
    if (first != last) {
      run(static_cast<std::size_t>(first - columns.begin()),
          static_cast<std::size_t>(last - columns.begin()));
    }
    first = last;
  }
}

}  // namespace

std::vector<VisRun> VisLine(std::span<const double> xs, std::span<const SVisExtremes> columns,
                            const CVisAxis& x, const CVisAxis& y) {
  std::vector<VisRun> runs;
  ForRuns(columns.first(std::min(columns.size(), xs.size())), [&](std::size_t c, std::size_t last) {
    VisRun& run = runs.emplace_back();
    float before = columns[c].low;
    for (; c < last; ++c) {
      const auto [low, high] = columns[c];
      const bool lowFirst = std::fabs(low - before) <= std::fabs(high - before);
      run.push_back({x.PlaceOf(xs[c]), y.PlaceOf(lowFirst ? low : high)});
      if (low != high) {
        run.push_back({x.PlaceOf(xs[c]), y.PlaceOf(lowFirst ? high : low)});
      }
      before = lowFirst ? high : low;
    }
  });
  return runs;
}

std::vector<VisRun> VisBand(std::span<const double> xs, std::span<const SVisExtremes> columns,
                            const CVisAxis& x, const CVisAxis& y) {
  std::vector<VisRun> runs;
  ForRuns(columns.first(std::min(columns.size(), xs.size())),
          [&](std::size_t first, std::size_t last) {
            VisRun& run = runs.emplace_back();
            for (std::size_t c = first; c < last; ++c) {
              run.push_back({x.PlaceOf(xs[c]), y.PlaceOf(columns[c].high)});
            }
            for (std::size_t c = last; c-- > first;) {
              run.push_back({x.PlaceOf(xs[c]), y.PlaceOf(columns[c].low)});
            }
          });
  return runs;
}

bool CVisDataPolygon::Set(std::span<const SVisPoint> points) {
  return detail::IfMemoryAllows([&] {
    std::vector<SVisPoint> copy(points.begin(), points.end());
    points_.swap(copy);
    dirty_ = {0, points_.size()};
  });
}

bool CVisDataPolygon::Set(const CPolygonCodierung& polyline) {
  return detail::IfMemoryAllows(false, [&] {
    std::vector<SVisPoint> points;
    for (const SPolygonPoint& point : polyline.Points()) {
      points.push_back({double{point.x}, double{point.y}});
    }
    return Set(points);
  });
}

bool CVisDataPolygon::Set(const CSigPairs& pairs) {
  return detail::IfMemoryAllows(false, [&] {
    std::vector<SVisPoint> points;
    for (std::uint32_t i = 0; i < pairs.NPaare(); ++i) {
      points.push_back({double{pairs.Punkt(i)}, double{pairs.Wert(i)}});
    }
    return Set(points);
  });
}

bool CVisDataPolygon::Append(const SVisPoint& point) {
  return detail::IfMemoryAllows([&] {
    points_.push_back(point);
    dirty_.Add({points_.size() - 1, points_.size()});
  });
}

SVisRange CVisDataPolygon::XRange() const {
  SVisRange range;
  for (const SVisPoint& point : points_) {
    range.Add(point.x);
  }
  return range;
}

SVisRange CVisDataPolygon::YRange() const {
  SVisRange range;
  for (const SVisPoint& point : points_) {
    range.Add(point.y);
  }
  return range;
}

namespace {

/// Cuts lines at the ends of two axes (Liang, Barsky, ACM Transactions on Graphics 3, 1984, 1) and
/// gathers what is left in runs, thinned.
class CRuns {
 public:
  CRuns(const CVisAxis& x, const CVisAxis& y)
      : low_{std::min(x.First(), x.Last()), std::min(y.First(), y.Last())},
        high_{std::max(x.First(), x.Last()), std::max(y.First(), y.Last())} {}

  void Dot(const SVisPoint& p) {
    if (p.x >= low_.x && p.x <= high_.x && p.y >= low_.y && p.y <= high_.y) {
      Join(p, p);
    }
  }

  void Line(const SVisPoint& from, const SVisPoint& to) {
    double enters = 0.0;
    double leaves = 1.0;
    const double dx = to.x - from.x;
    const double dy = to.y - from.y;
    if (Cut(-dx, from.x - low_.x, enters, leaves) && Cut(dx, high_.x - from.x, enters, leaves) &&
        Cut(-dy, from.y - low_.y, enters, leaves) && Cut(dy, high_.y - from.y, enters, leaves)) {
      const auto at = [&](double share) {
        return SVisPoint{std::clamp(from.x + share * dx, low_.x, high_.x),
                         std::clamp(from.y + share * dy, low_.y, high_.y)};
      };
      Join(enters > 0.0 ? at(enters) : from, leaves < 1.0 ? at(leaves) : to);
    }
  }

  void Break() {
    if (open_) {
      EndPixel();
      open_ = false;
    }
  }

  std::vector<VisRun> Take() {
    Break();
    return std::move(runs_);
  }

 private:
  static bool Cut(double slope, double room, double& enters, double& leaves) {
    if (slope == 0.0) {
      return room >= 0.0;
    }
    const double at = room / slope;
    slope < 0.0 ? enters = std::max(enters, at) : leaves = std::min(leaves, at);
    return enters <= leaves;
  }

  void Join(const SVisPoint& from, const SVisPoint& to) {
    if (!open_ || !(from == last_)) {
      Break();
      runs_.emplace_back();
      open_ = true;
      pixel_ = {from};
    }
    if (!open_ || !(to == from)) {
      Take(to);
    }
    last_ = to;
  }

  void Take(const SVisPoint& p) {
    if (std::round(p.x) != std::round(pixel_.front().x)) {
      EndPixel();
      pixel_.clear();
    }
    pixel_.push_back(p);
    if (pixel_.size() > kMostWaiting) {
      Thin();
    }
  }

  /// Leaves of the points of a pixel the first, the furthest out and the last, in their order.
  void Thin() {
    const auto lower = [](const SVisPoint& a, const SVisPoint& b) { return a.y < b.y; };
    const auto [low, high] = std::minmax_element(pixel_.begin(), pixel_.end(), lower);
    const auto first = std::min(low, high);
    const auto second = std::max(low, high);
    VisRun kept = {pixel_.front()};
    for (const auto& p : {first, second, pixel_.end() - 1}) {
      if (!(*p == kept.back())) {
        kept.push_back(*p);
      }
    }
    pixel_ = std::move(kept);
  }

  void EndPixel() {
    Thin();
    runs_.back().insert(runs_.back().end(), pixel_.begin(), pixel_.end());
  }

  static constexpr std::size_t kMostWaiting = 1024;

  SVisPoint low_;
  SVisPoint high_;
  std::vector<VisRun> runs_;
  VisRun pixel_;
  SVisPoint last_;
  bool open_ = false;
};

}  // namespace

/// The points in places, with flat ends to those of the axis.
std::vector<SVisPoint> CVisDataPolygon::Placed(const CVisAxis& x, const CVisAxis& y) const {
  constexpr double kFar = 1e12;  // so that differences of places are numbers
  std::vector<SVisPoint> placed;
  placed.reserve(points_.size() + 2);
  for (const SVisPoint& point : points_) {
    SVisPoint place = point;
    if (IsPlaced(point)) {
      place = {std::clamp(x.PlaceOf(point.x), -kFar, kFar),
               std::clamp(y.PlaceOf(point.y), -kFar, kFar)};
    }
    placed.push_back(place);
  }
  if (flatEnds_ && !placed.empty()) {
    if (points_.front().x > x.Range().low) {
      placed.insert(placed.begin(), {x.First(), placed.front().y});
    }
    if (points_.back().x < x.Range().high) {
      placed.push_back({x.Last(), placed.back().y});
    }
  }
  return placed;
}

std::vector<VisRun> CVisDataPolygon::Runs(const CVisAxis& x, const CVisAxis& y) const {
  const std::vector<SVisPoint> placed = Placed(x, y);
  CRuns runs(x, y);
  for (std::size_t i = 0; i < placed.size(); ++i) {
    const bool before = i > 0 && IsPlaced(placed[i - 1]);
    const bool behind = i + 1 < placed.size() && IsPlaced(placed[i + 1]);
    if (!IsPlaced(placed[i])) {
      runs.Break();
    } else if (before) {
      runs.Line(placed[i - 1], placed[i]);
    } else if (!behind) {
      runs.Dot(placed[i]);
    }
  }
  return runs.Take();
}

bool CVisDataPolygon::At(const CVisAxis& x, const CVisAxis& y, const SVisPoint& place,
                         std::size_t& index) const {
  double nearest = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < points_.size(); ++i) {
    const double distance =
        std::hypot(x.PlaceOf(points_[i].x) - place.x, y.PlaceOf(points_[i].y) - place.y);
    if (distance < nearest) {
      nearest = distance;
      index = i;
    }
  }
  return nearest < std::numeric_limits<double>::infinity();
}

SVisIndices CVisDataPolygon::TakeDirty() {
  const SVisIndices dirty = dirty_;
  dirty_ = {};
  return dirty;
}

}  // namespace limes
