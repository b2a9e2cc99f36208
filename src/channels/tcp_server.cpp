#include "channels/tcp_server.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "channels/http_guard.h"

namespace channels {

namespace {

constexpr size_t kReceive = 4096;

class TcpServer {
 public:
  TcpServer(Channels& ch, int listen_fd) : ch_(ch), table_(ch.clients.TcpClient), listen_fd_(listen_fd) {}

  void run() {
    for (auto& e : table_) e.fd.store(-1);
    while (!ch_.stopping()) {
      Watch w = watch(ch_, listen_fd_, table_, maxi_);
      std::vector<pollfd>& watched = w.fds;
      const std::vector<int>& slots = w.slots;
      int nready = ::poll(watched.data(), watched.size(), -1);
      if (nready < 0 || watched[1].revents) continue;
      if (watched[0].revents) {
        accept_one();
        if (--nready < 1) continue;
      }
      for (size_t k = 0; k < slots.size(); ++k) {
        if (!watched[k + 2].revents) continue;
        if (!serve(slots[k], watched[k + 2].fd)) break;
        if (--nready < 1) break;
      }
    }
    std::lock_guard<std::mutex> hold(ch_.send_lock);
    for (auto& e : table_) {
      int fd = e.fd.exchange(-1);
      if (fd >= 0) ::close(fd);
    }
  }

 private:
  void accept_one() {
    sockaddr_in peer{};
    socklen_t len = sizeof peer;
    int fd = ::accept4(listen_fd_, reinterpret_cast<sockaddr*>(&peer), &len, SOCK_CLOEXEC);
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
    set_keepalive(fd, ch_.policy.keepalive);
    guards_[slot].reset();
    ClientEntry& e = table_[slot];
    fill_name(e, slot);
    e.addr = peer;
    e.fd.store(fd);
    if (!ch_.state.machine_type_is("4")) send_all(fd, kCommandPrompt, sizeof kCommandPrompt - 1);
    firstInput_ = 0;
    if (slot > maxi_) maxi_ = slot;
  }

  // False when the rest of this pass is to be skipped (a failed recv).
  bool serve(int slot, int fd) {
    ClientEntry& e = table_[slot];
    if (e.fd.load() != fd) return true;
    ssize_t n = ::recv(fd, buf_, kReceive, 0);
    if (n == 0) {
      std::lock_guard<std::mutex> hold(ch_.send_lock);
      e.fd.store(-1);
      ::close(fd);
      return true;
    }
    if (n < 0) return false;
    buf_[n] = '\0';
    // A telnet client opens with its option negotiation (IAC, byte 255):
    // until the first real input that block is not for the MCU.
    if (firstInput_ < 1 && std::memchr(buf_, 255, static_cast<size_t>(n))) {
      ++firstInput_;
      ch_.clients.TcpClientNum.store(static_cast<uint16_t>(slot));
      return true;
    }
    // A browser's request (a page of any site can make one) never reaches the MCU.
    std::string forward;
    bool commands = guards_[slot].feed(buf_, static_cast<size_t>(n), forward);
    if (!forward.empty()) process_client(ch_, e, forward.data(), forward.size());
    if (!commands) {
      std::fprintf(ch_.board.out, "TCP Client[%.2d] sent an HTTP %s, connection closed\n", slot,
                   guards_[slot].refused() == LineKind::kHostHeader ? "Host: header" : "request line");
      std::fflush(ch_.board.out);
      std::lock_guard<std::mutex> hold(ch_.send_lock);
      e.fd.store(-1);
      ::close(fd);
      return true;
    }
    firstInput_ = 2;
    ch_.clients.TcpClientNum.store(static_cast<uint16_t>(slot));
    return true;
  }

  Channels& ch_;
  ClientTable& table_;
  int listen_fd_;
  int maxi_ = -1;
  int firstInput_ = 0;  // one flag for the whole server, reset by every accept
  char buf_[kReceive + 1] = {};
  std::vector<HttpGuard> guards_ = std::vector<HttpGuard>(kClientSlots);  // one per slot
};

}  // namespace

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
