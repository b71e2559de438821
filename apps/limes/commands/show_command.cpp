#include <ostream>

#include "apps/limes/commands/capability.h"
#include "apps/limes/commands/commands.h"
#include "apps/limes/errors.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/report.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/text.h"

namespace limes::host {

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
  const SSettings settings = store.Settings().value_or(SSettings());
  CModel model = LoadedModel(store, settings);
  if (options.capability || !options.tolerances.IsEmpty()) {
    ShowCapability(options, store, model, console);
    return static_cast<int>(ExitCode::kAllGood);
  }
  const std::int64_t learnt = store.CountParts(true);
  store.Rollback();
  if (!options.json) {
    console.out << Escaped(options.store) << ": " << learnt << (learnt == 1 ? " part" : " parts")
                << " learnt\n";
    PrintPromise(console.out, model.Promise());
  }
  for (const SLearntSummary& summary : model.Summaries()) {
    (options.json ? PrintSummaryJson : PrintSummary)(console.out, summary, settings);
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host
