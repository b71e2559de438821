#include "apps/limes/commands/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <thread>

#include "apps/limes/commands/option_values.h"
#include "apps/limes/errors.h"
#include "limes/version.h"
#include "recordings/part_writer.h"
#include "recordings/tables/identification.h"
#include "recordings/text.h"

namespace limes::host {
namespace {

/// Every option takes exactly one text, so that none swallows the file names behind it.
template <class T>
CLI::Option* Add(CLI::App& app, const std::string& name, std::optional<T>& target,
                 const std::string& help, const std::string& what) {
  return app
      .add_option_function<T>(
          name, [&target](const T& value) { target = value; }, help)
      ->type_name(what);
}

void AddText(CLI::App& app, const std::string& name, std::function<void(const std::string&)> take,
             const std::string& help, const std::string& what) {
  app.add_option(
         name,
         [take = std::move(take)](const CLI::results_t& texts) {
           std::for_each(texts.begin(), texts.end(), take);
           return true;
         },
         help)
      ->type_name(what)
      ->type_size(1)
      ->expected(1)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void AddFlag(CLI::App& app, const std::string& name, std::optional<bool>& target,
             const std::string& help) {
  app.add_flag_callback(
      name, [&target] { target = true; }, help);
}

/// Which variants are meant.
void AddVariant(CLI::App& app, SOptions& o) {
  AddText(
      app, "--variant", [&o](const std::string& t) { ParseVariant(t, o, false); },
      "only variants with these values", "NAME=VALUE,...");
}

/// Which variant parts are.
void AddVariantOfParts(CLI::App& app, SOptions& o) {
  AddText(
      app, "--variant", [&o](const std::string& t) { ParseVariant(t, o, true); },
      "learn and judge each variant by itself: columns or fields that tell them apart, or the "
      "variant of all parts",
      "NAME[=VALUE],...");
  AddText(
      app, "--variant-pattern", [&o](const std::string& t) { o.settings.variantPattern = t; },
      "names of files, with the fields of --variant, such as {product}_{gear}_{serial}.wav",
      "PATTERN");
}

void AddReading(CLI::App& app, SOptions& o) {
  SGivenSettings& s = o.settings;
  app.option_defaults()->group("How files are read");
  AddFlag(app, "--rows", s.rows, "CSV: one curve per row");
  AddFlag(app, "--values", s.values, "CSV: one part per row, each cell a single value");
  AddText(
      app, "--long", [&s](const std::string& t) { s.longForm = SplitNames("--long", t); },
      "CSV: a row per point, with these columns", "PART,X,Y");
  AddText(
      app, "--table", [&s](const std::string& t) { s.table = SplitNames("--table", t); },
      "CSV: how it is written, such as semicolon,decimal-comma", "WORD,...");
  AddFlag(app, "--no-header", s.noHeader, "CSV: no line of names; columns are called 1, 2, ...");
  Add(app, "--x", s.xFrom, "column or channel that holds x", "NAME");
  Add(app, "--x0", s.x0, "x of the first sample (the file's, else 0)", "X");
  Add(app, "--dx", s.dx, "step of x; CSV columns: there is no x column", "D");
  Add(app, "--x-unit", s.xUnit, "unit of x where the file names none", "UNIT");
  Add(app, "--unit", s.unit, "unit of the values, instead of the file's", "UNIT");
  Add(app, "--name", s.name, "name of the quantity where the file has none", "NAME");
  AddText(
      app, "--use", [&s](const std::string& t) { s.use = SplitNames("--use", t); },
      "take these quantities only", "NAME,...");
  AddText(
      app, "--skip", [&s](const std::string& t) { s.skip = SplitNames("--skip", t); },
      "columns that hold no values (those of --where)", "NAME,...");
  Add(app, "--first-value", s.firstValue, "first column of the values", "NAME");
  Add(app, "--part-column", s.partColumn, "rows with the same text there are one part", "NAME");
  Add(app, "--quantity-column", s.quantityColumn, "names the quantity of a row", "NAME");
  Add(app, "--scale", s.scale, "factor from the file's numbers to the unit", "F");
  Add(app, "--label-column", s.labelColumn, "column with the known verdict", "NAME");
  Add(app, "--good", s.good, "label of good parts; only these are learnt (good)", "LABEL");
  AddVariantOfParts(app, o);
  Add(app, "--jobs", o.jobs, "threads that read and form (one per processor)", "N")
      ->check(CLI::Range(1U, 1024U));
}

void AddWhere(CLI::App& app, SOptions& o) {
  AddText(
      app, "--where", [&o](const std::string& t) { o.where.push_back(ParseCondition(t)); },
      "rows with this cell only; may be repeated", "COLUMN=VALUE");
}

void AddSelection(CLI::App& app, SOptions& o) {
  app.option_defaults()->group("Which parts are taken");
  AddWhere(app, o);
  AddText(
      app, "--every", [&o](const std::string& t) { ParseEvery(t, o.selection); },
      "of the parts, counted from 0: I, I+K, ...", "K:I");
  AddText(
      app, "--parts", [&o](const std::string& t) { ParseParts(t, o.selection); },
      "of the parts, counted from 1: A to B", "A-B");
}

void AddForming(CLI::App& app, SOptions& o) {
  SGivenSettings& s = o.settings;
  app.option_defaults()->group("How quantities are formed");
  Add(app, "--cut", s.cut, "split a recording into parts of L samples", "L");
  AddFlag(app, "--detrend", s.detrend, "subtract the mean of each signal");
  AddText(
      app, "--spectrum", [&s](const std::string& t) { ParseSpectrum(t, s); },
      "level spectrum with segments of N samples, or of a resolution such as 12.5Hz", "N");
  Add(app, "--bands", s.bands, "levels of octave (1) or third-octave (3) bands", "1|3");
  AddText(
      app, "--level", [&s](const std::string& t) { s.level = ParseTimeConstant(t); },
      "level over time: fast, slow or a time constant in s", "TIME");
  AddText(
      app, "--single", [&s](const std::string& t) { s.single = SplitNames("--single", t); },
      "single values: rms, peak, crest, kurtosis, or LOW:HIGH, the level of a band in Hz",
      "NAME,...");
  Add(app, "--weighting", s.weighting, "weight frequencies by curve A or C first", "A|C");
  Add(app, "--envelope", s.envelope, "envelope of the band LOW to HIGH in Hz first", "LOW:HIGH");
  Add(app, "--orders", s.orders, "level spectrum over orders up to MOST", "STEP:MOST");
  AddText(
      app, "--order-cuts",
      [&s](const std::string& t) { s.orderCuts = SplitNames("--order-cuts", t); },
      "levels of these orders over speed instead", "ORDER,...");
  Add(app, "--speed", s.speed, "channel of the speed, or of pulses", "NAME");
  Add(app, "--pulses", s.pulses, "pulses of that channel per revolution", "N");
  AddFlag(app, "--tracks", s.tracks, "each part covers its own range of x");
  Add(app, "--ref", s.ref, "reference of decibels, in the unit (1; Pa: 2e-5)", "R");
}

void AddRule(CLI::App& app, SOptions& o) {
  SGivenSettings& s = o.settings;
  app.option_defaults()->group("Rule: limit = base + mean + factor * spread");
  Add(app, "--base", s.base, "constant part of the limit, in the unit (0)", "B");
  AddText(
      app, "--reject", [&s](const std::string& t) { s.reject = ParseShare("--reject", t); },
      "share of good parts that is rejected, which the factor follows from (1%)", "RATE");
  Add(app, "--factor", s.factor, "weight of the spread, instead of --reject", "F");
  AddText(
      app, "--cover", [&s](const std::string& t) { s.cover = ParseShare("--cover", t); },
      "share of Normal values within each limit, instead of --reject", "SHARE");
  AddText(
      app, "--sure", [&s](const std::string& t) { s.sure = ParseShare("--sure", t); },
      "confidence of --cover (95%)", "SHARE");
  Add(app, "--width", s.width, "half-width of the running maximum along x (0)", "W");
  Add(app, "--time-scale", s.timeScale, "memory of the means, in parts (10000; tracks: 200)", "T");
  Add(app, "--min-parts", s.minParts, "fewer learnt parts judge nothing (3)", "N");
  Add(app, "--min-share", s.minShare, "least judged share for an OK (0.9; tracks: 0.5)", "P");
  Add(app, "--own-from", s.ownFrom,
      "with fewer parts learnt a variant is judged by the limit of all variants (20)", "N");
  AddFlag(app, "--one-per-curve", s.onePerCurve,
          "one defect per curve, not one per region beyond the limit");
  Add(app, "--sides", s.sides, "upper, lower or both (both)", "SIDES");
}

void AddGuarding(CLI::App& app, SOptions& o) {
  SGivenSettings& s = o.settings;
  AddFlag(app, "--guard", s.guard, "hold back parts that good ones do not explain");
  app.add_flag_callback(
      "--no-guard", [&s] { s.guard = false; }, "learn all parts");
  Add(app, "--drift", s.drift, "parts between false alarms of drift (10000; 0: no alarm)", "N");
}

void AddKeeping(CLI::App& app, SOptions& o) {
  Add(app, "--keep-curves", o.settings.keepCurves,
      "MB of curves of judged parts that stay in the store (50; 0: none)", "MB");
}

void AddModes(CLI::App& app, SOptions& o) {
  AddText(
      app, "--modes", [&o](const std::string& t) { o.modes = ParseModes(t); },
      "judge what K common modes of good parts leave; auto finds K and --whole (0)", "K");
  app.add_flag_callback(
      "--whole", [&o] { o.whole = true; }, "judge how far all points lie out together, too");
  app.add_flag_callback(
      "--no-whole", [&o] { o.whole = false; }, "judge point by point");
}

void AddPrecise(CLI::App& app, SOptions& o) {
  app.add_flag_callback(
      "--precise", [&o] { o.precise = true; },
      "learn curves in double precision, for ever alike, without --time-scale and --width");
}

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

void AddFlag(CLI::App& app, const std::string& name, bool& target, const std::string& help) {
  app.add_flag_callback(
      name, [&target] { target = true; }, help);
}

void AddForce(CLI::App& app, SOptions& o) {
  AddFlag(app, "--force", o.force, "replace files that this program did not write");
}

CLI::App* AddList(CLI::App& app, SOptions& o, const char* name, const char* help) {
  CLI::App* command = app.add_subcommand(name, help);
  command->add_option("STORE", o.store, "the store, one file")->required()->type_name("");
  command->add_flag("--json", o.json, "one JSON object per line");
  return command;
}

/// Why, for the history of the store.
void AddBecause(CLI::App& app, SOptions& o) {
  AddText(
      app, "--because", [&o](const std::string& t) { o.reason = t; },
      "the reason, for the history (limes log)", "TEXT");
}

CLI::App* AddLog(CLI::App& app, SOptions& o) {
  return AddList(app, o, "log", "list who changed what was learnt, or the rule, when and why");
}

void AddWatching(CLI::App& app, SOptions& o) {
  SWatchSettings& w = o.watch;
  const auto text = [&app](const char* name, std::string& target, const char* help,
                           const char* what) {
    AddText(
        app, name, [&target](const std::string& t) { target = t; }, help, what);
  };
  AddVariantOfParts(app, o);
  app.option_defaults()->group("What is done with files that came");
  text("--done", w.done, "move them to this folder when they are judged", "FOLDER");
  AddFlag(app, "--beside", w.beside, "write the results of each beside it, to FILE.limes.json");
  AddFlag(app, "--learn-ok", w.learns, "learn parts that are OK, unless the guard holds them back");
  AddText(
      app, "--still", [&w](const std::string& t) { w.still = ParseSeconds("--still", t); },
      "a file is whole when it has not changed for so long (1)", "SECONDS");
  app.add_flag_callback(
      "--poll", [&w] { w.notified = false; }, "look for files only, as network folders need it");
  app.option_defaults()->group("MQTT");
  SMqttSettings& m = o.mqtt;
  text("--mqtt", m.broker, "publish the results there, with quality of service 1", "HOST[:PORT]");
  text("--topic", m.topic, "under this topic (limes/results)", "TOPIC");
  text("--mqtt-user", m.user, "the name to log in with", "NAME");
  text("--mqtt-password", m.passwordFile, "file whose first line is the password", "FILE");
  text("--mqtt-tls", m.authorities, "use TLS; file of the certificates that sign the broker's",
       "FILE");
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

void AddPort(CLI::App& app, SOptions& o) {
  app.add_option("--port", o.serve.port, "port of the page (8017; 0: any that is free)")
      ->type_name("P")
      ->check(CLI::Range(0, 65535));
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

void AddTolerance(CLI::App& app, SOptions& o) {
  AddText(
      app, "--tolerance", [&o](const std::string& t) { o.tolerances.Add(t); },
      "limits to keep, LOW: or :HIGH where there is one; NAME=LOW:HIGH for one quantity",
      "LOW:HIGH");
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
