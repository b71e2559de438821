#pragma once

#include <string>
#include <vector>

#include "apps/limes/measurement/learnt.h"

namespace limes::host {

/// "1 part", "2 parts".
std::string Count(std::int64_t n, const std::string& what);

/// Why there is no limit for a rate, and what to do: too few scores, or it would be too wide.
std::string NoLimitText(double rate, std::int64_t learnt, std::int64_t scores);

/// The same for a share to cover, with a confidence.
std::string NoCoverText(double cover, double sure, std::int64_t learnt);

/// Parts to learn, in all, before a rate can be promised.
std::int64_t PartsNeeded(double rate, std::int64_t learnt, std::int64_t scores);

/// That one part alone widens the limits, and what to do.
std::string LoneText(const SPromise& promise);

/// What the limits do to good parts, one statement a line.
std::vector<std::string> PromiseTexts(const SPromise& promise);

}  // namespace limes::host
