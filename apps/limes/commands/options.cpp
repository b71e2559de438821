#include "apps/limes/commands/options.h"

#include <algorithm>
#include <thread>

#include "apps/limes/commands/option_groups.h"
#include "apps/limes/commands/option_values.h"
#include "apps/limes/errors.h"
#include "limes/version.h"
#include "recordings/part_writer.h"
#include "recordings/tables/identification.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

CLI::App* AddRun(CLI::App& app, SOptions& o, const char* name, const char* help) {
  CLI::App* command = app.add_subcommand(name, help);
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  command->add_option("FILE", o.files, "measurements: CSV, WAV, signal records")
      ->required()
      ->type_name("");
  command->add_flag("--json", o.json, "one JSON object per part and line");
  AddReading(*command, o);
  AddSelection(*command, o);
  AddForming(*command, o);
  Add(*command, "--align", o.settings.align, "move curves along x to what is learnt, at most LAG",
      "LAG");
  AddRule(*command, o);
  command->footer("The store remembers the options; what is not given is as it was learnt.");
  return command;
}

CLI::App* AddList(CLI::App& app, SOptions& o, const char* name, const char* help) {
  CLI::App* command = app.add_subcommand(name, help);
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  command->add_flag("--json", o.json, "one JSON object per line");
  return command;
}

CLI::App* AddLog(CLI::App& app, SOptions& o) {
  return AddList(app, o, "log", "list who changed what was learnt, or the rule, when and why");
}

CLI::App* AddWatch(CLI::App& app, SOptions& o) {
  CLI::App* command =
      app.add_subcommand("watch", "judge the files that come to a folder, as they come");
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  command->add_option("FOLDER", o.watch.folder, "where measurements arrive")
      ->required()
      ->type_name("");
  AddWatching(*command, o);
  command->footer(
      "Prints one JSON object per part and line, until it is ended (Ctrl-C, SIGTERM). Each file "
      "is\n"
      "judged once, also by a later watch; files that are still being written are waited for.");
  return command;
}

CLI::App* AddServe(CLI::App& app, SOptions& o) {
  CLI::App* command =
      app.add_subcommand("serve", "serve the page of a bench, and judge what is sent to it");
  SServeSettings& s = o.serve;
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  AddText(
      *command, "--watch", [&o](const std::string& t) { o.watch.folder = t; },
      "judge the files that come to this folder, too", "FOLDER");
  AddPort(*command, o);
  AddText(
      *command, "--listen", [&s](const std::string& t) { s.address = t; },
      "address to be reached at (127.0.0.1); another one needs --token", "ADDRESS");
  AddText(
      *command, "--token", [&s](const std::string& t) { s.tokenFile = t; },
      "file whose first line must be given to be answered", "FILE");
  AddText(
      *command, "--shifts", [&s](const std::string& t) { s.shifts = ParseShifts(t); },
      "when shifts begin, for the share OK of each: 6:00,14:00,22:00", "TIME,...");
  AddFlag(*command, "--allow-actions", s.allowsActions,
          "let the page accept and forget parts held back");
  AddWatching(*command, o);
  return command;
}

CLI::App* AddForget(CLI::App& app, SOptions& o) {
  CLI::App* command = app.add_subcommand("forget", "take learnt parts out of what was learnt");
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  command->add_option("PART", o.files, "names of learnt parts")->type_name("");
  Add(*command, "--run", o.run, "the parts of this run (limes show --runs)", "N");
  AddVariant(*command, o);
  AddBecause(*command, o);
  return command;
}

/// A command on parts that are held back.
CLI::App* AddHeld(CLI::App& app, SOptions& o, const char* name, const char* help, bool named) {
  CLI::App* command = app.add_subcommand(name, help);
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  command->add_option("PART", o.files, "names of held parts (limes show --held)")
      ->required(named)
      ->type_name("");
  AddVariant(*command, o);
  AddBecause(*command, o);
  return command;
}

CLI::App* AddSet(CLI::App& app, SOptions& o) {
  CLI::App* command = app.add_subcommand("set", "judge by another rule, without learning anew");
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  AddVariant(*command, o);
  AddRule(*command, o);
  AddModes(*command, o);
  AddPrecise(*command, o);
  AddGuarding(*command, o);
  AddKeeping(*command, o);
  AddBecause(*command, o);
  return command;
}

CLI::App* AddPrune(CLI::App& app, SOptions& o) {
  CLI::App* command =
      app.add_subcommand("prune", "remove parts judged long ago; what was learnt stays");
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  AddText(
      *command, "--older", [&o](const std::string& t) { o.older = ParseAge("--older", t); },
      "judged longer ago than so many days (d), hours (h) or weeks (w)", "90d");
  AddVariant(*command, o);
  AddBecause(*command, o);
  return command;
}

CLI::App* AddMerge(CLI::App& app, SOptions& o) {
  CLI::App* command = app.add_subcommand("merge", "join what other stores have learnt into one");
  command->add_option("STORE", o.store, "the store that takes it, made when there is none")
      ->required()
      ->type_name("");
  command->add_option("OTHER", o.files, "stores of the same quantities; they stay as they are")
      ->type_name("");
  AddText(
      *command, "--from", [&o](const std::string& t) { o.plant = t; },
      "benches of this database, too (limes push)", "DATABASE");
  AddText(
      *command, "--bench", [&o](const std::string& t) { o.benches.push_back(t); },
      "of them this one only; may be repeated", "NAME");
  AddVariant(*command, o);
  command->add_flag("--json", o.json, "one JSON object per other store and line");
  AddFlag(*command, "--again", o.again, "join parts that are learnt here already once more");
  AddBecause(*command, o);
  return command;
}

CLI::App* AddPush(CLI::App& app, SOptions& o) {
  CLI::App* command =
      app.add_subcommand("push", "copy what a store holds to a database of many benches");
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  command
      ->add_option("DATABASE", o.plant, "postgresql://USER@HOST/NAME; the password from ~/.pgpass")
      ->required()
      ->type_name("");
  AddText(
      *command, "--bench", [&o](const std::string& t) { o.benches = {t}; },
      "its name there (HOST/name of the store)", "NAME");
  AddFlag(*command, "--anew", o.anew,
          "put aside what another store has pushed under this name, and begin anew");
  return command;
}

CLI::App* AddConvert(CLI::App& app, SOptions& o) {
  CLI::App* command = app.add_subcommand("convert", "write measurements as a table or as records");
  command->add_option("FILE", o.files, "measurements: CSV, WAV, signal records")
      ->required()
      ->type_name("");
  AddText(
      *command, "-o,--out", [&o](const std::string& t) { o.output = t; },
      "the file to write (standard output)", "OUT");
  Add(*command, "--to", o.format, recordings::FormatNames() + " (by the ending of OUT, else csv)",
      "FORMAT");
  AddForce(*command, o);
  AddReading(*command, o);
  AddSelection(*command, o);
  AddForming(*command, o);
  return command;
}

CLI::App* AddLearn(CLI::App& app, SOptions& o) {
  CLI::App* command = AddRun(app, o, "learn", "learn every part in the files as good");
  command->option_defaults()->group("Options");
  AddFlag(*command, "--again", o.again, "learn parts that are learnt already once more");
  AddModes(*command, o);
  AddPrecise(*command, o);
  command->add_flag_callback(
      "--no-precise", [&o] { o.precise = false; },
      "learn in single precision, also where that is too coarse");
  AddGuarding(*command, o);
  AddFlag(*command, "--allow-short", o.allowShort, "learn parts that cover less than --min-share");
  AddKeeping(*command, o);
  AddBecause(*command, o);
  return command;
}

CLI::App* AddShow(CLI::App& app, SOptions& o) {
  CLI::App* command = AddList(app, o, "show", "list the learnt quantities");
  AddVariant(*command, o);
  AddFlag(*command, "--runs", o.runs, "list the runs instead, with their numbers");
  AddFlag(*command, "--held", o.held, "list the parts that are held back from learning instead");
  AddFlag(*command, "--past", o.past, "list what was learnt before each rebase instead");
  AddFlag(*command, "--capability", o.capability,
          "show Cp, Cpk, Pp and Ppk of single values instead; needs --tolerance");
  AddTolerance(*command, o);
  return command;
}

CLI::App* AddGauge(CLI::App& app, SOptions& o) {
  CLI::App* command = app.add_subcommand("gauge", "tell whether a gauge is good enough");
  SGivenSettings& s = o.settings;
  command->add_option("FILE", o.files, "tables, one measurement per row")
      ->required()
      ->type_name("");
  AddTolerance(*command, o);
  Add(*command, "--part", s.partColumn, "column that names the part", "COLUMN");
  Add(*command, "--operator", o.person, "column that names who measured it", "COLUMN");
  Add(*command, "--reference", o.reference,
      "known value of the one part that was measured again and again", "V");
  command->add_flag("--json", o.json, "one JSON object per column of values and line");
  AddText(
      *command, "--use", [&s](const std::string& t) { s.use = SplitNames("--use", t); },
      "columns of values (the one other column)", "NAME,...");
  AddFlag(*command, "--no-header", s.noHeader, "no line of names; columns are called 1, 2, ...");
  AddWhere(*command, o);
  return command;
}

CLI::App* AddTest(CLI::App& app, SOptions& o) {
  CLI::App* command = AddRun(app, o, "test", "judge every part in the files");
  command->option_defaults()->group("Options");
  AddText(
      *command, "--report", [&o](const std::string& t) { o.output = t; },
      "write a page with plots of the worst parts, too", "FILE");
  AddFlag(*command, "--keep-going", o.keepGoing, "judge on after a file that cannot be used");
  AddFlag(*command, "--no-store", o.noStore, "leave the store as it is");
  AddKeeping(*command, o);
  AddForce(*command, o);
  return command;
}

CLI::App* AddCalibrate(CLI::App& app, SOptions& o) {
  CLI::App* command = AddRun(app, o, "calibrate",
                             "form the limits for a rate by good parts, each judged by others");
  command->get_option("FILE")->required(false);
  command->option_defaults()->group("Options");
  Add(*command, "--group", o.group, "leave out parts with the same text there together", "COLUMN");
  AddFlag(*command, "--frozen", o.frozen, "judge further parts by what is learnt");
  AddBecause(*command, o);
  command->footer("Without files the learnt parts that the store keeps are taken.");
  return command;
}

CLI::App* AddPlot(CLI::App& app, SOptions& o) {
  CLI::App* command =
      app.add_subcommand("plot", "draw a learnt quantity as SVG, and parts over it");
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  command->add_option("QUANTITY", o.quantity, "its name in the store")->required()->type_name("");
  command
      ->add_option(
          "PART", o.files,
          "judged parts, or files of measurements, drawn over the limit as they are judged")
      ->type_name("");
  AddVariant(*command, o);
  AddText(
      *command, "-o,--out", [&o](const std::string& t) { o.output = t; },
      "the file to write (standard output)", "OUT");
  AddForce(*command, o);
  AddSelection(*command, o);
  return command;
}

CLI::App* AddTune(CLI::App& app, SOptions& o) {
  CLI::App* command =
      AddList(app, o, "tune", "try other rules on the parts that a store has judged");
  AddVariant(*command, o);
  Add(*command, "--base", o.settings.base, "at this base (the store's)", "B");
  AddText(
      *command, "--reject",
      [&o](const std::string& t) { o.settings.reject = ParseShare("--reject", t); },
      "and for this rate (the store's)", "RATE");
  Add(*command, "--factor", o.settings.factor, "or with this factor (the store's)", "F");
  AddText(
      *command, "--sides", [&o](const std::string& t) { o.tunedSides = t; },
      "by these limits alone: upper, lower or both (the store's)", "SIDES");
  AddText(
      *command, "-o,--out", [&o](const std::string& t) { o.output = t; },
      "draw the shares over the factor, too", "FILE.svg");
  AddForce(*command, o);
  command->footer("limes set takes the choice over.");
  return command;
}

CLI::App* AddReport(CLI::App& app, SOptions& o) {
  CLI::App* command = AddList(app, o, "report", "list stored verdicts and defects");
  AddVariant(*command, o);
  AddText(
      *command, "--html", [&o](const std::string& t) { o.output = t; },
      "write a page with plots, verdicts and defects instead", "FILE");
  AddForce(*command, o);
  AddFlag(*command, "--all-runs", o.allRuns, "every verdict, not the latest one of each part");
  return command;
}

/// What is wrong with the command line, and where to read on.
std::string Explained(const CLI::App& app, const std::string& reason,
                      const std::vector<std::string>& arguments) {
  if (const auto chosen = app.get_subcommands(); !chosen.empty()) {
    return "limes: " + Escaped(reason) + "\nlimes " + chosen[0]->get_name() +
           " --help lists all options\n";
  }
  const bool named = !arguments.empty() && !arguments[0].starts_with('-');
  std::string text =
      named ? "there is no command " + Quoted(arguments[0]) : std::string("a command is needed");
  text += "\nthe commands are";
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    text += " " + command->get_name();
  }
  return "limes: " + text + "; see limes --help\n";
}

SParsed Parse(CLI::App& app, SParsed& parsed, const std::vector<std::string>& arguments) {
  std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
  try {
    app.parse(reversed);
    parsed.run = true;
  } catch (const CLI::ParseError& e) {
    std::ostringstream out;
    std::ostringstream err;
    const int code = app.exit(e, out, err);
    parsed.exitCode = code == 0 ? 0 : static_cast<int>(ExitCode::kUsage);
    parsed.message = code == 0 ? out.str() : Explained(app, e.what(), arguments);
    parsed.run = false;
  } catch (const CUsageError& e) {
    parsed.exitCode = static_cast<int>(ExitCode::kUsage);
    parsed.message = Explained(app, e.what(), arguments);
    parsed.run = false;
  }
  return parsed;
}

}  // namespace

SGivenSettings SettingsWithSkip(const SOptions& options, const NoteTaker& note) {
  SGivenSettings settings = options.settings;
  if (!settings.skip) {
    settings.skip.emplace();
    for (const SCondition& condition : options.where) {
      settings.skip->push_back(condition.column);
    }
    const std::string first = ExpandFolders(options.files).at(0);
    const SSettings resolved = Resolve(settings, std::nullopt, true);
    for (const auto& [name, words] : IdentifyingColumns(first, resolved, options.where)) {
      settings.skip->push_back(name);
      note("column " + Quoted(name) + " holds " +
           (words ? "words" : "whole numbers that rise from row to row") +
           ": it names the parts and is not measured (to measure it, list it in --use with the "
           "other columns)");
    }
  }
  return settings;
}

unsigned JobsOf(const SOptions& options) {
  return options.jobs.value_or(std::max(std::thread::hardware_concurrency(), 1U));
}

SParsed ParseCommandLine(const std::vector<std::string>& arguments) {
  SParsed parsed;
  SOptions& o = parsed.options;
  CLI::App app("limes learns limits from measurements of good parts and judges new parts by them.",
               "limes");
  app.set_version_flag("--version", "limes " LIMES_VERSION_STRING);
  app.require_subcommand(1);
  app.footer(
      "limes COMMAND --help lists the options of a command.\n"
      "Exit codes: 0 done, all parts OK; 1 a part NOK or not judged; 2 wrong command line;\n"
      "3 a measurement that cannot be used; 4 store, input or output failed.");
  CLI::App* demo = nullptr;
  const std::pair<CLI::App*, Command> commands[] = {
      {AddLearn(app, o), Command::kLearn},
      {AddTest(app, o), Command::kTest},
      {AddShow(app, o), Command::kShow},
      {AddReport(app, o), Command::kReport},
      {AddMerge(app, o), Command::kMerge},
      {AddPush(app, o), Command::kPush},
      {AddConvert(app, o), Command::kConvert},
      {AddPlot(app, o), Command::kPlot},
      {AddForget(app, o), Command::kForget},
      {AddSet(app, o), Command::kSet},
      {AddTune(app, o), Command::kTune},
      {AddGauge(app, o), Command::kGauge},
      {AddHeld(app, o, "accept", "learn parts that were held back, after all", true),
       Command::kAccept},
      {AddHeld(app, o, "rebase", "begin anew from parts held back, all or those named", false),
       Command::kRebase},
      {AddCalibrate(app, o), Command::kCalibrate},
      {AddWatch(app, o), Command::kWatch},
      {AddServe(app, o), Command::kServe},
      {AddLog(app, o), Command::kLog},
      {AddPrune(app, o), Command::kPrune},
      {demo = app.add_subcommand("demo", "learn and judge the parts of a simulated bench"),
       Command::kDemo}};
  demo->add_option("DIR", o.demoFolder, "folder for its files (a temporary one)")->type_name("");
  AddFlag(*demo, "--live", o.live, "serve a simulated bench that runs until it is ended");
  AddPort(*demo, o);
  AddForce(*demo, o);
  for (const auto& [command, kind] : commands) {
    AddFlag(*command, "--quiet", o.quiet, "no warnings and no progress");
  }
  Parse(app, parsed, arguments);
  if (parsed.run) {
    o.command = std::find_if(std::begin(commands), std::end(commands), [](const auto& command) {
                  return command.first->parsed();
                })->second;
  }
  return parsed;
}

}  // namespace limes::host
