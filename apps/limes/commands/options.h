#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/limes/bench/bench_settings.h"
#include "apps/limes/commands/tolerances.h"
#include "apps/limes/measurement/settings.h"
#include "recordings/part_reader.h"

namespace limes::host {

enum class Command {
  kLearn,
  kTest,
  kShow,
  kReport,
  kMerge,
  kPush,
  kConvert,
  kPlot,
  kForget,
  kSet,
  kTune,
  kGauge,
  kAccept,
  kRebase,
  kCalibrate,
  kWatch,
  kServe,
  kLog,
  kPrune,
  kDemo
};

/// As many common modes as good parts say.
inline constexpr std::int32_t kAutoModes = -1;

/// The command line.
struct SOptions {
  Command command = Command::kShow;
  std::string store;
  std::vector<std::string> files;    ///< measurements; stores that are joined; names of parts
  std::string plant;                 ///< the database of many benches
  std::vector<std::string> benches;  ///< names there
  bool anew = false;                 ///< put aside what another store pushed
  std::string quantity;              ///< that is drawn
  SGivenSettings settings;
  SSelection selection;
  std::vector<SCondition> where;
  std::vector<SCondition> variant;   ///< what is given of it: of all parts, or which are meant
  std::optional<std::int64_t> run;   ///< whose parts are forgotten
  std::optional<std::string> group;  ///< column that names what is left out together
  /// Modes that are judged apart; 0: none, kAutoModes: as many as help.
  std::optional<std::int32_t> modes;
  std::optional<bool> whole;     ///< judge all points together, too
  std::optional<bool> precise;   ///< learn curves in double; empty: where single is too coarse
  bool frozen = false;           ///< score by what is learnt, not by the other parts
  std::optional<unsigned> jobs;  ///< threads that read; else one for each processor
  bool json = false;
  bool again = false;                 ///< learn or join what is learnt already
  bool allowShort = false;            ///< learn what covers too little
  bool allRuns = false;               ///< every verdict of a part, not the latest
  bool runs = false;                  ///< show the runs
  bool held = false;                  ///< show the parts held back
  bool past = false;                  ///< show what was learnt before new beginnings
  bool capability = false;            ///< show what the process is capable of
  CTolerances tolerances;             ///< of single values
  std::optional<std::string> person;  ///< column of who measured
  std::optional<double> reference;    ///< known value of the part that was measured
  bool keepGoing = false;             ///< judge on after a file that cannot be used
  bool noStore = false;               ///< judge without storing
  bool force = false;                 ///< replace files of others
  std::string tunedSides;             ///< sides that are tried; empty: the store's
  std::string output;                 ///< file of a conversion, plot or page; empty: none
  std::optional<std::string> format;  ///< of a conversion; else by the output's ending
  std::string demoFolder;             ///< empty: a temporary one
  bool live = false;                  ///< the demo is a bench that runs
  bool quiet = false;                 ///< no warnings, no progress
  std::optional<std::chrono::milliseconds> older;  ///< judged parts that are removed
  std::string reason;                              ///< why what is learnt, or the rule, is changed
  SWatchSettings watch;
  SMqttSettings mqtt;
  SServeSettings serve;
};

/// Threads that read measurements.
unsigned JobsOf(const SOptions& options);

/// The given settings for files that no store knows. Without --skip the columns of --where are
/// skipped, as they hold one value, and those that name the parts of the first file, which note is
/// told. Throws CReadError.
SGivenSettings SettingsWithSkip(const SOptions& options, const NoteTaker& note);

struct SParsed {
  bool run = false;     ///< false: print the text and end with the code
  int exitCode = 0;     ///< 0 for help and version, 2 for a wrong command line
  std::string message;  ///< help, version, or what is wrong
  SOptions options;
};

/// Reads the command line; the arguments do not include the program's name. Never throws on text.
SParsed ParseCommandLine(const std::vector<std::string>& arguments);

}  // namespace limes::host
