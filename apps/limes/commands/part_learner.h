#pragma once

#include <memory>
#include <string>

#include "apps/limes/commands/console.h"
#include "recordings/measurement.h"

namespace limes::host {

/// Learns good parts one by one, as `limes learn` learns those of files, in one run. Throws
/// CHostError and CInputError.
class CPartLearner {
 public:
  virtual ~CPartLearner() = default;

  /// Locks the store until Store.
  virtual void Learn(const SPart& part) = 0;

  /// Stores what was learnt and tells of it: what was learnt, held back, drifts.
  virtual void Store() = 0;
};

/// guards: parts that good ones do not explain are held back.
std::unique_ptr<CPartLearner> MakePartLearner(const std::string& store, bool guards,
                                              SConsole& console);

}  // namespace limes::host
