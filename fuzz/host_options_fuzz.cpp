// Command lines, one argument per line; what is accepted must survive the store unchanged.
#include <sstream>
#include <string>

#include "apps/limes/commands/options.h"
#include "apps/limes/errors.h"
#include "fuzz/fuzz.h"

void limes::fuzz::Try(Input input) {
  using namespace limes::host;
  std::istringstream in{std::string(TextOf(input))};
  std::vector<std::string> arguments;
  for (std::string line; std::getline(in, line);) {
    arguments.push_back(line);
  }
  const SParsed parsed = ParseCommandLine(arguments);
  if (!parsed.run) {
    return;
  }
  try {
    const SSettings settings = Resolve(parsed.options.settings, std::nullopt, true);
    const std::string text = SettingsToText(settings);
    Require(SettingsToText(SettingsFromText(text)) == text);
    Resolve(parsed.options.settings, SettingsFromText(text), true);
  } catch (const CUsageError&) {
  }
}
