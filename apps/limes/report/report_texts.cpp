#include "apps/limes/report/report_texts.h"

#include <algorithm>
#include <cmath>

#include "apps/limes/measurement/number_text.h"

namespace limes::host {
std::string TimeText(const std::string& started) {
  constexpr std::size_t kSeconds = 20;  // "2024-02-29T12:34:56Z"
  return started.size() == kSeconds ? started.substr(0, 10) + " " + started.substr(11, 8) : started;
}

double InSpreads(const SQuantityVerdict& q) {
  constexpr double kMost = 1e300;
  const bool known = q.excessInS && !std::isnan(*q.excessInS);
  return known            ? std::clamp(*q.excessInS, -kMost, kMost)
         : q.maxDeviation ? (*q.maxDeviation > 0.0 ? kMost : -kMost)
                          : -kMost;
}

const SQuantityVerdict* Worst(const SPartVerdict& verdict) {
  const SQuantityVerdict* worst = nullptr;
  for (const auto& q : verdict.quantities) {
    if (q.maxDeviation && (worst == nullptr || InSpreads(q) > InSpreads(*worst))) {
      worst = &q;
    }
  }
  return worst;
}

std::string DistanceText(double excess, Side side, const std::string& unit) {
  return WithUnit(Brief(std::fabs(excess)), unit) + (excess > 0.0 ? " beyond" : " within") +
         " the " + SideText(side) + " limit";
}

std::string PlaceText(const SDefect& defect, const std::string& xUnit) {
  if (!defect.from || !defect.to) {
    return "";
  }
  return WithUnit(PlaceNumber(defect.place), xUnit) +
         (*defect.from == *defect.to
              ? ""
              : " (" + PlaceNumber(*defect.from) + " … " + PlaceNumber(*defect.to) + ")");
}

std::string DefectText(const SDefect& defect, const std::string& xUnit) {
  const std::string place = PlaceText(defect, xUnit);
  const double excess = std::fabs(defect.value - defect.limit);
  return DistanceText(excess, defect.side, defect.unit) + " of " + Brief(defect.limit, excess) +
         (place.empty() ? "" : " at " + place);
}

std::string DeviationText(const SQuantityVerdict& q) {
  const double excess = q.maxDeviation.value_or(0.0);
  return DistanceText(excess, q.side, q.unit) + " of " +
         Brief(q.limit.value_or(0.0), std::fabs(excess)) +
         (q.x ? " at " + WithUnit(PlaceNumber(*q.x), q.xUnit) : "");
}

std::string RuleText(const SSettings& settings, const std::vector<const SLearntSummary*>& sides) {
  const double base = settings.base;
  const bool same = sides.size() > 1 && sides[0]->factor == sides[1]->factor;
  std::string rule;
  for (const SLearntSummary* const side : sides) {
    const std::string factor = side->factor ? Brief(*side->factor) : "?";
    const char* sign = same ? " ± " : side->side == Side::kUpper ? " + " : " − ";
    std::string margin = factor + " × spread";
    if (base != 0.0) {
      margin = "(" + margin + " + " + WithUnit(Brief(base), side->unit) + ")";
    }
    rule += (rule.empty() ? "mean" : " and mean") + std::string(sign) + margin;
    if (same) {
      break;
    }
  }
  const double width = settings.width;
  return rule + (width > 0.0 && sides[0]->kind != "value"
                     ? ", then its largest value within ±" + WithUnit(Brief(width), sides[0]->xUnit)
                     : "");
}

std::string DriftText(const SDriftFound& drift) {
  return "drift: " + drift.quantity + " has moved " + (drift.up ? "up" : "down") + " for " +
         std::to_string(drift.parts) + (drift.parts == 1 ? " part" : " parts") + " until " +
         drift.part + (drift.x ? ", most at " + WithUnit(PlaceNumber(*drift.x), drift.xUnit) : "");
}

std::string ToleranceText(const STolerance& tolerance, const std::string& unit) {
  return std::isinf(tolerance.low) ? "up to " + WithUnit(Brief(tolerance.high), unit)
         : std::isinf(tolerance.high)
             ? "from " + WithUnit(Brief(tolerance.low), unit) + " on"
             : Brief(tolerance.low) + " .. " + WithUnit(Brief(tolerance.high), unit);
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
