#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "apps/limes/commands/options.h"

namespace limes::host {

// What the texts of options mean. Each throws CUsageError that names the option.

/// Names between commas, at least one.
std::vector<std::string> SplitNames(const char* option, const std::string& text);

/// "COLUMN=VALUE".
SCondition ParseCondition(const std::string& text);

/// "product,gear" or "product=A,gear=3", names or values of what tells variants apart; without
/// names only where filters are meant.
void ParseVariant(const std::string& text, SOptions& options, bool names);

/// "1%" or "0.01".
double ParseShare(const char* option, const std::string& text);

/// "3", "0" or "auto", which is kAutoModes.
std::int32_t ParseModes(const std::string& text);

/// "90d", "12h" or "8w", at most 100 years.
std::chrono::milliseconds ParseAge(const char* option, const std::string& text);

/// "0.5", seconds of at most a day.
std::chrono::milliseconds ParseSeconds(const char* option, const std::string& text);

/// "6:00,14:00,22:00", as minutes of the day, rising.
std::vector<int> ParseShifts(const std::string& text);

/// "1024", or a resolution as "12.5Hz".
void ParseSpectrum(const std::string& text, SGivenSettings& settings);

/// "fast", "slow" or seconds.
double ParseTimeConstant(const std::string& text);

/// "K:I", every K-th part from I on.
void ParseEvery(const std::string& text, SSelection& selection);

/// "A-B", "A-" or "A", from 1.
void ParseParts(const std::string& text, SSelection& selection);

}  // namespace limes::host
