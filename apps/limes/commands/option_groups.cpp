#include "apps/limes/commands/option_groups.h"

#include <algorithm>
#include <utility>

#include "apps/limes/commands/option_values.h"

namespace limes::host {

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

void AddVariant(CLI::App& app, SOptions& o) {
  AddText(
      app, "--variant", [&o](const std::string& t) { ParseVariant(t, o, false); },
      "only variants with these values", "NAME=VALUE,...");
}

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

void AddFlag(CLI::App& app, const std::string& name, bool& target, const std::string& help) {
  app.add_flag_callback(
      name, [&target] { target = true; }, help);
}

void AddForce(CLI::App& app, SOptions& o) {
  AddFlag(app, "--force", o.force, "replace files that this program did not write");
}

void AddBecause(CLI::App& app, SOptions& o) {
  AddText(
      app, "--because", [&o](const std::string& t) { o.reason = t; },
      "the reason, for the history (limes log)", "TEXT");
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

void AddPort(CLI::App& app, SOptions& o) {
  app.add_option("--port", o.serve.port, "port of the page (8017; 0: any that is free)")
      ->type_name("P")
      ->check(CLI::Range(0, 65535));
}

void AddTolerance(CLI::App& app, SOptions& o) {
  AddText(
      app, "--tolerance", [&o](const std::string& t) { o.tolerances.Add(t); },
      "limits to keep, LOW: or :HIGH where there is one; NAME=LOW:HIGH for one quantity",
      "LOW:HIGH");
}

}  // namespace limes::host
