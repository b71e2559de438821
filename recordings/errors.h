#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace limes::recordings {

/// A measurement that cannot be read: the text names the file, the line where there is one, and the
/// reason.
class CReadError : public std::runtime_error {
 protected:
  using std::runtime_error::runtime_error;
};

/// What the file holds cannot be used.
class CInputError : public CReadError {
 public:
  CInputError(const std::string& file, const std::string& reason);

  /// line: from 1.
  CInputError(const std::string& file, std::uint64_t line, const std::string& reason);
};

/// The file is not there or may not be read.
class COpenError : public CReadError {
 public:
  COpenError(const std::string& file, const std::string& reason);
};

}  // namespace limes::recordings
