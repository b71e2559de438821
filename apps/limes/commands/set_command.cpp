#include <algorithm>
#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/meant_variants.h"
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

/// The rule of the chosen variant with what is given.
SSettings NewRule(CStore& store, const SOptions& options, const SSettings& stored,
                  std::ostream& out) {
  SSettings settings = Resolve(options.settings, stored, false);
  if (options.modes || options.whole) {
    if (options.modes == kAutoModes && !stored.variant.empty()) {
      throw CUsageError("--modes auto chooses for a store without variants; give a number");
    }
    if (options.modes == kAutoModes) {
      TakeBestModes(store, settings, options.whole, out);
    } else if (options.modes) {
      settings.modes = *options.modes > 0 ? options.modes : std::nullopt;
    }
    settings.whole = options.whole.value_or(settings.whole);
    settings = Resolve(SGivenSettings(), settings, false);
  }
  return settings;
}

/// What was learnt stays; limits are formed of it by the new rule.
void Apply(CStore& store, const SSettings& stored, const SSettings& settings, std::int64_t run) {
  if (settings.drift != stored.drift) {
    store.ClearDrift();  // sums for another threshold
  }
  const bool otherModes = settings.modes != stored.modes || settings.whole != stored.whole;
  CModel model = otherModes                     ? WithModes(store, settings)
                 : settings.base == stored.base ? LoadedModel(store, settings)
                                                : Rescored(store, settings);
  SaveModel(store, model, run);
}

/// Sets the rule of what is chosen; with it changes what the variants have learnt that have no rule
/// of their own. False when it is as it was.
bool SetRule(CStore& store, const SOptions& options, const std::vector<std::string>& learnt,
             std::ostream& out) {
  const auto stored = store.Settings();
  if (!stored) {
    throw CStoreError(options.store + ": nothing is learnt in this store");
  }
  const SSettings settings = NewRule(store, options, *stored, out);
  if (SettingsToText(settings) == SettingsToText(*stored)) {
    return false;
  }
  store.SetSettings(settings);
  const std::int64_t run = store.AddRun("set", settings);
  for (const std::string& variant : learnt) {
    store.Choose(variant);
    Apply(store, *stored, settings, run);
  }
  return true;
}

/// Learns in double from now on; false where that is so already.
bool SetPrecise(CStore& store, const SOptions& options, SConsole& console) {
  if (!options.variant.empty()) {
    throw CUsageError("--precise is for all variants of a store, as their limits are joined");
  }
  const auto stored = store.Settings();
  if (!stored || stored->IsPrecise()) {
    return false;
  }
  if (TurnPrecise(store)) {
    Warn(console,
         "the scores of limes calibrate are given up for those of learning: calibrate again");
  }
  return true;
}

}  // namespace

int RunSet(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kExisting);
  store.Begin();
  store.SetReason(options.reason);
  const std::vector<SStoredVariant> variants = MeantVariants(store, options);
  bool changes = options.precise == true && SetPrecise(store, options, console);
  if (options.variant.empty()) {
    std::vector<std::string> learnt;
    for (const SStoredVariant& variant : variants) {
      if (!variant.hasRule) {
        learnt.push_back(variant.name);
      } else {
        Warn(console, variant.name + " keeps the rule that was set for it alone");
      }
    }
    changes |= SetRule(store, options, learnt, console.out);
  } else {
    for (const SStoredVariant& variant : variants) {
      store.Choose(variant.name);
      changes |= SetRule(store, options, {variant.name}, console.out);
    }
  }
  if (!changes) {
    throw CUsageError(
        "set changes nothing: give another --base, --reject, --factor, --cover, --sure, --width, "
        "--modes, --whole, --precise, --min-parts, --min-share, --one-per-curve, --own-from, "
        "--guard, --drift "
        "or --keep-curves");
  }
  store.Commit();
  console.out << Escaped(options.store) << " judges by the new rule\n";
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host
