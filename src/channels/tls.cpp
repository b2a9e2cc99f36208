#include "channels/tls.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <list>
#include <vector>

#include "channels/websocket_codec.h"

namespace channels {

std::shared_ptr<TlsContext> TlsContext::load(const std::string& cert, const std::string& key, std::string* error) {
  for (const std::string& path : {cert, key})
    if (::access(path.c_str(), R_OK) != 0) {
      *error = "cannot read " + path + ": " + std::strerror(errno);
      return nullptr;
    }
  SSL_CTX* ctx = init_ssl(cert.c_str(), key.c_str());
  if (!ctx) {
    *error = "the certificate " + cert + " and the key " + key + " are not a usable PEM certificate and its key";
    return nullptr;
  }
  return std::shared_ptr<TlsContext>(new TlsContext(ctx));
}

TlsContext::~TlsContext() { SSL_CTX_free(ctx_); }

TlsConnection::TlsConnection(const TlsContext& ctx, int fd) : fd_(fd) {
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
  ssl_ = SSL_new(ctx.get());
  if (!ssl_) return;
  SSL_set_fd(ssl_, fd);
  SSL_set_accept_state(ssl_);
  // write() may send part of the buffer and be called again with a moved one, as send() can.
  SSL_set_mode(ssl_, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
}

TlsConnection::~TlsConnection() {
  SSL_free(ssl_);
  ::close(fd_);
}

ssize_t TlsConnection::result(int r) {
  if (r > 0) {
    want_ = 0;
    return r;
  }
  int e = SSL_get_error(ssl_, r);
  want_ = e == SSL_ERROR_WANT_READ ? POLLIN : e == SSL_ERROR_WANT_WRITE ? POLLOUT : 0;
  ERR_clear_error();
  return e == SSL_ERROR_ZERO_RETURN ? 0 : -1;
}

int TlsConnection::handshake() {
  if (!ssl_) return -1;
  ERR_clear_error();
  ssize_t r = result(SSL_do_handshake(ssl_));
  if (r > 0) return 1;
  return would_block() ? 0 : -1;
}

ssize_t TlsConnection::read(void* buf, size_t n) {
  if (!ssl_) return -1;
  ERR_clear_error();
  return result(SSL_read(ssl_, buf, static_cast<int>(std::min<size_t>(n, INT_MAX))));
}

ssize_t TlsConnection::write(const void* buf, size_t n) {
  if (!ssl_) return -1;
  ERR_clear_error();
  return result(SSL_write(ssl_, buf, static_cast<int>(std::min<size_t>(n, INT_MAX))));
}

void TlsConnection::shutdown() {
  if (ssl_ && SSL_is_init_finished(ssl_)) SSL_shutdown(ssl_);
  ERR_clear_error();
}

namespace {

constexpr size_t kBufferMax = 65536;  // bytes waiting in each direction of one connection

bool would_block(int err) { return err == EAGAIN || err == EWOULDBLOCK || err == EINTR; }

// One TLS peer and the server's end of its socket pair.
struct Link {
  Link(const TlsContext& ctx, int tcp_fd, int plain_fd) : tls(ctx, tcp_fd), plain(plain_fd) {}
  ~Link() { ::close(plain); }
  TlsConnection tls;
  int plain;
  std::string to_plain, to_tls;
  bool tls_end = false, plain_shut = false, plain_end = false;

  // Moves what it can both ways; false when the connection is over.
  bool pump() {
    char buf[16384];
    while (!tls_end && to_plain.size() < kBufferMax) {
      ssize_t r = tls.read(buf, sizeof buf);
      if (r > 0) to_plain.append(buf, static_cast<size_t>(r));
      else if (r < 0 && tls.would_block()) break;
      else tls_end = true;  // closed, a failed handshake or a broken connection
    }
    while (!to_plain.empty()) {
      ssize_t w = ::send(plain, to_plain.data(), to_plain.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      if (w > 0) to_plain.erase(0, static_cast<size_t>(w));
      else if (w < 0 && would_block(errno)) break;
      else return false;
    }
    if (tls_end && to_plain.empty() && !plain_shut) {
      ::shutdown(plain, SHUT_WR);  // the server reads the end of the stream
      plain_shut = true;
    }
    while (!plain_end && to_tls.size() < kBufferMax) {
      ssize_t r = ::recv(plain, buf, sizeof buf, MSG_DONTWAIT);
      if (r > 0) to_tls.append(buf, static_cast<size_t>(r));
      else if (r < 0 && would_block(errno)) break;
      else plain_end = true;
    }
    while (!to_tls.empty() && !tls_end) {
      ssize_t w = tls.write(to_tls.data(), to_tls.size());
      if (w > 0) to_tls.erase(0, static_cast<size_t>(w));
      else if (w < 0 && tls.would_block()) break;
      else return false;
    }
    if (plain_end && (to_tls.empty() || tls_end)) {
      tls.shutdown();
      return false;
    }
    return !(tls_end && plain_end);
  }

  void events(pollfd out[2]) const {
    short t = (!tls_end && to_plain.size() < kBufferMax) ? POLLIN : 0;
    if (!to_tls.empty() && !tls_end) t |= tls.poll_events();
    short p = (!plain_end && to_tls.size() < kBufferMax) ? POLLIN : 0;
    if (!to_plain.empty()) p |= POLLOUT;
    // A side with nothing to wait for is left out (its hang-up would wake the poll for ever).
    out[0] = {t ? tls.fd() : -1, t, 0};
    out[1] = {p ? plain : -1, p, 0};
  }
};

}  // namespace

TlsBridge::TlsBridge(std::shared_ptr<TlsContext> ctx) : ctx_(std::move(ctx)) {
  if (::pipe2(wake_, O_CLOEXEC | O_NONBLOCK) != 0) wake_[0] = wake_[1] = -1;
  thread_ = std::thread([this] { run(); });
}

TlsBridge::~TlsBridge() {
  int stop[2] = {-1, -1};
  (void)!::write(wake_[1], stop, sizeof stop);
  thread_.join();
  for (int fd : wake_)
    if (fd >= 0) ::close(fd);
}

int TlsBridge::adopt(int tcp_fd) {
  int pair[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0) {
    ::close(tcp_fd);
    return -1;
  }
  int handover[2] = {tcp_fd, pair[1]};
  if (::write(wake_[1], handover, sizeof handover) != static_cast<ssize_t>(sizeof handover)) {
    for (int fd : {tcp_fd, pair[0], pair[1]}) ::close(fd);
    return -1;
  }
  return pair[0];
}

void TlsBridge::run() {
  // OpenSSL writes to the socket with write(): a peer gone must give EPIPE
  // on this thread, not end the process.
  sigset_t pipe;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, nullptr);

  std::list<Link> links;
  std::vector<pollfd> fds;
  for (;;) {
    fds.assign(1, pollfd{wake_[0], POLLIN, 0});
    for (const Link& l : links) {
      fds.resize(fds.size() + 2);
      l.events(&fds[fds.size() - 2]);
    }
    if (::poll(fds.data(), fds.size(), -1) < 0 && errno != EINTR) continue;
    int handover[2];
    while (::read(wake_[0], handover, sizeof handover) == static_cast<ssize_t>(sizeof handover)) {
      if (handover[0] < 0) return;  // links close as the list goes
      links.emplace_back(*ctx_, handover[0], handover[1]);
    }
    for (auto it = links.begin(); it != links.end();) it = it->pump() ? std::next(it) : links.erase(it);
  }
}

}  // namespace channels
