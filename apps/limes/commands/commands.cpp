#include "apps/limes/commands/commands.h"

#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <ostream>
#include <typeinfo>

#include "apps/limes/errors.h"
#include "apps/limes/plant/connection.h"
#include "limes/platform/print_window.h"
#include "recordings/text.h"

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
    case Command::kPush:
      return RunPush(options, console);
    case Command::kConvert:
      return RunConvert(options, console);
    case Command::kPlot:
      return RunPlot(options, console);
    case Command::kForget:
      return RunForget(options, console);
    case Command::kSet:
      return RunSet(options, console);
    case Command::kTune:
      return RunTune(options, console);
    case Command::kGauge:
      return RunGauge(options, console);
    case Command::kAccept:
      return RunAccept(options, console);
    case Command::kRebase:
      return RunRebase(options, console);
    case Command::kCalibrate:
      return RunCalibrate(options, console);
    case Command::kWatch:
      return RunWatch(options, console);
    case Command::kServe:
      return RunServe(options, console);
    case Command::kLog:
      return RunLog(options, console);
    case Command::kPrune:
      return RunPrune(options, console);
    case Command::kDemo:
      break;
  }
  return RunDemo(options, console);
}

constexpr const char* kNoMemory = "limes: not enough memory\n";

/// Says so without asking for any.
int FailForMemory(SConsole& console) {
  console.err << kNoMemory;
  return static_cast<int>(ExitCode::kStore);
}

/// No name in the text forges a line, and no password is told.
int Fail(SConsole& console, ExitCode code, std::string_view text) {
  try {
    console.err << "limes: " << Escaped(WithoutPasswords(text)) << '\n';
  } catch (const std::bad_alloc&) {
    return FailForMemory(console);
  }
  return static_cast<int>(code);
}

}  // namespace

bool IsCalled(const std::string& part, const std::string& name) {
  return part == name || (part.size() > name.size() && part.ends_with(name) &&
                          part[part.size() - name.size() - 1] == '/');
}

void EndWhenMemoryIsShort() {
  std::set_terminate([] {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    if (type == nullptr || *type != typeid(std::bad_alloc)) {
      std::abort();
    }
    std::fputs(kNoMemory, stderr);
    std::_Exit(static_cast<int>(ExitCode::kStore));
  });
}

int RunHost(const std::vector<std::string>& arguments, SConsole& console) {
  int code = static_cast<int>(ExitCode::kStore);
  try {
    const SParsed parsed = ParseCommandLine(arguments);
    if (!parsed.run) {
      (parsed.exitCode == 0 ? console.out : console.err) << WithoutPasswords(parsed.message);
      return parsed.exitCode;
    }
    // The library tells of unknown unit texts; the readers keep those texts themselves.
    PrWin::SetSink([](int, int, std::u16string_view) {});
    SConsole used = console;
    used.quiet = parsed.options.quiet;
    used.progress = console.progress && !used.quiet;
    code = Dispatch(parsed.options, used);
  } catch (const CHostError& e) {
    return Fail(console, e.Code(), e.what());
  } catch (const CInputError& e) {
    return Fail(console, ExitCode::kBadInput, e.what());
  } catch (const std::bad_alloc&) {
    return FailForMemory(console);
  } catch (const std::exception& e) {
    return Fail(console, ExitCode::kStore, e.what());
  }
  console.out.flush();
  if (!console.out) {
    return Fail(console, ExitCode::kStore, "the output could not be written");
  }
  return code;
}

}  // namespace limes::host
