#pragma once
// TLS for the GUI channel (wss://), for web pages served over HTTPS.
//
// TlsConnection is one server-side TLS connection over a non-blocking socket:
// read and write behave like recv and send on it (bytes, 0 at the peer's end,
// -1 with would_block() when the socket must first become ready for
// poll_events()). TlsTransport puts it under the GUI channel's poll loop, so
// TLS needs no thread of its own: the handshake runs inside the first reads
// and writes, within the channel's limit for the opening request.
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/types.h>

#include <cstddef>
#include <memory>
#include <string>

#include "channels/websocket_server.h"

namespace channels {

// A server context from PEM certificate and key files (through init_ssl).
class TlsContext {
 public:
  // Null, with a one-line reason in *error, when the files cannot be used.
  static std::shared_ptr<TlsContext> load(const std::string& cert, const std::string& key, std::string* error);
  ~TlsContext();
  SSL_CTX* get() const { return ctx_; }

 private:
  explicit TlsContext(SSL_CTX* ctx) : ctx_(ctx) {}
  SSL_CTX* ctx_;
};

class TlsConnection {
 public:
  // Works on fd (made non-blocking); the caller keeps it and closes it after
  // this is gone. Nothing is ever written with a signal: a peer gone is an
  // error, not SIGPIPE.
  TlsConnection(const TlsContext& ctx, int fd);
  ~TlsConnection();
  TlsConnection(const TlsConnection&) = delete;
  TlsConnection& operator=(const TlsConnection&) = delete;

  // The handshake runs inside read and write.
  ssize_t read(void* buf, size_t n);
  ssize_t write(const void* buf, size_t n);
  // After -1: true when the call only has to wait for poll_events().
  bool would_block() const { return want_ != 0; }
  // What the socket must become ready for before the last call can go on
  // (POLLIN by default).
  short poll_events() const { return want_ ? want_ : POLLIN; }
  // Sends the close notification (best effort, never waits).
  void shutdown();

 private:
  ssize_t result(int r);
  SSL* ssl_ = nullptr;
  short want_ = 0;
};

// A GUI connection over TLS: -1 with EAGAIN while TLS waits for the socket,
// and wanted_events() says for what, separately for reading and writing.
class TlsTransport : public Transport {
 public:
  TlsTransport(const TlsContext& ctx, int fd) : tls_(ctx, fd) {}
  ~TlsTransport() override { tls_.shutdown(); }
  ssize_t read_some(char* buf, size_t n) override;
  ssize_t write_some(const char* data, size_t n) override;
  short wanted_events(short wanted) const override;

 private:
  TlsConnection tls_;
  short read_wants_ = POLLIN;
  short write_wants_ = POLLOUT;
};

}  // namespace channels
