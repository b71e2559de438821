#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>

#include "apps/limes/commands/options.h"

namespace limes::host {

// Options that several commands share, added to one of them; what is given goes to the record,
// which must outlive the parser.

/// Every option takes exactly one text, so that none swallows the file names behind it.
template <class T>
CLI::Option* Add(CLI::App& app, const std::string& name, std::optional<T>& target,
                 const std::string& help, const std::string& what) {
  return app
      .add_option_function<T>(
          name, [&target](const T& value) { target = value; }, help)
      ->type_name(what);
}

/// The same; take is called with each text given and may throw CUsageError.
void AddText(CLI::App& app, const std::string& name, std::function<void(const std::string&)> take,
             const std::string& help, const std::string& what);

void AddFlag(CLI::App& app, const std::string& name, std::optional<bool>& target,
             const std::string& help);
void AddFlag(CLI::App& app, const std::string& name, bool& target, const std::string& help);

/// How measurements become parts: files, rows, quantities.
void AddReading(CLI::App& app, SOptions& o);
void AddWhere(CLI::App& app, SOptions& o);
void AddSelection(CLI::App& app, SOptions& o);
void AddForming(CLI::App& app, SOptions& o);

/// Which variants are meant.
void AddVariant(CLI::App& app, SOptions& o);
/// Which variant parts are.
void AddVariantOfParts(CLI::App& app, SOptions& o);

/// How limits follow from what is learnt, and what is learnt and kept.
void AddRule(CLI::App& app, SOptions& o);
void AddModes(CLI::App& app, SOptions& o);
void AddPrecise(CLI::App& app, SOptions& o);
void AddGuarding(CLI::App& app, SOptions& o);
void AddKeeping(CLI::App& app, SOptions& o);
void AddTolerance(CLI::App& app, SOptions& o);

/// What a bench that runs does with files and results.
void AddWatching(CLI::App& app, SOptions& o);
void AddPort(CLI::App& app, SOptions& o);

void AddForce(CLI::App& app, SOptions& o);
/// Why, for the history of the store.
void AddBecause(CLI::App& app, SOptions& o);

}  // namespace limes::host
