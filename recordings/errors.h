#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace limes::recordings {

/// A measurement that cannot be read: the text names the file, the line where there is one, and the
/// reason. It is escaped, so that no name in it forges a line.
class CReadError : public std::runtime_error {
 protected:
  explicit CReadError(const std::string& text);
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
