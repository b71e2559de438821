#include "apps/limes/commands/commands.h"

#include <exception>
#include <new>
#include <ostream>

#include "apps/limes/errors.h"
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
    case Command::kForget:
      return RunForget(options, console);
    case Command::kSet:
      return RunSet(options, console);
    case Command::kDemo:
      break;
  }
  return RunDemo(options, console);
}

}  // namespace

bool IsCalled(const std::string& part, const std::string& name) {
  return part == name || (part.size() > name.size() && part.ends_with(name) &&
                          part[part.size() - name.size() - 1] == '/');
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
  } catch (const CInputError& e) {
    console.err << "limes: " << e.what() << '\n';
    return static_cast<int>(ExitCode::kBadInput);
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
