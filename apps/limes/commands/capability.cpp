#include "apps/limes/commands/capability.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>

#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/part_record.h"
#include "apps/limes/report/json_line.h"
#include "apps/limes/report/report_texts.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

using Values = std::map<std::string, std::vector<double>>;

/// Two indices of one spread.
struct SIndices {
  double parts = 0.0;  ///< whose spread it is
  double mean = NAN;
  double spread = NAN;
  SCapability capability;

  SIndices(double n, double m, double s, double degrees, const STolerance& tolerance)
      : parts(n), mean(m), spread(s), capability(CapabilityOf(n, m, s, degrees, tolerance)) {}
};

/// What is to be said of a single value.
struct SQuantityCapability {
  STolerance tolerance;
  SIndices within;
  SIndices total;
};

/// The kept values of all single values, in the order of learning.
Values KeptValues(CStore& store) {
  Values values;
  const std::vector<SStoredQuantity> quantities = store.Quantities();
  ForEachKept(store, [&](const SLearntPart& kept) {
    for (const SQuantity& q : PartFromRecord(kept.record, quantities).quantities) {
      if (q.single) {
        values[q.name].push_back(q.value);
      }
    }
    return true;
  });
  return values;
}

/// Neighbours are known of the kept parts only; of all parts, where not all are kept, the learn
/// state knows mean and spread.
SQuantityCapability Assess(const SLearntSummary& s, const std::vector<double>& kept,
                           const STolerance& tolerance) {
  const SProcessSpread spread = SpreadOf(kept);
  const double n = static_cast<double>(spread.n);
  const SIndices within(n, spread.mean, spread.within, spread.withinDegrees, tolerance);
  if (static_cast<std::int64_t>(spread.n) == s.parts) {
    return {tolerance, within, {n, spread.mean, spread.total, n - 1.0, tolerance}};
  }
  const double effective = s.sureness.effectiveParts;
  const double sample =
      effective > 1.0 ? s.spread[0] * std::sqrt(effective / (effective - 1.0)) : 0.0;
  return {tolerance, within, {effective, s.mean[0], sample, effective - 1.0, tolerance}};
}

std::string IndexText(const char* name, double index, const SInterval& between) {
  return std::isnan(index) ? std::string(name) + " -"
                           : std::string(name) + " " + Brief(index) + " (" + Brief(between.low) +
                                 " .. " + Brief(between.high) + ")";
}

void PrintIndices(std::ostream& out, const char* what, const SIndices& indices, const char* index,
                  const char* nearer, const std::string& unit) {
  out << "  " << what << "  ";
  if (!(indices.parts >= 2.0) || !(indices.spread > 0.0)) {
    out << (indices.parts < 2.0 ? "the values of at least 2 parts are needed\n"
                                : "the values do not vary\n");
    return;
  }
  const SCapability& c = indices.capability;
  out << "spread " << WithUnit(Brief(indices.spread), unit) << " of " << Brief(indices.parts)
      << " parts: " << IndexText(index, c.index, c.between) << ", "
      << IndexText(nearer, c.nearer, c.nearerBetween) << '\n';
}

void PrintText(std::ostream& out, const SLearntSummary& s, const SQuantityCapability& c) {
  const std::string unit = Escaped(s.unit);
  out << Escaped(s.name) << ": tolerance " << ToleranceText(c.tolerance, unit) << ", mean "
      << WithUnit(Brief(c.total.mean, c.total.spread), unit) << '\n';
  PrintIndices(out, "neighbours", c.within, "Cp", "Cpk", unit);
  PrintIndices(out, "all parts ", c.total, "Pp", "Ppk", unit);
}

void AddIndices(nlohmann::ordered_json& json, const SIndices& indices, const std::string& index,
                const std::string& spread) {
  const SCapability& c = indices.capability;
  json["parts_" + spread] = indices.parts;
  json["spread_" + spread] = indices.spread;
  json[index] = c.index;
  json[index + "_low"] = c.between.low;
  json[index + "_high"] = c.between.high;
  json[index + "k"] = c.nearer;
  json[index + "k_low"] = c.nearerBetween.low;
  json[index + "k_high"] = c.nearerBetween.high;
}

void PrintJson(std::ostream& out, const SLearntSummary& s, const SQuantityCapability& c) {
  nlohmann::ordered_json json;
  json["name"] = s.name;
  json["unit"] = s.unit;
  json["learnt"] = s.parts;
  json["tolerance_low"] = c.tolerance.low;
  json["tolerance_high"] = c.tolerance.high;
  json["mean"] = c.total.mean;
  AddIndices(json, c.within, "cp", "within");
  AddIndices(json, c.total, "pp", "total");
  PrintJsonLine(out, json);
}

}  // namespace

void ShowCapability(const SOptions& options, CStore& store, CModel& model, SConsole& console) {
  if (options.tolerances.IsEmpty()) {
    throw CUsageError("--capability needs a tolerance: --tolerance LOW:HIGH, or NAME=LOW:HIGH");
  }
  std::vector<SLearntSummary> summaries = model.Summaries();
  std::erase_if(summaries, [&](const SLearntSummary& s) {  // the sides have the same values
    return s.side == Side::kLower && model.Settings().WhichSides() == Sides::kBoth;
  });
  std::vector<std::string> names;
  names.reserve(summaries.size());
  for (const SLearntSummary& s : summaries) {
    names.push_back(s.name);
  }
  options.tolerances.CheckNames(names);
  const Values kept = KeptValues(store);
  std::size_t said = 0;
  for (const SLearntSummary& s : summaries) {
    const auto tolerance = options.tolerances.Of(s.name);
    if (s.kind != "value" || !tolerance) {
      Warn(console, Quoted(s.name) + (tolerance ? " is a " + s.kind +
                                                      ": capability is told of "
                                                      "single values only"
                                                : ": no tolerance is given for it"));
      continue;
    }
    const auto values = kept.find(s.name);
    const SQuantityCapability capability =
        Assess(s, values == kept.end() ? std::vector<double>() : values->second, *tolerance);
    (options.json ? PrintJson : PrintText)(console.out, s, capability);
    ++said;
  }
  if (said == 0) {
    throw CUsageError("the store has no single value with a tolerance");
  }
  if (!options.json) {
    console.out << "Cp and Cpk: spread of parts learnt one after the other (mean moving range / "
                   "1.128), without what moves slowly.\nPp and Ppk: spread of all learnt parts. "
                   "Intervals: 95 %, for Normal values. Parts that were sorted out before "
                   "learning are not in it.\n";
  }
}

}  // namespace limes::host
