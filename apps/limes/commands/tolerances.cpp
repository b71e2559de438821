#include "apps/limes/commands/tolerances.h"

#include <algorithm>

#include "apps/limes/errors.h"
#include "recordings/text.h"

namespace limes::host {

void CTolerances::Add(const std::string& text) {
  const auto equals = text.rfind('=');  // numbers have none
  SGiven given;
  if (equals != std::string::npos) {
    given.name = text.substr(0, equals);
  }
  const std::string limits = text.substr(equals == std::string::npos ? 0 : equals + 1);
  const auto colon = limits.find(':');
  const auto read = [&](const std::string& number, double& value) {
    return number.empty() || ParseNumber(number, value);
  };
  if (colon == std::string::npos || limits.size() == 1 ||
      !read(limits.substr(0, colon), given.limits.low) ||
      !read(limits.substr(colon + 1), given.limits.high) ||
      !(given.limits.low < given.limits.high)) {
    throw CUsageError("--tolerance needs LOW:HIGH, LOW: or :HIGH with LOW < HIGH, not " +
                      Quoted(text));
  }
  if (std::any_of(given_.begin(), given_.end(),
                  [&](const SGiven& other) { return other.name == given.name; })) {
    throw CUsageError("there are two tolerances for " +
                      (given.name ? Quoted(*given.name) : std::string("all quantities")));
  }
  given_.push_back(std::move(given));
}

std::optional<STolerance> CTolerances::Of(std::string_view quantity) const {
  std::optional<STolerance> found;
  for (const SGiven& given : given_) {
    if (given.name ? *given.name == quantity : !found) {
      found = given.limits;
    }
  }
  return found;
}

void CTolerances::CheckNames(const std::vector<std::string>& quantities) const {
  for (const SGiven& given : given_) {
    if (given.name &&
        std::find(quantities.begin(), quantities.end(), *given.name) == quantities.end()) {
      throw CUsageError("--tolerance: there is no quantity " + Quoted(*given.name));
    }
  }
}

}  // namespace limes::host
