#include "apps/limes/report/gauge_report.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>

#include "apps/limes/errors.h"
#include "apps/limes/measurement/number_text.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/report_texts.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Json = nlohmann::ordered_json;

bool HasWidth(const SGaugeHead& head) {
  return std::isfinite(head.tolerance.high - head.tolerance.low);
}

/// Share of the tolerance that six spreads take, as usual.
double OfTolerance(const SGaugeHead& head, double spread) {
  return HasWidth(head) ? 6.0 * spread / (head.tolerance.high - head.tolerance.low) : NAN;
}

std::string Title(const SGaugeHead& head) {
  return Escaped(head.name) + (head.unit.empty() ? "" : " [" + Escaped(head.unit) + "]");
}

Json HeadJson(const SGaugeHead& head, const char* study) {
  return {{"name", head.name},
          {"unit", head.unit},
          {"study", study},
          {"measurements", head.measurements},
          {"tolerance_low", head.tolerance.low},
          {"tolerance_high", head.tolerance.high}};
}

}  // namespace

void PrintGaugeCheck(std::ostream& out, const SGaugeHead& head, double reference,
                     const SGaugeCheck& check) {
  const std::string unit = Escaped(head.unit);
  out << Title(head) << ": " << head.measurements << " measurements of one part\n"
      << "  mean    " << Brief(reference + check.bias, check.spread) << ", reference "
      << Brief(reference, check.spread) << ": bias " << WithUnit(Brief(check.bias), unit);
  if (check.spread > 0.0) {
    out << ", " << Percent(check.chance) << " by chance";
  }
  out << "\n  spread  " << WithUnit(Brief(check.spread), unit) << '\n';
  if (!(check.spread > 0.0)) {
    out << "  the values do not vary: the gauge's steps are too coarse to see its spread\n";
  } else if (HasWidth(head)) {
    out << "  Cg " << Brief(check.cg) << ", Cgk " << Brief(check.cgk) << " at a tolerance of "
        << ToleranceText(head.tolerance, unit) << " (usual: at least 1.33, of 50 measurements)\n";
  } else {
    out << "  Cg and Cgk need a --tolerance with both limits\n";
  }
}

void PrintGaugeCheckJson(std::ostream& out, const SGaugeHead& head, double reference,
                         const SGaugeCheck& check) {
  Json json = HeadJson(head, "one part");
  json["reference"] = reference;
  json["bias"] = check.bias;
  json["bias_chance"] = check.chance;
  json["spread"] = check.spread;
  json["cg"] = check.cg;
  json["cgk"] = check.cgk;
  PrintJsonLine(out, json);
}

void PrintGaugeStudy(std::ostream& out, const SGaugeHead& head, const SGaugeStudy& study) {
  const std::string unit = Escaped(head.unit);
  const auto print = [&](const char* what, double spread) {
    out << "  " << what << WithUnit(Brief(spread), unit) << ", " << Percent(spread / study.total)
        << " of the spread";
    if (HasWidth(head)) {
      out << ", " << Percent(OfTolerance(head, spread)) << " of the tolerance";
    }
    out << '\n';
  };
  out << Title(head) << ": " << study.parts << " parts, " << study.persons
      << (study.persons == 1 ? " operator, " : " operators, ") << study.trials
      << " measurements of each part by each\n";
  if (!(study.total > 0.0)) {
    out << "  the values do not vary: nothing can be said of the gauge\n";
    return;
  }
  print("repeatability    ", study.repeatability);
  if (study.persons > 1) {
    print("reproducibility  ", study.reproducibility);
    print("gauge (both)     ", study.gauge);
  } else {
    out << "  reproducibility  unknown: one operator\n";
  }
  print("part to part     ", study.partToPart);
  if (!(study.repeatability > 0.0)) {
    out << "  measurements of a part do not vary: the gauge's steps are too coarse to see its "
           "spread\n";
    return;
  }
  out << "  " << Brief(std::floor(study.categories)) << " kinds of parts can be told apart\n";
  if (study.persons > 1) {
    out << "  operators differ from part to part: " << Percent(study.interactionChance)
        << " by chance, counted as " << (study.pooled ? "repeatability\n" : "reproducibility\n");
  }
  out << "  usual: a gauge below 10 % is good, above 30 % it is not; 5 kinds of parts or more\n";
}

void PrintGaugeStudyJson(std::ostream& out, const SGaugeHead& head, const SGaugeStudy& study) {
  const auto ifKnown = [](bool known, double number) { return known ? number : NAN; };
  const bool several = study.persons > 1;
  const bool seen = study.repeatability > 0.0;  // else the gauge's steps are too coarse
  Json json = HeadJson(head, "several parts");
  json["parts"] = study.parts;
  json["operators"] = study.persons;
  json["trials"] = study.trials;
  json["repeatability"] = study.repeatability;
  json["reproducibility"] = ifKnown(several, study.reproducibility);
  json["interaction"] = ifKnown(several, study.interaction);
  json["interaction_chance"] = ifKnown(several, study.interactionChance);
  json["pooled"] = study.pooled;
  json["gauge"] = study.gauge;
  json["part_to_part"] = study.partToPart;
  json["total"] = study.total;
  json["gauge_of_total"] = ifKnown(seen, study.gauge / study.total);
  json["gauge_of_tolerance"] = ifKnown(seen, OfTolerance(head, study.gauge));
  json["categories"] = ifKnown(seen, study.categories);
  PrintJsonLine(out, json);
}

}  // namespace limes::host
