#include <ostream>

#include "apps/limes/commands/commands.h"
#include "apps/limes/commands/meant_variants.h"
#include "apps/limes/commands/output_file.h"
#include "apps/limes/errors.h"
#include "apps/limes/report/html_report.h"
#include "apps/limes/report/json_text.h"
#include "apps/limes/report/report.h"
#include "apps/limes/report/report_texts.h"
#include "apps/limes/store/store.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

int WritePage(const SOptions& options, SConsole& console) {
  if (options.json) {
    throw CUsageError("--json and --html exclude each other");
  }
  RequirePageName(options.output);
  CStore store(options.store, CStore::Mode::kReading);
  RefuseStore(options.output, options.store);
  ChooseOne(store, options, "a page");
  WriteOutput(options.output, HtmlReport(store, options.allRuns), options.force);
  console.out << "wrote " << Escaped(options.output) << '\n';
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace

int RunReport(const SOptions& options, SConsole& console) {
  if (!options.output.empty()) {
    return WritePage(options, console);
  }
  CStore store(options.store, CStore::Mode::kReading);
  SCounts counts;
  const std::string good = store.Settings().value_or(SSettings()).good;
  std::string rule;
  CJsonText json;
  const auto list = [&] {
    store.ForEachJudged(options.allRuns, [&](const SPartVerdict& verdict) {
      counts.Add(verdict, good);
      if (!options.json && verdict.rule != rule) {
        PrintRule(console.out, verdict);
        rule = verdict.rule;
      }
      if (options.json) {
        PrintVerdictJson(console.out, json, verdict);
      } else {
        PrintVerdict(console.out, verdict, console.colours);
      }
    });
    constexpr std::int64_t kMostAlarms = 20;
    for (const SDriftFound& drift :
         options.json ? std::vector<SDriftFound>() : store.Alarms(kMostAlarms)) {
      console.out << Escaped(DriftText(drift)) << '\n';
    }
  };
  if (options.variant.empty()) {
    list();  // of all variants, and of parts that are of none
  } else {
    ForEachVariant(store, options, [&](const SStoredVariant&) { list(); });
  }
  PrintCounts(options.json ? console.err : console.out, counts);
  return static_cast<int>(ExitCode::kAllGood);
}

}  // namespace limes::host
