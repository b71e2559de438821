#include <limits>
#include <ostream>

#include "apps/limes/commands/capability.h"
#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/guarded_learning.h"
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

void PrintSummaries(CModel& model, const SOptions& options, const SSettings& settings,
                    const SPromise& promise, const std::vector<SDriftFound>& drifts,
                    SConsole& console) {
  for (const SLearntSummary& summary : model.Summaries()) {
    options.json ? PrintSummaryJson(console.out, summary, settings, promise, drifts)
                 : PrintSummary(console.out, summary, settings);
  }
  (options.json ? PrintModesJson : PrintModes)(console.out, model);
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
  if (options.held) {
    const std::vector<SHeldPart> parts = store.HeldParts(false);
    for (const SHeldName& held : HeldNames(parts)) {
      if (options.json) {
        PrintHeldJson(console.out, held, nullptr);
      } else {
        console.out << Escaped(HeldText(held)) << '\n';
      }
    }
    return static_cast<int>(ExitCode::kAllGood);
  }
  const SSettings settings = store.Settings().value_or(SSettings());
  if (options.past) {
    for (const std::int64_t run : store.PutAsideIn()) {
      SSettings plain = settings;  // modes are put aside, and shown no more
      plain.modes.reset();
      CModel past(plain);
      past.Load(store.PastQuantities(run), std::nullopt, store.Path());
      console.out << (options.json ? "" : "before run " + std::to_string(run) + ":\n");
      PrintSummaries(past, options, settings, past.Promise(), {}, console);
    }
    return static_cast<int>(ExitCode::kAllGood);
  }
  CModel model = LoadedModel(store, settings);
  if (options.capability || !options.tolerances.IsEmpty()) {
    ShowCapability(options, store, model, console);
    return static_cast<int>(ExitCode::kAllGood);
  }
  const std::int64_t learnt = store.CountParts(true);
  const std::size_t held = store.HeldParts(false).size();
  const std::vector<SDriftFound> alarms =
      store.Alarms(options.json ? std::numeric_limits<std::int64_t>::max() : kMostAlarms);
  const SPromise promise = PromiseOf(store, model);
  store.Rollback();
  if (!options.json) {
    console.out << Escaped(options.store) << ": " << learnt << (learnt == 1 ? " part" : " parts")
                << " learnt\n";
    PrintPromise(console.out, promise);
  }
  PrintSummaries(model, options, settings, promise, alarms, console);
  if (!options.json && held > 0) {
    console.out << held << (held == 1 ? " part is" : " parts are")
                << " held back (limes show --held)\n";
  }
  for (std::size_t i = 0; !options.json && i < alarms.size(); ++i) {
    console.out << Escaped(DriftText(alarms[i])) << '\n';
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host
