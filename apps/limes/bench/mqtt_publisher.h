#pragma once

#include <memory>

#include "apps/limes/bench/bench_settings.h"
#include "apps/limes/bench/publisher.h"

namespace limes::host {

/// Publishes by MQTT with quality of service 1, in a thread of its own; connects again and again
/// while the broker is away. Throws CUsageError for settings that cannot be used, and when the
/// program was built without MQTT.
std::unique_ptr<CPublisher> MakeMqttPublisher(const SMqttSettings& settings);

}  // namespace limes::host
