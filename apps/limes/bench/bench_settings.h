#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "recordings/read_settings.h"

namespace limes::host {

/// What is wanted of a folder that is watched.
struct SWatchSettings {
  std::string folder;
  std::string done;  ///< folder that judged files are moved to; empty: none
  std::chrono::milliseconds still{1000};
  bool notified = true;                           ///< see CFolderWatch
  bool beside = false;                            ///< a file with the results beside each recording
  bool learns = false;                            ///< parts that are OK
  std::vector<recordings::SCondition> variant{};  ///< what is given of the variant of all parts
  std::chrono::milliseconds batch{200};  ///< files are gathered for so long, then stored together
};

/// Where results are published by MQTT.
struct SMqttSettings {
  std::string broker;  ///< HOST or HOST:PORT
  std::string topic = "limes/results";
  std::string user;
  std::string passwordFile;  ///< its first line; empty: none
  std::string authorities;   ///< file of certificates that the broker's is signed by; empty: no TLS
};

/// How a bench is served.
struct SServeSettings {
  std::string address = "127.0.0.1";
  int port = 8017;
  std::string tokenFile;       ///< its first line is asked for; empty: none, on this computer only
  bool allowsActions = false;  ///< pages may accept and forget held parts, and send recordings
  std::vector<recordings::SCondition> variant{};  ///< what is given of the variant of all parts
  std::vector<int> shifts{};  ///< when they begin, in minutes of the day, rising; empty: none
  std::size_t mostConnections = 1200;
};

}  // namespace limes::host
