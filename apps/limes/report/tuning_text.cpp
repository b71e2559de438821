#include "apps/limes/report/tuning_text.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <ostream>

#include "apps/limes/measurement/number_text.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/svg_plot.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Json = nlohmann::ordered_json;

constexpr double kRates[] = {0.1, 0.05, 0.02, 0.01, 0.005, 0.002, 0.001};
constexpr double kFactors[] = {2.0, 2.5, 3.0, 3.5, 4.0, 5.0, 6.0, 8.0, 10.0};
constexpr std::size_t kNearest = 5;  ///< parts shown of either kind
constexpr int kNameWidth = 31;       ///< of a rule in the table

const char* SidesText(Sides sides) {
  return sides == Sides::kBoth ? "both" : sides == Sides::kUpper ? "upper" : "lower";
}

/// "2.9 / 2.7", or the one of a side.
std::string FactorsText(const CTuning& tuning, const STrial& trial) {
  if (!trial.rate) {
    return Brief(trial.factor);
  }
  if (tuning.IsTooWide(trial)) {
    return "no limit: too wide ";
  }
  const std::string above = Brief(trial.limit.FactorAbove(tuning.EffectiveParts()));
  const std::string below = Brief(trial.limit.FactorBelow(tuning.EffectiveParts()));
  return trial.sides == Sides::kBoth    ? above + " / " + below
         : trial.sides == Sides::kUpper ? above
                                        : below;
}

std::string RateText(const STrial& trial) {
  return "rate " + Percent(*trial.rate) +
         (trial.limit.basis == CalibrationBasis::kRank ? "" : " (extrapolated)");
}

void PrintRow(std::ostream& out, const CTuning& tuning, const std::string& name,
              const STried& tried) {
  const SCounts& c = tried.counts;
  out << "  " << std::left << std::setw(kNameWidth) << name << std::setw(16)
      << FactorsText(tuning, tried.trial) << std::right;
  if (c.good + c.bad > 0) {
    out << std::setw(8) << c.falseAlarms << " of " << std::left << std::setw(8) << c.good
        << std::right << std::setw(6) << c.misses << " of " << std::left << std::setw(6) << c.bad
        << std::right;
  }
  out << std::setw(7) << c.nok << " of " << c.parts;
  if (c.notJudged > 0) {
    out << ", " << c.notJudged << " not judged";
  }
  if (tried.unknown > 0) {
    out << ", of " << tried.unknown << " parts not known";
  }
  out << '\n';
}

void PrintRows(std::ostream& out, const CTuning& tuning, const std::vector<STried>& rows,
               auto name) {
  for (const STried& tried : rows) {
    PrintRow(out, tuning, name(tried.trial), tried);
  }
}

/// The larger factor of the sides that are tried.
double Needed(const STrial& trial, const STunedPart& part) {
  const double above = part.factors[0];
  const double below = part.factors[1];
  return trial.sides == Sides::kBoth    ? std::max(above, below)
         : trial.sides == Sides::kUpper ? above
                                        : below;
}

/// The good parts that need the largest factors, or the bad ones that pass with the smallest.
void PrintNearest(std::ostream& out, const CTuning& tuning, const STuned& tuned, bool good) {
  std::vector<std::size_t> parts;
  for (std::size_t i = 0; i < tuned.parts.size(); ++i) {
    if (tuning.IsGood(i).value_or(true) == good && tuned.parts[i].isKnown) {
      parts.push_back(i);
    }
  }
  const auto needed = [&](std::size_t i) { return Needed(tuned.now.trial, tuned.parts[i]); };
  const auto end = parts.begin() + static_cast<std::ptrdiff_t>(std::min(kNearest, parts.size()));
  std::partial_sort(parts.begin(), end, parts.end(), [&](std::size_t a, std::size_t b) {
    return good ? needed(a) > needed(b) : needed(a) < needed(b);
  });
  const bool any = tuned.now.counts.good + tuned.now.counts.bad > 0;
  for (auto i = parts.begin(); i != end; ++i) {
    out << (i != parts.begin() ? ", "
            : !any             ? "furthest out: "
            : good             ? "good parts furthest out: "
                               : "bad parts nearest: ")
        << Escaped(tuning.Name(*i)) << " (passes from factor " << Brief(needed(*i)) << " on)";
  }
  out << (parts.empty() ? "" : "\n");
}

Json ToJson(double number) { return std::isfinite(number) ? Json(number) : Json(nullptr); }

Json ToJson(const CTuning& tuning, const char* kind, const STried& tried) {
  const STrial& trial = tried.trial;
  const bool isRate = trial.rate.has_value();
  const double n = tuning.EffectiveParts();
  const SCounts& c = tried.counts;
  const auto factor = [&](double ofRate) {
    return tuning.IsTooWide(trial) ? Json(nullptr) : ToJson(isRate ? ofRate : trial.factor);
  };
  Json line = {{"kind", kind},
               {"base", trial.base},
               {"sides", SidesText(trial.sides)},
               {"reject", isRate ? Json(*trial.rate) : Json(nullptr)},
               {"extrapolated", isRate && trial.limit.basis == CalibrationBasis::kExtrapolated},
               {"promised", isRate ? Json(trial.limit.promised) : Json(nullptr)},
               {"scores", isRate ? Json(trial.limit.scores) : Json(nullptr)},
               {"too_wide", tuning.IsTooWide(trial)},
               {"factor_above", factor(trial.limit.FactorAbove(n))},
               {"factor_below", factor(trial.limit.FactorBelow(n))},
               {"parts", c.parts},
               {"rejected", c.nok},
               {"not_judged", c.notJudged},
               {"good", c.good},
               {"good_rejected", c.falseAlarms},
               {"bad", c.bad},
               {"bad_passed", c.misses},
               {"unknown", tried.unknown}};
  if (isRate && std::isfinite(trial.limit.whole)) {
    line["score_limit_whole"] = trial.limit.whole;
  }
  return line;
}

double Share(std::uint64_t part, std::uint64_t whole) {
  return whole == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace

STuned Tune(CTuning& tuning, const STrial& trial) {
  STuned tuned;
  tuned.parts = tuning.AtBase(trial.base);
  tuned.now = tuning.Try(trial, tuned.parts);
  for (const double rate : kRates) {
    if (const auto byRate = tuning.ForRate(rate, trial.base, trial.sides)) {
      tuned.rates.push_back(tuning.Try(*byRate, tuned.parts));
    }
  }
  STrial classic = trial;
  classic.rate.reset();
  for (const double factor : kFactors) {
    classic.factor = factor;
    tuned.factors.push_back(tuning.Try(classic, tuned.parts));
  }
  classic.factor = trial.factor;
  for (const double base : tuning.Bases(trial.factor)) {
    classic.base = base;
    tuned.bases.push_back(tuning.Try(classic, tuning.AtBase(base)));
  }
  for (const Sides sides : {Sides::kUpper, Sides::kLower}) {
    STrial oneSide = trial;
    oneSide.sides = sides;
    if (trial.rate) {
      const auto byRate = tuning.ForRate(*trial.rate, trial.base, sides);
      if (!byRate) {
        continue;
      }
      oneSide = *byRate;
    }
    if (trial.sides == Sides::kBoth) {
      tuned.sides.push_back(tuning.Try(oneSide, tuned.parts));
    }
  }
  tuned.least = tuning.LeastError(trial, tuned.parts);
  return tuned;
}

void PrintTuned(std::ostream& out, const CTuning& tuning, const STuned& tuned) {
  const STrial& trial = tuned.now.trial;
  const SCounts& c = tuned.now.counts;
  out << tuning.Parts() << (tuning.Parts() == 1 ? " part" : " parts")
      << " as they were judged last; base " << Brief(trial.base) << ", "
      << (trial.sides == Sides::kBoth ? "both sides"
                                      : std::string(SidesText(trial.sides)) + " side")
      << '\n';
  if (tuning.Outdated() > 0) {
    out << "warning: the limits have learnt more since " << tuning.Outdated()
        << " of them were judged: judge these again\n";
  }
  out << std::left << std::setw(kNameWidth + 2) << "" << std::setw(16) << "factors"
      << (c.good + c.bad > 0 ? "   good rejected      bad passed   " : "") << "  all NOK\n"
      << std::right;
  PrintRow(out, tuning, trial.rate ? "now: " + RateText(trial) : "now: factor", tuned.now);
  PrintRows(out, tuning, tuned.rates, RateText);
  if (tuned.rates.empty()) {
    out << "  no rates: too few scores of good parts for this base and these sides (learn or "
           "calibrate with them)\n";
  }
  PrintRows(out, tuning, tuned.factors, [](const STrial&) { return std::string("factor"); });
  PrintRows(out, tuning, tuned.bases,
            [](const STrial& t) { return "base " + Brief(t.base) + ", factor"; });
  PrintRows(out, tuning, tuned.sides,
            [](const STrial& t) { return std::string(SidesText(t.sides)) + " side alone"; });
  if (tuned.least) {
    const CTuning::SLeastError& least = *tuned.least;
    const double between = std::isfinite(least.to) ? least.to - least.from : 0.0;
    out << "least error: factor " << Brief(least.from, between)
        << (between > 0.0 ? " to " + Brief(least.to, between) : " and more") << " rejects "
        << least.counts.falseAlarms << " of " << least.counts.good << " good and passes "
        << least.counts.misses << " of " << least.counts.bad << " bad parts\n";
  }
  PrintNearest(out, tuning, tuned, true);
  PrintNearest(out, tuning, tuned, false);
}

void PrintTunedJson(std::ostream& out, const CTuning& tuning, const STuned& tuned) {
  const auto print = [&](const char* kind, const std::vector<STried>& rows) {
    for (const STried& tried : rows) {
      PrintJsonLine(out, ToJson(tuning, kind, tried));
    }
  };
  print("now", {tuned.now});
  print("rate", tuned.rates);
  print("factor", tuned.factors);
  print("base", tuned.bases);
  print("sides", tuned.sides);
  if (tuned.least) {
    PrintJsonLine(out, {{"kind", "least error"},
                        {"factor_from", tuned.least->from},
                        {"factor_to", ToJson(tuned.least->to)},
                        {"good_rejected", tuned.least->counts.falseAlarms},
                        {"bad_passed", tuned.least->counts.misses}});
  }
  for (std::size_t i = 0; i < tuned.parts.size(); ++i) {
    const STunedPart& part = tuned.parts[i];
    const auto& label = tuning.Label(i);
    const auto known = [&](double number) { return part.isKnown ? ToJson(number) : Json(nullptr); };
    Json line = {{"kind", "part"},
                 {"part", tuning.Name(i)},
                 {"label", label ? Json(*label) : Json(nullptr)},
                 {"factor_above", known(part.factors[0])},
                 {"factor_below", known(part.factors[1])},
                 {"score_above", known(part.scores[0])},
                 {"score_below", known(part.scores[1])}};
    if (part.whole) {
      line["score_whole"] = *part.whole;
    }
    PrintJsonLine(out, line);
  }
}

std::string DrawTuned(const CTuning& tuning, const STuned& tuned) {
  constexpr std::size_t kSteps = 240;
  double most = 0.0;
  for (const STunedPart& part : tuned.parts) {
    const double needed = Needed(tuned.now.trial, part);
    most = std::isfinite(needed) ? std::max(most, needed) : most;
  }
  most = std::clamp(most, 1.0, 20.0);
  const bool labelled = tuned.now.counts.good + tuned.now.counts.bad > 0;
  SPlotContent content;
  content.xName = "factor";
  content.yName = "parts [%]";
  content.lines = {{labelled ? "good rejected" : "rejected", PartColour(0), 2.0, false, {}, ""},
                   {labelled ? "bad passed" : "passed", PartColour(3), 2.0, true, {}, ""}};
  STrial trial = tuned.now.trial;
  trial.rate.reset();
  for (std::size_t i = 0; i <= kSteps; ++i) {
    trial.factor = most * static_cast<double>(i) / kSteps;
    const SCounts c = tuning.Try(trial, tuned.parts).counts;
    const auto rejected =
        static_cast<float>(labelled ? Share(c.falseAlarms, c.good) : Share(c.nok, c.parts));
    const auto passed =
        static_cast<float>(labelled ? Share(c.misses, c.bad) : Share(c.ok, c.parts));
    content.xs.push_back(trial.factor);
    content.lines[0].columns.push_back({rejected, rejected});
    content.lines[1].columns.push_back({passed, passed});
  }
  for (SPlotLine& line : content.lines) {
    line.legend = line.name;
  }
  content.x = {0.0, most};
  content.y = {0.0, 100.0};
  return DrawPlot(content);
}

}  // namespace limes::host
