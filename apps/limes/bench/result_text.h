#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/limes/store/store.h"

namespace limes::host {

/// "2024-02-29T12:34:56.789Z".
std::string TimeOf(std::int64_t milliseconds);

/// A verdict as a JSON object, as `test --json` prints it.
std::string VerdictLine(const SPartVerdict& verdict);

/// The results of a file, one JSON object each: its parts, and why it could not be used, or not to
/// its end. path: of the file; repeated: they may have been told before.
std::vector<std::string> ResultLines(const SArrival& arrival, const std::string& path,
                                     const std::vector<SPartVerdict>& verdicts, bool repeated);

/// The parts that were judged of a file. Throws CStoreError.
std::vector<SPartVerdict> JudgedOf(CStore& store, const SArrival& arrival);

}  // namespace limes::host
