#include "channels/tcp_server.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "channels/http_guard.h"

namespace channels {

namespace {

using Clock = Outbox::Clock;
constexpr size_t kReceive = 4096;

// Why a client with this outbox is to be closed now, or null.
const char* fault(const Outbox& box, Clock::time_point now, Clock::duration stall_limit) {
  switch (box.state()) {
    case Outbox::State::Full:
      return "its output queue is full";
    case Outbox::State::Broken:
      return "its connection failed";
    case Outbox::State::Open:
      break;
  }
  if (!box.empty() && now >= box.stall_deadline(stall_limit)) return "it took no output in time";
  return nullptr;
}

class TcpServer {
 public:
  TcpServer(Channels& ch, int listen_fd) : ch_(ch), table_(ch.clients.TcpClient), listen_fd_(listen_fd) {}

  void run() {
    for (auto& e : table_) e.fd.store(-1);
    std::vector<pollfd> watched;
    std::vector<int> slots;
    while (!ch_.stopping()) {
      Clock::time_point now = Clock::now();
      Clock::time_point next = Clock::time_point::max();
      watched = {{listen_fd_, POLLIN, 0}, {ch_.stop_fd(), POLLIN, 0}, {ch_.tcp_wake.fd(), POLLIN, 0}};
      slots.clear();
      {
        std::lock_guard<std::mutex> hold(ch_.send_lock);
        for (int i = 0; i <= maxi_; ++i) {
          int fd = table_[i].fd.load();
          if (fd < 0) continue;
          const Outbox& box = ch_.tcp_out[i];
          if (const char* why = fault(box, now, ch_.stall_limit)) {
            ch_.board.print("TCP client %d closed: %s\n", i, why);
            close_locked(i, fd);
            continue;
          }
          short events = POLLIN;
          if (!box.empty()) {
            events |= POLLOUT;
            next = std::min(next, box.stall_deadline(ch_.stall_limit));
          }
          watched.push_back({fd, events, 0});
          slots.push_back(i);
        }
      }
      int nready = ::poll(watched.data(), watched.size(), poll_timeout(next, now));
      if (nready <= 0 || watched[1].revents) continue;
      if (watched[2].revents) ch_.tcp_wake.drain();
      if (watched[0].revents) accept_one();
      for (size_t k = 0; k < slots.size(); ++k) {
        const pollfd& p = watched[k + 3];
        if (p.revents & POLLOUT) {
          std::lock_guard<std::mutex> hold(ch_.send_lock);
          if (table_[slots[k]].fd.load() == p.fd)
            ch_.tcp_out[slots[k]].flush(nonblocking_writer(p.fd), Clock::now());
        }
        if ((p.revents & (POLLIN | POLLHUP | POLLERR)) && !serve(slots[k], p.fd)) break;
      }
    }
    std::lock_guard<std::mutex> hold(ch_.send_lock);
    for (int i = 0; i < kClientSlots; ++i) {
      int fd = table_[i].fd.load();
      if (fd >= 0) close_locked(i, fd);
    }
  }

 private:
  void close_locked(int slot, int fd) {
    table_[slot].fd.store(-1);
    ch_.tcp_out[slot].reset();
    ::close(fd);
  }

  void accept_one() {
    sockaddr_in peer{};
    socklen_t len = sizeof peer;
    int fd = ::accept4(listen_fd_, reinterpret_cast<sockaddr*>(&peer), &len, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
      std::perror("TCP Accept() error\n");
      return;
    }
    int slot = 0;
    while (slot < kClientSlots && table_[slot].fd.load() >= 0) ++slot;
    if (slot == kClientSlots) {
      // Every slot is taken: nobody could get this peer's replies.
      ::close(fd);
      return;
    }
    apply_send_buffer(ch_, fd);
    set_keepalive(fd, ch_.policy.keepalive);
    guards_[slot].reset();
    ClientEntry& e = table_[slot];
    fill_name(e, slot);
    e.addr = peer;
    {
      std::lock_guard<std::mutex> hold(ch_.send_lock);
      ch_.tcp_out[slot].reset();
      e.fd.store(fd);
      if (!ch_.state.machine_type_is("4"))
        tcp_client_send_locked(ch_, slot, kCommandPrompt, sizeof kCommandPrompt - 1);
    }
    input_.accepted();
    if (slot > maxi_) maxi_ = slot;
  }

  // False when the rest of this pass is to be skipped (a failed recv).
  bool serve(int slot, int fd) {
    ClientEntry& e = table_[slot];
    if (e.fd.load() != fd) return true;
    ssize_t n = ::recv(fd, buf_, kReceive, 0);
    if (n == 0) {
      std::lock_guard<std::mutex> hold(ch_.send_lock);
      close_locked(slot, fd);
      return true;
    }
    if (n < 0) return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
    buf_[n] = '\0';
    if (!input_.forward(buf_, static_cast<size_t>(n))) {
      ch_.clients.TcpClientNum.store(static_cast<uint16_t>(slot));
      return true;
    }
    // A browser's request (a page of any site can make one) never reaches the MCU.
    std::string forward;
    bool commands = guards_[slot].feed(buf_, static_cast<size_t>(n), forward);
    if (!forward.empty()) process_client(ch_, e, forward.data(), forward.size());
    if (!commands) {
      ch_.board.print("TCP Client[%.2d] sent an HTTP %s, connection closed\n", slot,
                      guards_[slot].refused() == LineKind::kHostHeader ? "Host: header" : "request line");
      std::lock_guard<std::mutex> hold(ch_.send_lock);
      close_locked(slot, fd);
      return true;
    }
    ch_.clients.TcpClientNum.store(static_cast<uint16_t>(slot));
    return true;
  }

  Channels& ch_;
  ClientTable& table_;
  int listen_fd_;
  int maxi_ = -1;
  CommandInput input_;
  char buf_[kReceive + 1] = {};
  std::vector<HttpGuard> guards_ = std::vector<HttpGuard>(kClientSlots);  // one per slot
};

}  // namespace

bool CommandInput::forward(const char* data, size_t n) {
  if (firstInput_ < 1 && std::memchr(data, 255, n)) {
    ++firstInput_;
    return false;
  }
  firstInput_ = 2;
  return true;
}

void tcp_client_send_locked(Channels& ch, int slot, const char* data, size_t n) {
  int fd = ch.clients.TcpClient[slot].fd.load();
  if (fd < 0) return;
  Outbox& box = ch.tcp_out[slot];
  if (box.state() != Outbox::State::Open) return;  // the server closes it soon
  box.put(nonblocking_writer(fd), data, n, Outbox::Clock::now());
  if (!box.empty() || box.state() != Outbox::State::Open) ch.tcp_wake.notify();
}

ssize_t process_client(Channels& ch, ClientEntry&, const char* buffer, size_t length) {
  return ch.board.mcu.write(buffer, length);
}

int tcp_server(Channels& ch, const std::string& port) {
  ch.board.nvram.get("wan_ipaddr");
  int listen_fd = listen_tcp_or_exit(std::atoi(port.c_str()) % 65536, 5, "TCP Creating socket failed.",
                                     "TCP Bind error.", "TCP listen() error\n", ch.policy.tcp_bind);
  ch.tcp_port.store(bound_port(listen_fd));
  TcpServer(ch, listen_fd).run();
  ::close(listen_fd);
  return 0;
}

std::thread start_tcp_server(Channels& ch, std::string port) {
  return std::thread([&ch, port] { tcp_server(ch, port); });
}

}  // namespace channels
