// Command lines, one argument per line; what is accepted must survive the store unchanged.
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "apps/limes/errors.h"
#include "apps/limes/options.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace limes::host;
  std::istringstream in(std::string(reinterpret_cast<const char*>(data), size));
  std::vector<std::string> arguments;
  for (std::string line; std::getline(in, line);) {
    arguments.push_back(line);
  }
  const SParsed parsed = ParseCommandLine(arguments);
  if (!parsed.run) {
    return 0;
  }
  try {
    const SSettings settings = Resolve(parsed.options.settings, parsed.options.settings, true);
    Validate(settings);
    const std::string text = SettingsToText(settings);
    if (SettingsToText(SettingsFromText(text)) != text) {
      std::abort();
    }
    Resolve(parsed.options.settings, SettingsFromText(text), true);
  } catch (const CUsageError&) {
  }
  return 0;
}
