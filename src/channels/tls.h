#pragma once
// TLS for the GUI channel (wss://), for web pages served over HTTPS.
//
// TlsConnection is one server-side TLS connection over a non-blocking socket:
// read and write behave like recv and send on it (bytes, 0 at the peer's end,
// -1 with would_block() when the socket must first become ready for
// poll_events()). TlsBridge puts such connections in front of a server that
// speaks plain bytes: adopt() takes an accepted TCP socket and returns the
// server's end of a socket pair; one thread moves the bytes between the two
// through TlsConnection, never blocking on either side.
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>

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
  // Takes over fd (made non-blocking) and closes it at the end.
  TlsConnection(const TlsContext& ctx, int fd);
  ~TlsConnection();
  TlsConnection(const TlsConnection&) = delete;
  TlsConnection& operator=(const TlsConnection&) = delete;

  // The handshake runs inside read and write; this drives it alone.
  // 1 when done, 0 while it would block, -1 when it failed.
  int handshake();
  ssize_t read(void* buf, size_t n);
  ssize_t write(const void* buf, size_t n);
  // After -1: true when the call only has to wait for poll_events().
  bool would_block() const { return want_ != 0; }
  // What the socket must become ready for before the last call can go on
  // (POLLIN by default).
  short poll_events() const { return want_ ? want_ : POLLIN; }
  // Sends the close notification (best effort, never waits).
  void shutdown();
  int fd() const { return fd_; }

 private:
  ssize_t result(int r);
  SSL* ssl_ = nullptr;
  int fd_;
  short want_ = 0;
};

class TlsBridge {
 public:
  explicit TlsBridge(std::shared_ptr<TlsContext> ctx);
  ~TlsBridge();  // closes every connection and ends the thread
  TlsBridge(const TlsBridge&) = delete;
  TlsBridge& operator=(const TlsBridge&) = delete;

  // Takes an accepted TCP socket; returns a blocking descriptor that carries
  // the same connection in plain bytes, or -1 (tcp_fd closed) on failure.
  int adopt(int tcp_fd);

 private:
  void run();
  std::shared_ptr<TlsContext> ctx_;
  int wake_[2] = {-1, -1};  // adopt() hands (tcp, plain) descriptor pairs over this pipe
  std::thread thread_;
};

}  // namespace channels
