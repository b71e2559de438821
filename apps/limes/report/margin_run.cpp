#include "apps/limes/report/margin_run.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace limes::host {
namespace {

constexpr double kStepsPerSpread = 10.0;  ///< in which distances are counted

}  // namespace

void CMarginRun::Add(SPoint point) {
  ++count_;
  beyond_ += point.beyond ? 1 : 0;
  least_ = std::min(least_, point.margin);
  largest_ = std::max(largest_, point.margin);
  const double step = std::floor(std::clamp(point.margin, -kEnd, kEnd) * kStepsPerSpread);
  ++counts_[static_cast<int>(step)];
  if (filled_ == each_ || points_.empty()) {
    if (points_.size() >= most_) {
      for (std::size_t i = 0; 2 * i < points_.size(); ++i) {
        const bool second =
            2 * i + 1 < points_.size() && points_[2 * i + 1].margin < points_[2 * i].margin;
        SPoint kept = std::move(points_[2 * i + (second ? 1 : 0)]);
        points_[i] = std::move(kept);
      }
      filled_ = points_.size() % 2 == 0 ? 2 * each_ : each_;
      points_.resize((points_.size() + 1) / 2);
      each_ *= 2;
    }
    if (filled_ == each_ || points_.empty()) {
      points_.push_back(std::move(point));
      filled_ = 1;
      return;
    }
  }
  ++filled_;
  if (point.margin < points_.back().margin) {
    points_.back() = std::move(point);
  }
}

void CMarginRun::AddAlarm(SAlarm alarm) {
  if (alarms_.size() < kMostAlarms) {
    alarms_.push_back(std::move(alarm));
  }
}

double CMarginRun::ShownTo() const { return std::clamp(largest_, 1.0, kEnd); }

double CMarginRun::ShownFrom() const {
  return std::max(std::min(least_, -1.0), -std::max(4.0, ShownTo()));
}

std::vector<CMarginRun::SBar> CMarginRun::Bars(double from, std::size_t most, double& width) const {
  std::vector<SBar> bars;
  const auto begin = counts_.lower_bound(static_cast<int>(std::floor(from * kStepsPerSpread)));
  if (begin == counts_.end()) {
    return bars;
  }
  const auto bar = [](int step, int each) {
    return step >= 0 ? step / each : -((each - 1 - step) / each);
  };
  const int last = counts_.rbegin()->first;
  int each = 1;  // steps of a bar
  for (const int next : {2, 5, 10, 20, 50, 100}) {
    const int count = bar(last, each) - bar(begin->first, each) + 1;
    each = count > static_cast<int>(most) ? next : each;
  }
  width = each / kStepsPerSpread;
  const int first = bar(begin->first, each);
  bars.resize(static_cast<std::size_t>(bar(last, each) - first) + 1);
  for (std::size_t i = 0; i < bars.size(); ++i) {
    bars[i].low = (first + static_cast<int>(i)) * width;
  }
  for (const auto& [step, parts] : counts_) {
    if (bar(step, each) >= first) {
      bars[static_cast<std::size_t>(bar(step, each) - first)].parts += parts;
    }
  }
  return bars;
}

std::optional<double> MarginOf(const SPartVerdict& verdict, const std::string* quantity) {
  std::optional<double> margin;
  for (const SQuantityVerdict& q : verdict.quantities) {
    if ((quantity == nullptr || q.name == *quantity) && q.verdict != Verdict::kNotJudged &&
        q.excessInS && std::isfinite(*q.excessInS)) {
      margin = std::min(margin.value_or(-*q.excessInS), -*q.excessInS);
    }
  }
  return margin;
}

}  // namespace limes::host
