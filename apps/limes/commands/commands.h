#pragma once

#include <string>
#include <vector>

#include "apps/limes/commands/console.h"
#include "apps/limes/commands/options.h"

namespace limes::host {

/// Ends the process with the message and code of short memory where that is found out in clearing
/// up, which nothing can be thrown from. The store is left as by a kill: whole.
void EndWhenMemoryIsShort();

/// Runs one command line (without the program's name) and returns the exit code. Throws nothing.
int RunHost(const std::vector<std::string>& arguments, SConsole& console);

/// The commands; each returns the exit code and throws CHostError.
int RunLearn(const SOptions& options, SConsole& console);
int RunTest(const SOptions& options, SConsole& console);
int RunShow(const SOptions& options, SConsole& console);
int RunReport(const SOptions& options, SConsole& console);
int RunMerge(const SOptions& options, SConsole& console);
int RunPush(const SOptions& options, SConsole& console);
int RunConvert(const SOptions& options, SConsole& console);
int RunPlot(const SOptions& options, SConsole& console);
int RunForget(const SOptions& options, SConsole& console);
int RunSet(const SOptions& options, SConsole& console);
int RunTune(const SOptions& options, SConsole& console);
int RunGauge(const SOptions& options, SConsole& console);
int RunAccept(const SOptions& options, SConsole& console);
int RunRebase(const SOptions& options, SConsole& console);
int RunCalibrate(const SOptions& options, SConsole& console);
int RunWatch(const SOptions& options, SConsole& console);
int RunServe(const SOptions& options, SConsole& console);
int RunPrune(const SOptions& options, SConsole& console);
int RunLog(const SOptions& options, SConsole& console);
int RunLiveDemo(const SOptions& options, SConsole& console);
int RunDemo(const SOptions& options, SConsole& console);

/// A part is called by its whole name, or by what is behind its last slash.
bool IsCalled(const std::string& part, const std::string& name);

}  // namespace limes::host
