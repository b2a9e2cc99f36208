#include "channels/websocket_server.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "channels/live_report.h"
#include "channels/origin.h"
#include "channels/tls.h"

namespace channels {

namespace {

bool starts_with(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

class WebSocketServer {
 public:
  WebSocketServer(Channels& ch, int listen_fd) : ch_(ch), table_(ch.clients.WebTcpClient), listen_fd_(listen_fd) {
    if (ch.policy.ws_tls) tls_ = std::make_unique<TlsBridge>(ch.policy.ws_tls);
  }

  void run() {
    for (auto& e : table_) e.fd.store(-1);
    while (!ch_.stopping()) {
      Watch w = watch(ch_, listen_fd_, table_, kClientSlots - 1);
      std::vector<pollfd>& watched = w.fds;
      const std::vector<int>& slots = w.slots;
      int nready = ::poll(watched.data(), watched.size(), -1);
      if (nready < 0 || watched[1].revents) continue;
      if (watched[0].revents) accept_one();
      for (size_t k = 0; k < slots.size(); ++k) {
        int fd = watched[k + 2].fd;
        if (watched[k + 2].revents && table_[slots[k]].fd.load() == fd) serve(table_[slots[k]], fd);
      }
    }
    for (auto& e : table_) drop(e);
  }

 private:
  void accept_one() {
    int fd = ::accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0) {
      std::perror("TCP Accept() error\n");
      return;
    }
    set_keepalive(fd, ch_.policy.keepalive);
    if (tls_ && (fd = tls_->adopt(fd)) < 0) return;  // from here on the connection's bytes are plain
    // A peer that never finishes its request must not hold the GUI channel.
    timeval limit{5, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    int answered = shakehands(fd, [this](const std::string& request) {
      return origin_refusal(request, ch_.policy.ws_allow_origins, ch_.board.out);
    });
    timeval none{0, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &none, sizeof none);
    ClientEntry* free_slot = nullptr;
    for (auto& e : table_)
      if (e.fd.load() < 0) {
        free_slot = &e;
        break;
      }
    if (answered != 0 || !free_slot) {
      ::close(fd);
      return;
    }
    free_slot->fd.store(fd);
  }

  void drop(ClientEntry& e) {
    int fd = e.fd.exchange(-1);
    if (fd >= 0) ::close(fd);
  }

  void clear_flags() {
    ch_.state._checkWebSocketReflesh.store(0);
    ch_.state._checkWebSocketCableLinkQuality.store(0);
  }

  void serve(ClientEntry& e, int fd) {
    FrameHead head;
    if (recv_frame_head(fd, head) != 0) {
      drop(e);
      return;
    }
    if (head.opcode == 0x8) {  // close
      drop(e);
      clear_flags();
      return;
    }
    if (head.payload_length > kFrameMax) {
      drop(e);
      return;
    }
    send_frame_head(fd, head);
    std::vector<uint8_t> payload(head.payload_length);
    if (!read_full(fd, payload.data(), payload.size())) {
      drop(e);
      clear_flags();
      return;
    }
    if (head.mask) umaskTest(payload.data(), payload.size(), head.masking_key);
    send_all(fd, payload.data(), payload.size());
    act_on_message(ch_, std::string(payload.begin(), payload.end()));
  }

  Channels& ch_;
  ClientTable& table_;
  int listen_fd_;
  std::unique_ptr<TlsBridge> tls_;  // with --ws-tls
};

}  // namespace

int passive_server(int port, int backlog, const std::string& bind_addr) {
  return listen_tcp_or_exit(port, backlog, "socket", "bind", "listen", bind_addr);
}

void act_on_message(Channels& ch, const std::string& text) {
  core::SharedState& s = ch.state;
  if (starts_with(text, "StartAudioMic"))
    s._checkWebSocketReflesh.store(1);
  else if (starts_with(text, "StopAudioMic"))
    s._checkWebSocketReflesh.store(0);
  else if (starts_with(text, "StartAdditionalCableQuality"))
    s._checkWebSocketCableLinkQuality.store(1);
  else if (starts_with(text, "StopAdditionalCableQuality"))
    s._checkWebSocketCableLinkQuality.store(0);
  else if (starts_with(text, "checkUpgrade")) {
    s._checkWebSocketCableLinkQuality.store(0);
    returnDataToBOA(ch, "CheckUpgrateStatus=", ch.board.nvram.get_or("CheckUpgrateStatus", ""));
  } else
    StartReturnAvg(ch);
}

int telnet_server(Channels& ch, int port) {
  int listen_fd = passive_server(port, 1024, ch.policy.ws_bind);
  ch.websocket_port.store(bound_port(listen_fd));
  WebSocketServer(ch, listen_fd).run();
  ::close(listen_fd);
  return 0;
}

std::thread start_websocket_server(Channels& ch, int port) {
  return std::thread([&ch, port] { telnet_server(ch, port); });
}

}  // namespace channels
