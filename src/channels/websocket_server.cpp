#include "channels/websocket_server.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <vector>

#include "channels/live_report.h"
#include "channels/origin.h"
#include "channels/tls.h"

namespace channels {

namespace {

using Clock = Outbox::Clock;
constexpr size_t kReadChunk = 16384;

bool starts_with(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

struct Connection {
  explicit Connection(WsSession::Answer answer) : session(std::move(answer)) {}
  int fd = -1;
  std::unique_ptr<Transport> io;
  WsSession session;
  Outbox out;
  Clock::time_point accepted;
  Clock::time_point frame_began;  // of the unfinished frame, when partial
  uint64_t frames_seen = 0;
  bool partial = false;  // a frame is unfinished
  bool closing = false;  // ends once its output is out

  Outbox::Writer writer() {
    return [this](const char* data, size_t n) { return io->write_some(data, n); };
  }
};

class WebSocketServer {
 public:
  WebSocketServer(Channels& ch, int listen_fd, WebSocketHooks hooks)
      : ch_(ch), table_(ch.clients.WebTcpClient), listen_fd_(listen_fd), hooks_(std::move(hooks)) {
    WebSocketHooks lan = lan_hooks(ch);
    if (!hooks_.make_transport) hooks_.make_transport = std::move(lan.make_transport);
    if (!hooks_.answer) hooks_.answer = std::move(lan.answer);
  }

  void run() {
    for (auto& e : table_) e.fd.store(-1);
    ch_.gui_send = [this](const std::string& text) { send_to_all(text); };
    std::vector<pollfd> watched;
    std::vector<int> slots;
    while (!ch_.stopping()) {
      Clock::time_point now = Clock::now();
      Clock::time_point next = Clock::time_point::max();
      watched = {{listen_fd_, POLLIN, 0}, {ch_.stop_fd(), POLLIN, 0}};
      slots.clear();
      for (int slot = 0; slot < kClientSlots; ++slot) {
        Connection* c = conns_[slot].get();
        if (!c) continue;
        Clock::time_point deadline = check(slot, *c, now);
        if (!conns_[slot]) continue;
        next = std::min(next, deadline);
        short events = c->closing ? 0 : POLLIN;
        if (!c->out.empty()) events |= POLLOUT;
        // TLS may have to write before it can read, or read before it can write.
        watched.push_back({c->fd, c->io->wanted_events(events), 0});
        slots.push_back(slot);
      }
      int nready = ::poll(watched.data(), watched.size(), poll_timeout(next, now));
      if (nready <= 0 || watched[1].revents) continue;
      if (watched[0].revents) accept_one();
      for (size_t k = 0; k < slots.size(); ++k) {
        const pollfd& p = watched[k + 2];
        Connection* c = conns_[slots[k]].get();
        if (!c || c->fd != p.fd || !p.revents) continue;
        // Either readiness may be what the transport waited for, in either direction.
        if (!c->out.empty()) c->out.flush(c->writer(), Clock::now());
        if (!c->closing) serve(slots[k]);
      }
    }
    ch_.gui_send = nullptr;
    for (int slot = 0; slot < kClientSlots; ++slot)
      if (conns_[slot]) drop(slot);
  }

 private:
  // Closes a connection that is past a limit or done; otherwise the time of
  // its next limit (max when none).
  Clock::time_point check(int slot, Connection& c, Clock::time_point now) {
    const char* why = nullptr;
    bool clear = false;
    Clock::time_point next = Clock::time_point::max();
    switch (c.out.state()) {
      case Outbox::State::Full:
        why = "its output queue is full";
        break;
      case Outbox::State::Broken:
        break;  // gone: closed without a word, as a send failure always was
      case Outbox::State::Open:
        if (!c.out.empty()) {
          if (now >= c.out.stall_deadline(ch_.stall_limit)) why = "it took no output in time";
          next = c.out.stall_deadline(ch_.stall_limit);
        }
        break;
    }
    if (c.out.state() == Outbox::State::Broken || (c.closing && c.out.empty())) {
      drop(slot);
      return next;
    }
    if (!why && !c.closing && c.session.phase() == WsSession::Phase::Handshake) {
      if (now >= c.accepted + ch_.handshake_limit) why = "its request took too long";
      next = std::min(next, c.accepted + ch_.handshake_limit);
    }
    if (!why && !c.closing && c.partial) {
      if (now >= c.frame_began + ch_.frame_limit) {
        why = "its frame took too long";
        clear = true;
      }
      next = std::min(next, c.frame_began + ch_.frame_limit);
    }
    if (why) {
      ch_.board.print("WebSocket client %d closed: %s\n", slot, why);
      if (clear) clear_flags();
      drop(slot);
    }
    return next;
  }

  void accept_one() {
    int fd = ::accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) {
      std::perror("TCP Accept() error\n");
      return;
    }
    int slot = 0;
    while (slot < kClientSlots && conns_[slot]) ++slot;
    std::unique_ptr<Transport> io;
    if (slot < kClientSlots) io = hooks_.make_transport(fd);
    if (!io) {
      ::close(fd);
      return;
    }
    apply_send_buffer(ch_, fd);
    set_keepalive(fd, ch_.policy.keepalive);
    auto c = std::make_unique<Connection>(hooks_.answer);
    c->fd = fd;
    c->io = std::move(io);
    c->accepted = Clock::now();
    conns_[slot] = std::move(c);
  }

  void drop(int slot) {
    Connection& c = *conns_[slot];
    table_[slot].fd.store(-1);
    c.io.reset();
    ::close(c.fd);
    conns_[slot].reset();
  }

  void clear_flags() {
    ch_.state._checkWebSocketReflesh.store(0);
    ch_.state._checkWebSocketCableLinkQuality.store(0);
  }

  // Reads what the peer sent (one chunk, so that nobody waits for a busy
  // peer) and does what follows from it.
  void serve(int slot) {
    Connection& c = *conns_[slot];
    ssize_t r = c.io->read_some(buf_.data(), buf_.size());
    if (r < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
    if (r <= 0) {
      // The peer is gone; one that left in the middle of a frame ends the features.
      if (c.partial) clear_flags();
      drop(slot);
      return;
    }
    Clock::time_point now = Clock::now();
    events_.clear();
    c.session.feed(buf_.data(), static_cast<size_t>(r), events_);
    // A frame's limit runs from its first byte.
    bool partial = c.session.phase() == WsSession::Phase::Open && c.session.partial();
    if (partial && (!c.partial || c.frames_seen != c.session.frames())) c.frame_began = now;
    c.partial = partial;
    c.frames_seen = c.session.frames();
    std::vector<WsSession::Event> events;
    events.swap(events_);
    for (WsSession::Event& e : events) {
      if (!conns_[slot]) return;  // dropped meanwhile
      switch (e.kind) {
        case WsSession::Event::Kind::Send:
          c.out.put(c.writer(), e.bytes.data(), e.bytes.size(), Clock::now());
          if (c.session.phase() == WsSession::Phase::Open && table_[slot].fd.load() < 0)
            table_[slot].fd.store(c.fd);  // answered: the GUI now gets every report
          break;
        case WsSession::Event::Kind::Act:
          act_on_message(ch_, e.bytes);
          break;
        case WsSession::Event::Kind::End:
          if (e.clear_flags) clear_flags();
          table_[slot].fd.store(-1);
          c.closing = true;
          break;
      }
    }
  }

  void send_to_all(const std::string& text) {
    uint8_t head[10];
    std::string frame(reinterpret_cast<char*>(head), frame_head_bytes(text.size(), head));
    frame += text;
    for (int slot = 0; slot < kClientSlots; ++slot) {
      Connection* c = conns_[slot].get();
      if (!c || c->closing || table_[slot].fd.load() != c->fd) continue;
      c->out.put(c->writer(), frame.data(), frame.size(), Clock::now());
    }
  }

  Channels& ch_;
  ClientTable& table_;
  int listen_fd_;
  WebSocketHooks hooks_;
  std::array<std::unique_ptr<Connection>, kClientSlots> conns_;
  std::array<char, kReadChunk> buf_{};
  std::vector<WsSession::Event> events_;
};

}  // namespace

ssize_t PlainTransport::read_some(char* buf, size_t n) { return ::recv(fd_, buf, n, MSG_DONTWAIT); }

ssize_t PlainTransport::write_some(const char* data, size_t n) {
  return ::send(fd_, data, n, MSG_DONTWAIT | MSG_NOSIGNAL);
}

int passive_server(int port, int backlog, const std::string& bind_addr) {
  return listen_tcp_or_exit(port, backlog, "socket", "bind", "listen", bind_addr);
}

WebSocketHooks lan_hooks(Channels& ch) {
  WebSocketHooks hooks;
  if (std::shared_ptr<TlsContext> tls = ch.policy.ws_tls)
    hooks.make_transport = [tls](int fd) -> std::unique_ptr<Transport> {
      return std::make_unique<TlsTransport>(*tls, fd);
    };
  else
    hooks.make_transport = [](int fd) -> std::unique_ptr<Transport> { return std::make_unique<PlainTransport>(fd); };
  hooks.answer = [&ch](const std::string& request) {
    std::string refusal = origin_refusal(request, ch.policy.ws_allow_origins, ch.board.out);
    return refusal.empty() ? handshake_response(request) : refusal;
  };
  return hooks;
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

int telnet_server(Channels& ch, int port, WebSocketHooks hooks) {
  int listen_fd = passive_server(port, 1024, ch.policy.ws_bind);
  ch.websocket_port.store(bound_port(listen_fd));
  {
    auto server = std::make_unique<WebSocketServer>(ch, listen_fd, std::move(hooks));
    server->run();
  }
  ::close(listen_fd);
  return 0;
}

std::thread start_websocket_server(Channels& ch, int port, WebSocketHooks hooks) {
  return std::thread([&ch, port, hooks = std::move(hooks)] { telnet_server(ch, port, hooks); });
}

}  // namespace channels
