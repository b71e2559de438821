#pragma once

#include <memory>
#include <string>

#include "apps/limes/bench/publisher.h"

namespace limes::host {

/// Where results are published by MQTT.
struct SMqttSettings {
  std::string broker;  ///< HOST or HOST:PORT
  std::string topic = "limes/results";
  std::string user;
  std::string passwordFile;  ///< its first line; empty: none
  std::string authorities;   ///< file of certificates that the broker's is signed by; empty: no TLS
};

/// Publishes by MQTT with quality of service 1, in a thread of its own; connects again and again
/// while the broker is away. Throws CUsageError for settings that cannot be used, and when the
/// program was built without MQTT.
std::unique_ptr<CPublisher> MakeMqttPublisher(const SMqttSettings& settings);

}  // namespace limes::host
