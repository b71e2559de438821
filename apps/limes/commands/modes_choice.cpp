#include "apps/limes/commands/modes_choice.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/number_text.h"
#include "apps/limes/measurement/promise_text.h"

namespace limes::host {
namespace {

constexpr SScores kUnknown{kLowestScore, kLowestScore};  ///< to be scored when learnt again
constexpr double kRate = 0.05;                           ///< that few parts can promise
constexpr double kWorth = 0.8;  ///< of the distance with fewer modes; what is above may be chance

}  // namespace

CModel WithModes(CStore& store, const SSettings& settings) {
  const std::vector<SLearntPart> parts = store.LearntParts();
  if (!std::all_of(parts.begin(), parts.end(), [](const SLearntPart& p) { return p.kept; })) {
    throw CUsageError(
        "--modes: not all learnt parts are kept to be learnt anew; learn them into a new store");
  }
  std::set<std::int64_t> contents;
  for (const SLearntPart& part : parts) {
    const bool isNew = !part.content || contents.insert(*part.content).second;
    store.SetScores(part.id, isNew ? kUnknown : SScores());
  }
  return Relearn(store, settings, {},
                 [&](std::int64_t id, const SScores& scores) { store.SetScores(id, scores); });
}

namespace {

std::optional<std::int32_t> BestModes(CStore& store, SSettings settings, std::ostream& out) {
  settings.whole = false;
  std::optional<std::int32_t> best;
  std::optional<double> nearest;
  std::string told;
  for (const std::int32_t modes : {0, 3, 10}) {
    const std::int64_t needed = modes == 0 ? 0 : CCommonModes(modes).PartsNeeded();
    // A limit at the largest of few scores says little, the less so the more modes were formed.
    const std::int64_t scores = (modes > 3 ? 2 : 1) * ScoresNeeded(kRate);
    if (store.CountParts(true) < needed + scores) {
      continue;
    }
    settings.modes = modes == 0 ? std::nullopt : std::optional(modes);
    const std::optional<double> distance = WithModes(store, settings).Distance(kRate);
    if (!distance) {
      continue;
    }
    told += (told.empty() ? "" : ", ") + Count(modes, "mode") + ": " + Brief(*distance);
    if (!nearest || *distance < kWorth * *nearest) {
      nearest = distance;
      best = settings.modes;
    }
  }
  out << "modes " << best.value_or(0)
      << (told.empty() ? ", as too few parts are learnt to tell" : "")
      << (told.empty() ? "" : "; what shows at one point, in spreads, at " + Percent(kRate) + ": ")
      << told << '\n';
  return best;
}

/// Parts, or the recordings that they were cut from.
std::int64_t Units(CStore& store, const SSettings& settings) {
  std::set<std::int64_t> units;
  for (const SLearntPart& part : store.LearntParts()) {
    units.insert(settings.cut > 0 ? part.recording.value_or(part.id) : part.id);
  }
  return static_cast<std::int64_t>(units.size());
}

}  // namespace

void TakeBestModes(CStore& store, SSettings& settings, std::optional<bool> whole,
                   std::ostream& out) {
  settings.modes = BestModes(store, settings, out);
  settings.whole = whole.value_or(settings.reject && Units(store, settings) >= kRecordingsForWhole);
  out << (settings.whole ? "the whole is judged, too\n" : "");
}

}  // namespace limes::host
