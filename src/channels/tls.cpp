#include "channels/tls.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <cstdint>

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

namespace {

// The socket under a TLS connection: recv and send that never wait and never
// raise SIGPIPE (OpenSSL's own socket layer writes with write()).
int fd_of(BIO* b) { return static_cast<int>(reinterpret_cast<intptr_t>(BIO_get_data(b))); }

bool again(int err) { return err == EAGAIN || err == EWOULDBLOCK || err == EINTR; }

int socket_write(BIO* b, const char* data, int n) {
  BIO_clear_retry_flags(b);
  ssize_t w = ::send(fd_of(b), data, static_cast<size_t>(n), MSG_DONTWAIT | MSG_NOSIGNAL);
  if (w < 0 && again(errno)) BIO_set_retry_write(b);
  return static_cast<int>(w);
}

int socket_read(BIO* b, char* buf, int n) {
  BIO_clear_retry_flags(b);
  ssize_t r = ::recv(fd_of(b), buf, static_cast<size_t>(n), MSG_DONTWAIT);
  if (r < 0 && again(errno)) BIO_set_retry_read(b);
  return static_cast<int>(r);
}

long socket_ctrl(BIO*, int cmd, long, void*) { return cmd == BIO_CTRL_FLUSH ? 1 : 0; }

int socket_create(BIO* b) {
  BIO_set_init(b, 1);
  return 1;
}

BIO_METHOD* socket_method() {
  static BIO_METHOD* method = [] {
    BIO_METHOD* m = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "pdud socket");
    if (m) {
      BIO_meth_set_write(m, socket_write);
      BIO_meth_set_read(m, socket_read);
      BIO_meth_set_ctrl(m, socket_ctrl);
      BIO_meth_set_create(m, socket_create);
    }
    return m;
  }();
  return method;
}

}  // namespace

TlsConnection::TlsConnection(const TlsContext& ctx, int fd) {
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
  BIO* bio = socket_method() ? BIO_new(socket_method()) : nullptr;
  ssl_ = bio ? SSL_new(ctx.get()) : nullptr;
  if (!ssl_) {
    BIO_free(bio);
    return;
  }
  BIO_set_data(bio, reinterpret_cast<void*>(static_cast<intptr_t>(fd)));
  SSL_set_bio(ssl_, bio, bio);
  SSL_set_accept_state(ssl_);
  // write() may send part of the buffer and be called again with a moved one, as send() can.
  SSL_set_mode(ssl_, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
}

TlsConnection::~TlsConnection() { SSL_free(ssl_); }

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

ssize_t TlsTransport::read_some(char* buf, size_t n) {
  ssize_t r = tls_.read(buf, n);
  read_wants_ = r < 0 && tls_.would_block() ? tls_.poll_events() : POLLIN;
  if (r < 0) errno = tls_.would_block() ? EAGAIN : ECONNRESET;
  return r;
}

ssize_t TlsTransport::write_some(const char* data, size_t n) {
  ssize_t w = tls_.write(data, n);
  write_wants_ = w < 0 && tls_.would_block() ? tls_.poll_events() : POLLOUT;
  if (w < 0) errno = tls_.would_block() ? EAGAIN : EPIPE;
  return w;
}

short TlsTransport::wanted_events(short wanted) const {
  return static_cast<short>(((wanted & POLLIN) ? read_wants_ : 0) | ((wanted & POLLOUT) ? write_wants_ : 0));
}

}  // namespace channels
