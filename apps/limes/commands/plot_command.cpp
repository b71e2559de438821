#include <algorithm>
#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/output_file.h"
#include "apps/limes/errors.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/html_report.h"
#include "apps/limes/report/judged_parts.h"
#include "apps/limes/report/svg_plot.h"
#include "apps/limes/store/store.h"
#include "apps/limes/store/stored_model.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// The named parts in the order of the names; of one judged twice the later verdict.
std::vector<SPlotPart> PartsOf(CStore& store, const std::vector<std::string>& names,
                               const SLearntSummary& learnt, bool modes) {
  std::vector<SPlotPart> parts(names.size());
  if (!names.empty()) {
    store.ForEachJudged(false, [&](const SPartVerdict& verdict) {
      for (std::size_t i = 0; i < names.size(); ++i) {
        if (IsCalled(verdict.part, names[i])) {
          parts[i] = {verdict.part, MarksOfPart(verdict, learnt, modes), {}};
        }
      }
    });
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (parts[i].name.empty()) {
      throw CUsageError("no part " + Quoted(names[i]) +
                        " was judged in this store (limes report lists them)");
    }
  }
  return parts;
}

}  // namespace

int RunPlot(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kReading);
  store.BeginReading();
  CModel model = LoadedModel(store, store.Settings().value_or(SSettings()));
  const std::vector<SLearntSummary> summaries = model.Summaries();
  SPlot plot;
  std::string known;
  for (const SLearntSummary& summary : summaries) {
    if (summary.name == options.quantity) {
      plot.sides.push_back(&summary);
    }
    if (summary.side == summaries[0].side) {
      known += (known.empty() ? "" : ", ") + Quoted(summary.name);
    }
  }
  if (plot.sides.empty()) {
    throw CUsageError("no quantity " + Quoted(options.quantity) + " in " + options.store +
                      "; there is " + (known.empty() ? "none" : known));
  }
  plot.parts = PartsOf(store, options.files, *plot.sides[0], model.Settings().modes.has_value());
  store.Rollback();
  const std::string svg = DrawPlot(plot);
  if (options.output.empty()) {
    console.out << svg;
  } else {
    RefuseStore(options.output, options.store);
    WriteOutput(options.output, svg, options.force);
    console.out << "wrote " << Escaped(options.output) << '\n';
  }
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host
