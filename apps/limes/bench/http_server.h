#pragma once

#ifdef LIMES_HAVE_HTTP

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>

namespace limes::host {

/// HTTP for a bench: a thread per connection, so that slow ones hinder nobody; a request must come
/// within a time and stay within a size; when there are too many connections, the one that has been
/// silent for longest goes. The bodies of all requests together are bounded.
class CHttpServer : public httplib::Server {
 public:
  static constexpr std::size_t kMostBody = std::size_t{64} << 20;
  static constexpr std::size_t kMostBodies = std::size_t{256} << 20;  ///< of all requests

  /// mostConnections: as far as the system allows so many files.
  explicit CHttpServer(std::size_t mostConnections);
  ~CHttpServer() override;

  /// Ends all connections, and listening.
  void End();
  bool HasEnded() const { return ended_; }

  /// Of the calling thread: a body follows the head of its request. The connection goes unless
  /// ReadBody takes it, so that nobody hides a request in it.
  void ExpectBody();

  /// Of the calling thread: its request is whole, and it does not go for others any more.
  void BeginAnswer();

  /// The body of the request that the calling thread handles; false, with the answer set, when it
  /// is too large or does not come.
  bool ReadBody(const httplib::ContentReader& reader, httplib::Response& answer, std::string& body);

  std::size_t Connections() const;
  std::uint64_t Evicted() const { return evicted_; }

 private:
  class CStream;
  class CThreads;
  using Clock = std::chrono::steady_clock;

  struct SConnection {
    Clock::time_point silentSince;
    bool answering = false;  ///< a request is being answered
  };

  bool process_and_close_socket(socket_t socket) override;
  void MakeRoom();
  void SetAnswering(socket_t socket, bool answering);

  std::size_t most_;
  std::atomic<bool> ended_{false};
  std::atomic<std::size_t> bodies_{0};  ///< bytes of all of them
  std::atomic<std::uint64_t> evicted_{0};
  mutable std::mutex mutex_;
  std::map<socket_t, SConnection> connections_;
};

}  // namespace limes::host

#endif
