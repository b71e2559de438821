// Variants: names, a pattern of file names, a file and what is given for all parts, a line each.
#include <sstream>
#include <string>

#include "fuzz/fuzz.h"
#include "recordings/variant.h"

void limes::fuzz::Try(Input input) {
  using namespace limes::recordings;
  const unsigned way = TakeByte(input);
  std::istringstream lines{std::string(TextOf(input))};
  std::string pattern;
  std::string path;
  std::string given;
  std::getline(lines, pattern);
  std::getline(lines, path);
  std::getline(lines, given);
  SReadSettings settings;
  for (std::string name; std::getline(lines, name);) {
    settings.variant.push_back(name);
  }
  if ((way & 1U) != 0) {
    settings.variantPattern = pattern;
  }
  if (!FaultOfVariant(settings.variant, settings.variantPattern).empty()) {
    return;
  }
  SVariant variant;
  if ((way & 2U) != 0) {
    variant.values.assign(settings.variant.size(), "x");
  }
  TellVariant(settings, ValuesOf(given), path, variant);
  Require(settings.variant.empty() || variant.fault.empty() != variant.name.empty());
  if (!variant.name.empty()) {
    Require(IsVariant(variant.name, settings.variant, ValuesOf(variant.name)));
    Require(ValuesOf(variant.name).size() == settings.variant.size());
  }
}
