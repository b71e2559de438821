#include "limes/learning/gauge_study.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <tuple>
#include <vector>

#include "limes/learning/distributions.h"
#include "limes/learning/limit_sureness.h"
#include "limes/platform/memory_errors.h"

namespace limes {
namespace {

/// Sums of squares of a table in order of part and person, values about the grand mean.
struct Squares {
  double part = 0.0;
  double person = 0.0;
  double interaction = 0.0;
  double within = 0.0;
};

/// Sizes of a balanced table: how many parts, persons and trials; false when it is not one.
bool IsBalanced(const std::vector<SGaugeReading>& table, SGaugeStudy& study) {
  const auto differs = [](auto field) {
    return [field](const SGaugeReading& a, const SGaugeReading& b) { return a.*field != b.*field; };
  };
  std::vector<SGaugeReading> firsts;  // of each cell
  for (const SGaugeReading& r : table) {
    if (firsts.empty() || differs(&SGaugeReading::part)(firsts.back(), r) ||
        differs(&SGaugeReading::person)(firsts.back(), r)) {
      firsts.push_back(r);
    }
  }
  std::size_t persons = 0;
  while (persons < firsts.size() && firsts[persons].part == firsts[0].part) {
    ++persons;
  }
  const std::size_t trials = table.size() / std::max<std::size_t>(firsts.size(), 1);
  bool balanced =
      !table.empty() && firsts.size() % persons == 0 && trials * firsts.size() == table.size();
  for (std::size_t i = 0; balanced && i < table.size(); ++i) {
    const std::size_t cell = i / trials;
    balanced = table[i].part == firsts[cell / persons * persons].part &&
               table[i].person == firsts[cell % persons].person;
  }
  if (balanced) {
    study.persons = static_cast<std::uint32_t>(persons);
    study.parts = static_cast<std::uint32_t>(firsts.size() / persons);
    study.trials = static_cast<std::uint32_t>(trials);
  }
  // Cells of the same part would be told apart only by their order.
  return balanced && std::adjacent_find(firsts.begin(), firsts.end(),
                                        [&](const SGaugeReading& a, const SGaugeReading& b) {
                                          return a.part == b.part && a.person == b.person;
                                        }) == firsts.end();
}

Squares SquaresOf(const std::vector<SGaugeReading>& table, const SGaugeStudy& study) {
  const double trials = study.trials;
  double grand = 0.0;
  for (const SGaugeReading& r : table) {
    grand += (r.value - table[0].value) / static_cast<double>(table.size());
  }
  grand += table[0].value;
  std::vector<double> part(study.parts);
  std::vector<double> person(study.persons);
  std::vector<double> cell(std::size_t{study.parts} * study.persons);
  for (std::size_t i = 0; i < table.size(); ++i) {
    cell[i / study.trials] += (table[i].value - grand) / trials;
  }
  for (std::size_t c = 0; c < cell.size(); ++c) {
    part[c / study.persons] += cell[c] / study.persons;
    person[c % study.persons] += cell[c] / study.parts;
  }
  Squares squares;
  for (std::size_t i = 0; i < table.size(); ++i) {
    const std::size_t c = i / study.trials;
    const double ofPart = part[c / study.persons];
    const double ofPerson = person[c % study.persons];
    const double both = cell[c] - ofPart - ofPerson;
    const double rest = table[i].value - grand - cell[c];
    squares.part += ofPart * ofPart;
    squares.person += ofPerson * ofPerson;
    squares.interaction += both * both;
    squares.within += rest * rest;
  }
  return squares;
}

void FillComponents(const Squares& squares, SGaugeStudy& study) {
  constexpr double kPool = 0.25;
  const double p = study.parts;
  const double o = study.persons;
  const double r = study.trials;
  const double freeBoth = (p - 1.0) * (o - 1.0);
  const double freeWithin = p * o * (r - 1.0);
  double within = squares.within / freeWithin;
  double both = freeBoth > 0.0 ? squares.interaction / freeBoth : within;
  study.interactionChance =
      freeBoth > 0.0 && both > 0.0 ? detail::FisherTail(both / within, freeBoth, freeWithin) : 1.0;
  study.pooled = study.interactionChance > kPool;
  if (study.pooled) {
    within = both = (squares.within + squares.interaction) / (freeWithin + freeBoth);
  }
  const auto positive = [](double variance) { return std::fmax(variance, 0.0); };
  const double interaction = positive((both - within) / r);
  const double person = o > 1.0 ? positive((squares.person / (o - 1.0) - both) / (p * r)) : 0.0;
  const double part = positive((squares.part / (p - 1.0) - both) / (o * r));
  study.repeatability = std::sqrt(within);
  study.interaction = std::sqrt(interaction);
  study.reproducibility = std::sqrt(person + interaction);
  study.gauge = std::sqrt(within + person + interaction);
  study.partToPart = std::sqrt(part);
  study.total = std::sqrt(within + person + interaction + part);
  study.categories = std::numbers::sqrt2 * study.partToPart / study.gauge;
}

}  // namespace

SGaugeCheck CheckGauge(std::span<const double> values, double reference,
                       const STolerance& tolerance) {
  const SProcessSpread measured = SpreadOf(values);
  const double width = tolerance.high - tolerance.low;
  const double n = static_cast<double>(values.size());
  SGaugeCheck check;
  check.bias = measured.mean - reference;
  check.spread = measured.total;
  const bool known = std::isfinite(width) && n >= 2.0;
  check.cg = known ? 0.2 * width / (6.0 * check.spread) : NAN;
  check.cgk = known ? (0.1 * width - std::fabs(check.bias)) / (3.0 * check.spread) : NAN;
  const double t = std::fabs(check.bias) / (check.spread / std::sqrt(n));
  check.chance = n >= 2.0 && check.spread > 0.0 ? 2.0 * detail::StudentTail(t, n - 1.0) : NAN;
  return check;
}

GaugeStatus StudyGauge(std::span<const SGaugeReading> readings, SGaugeStudy& study) {
  return detail::IfMemoryAllows(GaugeStatus::kMemory, [&] {
    std::vector<SGaugeReading> table(readings.begin(), readings.end());
    if (!std::all_of(table.begin(), table.end(),
                     [](const SGaugeReading& r) { return std::isfinite(r.value); })) {
      return GaugeStatus::kNotFinite;
    }
    std::sort(table.begin(), table.end(), [](const SGaugeReading& a, const SGaugeReading& b) {
      return std::tie(a.part, a.person, a.value) < std::tie(b.part, b.person, b.value);
    });
    SGaugeStudy found;
    if (!IsBalanced(table, found)) {
      return table.empty() ? GaugeStatus::kTooFew : GaugeStatus::kUnbalanced;
    }
    if (found.parts < 2 || found.trials < 2) {
      return GaugeStatus::kTooFew;
    }
    FillComponents(SquaresOf(table, found), found);
    study = found;
    return GaugeStatus::kOk;
  });
}

}  // namespace limes
