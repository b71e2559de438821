#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "limes/learning/tolerance.h"

namespace limes::host {

/// Tolerances as the command line gives them.
class CTolerances {
 public:
  /// "LOW:HIGH" for all quantities that have none of their own, or "NAME=LOW:HIGH"; one of the
  /// numbers may be missing. Throws CUsageError.
  void Add(const std::string& text);

  bool IsEmpty() const { return given_.empty(); }

  /// Empty where none is given.
  std::optional<STolerance> Of(std::string_view quantity) const;

  /// Throws CUsageError when one is for a quantity that is not among these.
  void CheckNames(const std::vector<std::string>& quantities) const;

 private:
  struct SGiven {
    std::optional<std::string> name;
    STolerance limits;
  };

  std::vector<SGiven> given_;
};

}  // namespace limes::host
