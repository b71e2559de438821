#include "limes/learning/signal_health.h"

#include <algorithm>

namespace limes {

const wide_char* Text(SignalHealth health) {
  switch (health) {
    case SignalHealth::kUnknown:
      return u"unknown";
    case SignalHealth::kHealthy:
      return u"healthy";
    case SignalHealth::kSilent:
      return u"silent";
    case SignalHealth::kConstant:
      return u"constant";
    case SignalHealth::kClipped:
      return u"clipped";
  }
  return u"";
}

SignalHealth HealthOf(std::span<const float> samples) {
  if (samples.size() < 2) {
    return SignalHealth::kUnknown;
  }
  const float first = samples.front();
  if (std::all_of(samples.begin(), samples.end(), [first](float x) { return x == first; })) {
    return first == 0.0F ? SignalHealth::kSilent : SignalHealth::kConstant;
  }
  return SignalHealth::kHealthy;
}

}  // namespace limes
