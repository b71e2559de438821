#include "apps/limes/report/report_texts.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "apps/limes/report/svg_plot.h"

namespace limes::host {
namespace {

constexpr int kMostDecimals = 9;

/// Decimals that show three digits of a number; less than 0 when it has none to show.
int Decimals(double value) {
  return value > 0.0 && std::isfinite(value)
             ? std::clamp(2 - static_cast<int>(std::floor(std::log10(value))), 0, kMostDecimals + 1)
             : -1;
}

std::string Fixed(double value, int decimals) {
  constexpr double kMost = 1e9;  // larger ones are shorter with an exponent
  if (decimals < 0 || decimals > kMostDecimals || !(std::fabs(value) < kMost)) {
    return PlotNumber(value);
  }
  char text[40];
  return {text,
          std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, decimals).ptr};
}

std::string Unit(const std::string& unit) { return unit.empty() ? "" : " " + unit; }

std::string BeyondText(double excess, double value, double limit, Side side,
                       const std::string& unit) {
  const SComparison shown(value, limit);
  return shown.apart + Unit(unit) + (excess > 0.0 ? " beyond" : " within") + " the " +
         SideText(side) + " limit of " + shown.limit;
}

}  // namespace

std::string TimeText(const std::string& started) {
  constexpr std::size_t kSeconds = 20;  // "2024-02-29T12:34:56Z"
  return started.size() == kSeconds ? started.substr(0, 10) + " " + started.substr(11, 8) : started;
}

std::string WithUnit(double value, const std::string& unit) {
  return PlotNumber(value) + Unit(unit);
}

SComparison::SComparison(double v, double l) {
  const double difference = std::fabs(v - l);
  const int decimals = Decimals(difference);
  value = Fixed(v, decimals);
  limit = Fixed(l, decimals);
  apart = Fixed(difference, decimals);
}

std::string PlaceText(const SDefect& defect, const std::string& xUnit) {
  if (!defect.from || !defect.to) {
    return "";
  }
  return WithUnit(defect.place, xUnit) +
         (*defect.from == *defect.to
              ? ""
              : " (" + PlotNumber(*defect.from) + " … " + PlotNumber(*defect.to) + ")");
}

std::string DefectText(const SDefect& defect, const std::string& xUnit) {
  const std::string place = PlaceText(defect, xUnit);
  return BeyondText(1.0, defect.value, defect.limit, defect.side, defect.unit) +
         (place.empty() ? "" : " at " + place);
}

std::string DeviationText(const SQuantityVerdict& q) {
  const double excess = q.maxDeviation.value_or(0.0);
  const double limit = q.limit.value_or(0.0);
  const double value = q.side == Side::kUpper ? limit + excess : limit - excess;
  return BeyondText(excess, value, limit, q.side, q.unit) +
         (q.x ? " at " + WithUnit(*q.x, q.xUnit) : "");
}

std::string RuleText(const SSettings& settings, const std::vector<const SLearntSummary*>& sides) {
  const double base = settings.base.value_or(0.0);
  const char* sign = sides.size() > 1 ? " ± " : sides[0]->side == Side::kUpper ? " + " : " − ";
  std::string margin = PlotNumber(settings.factor.value_or(3.0)) + " × spread";
  if (base != 0.0) {
    margin = "(" + margin + " + " + WithUnit(base, sides[0]->unit) + ")";
  }
  const double width = settings.width.value_or(0.0);
  return std::string("mean") + sign + margin +
         (width > 0.0 && sides[0]->kind != "value"
              ? ", then its largest value within ±" + WithUnit(width, sides[0]->xUnit)
              : "");
}

std::string ChanceText(const std::vector<const SLearntSummary*>& sides) {
  double share = 0.0;
  for (const SLearntSummary* side : sides) {
    share += side->sureness.rejectedBound;
  }
  const double percent = 100.0 * std::clamp(share, 0.0, 1.0);
  char text[40];
  return std::string(
             text,
             std::to_chars(text, text + sizeof(text), percent, std::chars_format::general, 2).ptr) +
         " %";
}

void CCommonFolder::Add(const std::string& part) {
  if (!folder_) {
    const std::size_t slash = part.rfind('/', part.find(':'));  // not one of a name within a file
    folder_ = slash == std::string::npos ? "" : part.substr(0, slash + 1);
  }
  while (!folder_->empty() && !part.starts_with(*folder_)) {
    const std::size_t slash =
        folder_->size() < 2 ? std::string::npos : folder_->rfind('/', folder_->size() - 2);
    folder_->resize(slash == std::string::npos ? 0 : slash + 1);
  }
}

std::string CCommonFolder::Inside(const std::string& part) const {
  return part.starts_with(Name()) ? part.substr(Name().size()) : part;
}

}  // namespace limes::host
