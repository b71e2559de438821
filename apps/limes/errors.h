#pragma once

#include <stdexcept>
#include <string>

#include "recordings/errors.h"

namespace limes::host {

// What is read is spoken of throughout: parts, quantities, units, and why a file cannot be used.
using namespace limes::recordings;

/// What the program ends with; part of its contract with scripts.
enum class ExitCode {
  kAllGood = 0,
  kNotGood = 1,   ///< at least one part is NOK or could not be judged
  kUsage = 2,     ///< the command line, or an option that contradicts the store
  kBadInput = 3,  ///< a measurement that cannot be used
  kStore = 4      ///< the store or an input or output failed
};

/// Ends a command with a message on standard error. Thrown within the host only.
class CHostError : public std::runtime_error {
 public:
  CHostError(ExitCode code, const std::string& message)
      : std::runtime_error(message), code_(code) {}
  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

struct CUsageError : CHostError {
  explicit CUsageError(const std::string& message) : CHostError(ExitCode::kUsage, message) {}
};

struct CStoreError : CHostError {
  explicit CStoreError(const std::string& message) : CHostError(ExitCode::kStore, message) {}
};

/// The store is no longer where it was: nothing can be stored until the command is begun anew.
struct CStoreMoved : CStoreError {
  using CStoreError::CStoreError;
};

}  // namespace limes::host
