#include "apps/limes/bench/mqtt_publisher.h"

#include "apps/limes/errors.h"

#ifdef LIMES_HAVE_MQTT

#include <mosquitto.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "recordings/text.h"

namespace limes::host {
namespace {

constexpr std::size_t kMostOnTheWay = 100;
constexpr int kPlainPort = 1883;
constexpr int kSecurePort = 8883;

struct SBroker {
  std::string host;
  int port = kPlainPort;
};

/// "HOST", "HOST:PORT" or "[ADDRESS]:PORT".
SBroker ParseBroker(const SMqttSettings& settings) {
  const std::string& text = settings.broker;
  SBroker broker{text, settings.authorities.empty() ? kPlainPort : kSecurePort};
  const std::size_t colon = text.rfind(':');
  const std::size_t bracket = text.rfind(']');
  const bool many = bracket == std::string::npos && colon != text.find(':');  // an IPv6 address
  if (colon != std::string::npos && !many && (bracket == std::string::npos || colon > bracket)) {
    broker.host = text.substr(0, colon);
    const char* end = text.data() + text.size();
    const auto [behind, error] = std::from_chars(text.data() + colon + 1, end, broker.port);
    if (error != std::errc() || behind != end || broker.port < 1 || broker.port > 65535) {
      throw CUsageError("--mqtt needs HOST or HOST:PORT, not " + Quoted(text));
    }
  }
  if (broker.host.starts_with('[') && broker.host.ends_with(']')) {
    broker.host = broker.host.substr(1, broker.host.size() - 2);
  }
  return broker;
}

std::string FirstLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line)) {
    throw CUsageError(path + ": no password can be read from it");
  }
  return line;
}

class CMqttPublisher : public CPublisher {
 public:
  explicit CMqttPublisher(const SMqttSettings& settings)
      : broker_(ParseBroker(settings)), topic_(settings.topic) {
    if (mosquitto_pub_topic_check(topic_.c_str()) != MOSQ_ERR_SUCCESS) {
      throw CUsageError("--topic " + Quoted(topic_) + " is no topic to publish to");
    }
    const std::string password =
        settings.passwordFile.empty() ? std::string() : FirstLine(settings.passwordFile);
    mosquitto_lib_init();
    client_.reset(mosquitto_new(nullptr, true, this));
    Check(client_ != nullptr ? MOSQ_ERR_SUCCESS : MOSQ_ERR_NOMEM);
    if (!settings.user.empty()) {
      Check(mosquitto_username_pw_set(client_.get(), settings.user.c_str(),
                                      password.empty() ? nullptr : password.c_str()));
    }
    if (!settings.authorities.empty()) {
      Check(mosquitto_tls_set(client_.get(), settings.authorities.c_str(), nullptr, nullptr,
                              nullptr, nullptr));
    }
    mosquitto_connect_callback_set(client_.get(), [](mosquitto*, void* self, int code) {
      static_cast<CMqttPublisher*>(self)->Connected(code);
    });
    mosquitto_disconnect_callback_set(client_.get(), [](mosquitto*, void* self, int code) {
      static_cast<CMqttPublisher*>(self)->Disconnected(code);
    });
    mosquitto_publish_callback_set(client_.get(), [](mosquitto*, void* self, int id) {
      static_cast<CMqttPublisher*>(self)->Arrived(id);
    });
    Check(mosquitto_threaded_set(client_.get(), true));
    thread_ = std::thread([this] { Run(); });
  }

  ~CMqttPublisher() override {
    {
      const std::lock_guard lock(mutex_);
      ends_ = true;
    }
    ending_.notify_all();
    mosquitto_disconnect(client_.get());
    thread_.join();
    client_.reset();
    mosquitto_lib_cleanup();
  }

  std::size_t Room() override {
    const std::lock_guard lock(mutex_);
    return connected_ ? kMostOnTheWay - std::min(kMostOnTheWay, onTheWay_.size()) : 0;
  }

  void Publish(std::int64_t number, const std::vector<std::string>& texts) override {
    // Held until the identifiers are known: answers may come at once.
    const std::lock_guard lock(mutex_);
    std::size_t open = 0;
    for (const std::string& text : texts) {
      int id = 0;
      const int code = mosquitto_publish(client_.get(), &id, topic_.c_str(),
                                         static_cast<int>(text.size()), text.data(), 1, false);
      if (code != MOSQ_ERR_SUCCESS) {  // it stays in the store; the next run tries again
        news_.push_back("MQTT: a result cannot be published: " +
                        std::string(mosquitto_strerror(code)));
        return;
      }
      onTheWay_[id] = number;
      open_[number] = ++open;
    }
  }

  std::vector<std::int64_t> TakeArrived() override {
    const std::lock_guard lock(mutex_);
    return std::exchange(arrived_, {});
  }

  std::vector<std::string> TakeNews() override {
    const std::lock_guard lock(mutex_);
    return std::exchange(news_, {});
  }

 private:
  struct SDestroy {
    void operator()(mosquitto* client) const { mosquitto_destroy(client); }
  };

  void Check(int code) {
    if (code != MOSQ_ERR_SUCCESS) {
      throw CUsageError("MQTT: " + std::string(mosquitto_strerror(code)));
    }
  }

  /// Of the thread: connects and serves the connection until the end. Whatever fails, a name that
  /// cannot be resolved, a broker that refuses, is tried again.
  void Run() {
    constexpr int kKeepAlive = 20;
    constexpr int kStep = 100;
    std::chrono::seconds pause{1};
    std::unique_lock lock(mutex_);
    while (!ends_) {
      lock.unlock();
      int code =
          mosquitto_connect_async(client_.get(), broker_.host.c_str(), broker_.port, kKeepAlive);
      while (code == MOSQ_ERR_SUCCESS) {
        code = mosquitto_loop(client_.get(), kStep, 1);
      }
      Disconnected(code);
      lock.lock();
      pause = wasConnected_ ? std::chrono::seconds(1)
                            : std::min<std::chrono::seconds>(2 * pause, std::chrono::seconds(8));
      wasConnected_ = false;
      ending_.wait_for(lock, pause, [this] { return ends_; });
    }
  }

  void Connected(int code) {
    const std::lock_guard lock(mutex_);
    connected_ = wasConnected_ = code == 0;
    away_ = !connected_;
    news_.push_back(connected_ ? "MQTT: connected to " + broker_.host
                               : "MQTT: " + broker_.host +
                                     " refuses: " + std::string(mosquitto_connack_string(code)));
  }

  void Disconnected(int code) {
    const std::lock_guard lock(mutex_);
    connected_ = false;
    if (code != 0 && !std::exchange(away_, true)) {
      news_.push_back("MQTT: " + broker_.host + " is away (" + mosquitto_strerror(code) +
                      "); results wait in the store");
    }
  }

  void Arrived(int id) {
    const std::lock_guard lock(mutex_);
    const auto found = onTheWay_.find(id);
    if (found == onTheWay_.end()) {
      return;
    }
    const auto number = open_.find(found->second);
    if (--number->second == 0) {
      arrived_.push_back(number->first);
      open_.erase(number);
    }
    onTheWay_.erase(found);
  }

  SBroker broker_;
  std::string topic_;
  std::unique_ptr<mosquitto, SDestroy> client_;
  std::mutex mutex_;
  std::map<int, std::int64_t> onTheWay_;      ///< numbers by the client's identifiers
  std::map<std::int64_t, std::size_t> open_;  ///< how many messages of a number have not arrived
  std::vector<std::int64_t> arrived_;
  std::vector<std::string> news_;
  bool connected_ = false;
  bool wasConnected_ = false;  ///< since the last attempt
  bool away_ = false;
  bool ends_ = false;
  std::condition_variable ending_;
  std::thread thread_;
};

}  // namespace

std::unique_ptr<CPublisher> MakeMqttPublisher(const SMqttSettings& settings) {
  return std::make_unique<CMqttPublisher>(settings);
}

}  // namespace limes::host

#else

namespace limes::host {

std::unique_ptr<CPublisher> MakeMqttPublisher(const SMqttSettings&) {
  throw CUsageError("--mqtt: this program was built without MQTT (libmosquitto)");
}

}  // namespace limes::host

#endif
