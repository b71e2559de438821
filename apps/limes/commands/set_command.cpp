#include <algorithm>
#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/modes_choice.h"
#include "apps/limes/commands/relearn.h"
#include "apps/limes/errors.h"
#include "apps/limes/model/model.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
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

}  // namespace

/// What was learnt stays; limits are formed of it by the new rule.
int RunSet(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kExisting);
  store.Begin();
  const auto stored = store.Settings();
  if (!stored) {
    throw CStoreError(options.store + ": nothing is learnt in this store");
  }
  SSettings settings = Resolve(options.settings, stored, false);
  if (options.modes || options.whole) {
    if (options.modes == kAutoModes) {
      TakeBestModes(store, settings, options.whole, console.out);
    } else if (options.modes) {
      settings.modes = *options.modes > 0 ? options.modes : std::nullopt;
    }
    settings.whole = options.whole.value_or(settings.whole);
    settings = Resolve(SGivenSettings(), settings, false);
  }
  const std::string text = SettingsToText(settings);
  if (text == SettingsToText(*stored)) {
    throw CUsageError(
        "set changes nothing: give another --base, --reject, --factor, --cover, --sure, --width, "
        "--modes, --whole, --min-parts, --min-share, --one-per-curve, --guard, --drift or "
        "--keep-curves");
  }
  if (settings.drift != stored->drift) {
    store.ClearDrift();  // sums for another threshold
  }
  const bool otherModes = settings.modes != stored->modes || settings.whole != stored->whole;
  CModel model = otherModes                      ? WithModes(store, settings)
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
