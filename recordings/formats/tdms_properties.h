#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "recordings/formats/byte_cursor.h"
#include "recordings/formats/number_format.h"

namespace limes::recordings {

/// Data types that are no numbers.
inline constexpr std::uint32_t kTdmsText = 0x20;
inline constexpr std::uint32_t kTdmsTime = 0x44;

/// Of the data types that are numbers; null for others.
const SNumberFormat* TdmsFormat(std::uint32_t type);

using TdmsProperties = std::map<std::string, std::variant<double, std::string>>;

/// Reads one property; it is kept when something asks for it.
void ReadTdmsProperty(CByteCursor& at, TdmsProperties& properties);

/// y = sum of coefficients times powers of x, of what the step before gave.
using Polynomial = std::vector<double>;

/// What a channel says, or its group.
class CTdmsLookUp {
 public:
  /// group: may be null. Both must outlive it.
  CTdmsLookUp(const TdmsProperties& channel, const TdmsProperties* group)
      : channel_(channel), group_(group) {}

  std::string Text(const std::string& name) const;
  std::optional<double> Number(const std::string& name) const;

  /// From raw to physical values, in the order in which they are applied. at, what: for messages.
  std::vector<Polynomial> Scales(const CByteCursor& at, const std::string& what) const;

 private:
  const std::variant<double, std::string>* Find(const std::string& name) const;
  Polynomial Scale(const CByteCursor& at, const std::string& what, const std::string& scale,
                   const std::string& kind) const;

  const TdmsProperties& channel_;
  const TdmsProperties* group_;
};

void ApplyScales(const std::vector<Polynomial>& scales, std::span<double> values);

}  // namespace limes::recordings
