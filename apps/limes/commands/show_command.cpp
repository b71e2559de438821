#include <limits>
#include <ostream>

#include "apps/limes/commands/capability.h"
#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/guarded_learning.h"
#include "apps/limes/commands/meant_variants.h"
#include "apps/limes/errors.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/modes_text.h"
#include "apps/limes/report/report.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/text.h"

namespace limes::host {

namespace {

constexpr std::int64_t kMostAlarms = 10;

std::string LimitText(const SStoredVariant& variant, const SSettings& settings) {
  return LimitOf(variant, settings) == kAllVariants
             ? ", judged by the limit of all variants until " + std::to_string(settings.ownFrom)
             : ", judged by its own limit";
}

void PrintSummaries(CModel& model, const SOptions& options, const SSettings& settings,
                    const SPromise& promise, const std::vector<SDriftFound>& drifts,
                    const SStoredVariant& variant, SConsole& console) {
  for (const SLearntSummary& summary : model.Summaries()) {
    options.json ? PrintSummaryJson(console.out, summary, settings, promise, drifts, variant.name,
                                    LimitOf(variant, settings))
                 : PrintSummary(console.out, summary, settings);
  }
  (options.json ? PrintModesJson : PrintModes)(console.out, model);
}

/// What the options ask to be listed instead of the limits; false for the limits.
bool ShowOther(const SOptions& options, CStore& store, const SStoredVariant& variant,
               SConsole& console) {
  if (options.held) {
    const std::vector<SHeldPart> parts = store.HeldParts(false);
    for (const SHeldName& held : HeldNames(parts)) {
      if (options.json) {
        PrintHeldJson(console.out, held, variant.name, nullptr);
      } else {
        console.out << Escaped(BeforeText(variant) + HeldText(held)) << '\n';
      }
    }
    return true;
  }
  if (options.past) {
    const SSettings settings = store.Settings().value_or(SSettings());
    for (const std::int64_t run : store.PutAsideIn()) {
      SSettings plain = settings;  // modes are put aside, and shown no more
      plain.modes.reset();
      CModel past(plain);
      past.Load(store.PastQuantities(run), std::nullopt, store.Path());
      console.out << (options.json ? ""
                                   : Escaped(BeforeText(variant)) + "before run " +
                                         std::to_string(run) + ":\n");
      PrintSummaries(past, options, settings, past.Promise(), {}, variant, console);
    }
    return true;
  }
  return false;
}

std::string LearntText(const SStoredVariant& variant) {
  return std::to_string(variant.learnt) + (variant.learnt == 1 ? " part" : " parts") + " learnt";
}

/// The limits of the variant that is chosen.
void ShowLimits(const SOptions& options, CStore& store, const SStoredVariant& variant,
                SConsole& console) {
  const SSettings settings = store.Settings().value_or(SSettings());
  CModel model = LoadedModel(store, settings);
  if (options.capability || !options.tolerances.IsEmpty()) {
    console.out << (options.json || variant.name.empty() ? "" : Escaped(variant.name) + "\n");
    ShowCapability(options, store, model, console);
    return;
  }
  const std::size_t held = store.HeldParts(false).size();
  const std::vector<SDriftFound> alarms =
      store.Alarms(options.json ? std::numeric_limits<std::int64_t>::max() : kMostAlarms);
  const SPromise promise = PromiseOf(store, model);
  if (!options.json) {
    console.out << Escaped(variant.name.empty() ? options.store : variant.name) << ": "
                << (variant.name.empty() ? LearntText({0, "", store.CountParts(true), false})
                                         : LearntText(variant) + LimitText(variant, settings))
                << '\n';
    PrintPromise(console.out, promise);
  }
  PrintSummaries(model, options, settings, promise, alarms, variant, console);
  if (!options.json && held > 0) {
    console.out << held << (held == 1 ? " part is" : " parts are")
                << " held back (limes show --held)\n";
  }
  for (std::size_t i = 0; !options.json && i < alarms.size(); ++i) {
    console.out << Escaped(DriftText(alarms[i])) << '\n';
  }
}

/// A line for each of many variants.
void ShowVariants(const SOptions& options, CStore& store,
                  const std::vector<SStoredVariant>& variants, SConsole& console) {
  console.out << Escaped(options.store) << ": " << variants.size() << " variants\n";
  for (const SStoredVariant& variant : variants) {
    store.Choose(variant.name);
    const SSettings settings = store.Settings().value_or(SSettings());
    console.out << "  " << Escaped(variant.name) << ": " << LearntText(variant)
                << LimitText(variant, settings) << '\n';
  }
  console.out << "limes show --variant NAME=VALUE,... shows the limits\n";
}

}  // namespace

int RunShow(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kReading);
  store.BeginReading();
  if (options.runs) {
    for (const SRun& run : store.Runs()) {
      console.out << run.id << "  " << TimeText(run.started) << "  " << run.command << "  "
                  << run.learnt << " learnt, " << run.ok << " OK, " << run.nok << " NOK, "
                  << run.notJudged << " not judged\n";
    }
    return static_cast<int>(ExitCode::kAllGood);
  }
  const std::vector<SStoredVariant> variants = MeantVariants(store, options);
  if (variants.size() > 1 && options.variant.empty() && !options.json && !options.held &&
      !options.past && !options.capability && options.tolerances.IsEmpty()) {
    ShowVariants(options, store, variants, console);
    return static_cast<int>(ExitCode::kAllGood);
  }
  for (const SStoredVariant& variant : variants) {
    store.Choose(variant.name);
    if (!ShowOther(options, store, variant, console)) {
      ShowLimits(options, store, variant, console);
    }
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host
