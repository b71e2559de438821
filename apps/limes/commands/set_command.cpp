#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/modes_choice.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/measurement/number_text.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "limes/learning/tolerance.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// What was learnt, with scores for another base where all parts are kept. Throws CUsageError where
/// a rate would have none.
CModel Rescored(CStore& store, const SSettings& settings) {
  CModel model = LoadedModel(store, settings);
  const std::vector<SLearntPart> parts = store.LearntParts();
  if (std::all_of(parts.begin(), parts.end(), [](const SLearntPart& part) { return part.kept; })) {
    model.TakeScores(Relearn(store, settings, {}, [&](std::int64_t id, const SScores& scores) {
      store.SetScores(id, scores);
    }));
    return model;
  }
  if (settings.reject) {
    throw CUsageError(
        "--base: a rate is promised for the base that parts were scored with, and not all of them "
        "are kept to be scored anew; limes calibrate --base does it with good parts, --factor "
        "judges without a promise");
  }
  std::for_each(parts.begin(), parts.end(),
                [&](const SLearntPart& part) { store.SetScores(part.id, SScores()); });
  return model;
}

/// The settings given, with the factor that --cover asks for. Throws CUsageError.
SGivenSettings WithCover(const SOptions& options, CStore& store, const SSettings& stored,
                         SConsole& console) {
  constexpr double kSure = 0.95;
  SGivenSettings given = options.settings;
  if (!options.cover) {
    if (options.sure) {
      throw CUsageError("--sure needs --cover");
    }
    return given;
  }
  if (given.factor || given.reject) {
    throw CUsageError("--cover gives the factor: leave out --factor and --reject");
  }
  double parts = std::numeric_limits<double>::infinity();
  for (const SLearntSummary& summary : LoadedModel(store, stored).Summaries()) {
    parts = std::min(parts, summary.sureness.effectiveParts);
  }
  const double sure = options.sure.value_or(kSure);
  const double factor = ToleranceFactor(parts, *options.cover, sure);
  if (!std::isfinite(factor)) {
    throw CUsageError(
        "--cover needs at least 2 learnt parts, and shares between 0 and 1: 99% or 0.99");
  }
  given.factor = std::max(factor, 0.0);
  console.out << "factor " << Brief(*given.factor) << " of " << Brief(parts) << " parts: covers "
              << Percent(*options.cover) << " of Normal values at each point, with "
              << Percent(sure) << " confidence; it stays when more are learnt\n";
  return given;
}

}  // namespace

/// What was learnt stays; limits are formed of it by the new rule.
int RunSet(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kExisting);
  store.Begin();
  const auto stored = store.Settings();
  if (!stored) {
    throw CStoreError(options.store + ": nothing is learnt in this store");
  }
  SSettings settings = Resolve(WithCover(options, store, *stored, console), stored, false);
  if (options.modes) {
    settings.modes = *options.modes == kAutoModes ? BestModes(store, settings, console.out)
                     : *options.modes > 0         ? options.modes
                                                  : std::nullopt;
    settings = Resolve(SGivenSettings(), settings, false);
  }
  const std::string text = SettingsToText(settings);
  if (text == SettingsToText(*stored)) {
    throw CUsageError(
        "set changes nothing: give another --base, --reject, --factor, --width, "
        "--modes, --min-parts, --min-share, --one-per-curve, --guard or --drift");
  }
  if (settings.drift != stored->drift) {
    store.ClearDrift();  // sums for another threshold
  }
  CModel model = settings.modes != stored->modes ? WithModes(store, settings)
                 : settings.base == stored->base ? LoadedModel(store, settings)
                                                 : Rescored(store, settings);
  store.SetSettings(settings);
  store.SetReason(options.reason);
  SaveModel(store, model, store.AddRun("set", settings));
  store.Commit();
  console.out << Escaped(options.store) << " judges by the new rule\n";
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host
