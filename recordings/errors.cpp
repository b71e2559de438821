#include "recordings/errors.h"

#include "recordings/text.h"

namespace limes::recordings {

CReadError::CReadError(const std::string& text) : std::runtime_error(Escaped(text)) {}

CInputError::CInputError(const std::string& file, const std::string& reason)
    : CReadError(file + ": " + reason) {}

CInputError::CInputError(const std::string& file, std::uint64_t line, const std::string& reason)
    : CReadError(file + ":" + std::to_string(line) + ": " + reason) {}

COpenError::COpenError(const std::string& file, const std::string& reason)
    : CReadError(file + ": cannot be opened: " + reason) {}

}  // namespace limes::recordings
