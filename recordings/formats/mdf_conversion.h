#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "recordings/formats/mdf_blocks.h"

namespace limes::recordings {

/// The rule that makes physical values of raw ones.
class CMdfConversion {
 public:
  /// By the link of a channel; 0: raw values. Nothing when the rule gives no numbers, of which
  /// reason then tells. Throws CInputError for a malformed one.
  static std::optional<CMdfConversion> Make(const CMdfFile& file, std::uint64_t link,
                                            std::string& reason);

  void Apply(std::span<double> values, bool integers) const;

  /// Of the physical values; empty where the rule changes nothing.
  const std::string& Unit() const { return unit_; }

 private:
  double Table(double raw, bool between) const;
  double Range(double raw, bool integers) const;

  unsigned type_ = 0;
  std::vector<double> v_;
  std::string unit_;
};

}  // namespace limes::recordings
