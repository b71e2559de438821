#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "apps/limes/measurement/learnt.h"
#include "apps/limes/measurement/settings.h"
#include "apps/limes/measurement/verdict.h"

namespace limes::host {

class CJsonText;
class CStore;

/// One line per part and its defects for people; colours only when asked for.
void PrintVerdict(std::ostream& out, const SPartVerdict& verdict, bool colours);

/// Why a part was not judged: the first quantity that was not, and the reason.
void PrintReason(std::ostream& out, const SPartVerdict& verdict);

/// The rule that a stored verdict was given by, in a line; nothing where it was not stored.
void PrintRule(std::ostream& out, const SPartVerdict& verdict);

/// One JSON object and a line end, written through json, which serves many parts. The field names
/// are a contract with scripts.
void PrintVerdictJson(std::ostream& out, CJsonText& json, const SPartVerdict& verdict);

/// Counts of a test run.
struct SCounts {
  std::uint64_t parts = 0;
  std::uint64_t ok = 0;
  std::uint64_t nok = 0;
  std::uint64_t notJudged = 0;
  std::uint64_t good = 0;         ///< parts labelled good
  std::uint64_t bad = 0;          ///< parts labelled otherwise
  std::uint64_t falseAlarms = 0;  ///< labelled good, verdict NOK
  std::uint64_t misses = 0;       ///< labelled otherwise, verdict OK

  void Add(const SPartVerdict& verdict, const std::string& goodLabel);

  /// isGood: by its label; empty without one.
  void Add(Verdict verdict, std::optional<bool> isGood);
};

/// A line per quantity and side: how sure the limits are that a part was judged by.
void PrintSureness(std::ostream& out, const SPartVerdict& verdict);

/// What the limits do to good parts, a line each.
void PrintPromise(std::ostream& out, const SPromise& promise);

void PrintCounts(std::ostream& out, const SCounts& counts);

void PrintSummary(std::ostream& out, const SLearntSummary& summary, const SSettings& settings);

/// The limits of a store, of all its variants, as PrintSummaryJson tells them. Needs a transaction
/// that reads. Throws CStoreError.
void PrintLimitsJson(std::ostream& out, CStore& store);

/// drifts: alarms of all quantities; those of this one are a field, where there are any. variant,
/// limitOf: see SPartVerdict.
void PrintSummaryJson(std::ostream& out, const SLearntSummary& summary, const SSettings& settings,
                      const SPromise& promise, const std::vector<SDriftFound>& drifts,
                      const std::string& variant = "", const std::string& limitOf = "");

}  // namespace limes::host
