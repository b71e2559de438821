#include "apps/limes/commands/commands.h"

#include <exception>
#include <new>
#include <ostream>

#include "apps/limes/errors.h"
#include "apps/limes/model/model.h"
#include "apps/limes/report/report.h"
#include "apps/limes/store/store.h"
#include "limes/platform/print_window.h"

namespace limes::host {
namespace {

int Dispatch(const SOptions& options, SConsole& console) {
  switch (options.command) {
    case Command::kLearn:
      return RunLearn(options, console);
    case Command::kTest:
      return RunTest(options, console);
    case Command::kShow:
      return RunShow(options, console);
    case Command::kReport:
      return RunReport(options, console);
    case Command::kMerge:
      return RunMerge(options, console);
    case Command::kConvert:
      return RunConvert(options, console);
    case Command::kPlot:
      return RunPlot(options, console);
    case Command::kDemo:
      break;
  }
  return RunDemo(options, console);
}

}  // namespace

int RunShow(const SOptions& options, SConsole& console) {
  CStore store(options.store, CStore::Mode::kReading);
  store.BeginReading();
  SSettings settings = store.Settings().value_or(SSettings());
  SetDefaults(settings);
  CModel model(settings);
  model.Load(store);
  const std::int64_t learnt = store.CountParts(true);
  store.Rollback();
  if (!options.json) {
    console.out << options.store << ": " << learnt << (learnt == 1 ? " part" : " parts")
                << " learnt\n";
  }
  for (const SLearntSummary& summary : model.Summaries()) {
    (options.json ? PrintSummaryJson : PrintSummary)(console.out, summary, settings);
  }
  return static_cast<int>(ExitCode::kAllGood);
}

int RunReport(const SOptions& options, SConsole& console) {
  if (!options.output.empty()) {
    return RunHtmlReport(options, console);
  }
  CStore store(options.store, CStore::Mode::kReading);
  SCounts counts;
  const std::string good = store.Settings().value_or(SSettings()).good.value_or("good");
  store.ForEachJudged([&](const SPartVerdict& verdict) {
    counts.Add(verdict, good);
    if (options.json) {
      PrintVerdictJson(console.out, verdict);
    } else {
      PrintVerdict(console.out, verdict, console.colours);
    }
  });
  PrintCounts(options.json ? console.err : console.out, counts);
  return static_cast<int>(ExitCode::kAllGood);
}

int RunHost(const std::vector<std::string>& arguments, SConsole& console) {
  int code = static_cast<int>(ExitCode::kStore);
  try {
    const SParsed parsed = ParseCommandLine(arguments);
    if (!parsed.run) {
      (parsed.exitCode == 0 ? console.out : console.err) << parsed.message;
      return parsed.exitCode;
    }
    // The library tells of unknown unit texts; the readers keep those texts themselves.
    PrWin::SetSink([](int, int, std::u16string_view) {});
    code = Dispatch(parsed.options, console);
  } catch (const CHostError& e) {
    console.err << "limes: " << e.what() << '\n';
    return static_cast<int>(e.Code());
  } catch (const std::bad_alloc&) {
    console.err << "limes: not enough memory\n";
    return static_cast<int>(ExitCode::kStore);
  } catch (const std::exception& e) {
    console.err << "limes: " << e.what() << '\n';
    return static_cast<int>(ExitCode::kStore);
  }
  console.out.flush();
  if (!console.out) {
    console.err << "limes: the output could not be written\n";
    return static_cast<int>(ExitCode::kStore);
  }
  return code;
}

}  // namespace limes::host
