#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace limes::host {

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

/// Names the file, the line where there is one, and the reason.
struct CInputError : CHostError {
  CInputError(const std::string& file, const std::string& reason)
      : CHostError(ExitCode::kBadInput, file + ": " + reason) {}
  CInputError(const std::string& file, std::uint64_t line, const std::string& reason)
      : CHostError(ExitCode::kBadInput, file + ":" + std::to_string(line) + ": " + reason) {}
};

}  // namespace limes::host
