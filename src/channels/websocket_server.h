#pragma once
// The web GUI's WebSocket channel: every message the GUI sends is echoed back
// as a text frame and then switches a live feature or asks for the report.
//
// One poll loop serves every connection as state: the request is read as it
// comes, with one 5 s limit for all of it; each frame has 10 s from its first
// byte to its last (Channels::handshake_limit, frame_limit); what a GUI does
// not take waits in its bounded outbox. A peer past a limit is closed and no
// peer ever delays another. Every read and
// write of a connection goes through its Transport, so that a TLS layer can
// stand in for the plain socket.
#include <sys/types.h>

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "channels/channels.h"
#include "channels/websocket_codec.h"
#include "channels/websocket_session.h"

namespace channels {

inline constexpr int kWebSocketPort = 45678;

// How one GUI connection reads and writes. Neither call ever waits.
class Transport {
 public:
  virtual ~Transport() = default;
  // Up to n bytes the peer sent: > 0; 0 at the end of its stream; -1 with
  // errno (EAGAIN: nothing now).
  virtual ssize_t read_some(char* buf, size_t n) = 0;
  // The count of bytes taken, or -1 with errno (EAGAIN: nothing now).
  virtual ssize_t write_some(const char* data, size_t n) = 0;
  // The poll events the socket must be watched for when the server wants to
  // read (POLLIN in wanted) or has output waiting (POLLOUT in wanted). A TLS
  // layer may have to write before a read can go on, or read before a write.
  virtual short wanted_events(short wanted) const { return wanted; }
};

// recv and send on the socket, without waiting.
class PlainTransport : public Transport {
 public:
  explicit PlainTransport(int fd) : fd_(fd) {}
  ssize_t read_some(char* buf, size_t n) override;
  ssize_t write_some(const char* data, size_t n) override;

 private:
  int fd_;
};

// Makes the transport of a newly accepted (non-blocking) socket; null
// refuses the connection.
using TransportFactory = std::function<std::unique_ptr<Transport>(int fd)>;

// What a TLS or access-control layer can put around the GUI channel.
struct WebSocketHooks {
  TransportFactory make_transport;  // empty: as lan_hooks
  // The answer to a whole opening request ("" refuses it unanswered, a
  // non-101 answer refuses it with that answer); empty: as lan_hooks.
  WsSession::Answer answer;
};

// The hooks of Channels::policy: TLS when ws_tls is set (else
// PlainTransport), and handshake_response behind the origin check.
WebSocketHooks lan_hooks(Channels& ch);

// The listening socket on bind_addr ("" for every local address); bind or
// listen failures end the process (status 1).
int passive_server(int port, int backlog, const std::string& bind_addr = "");
// Serves until the channels stop (returns 0).
int telnet_server(Channels& ch, int port = kWebSocketPort, WebSocketHooks hooks = {});
// What one GUI message does after its echo.
void act_on_message(Channels& ch, const std::string& text);

std::thread start_websocket_server(Channels& ch, int port = kWebSocketPort, WebSocketHooks hooks = {});

}  // namespace channels
