#include "channels/http_server.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

#include "channels/channels.h"
#include "channels/unit_metrics.h"

namespace channels {

namespace {

// The library's connection queue with a bound: a fixed set of workers and a
// short queue. When the queue is full the accepting thread waits, and further
// peers wait in the kernel's backlog instead of costing memory here.
class BoundedPool : public httplib::TaskQueue {
 public:
  BoundedPool(int workers, size_t queued, std::atomic<int>& active) : max_queued_(queued), active_(active) {
    for (int i = 0; i < workers; ++i) threads_.emplace_back([this] { work(); });
  }
  void enqueue(std::function<void()> fn) override {
    std::unique_lock<std::mutex> hold(lock_);
    room_.wait(hold, [this] { return jobs_.size() < max_queued_ || shutdown_; });
    if (shutdown_) {
      hold.unlock();
      fn();  // the job closes its connection
      return;
    }
    jobs_.push_back(std::move(fn));
    ready_.notify_one();
  }
  void shutdown() override {
    {
      std::lock_guard<std::mutex> hold(lock_);
      shutdown_ = true;
    }
    ready_.notify_all();
    room_.notify_all();
    for (std::thread& t : threads_) t.join();
  }

 private:
  void work() {
    for (;;) {
      std::function<void()> fn;
      {
        std::unique_lock<std::mutex> hold(lock_);
        ready_.wait(hold, [this] { return !jobs_.empty() || shutdown_; });
        if (jobs_.empty()) return;
        fn = std::move(jobs_.front());
        jobs_.pop_front();
      }
      room_.notify_one();
      ++active_;
      fn();
      --active_;
    }
  }

  size_t max_queued_;
  std::atomic<int>& active_;
  std::vector<std::thread> threads_;
  std::deque<std::function<void()>> jobs_;
  std::mutex lock_;
  std::condition_variable ready_, room_;
  bool shutdown_ = false;
};

using SteadyClock = std::chrono::steady_clock;

// A connection's stream with a deadline for the whole request: every wait for
// the peer is bounded by the per-read timeout and by what is left of the
// request's time, so a peer that trickles a byte now and then is cut off too.
class DeadlineStream : public httplib::Stream {
 public:
  explicit DeadlineStream(int fd) : fd_(fd) {}
  void start_request() { deadline_ = SteadyClock::now() + std::chrono::seconds(kHttpRequestSeconds); }

  bool is_readable() const override { return have_ < got_ || wait(POLLIN); }
  bool is_writable() const override { return wait(POLLOUT); }
  ssize_t read(char* ptr, size_t size) override {
    if (have_ == got_) {
      if (!wait(POLLIN)) return -1;
      ssize_t n;
      do n = ::recv(fd_, buf_, sizeof buf_, 0);
      while (n < 0 && errno == EINTR);
      if (n <= 0) return n;
      have_ = 0;
      got_ = static_cast<size_t>(n);
    }
    size_t n = std::min(size, got_ - have_);
    std::memcpy(ptr, buf_ + have_, n);
    have_ += n;
    return static_cast<ssize_t>(n);
  }
  ssize_t write(const char* ptr, size_t size) override {
    if (!wait(POLLOUT)) return -1;
    ssize_t n;
    do n = ::send(fd_, ptr, size, MSG_NOSIGNAL);
    while (n < 0 && errno == EINTR);
    return n;
  }
  void get_remote_ip_and_port(std::string& ip, int& port) const override { address(::getpeername, ip, port); }
  void get_local_ip_and_port(std::string& ip, int& port) const override { address(::getsockname, ip, port); }
  socket_t socket() const override { return fd_; }

 private:
  // Ready within the per-read timeout and before the deadline.
  bool wait(short events) const {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - SteadyClock::now()).count();
    int ms = static_cast<int>(std::min<long long>(left, kHttpTimeoutSeconds * 1000LL));
    if (ms <= 0) return false;
    pollfd p{fd_, events, 0};
    int r;
    do r = ::poll(&p, 1, ms);
    while (r < 0 && errno == EINTR);
    return r > 0 && !(p.revents & (POLLERR | POLLNVAL));
  }
  static void address(int (*get)(int, sockaddr*, socklen_t*), int fd, std::string& ip, int& port) {
    sockaddr_storage a{};
    socklen_t len = sizeof a;
    char text[INET6_ADDRSTRLEN] = "";
    port = -1;
    if (get(fd, reinterpret_cast<sockaddr*>(&a), &len) != 0) return;
    if (a.ss_family == AF_INET) {
      auto* v4 = reinterpret_cast<sockaddr_in*>(&a);
      ::inet_ntop(AF_INET, &v4->sin_addr, text, sizeof text);
      port = ntohs(v4->sin_port);
    } else if (a.ss_family == AF_INET6) {
      auto* v6 = reinterpret_cast<sockaddr_in6*>(&a);
      ::inet_ntop(AF_INET6, &v6->sin6_addr, text, sizeof text);
      port = ntohs(v6->sin6_port);
    }
    ip = text;
  }
  void address(int (*get)(int, sockaddr*, socklen_t*), std::string& ip, int& port) const { address(get, fd_, ip, port); }

  int fd_;
  SteadyClock::time_point deadline_ = SteadyClock::now();
  char buf_[4096];
  size_t have_ = 0, got_ = 0;
};

// The library's server with the connection loop replaced by one whose stream
// keeps a deadline per request; the parsing and routing stay the library's.
class DeadlineServer : public httplib::Server {
 private:
  bool process_and_close_socket(socket_t sock) override {
    DeadlineStream strm(sock);
    bool ok = false;
    for (size_t left = keep_alive_max_count_; left > 0 && svr_sock_ != INVALID_SOCKET; --left) {
      pollfd p{sock, POLLIN, 0};  // the next request, or an idle peer's end
      int r;
      do r = ::poll(&p, 1, static_cast<int>(keep_alive_timeout_sec_ * 1000));
      while (r < 0 && errno == EINTR);
      if (r <= 0) break;
      strm.start_request();
      bool closed = false;
      ok = process_request(strm, left == 1, closed, nullptr);
      if (!ok || closed) break;
    }
    ::shutdown(sock, SHUT_RDWR);
    ::close(sock);
    return ok;
  }
};

const char* short_reason(int status) {
  switch (status) {
    case 400: return "bad request\n";
    case 404: return "not found\n";
    case 405: return "method not allowed\n";
    case 413: return "request too large\n";
    case 414: return "request line too long\n";
    default: return status >= 500 ? "server error\n" : "error\n";
  }
}

// A literal path as a pattern of the library (which takes regular expressions).
std::string literal(const std::string& path) {
  std::string out;
  for (char c : path) {
    if (std::strchr(".+*?^$()[]{}|\\", c)) out += '\\';
    out += c;
  }
  return out;
}

void configure(httplib::Server& svr, Channels& ch, std::shared_ptr<std::atomic<int>> active) {
  svr.new_task_queue = [active] { return new BoundedPool(kHttpWorkers, kHttpQueued, *active); };
  // An idle connection, or one after an answer to a bad request, ends soon.
  svr.set_keep_alive_timeout(1);
  svr.set_keep_alive_max_count(100);
  svr.set_payload_max_length(1024);  // read-only: no request needs a body
  svr.set_default_headers({{"Cache-Control", "no-store"}, {"X-Content-Type-Options", "nosniff"}});

  svr.set_pre_routing_handler([](const httplib::Request& req, httplib::Response& res) {
    if (req.method == "GET" || req.method == "HEAD") return httplib::Server::HandlerResponse::Unhandled;
    res.status = 405;
    res.set_header("Allow", "GET, HEAD");
    res.set_header("Connection", "close");
    res.set_content(short_reason(405), "text/plain");
    return httplib::Server::HandlerResponse::Handled;
  });
  // A peer that sent something wrong gets a short answer and the connection ends.
  svr.set_error_handler([](const httplib::Request&, httplib::Response& res) {
    if (res.body.empty()) res.set_content(short_reason(res.status), "text/plain");
    if (res.status == 400 || res.status >= 413) res.set_header("Connection", "close");
  });
  svr.set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr) {
    res.status = 500;
    res.set_content(short_reason(500), "text/plain");
  });

  svr.Get("/metrics", [&ch, active](const httplib::Request&, httplib::Response& res) {
    res.set_content(render_metrics(take_snapshot(ch, active->load())), "text/plain; version=0.0.4; charset=utf-8");
  });
  svr.Get("/api/state", [&ch, active](const httplib::Request&, httplib::Response& res) {
    res.set_content(render_json(take_snapshot(ch, active->load())), "application/json");
  });
  for (size_t i = 0; i < kDashboardFileCount; ++i) {
    const EmbeddedFile& f = kDashboardFiles[i];
    auto serve = [&f](const httplib::Request&, httplib::Response& res) {
      res.set_content(reinterpret_cast<const char*>(f.data), f.size, f.content_type);
    };
    svr.Get(literal("/" + std::string(f.name)), serve);
    if (std::string(f.name) == "index.html") svr.Get("/", serve);
  }
}

}  // namespace

bool parse_http_address(const std::string& text, bool host_mode, HttpAddress& out) {
  std::string host = host_mode ? "127.0.0.1" : "0.0.0.0";
  std::string port = text;
  if (!text.empty() && text[0] == '[') {
    size_t close = text.find("]:");
    if (close == std::string::npos || close < 2) return false;
    host = text.substr(1, close - 1);
    port = text.substr(close + 2);
  } else if (size_t colon = text.rfind(':'); colon != std::string::npos) {
    if (colon == 0 || text.find(':') != colon) return false;  // a bare IPv6 address needs brackets
    host = text.substr(0, colon);
    port = text.substr(colon + 1);
  }
  if (port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos) return false;
  long p = std::strtol(port.c_str(), nullptr, 10);
  if (p > 65535) return false;
  out.host = host;
  out.port = static_cast<int>(p);
  return true;
}

std::thread start_http_server(Channels& ch, const HttpAddress& address) {
  auto svr = std::make_shared<DeadlineServer>();
  auto active = std::make_shared<std::atomic<int>>(0);
  configure(*svr, ch, active);
  if (address.host.find(':') != std::string::npos) svr->set_address_family(AF_INET6);
  int port = address.port;
  bool bound = port == 0 ? (port = svr->bind_to_any_port(address.host)) > 0 : svr->bind_to_port(address.host, port);
  if (!bound) {
    std::fprintf(stderr, "pdud: cannot serve HTTP on %s port %d\n", address.host.c_str(), address.port);
    return {};
  }
  bool v6 = address.host.find(':') != std::string::npos;
  ch.board.print("pdud: serving HTTP on http://%s%s%s:%d/\n", v6 ? "[" : "", address.host.c_str(), v6 ? "]" : "",
                 port);
  std::fflush(ch.board.out);
  return std::thread([&ch, svr] {
    std::atomic<bool> ended{false};
    std::thread listener([svr, &ended] {
      svr->listen_after_bind();
      ended = true;
    });
    pollfd p{ch.stop_fd(), POLLIN, 0};
    while (::poll(&p, 1, -1) < 0 && errno == EINTR) {
    }
    // A stop before the loop runs would be lost: let it start first.
    while (!svr->is_running() && !ended) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    svr->stop();
    listener.join();
  });
}

}  // namespace channels
