#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace limes::host {

/// Hands results on to others, who may be away for long. What was handed over is kept until it was
/// taken, in the order given.
class CPublisher {
 public:
  virtual ~CPublisher() = default;

  /// How many more messages it takes now; 0 while nobody is there.
  virtual std::size_t Room() = 0;

  /// Messages under one number.
  virtual void Publish(std::int64_t number, const std::vector<std::string>& texts) = 0;

  /// The numbers whose messages have all arrived since the last call.
  virtual std::vector<std::int64_t> TakeArrived() = 0;

  /// What a person should know since the last call.
  virtual std::vector<std::string> TakeNews() = 0;
};

}  // namespace limes::host
