#include "apps/limes/bench/http_server.h"

#ifdef LIMES_HAVE_HTTP

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace limes::host {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kIdle{15'000};          ///< between two requests
constexpr milliseconds kWholeRequest{10'000};  ///< from its first byte to its last
constexpr milliseconds kWrite{5'000};          ///< until some of what is sent was taken
constexpr std::size_t kMostHead = 64 * 1024;

bool Waits(socket_t socket, short events, milliseconds most) {
  pollfd poll{socket, events, 0};
  return most > milliseconds::zero() && ::poll(&poll, 1, static_cast<int>(most.count())) > 0;
}

/// As many files as the system allows, so that connections do not take those of the store.
std::size_t AllowedFiles() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 65536);
  setrlimit(RLIMIT_NOFILE, &limit);
  getrlimit(RLIMIT_NOFILE, &limit);
  return limit.rlim_cur;
}

}  // namespace

/// A connection, buffered, with a time and a number of bytes for each request.
class CHttpServer::CStream : public httplib::Stream {
 public:
  explicit CStream(socket_t socket) : socket_(socket) { present = this; }
  ~CStream() override { present = nullptr; }

  /// Waits for a request; false when none comes.
  bool Begin() {
    if (first_ == behind_ && !Waits(socket_, POLLIN, kIdle)) {
      return false;
    }
    end_ = Clock::now() + kWholeRequest;
    left_ = kMostHead;
    return true;
  }

  /// Of the calling thread; null when it handles none.
  static CStream* Present() { return present; }

  void AllowBody() { left_ = kMostHead + kMostBody; }
  void SetBodyWaits(bool waits) { bodyWaits_ = waits; }
  bool BodyWaits() const { return bodyWaits_; }

  bool is_readable() const override { return first_ != behind_ || Waits(socket_, POLLIN, Left()); }
  bool is_writable() const override {
    std::array<char, 1> byte{};
    return Waits(socket_, POLLOUT, kWrite) &&
           recv(socket_, byte.data(), byte.size(), MSG_PEEK | MSG_DONTWAIT) != 0;
  }

  ssize_t read(char* to, std::size_t size) override {
    if (first_ == behind_) {
      if (!Waits(socket_, POLLIN, Left())) {
        return -1;
      }
      const ssize_t got = recv(socket_, buffer_.data(), buffer_.size(), 0);
      if (got <= 0 || static_cast<std::size_t>(got) > left_) {
        return got <= 0 ? got : -1;
      }
      left_ -= static_cast<std::size_t>(got);
      first_ = 0;
      behind_ = static_cast<std::size_t>(got);
    }
    const std::size_t taken = std::min(size, behind_ - first_);
    std::memcpy(to, buffer_.data() + first_, taken);
    first_ += taken;
    return static_cast<ssize_t>(taken);
  }

  ssize_t write(const char* from, std::size_t size) override {
    return Waits(socket_, POLLOUT, kWrite) ? send(socket_, from, size, MSG_NOSIGNAL | MSG_DONTWAIT)
                                           : -1;
  }

  void get_remote_ip_and_port(std::string& ip, int& port) const override {
    ip.clear();
    port = 0;
  }
  void get_local_ip_and_port(std::string& ip, int& port) const override {
    get_remote_ip_and_port(ip, port);
  }
  socket_t socket() const override { return socket_; }

 private:
  milliseconds Left() const {
    return std::chrono::duration_cast<milliseconds>(end_ - Clock::now());
  }

  static thread_local CStream* present;

  socket_t socket_;
  std::array<char, 16384> buffer_;
  std::size_t first_ = 0;
  std::size_t behind_ = 0;
  std::size_t left_ = 0;
  bool bodyWaits_ = false;
  Clock::time_point end_;
};

thread_local CHttpServer::CStream* CHttpServer::CStream::present = nullptr;

/// A thread for each connection, kept for the next one.
class CHttpServer::CThreads : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> task) override {
    std::unique_lock lock(mutex_);
    tasks_.push_back(std::move(task));
    if (idle_ >= tasks_.size()) {
      come_.notify_one();
      return;
    }
    try {
      threads_.emplace_back([this] { Work(); });
    } catch (const std::system_error&) {  // the next thread that is free takes it
    }
  }

  void shutdown() override {
    {
      const std::lock_guard lock(mutex_);
      ends_ = true;
    }
    come_.notify_all();
    for (std::thread& thread : threads_) {
      thread.join();
    }
  }

 private:
  void Work() {
    std::unique_lock lock(mutex_);
    for (;;) {
      ++idle_;
      come_.wait(lock, [this] { return ends_ || !tasks_.empty(); });
      --idle_;
      if (tasks_.empty()) {
        return;
      }
      const std::function<void()> task = std::move(tasks_.front());
      tasks_.pop_front();
      lock.unlock();
      task();
      lock.lock();
    }
  }

  std::mutex mutex_;
  std::condition_variable come_;
  std::deque<std::function<void()>> tasks_;
  std::vector<std::thread> threads_;
  std::size_t idle_ = 0;
  bool ends_ = false;
};

CHttpServer::CHttpServer(std::size_t mostConnections) {
  constexpr std::size_t kOurs = 100;  // store, recordings
  const std::size_t files = AllowedFiles();
  most_ = std::min(mostConnections, files > 2 * kOurs ? files - kOurs : kOurs);
  new_task_queue = [] { return new CThreads; };
  set_payload_max_length(kMostBody);
  set_keep_alive_max_count(1'000'000'000);
  set_tcp_nodelay(true);
  set_socket_options([](socket_t socket) {  // not SO_REUSEPORT: two programs would share a port
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  });
}

CHttpServer::~CHttpServer() { End(); }

void CHttpServer::End() {
  ended_ = true;
  stop();
  const std::lock_guard lock(mutex_);
  for (const auto& [socket, connection] : connections_) {
    shutdown(socket, SHUT_RDWR);
  }
}

std::size_t CHttpServer::Connections() const {
  const std::lock_guard lock(mutex_);
  return connections_.size();
}

/// With mutex_ held. The connection that goes is closed by its own thread.
void CHttpServer::MakeRoom() {
  if (connections_.size() < most_) {
    return;
  }
  auto silent = connections_.end();
  for (auto entry = connections_.begin(); entry != connections_.end(); ++entry) {
    if (!entry->second.answering &&
        (silent == connections_.end() || entry->second.silentSince < silent->second.silentSince)) {
      silent = entry;
    }
  }
  if (silent != connections_.end()) {
    shutdown(silent->first, SHUT_RDWR);
    silent->second.silentSince = Clock::time_point::max();
    ++evicted_;
  }
}

void CHttpServer::SetAnswering(socket_t socket, bool answering) {
  const std::lock_guard lock(mutex_);
  connections_[socket] = {Clock::now(), answering};
}

void CHttpServer::ExpectBody() {
  if (CStream* const stream = CStream::Present()) {
    stream->SetBodyWaits(true);
  }
}

void CHttpServer::BeginAnswer() {
  if (const CStream* const stream = CStream::Present()) {
    SetAnswering(stream->socket(), true);
  }
}

bool CHttpServer::process_and_close_socket(socket_t socket) {
  {
    const std::lock_guard lock(mutex_);
    MakeRoom();
    connections_[socket] = {Clock::now(), false};
  }
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  {
    CStream stream(socket);
    bool open = true;
    while (open && !ended_ && stream.Begin()) {
      bool closed = false;
      open = process_request(stream, false, closed, nullptr) && !closed && !stream.BodyWaits();
      SetAnswering(socket, false);
    }
  }
  {
    const std::lock_guard lock(mutex_);
    connections_.erase(socket);
  }
  shutdown(socket, SHUT_RDWR);
  close(socket);
  return true;
}

bool CHttpServer::ReadBody(const httplib::ContentReader& reader, httplib::Response& answer,
                           std::string& body) {
  if (CStream* const stream = CStream::Present()) {
    stream->AllowBody();
  }
  std::size_t taken = 0;
  bool tooLarge = false;
  bool busy = false;
  const bool whole = reader([&](const char* data, std::size_t size) {
    tooLarge = body.size() + size > kMostBody;
    busy = bodies_.fetch_add(size) + size > kMostBodies;
    taken += size;
    if (!tooLarge && !busy) {
      body.append(data, size);
    }
    return !tooLarge && !busy;
  });
  bodies_ -= taken;
  if (CStream* const stream = CStream::Present(); whole && stream != nullptr) {
    stream->SetBodyWaits(false);
  }
  BeginAnswer();
  if (!whole) {
    answer.status = tooLarge ? 413 : busy ? 503 : 400;
  }
  return whole;
}

}  // namespace limes::host

#endif
