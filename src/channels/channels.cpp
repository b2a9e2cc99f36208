#include "channels/channels.h"

#include <fcntl.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace channels {

Channels::Channels(board::Board& b, core::SharedState& s, Segments& seg)
    : board(b), state(s), segments(seg) {
  if (::pipe2(stop_pipe_, O_CLOEXEC) != 0) stop_pipe_[0] = stop_pipe_[1] = -1;
}

Channels::~Channels() {
  for (int fd : stop_pipe_)
    if (fd >= 0) ::close(fd);
}

void Channels::stop() {
  if (stopping_.exchange(true)) return;
  char c = 1;
  if (stop_pipe_[1] >= 0 && ::write(stop_pipe_[1], &c, 1) != 1) return;
}

Waker::Waker() {
  if (::pipe2(pipe_, O_CLOEXEC | O_NONBLOCK) != 0) pipe_[0] = pipe_[1] = -1;
}

Waker::~Waker() {
  for (int fd : pipe_)
    if (fd >= 0) ::close(fd);
}

void Waker::notify() {
  char c = 1;
  if (::write(pipe_[1], &c, 1) != 1) return;  // full: a wake-up is pending anyway
}

void Waker::drain() {
  char buf[64];
  while (::read(pipe_[0], buf, sizeof buf) > 0) {
  }
}

Outbox::Writer nonblocking_writer(int fd) {
  return [fd](const char* data, size_t n) { return ::send(fd, data, n, MSG_DONTWAIT | MSG_NOSIGNAL); };
}

void apply_send_buffer(const Channels& ch, int fd) {
  int size = ch.accepted_sndbuf.load();
  if (size > 0) ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}

bool wait_readable(const Channels& ch, int fd) {
  pollfd p[2] = {{fd, POLLIN, 0}, {ch.stop_fd(), POLLIN, 0}};
  for (;;) {
    if (ch.stopping()) return false;
    int r = ::poll(p, 2, -1);
    if (r < 0 && errno == EINTR) continue;
    if (r < 0) return false;
    if (p[1].revents) return false;
    if (p[0].revents) return true;
  }
}

int bound_port(int fd) {
  sockaddr_in a{};
  socklen_t len = sizeof a;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) != 0) return 0;
  return ntohs(a.sin_port);
}

}  // namespace channels

namespace channels {

int listen_tcp_or_exit(int port, int backlog, const char* socket_error, const char* bind_error,
                       const char* listen_error, const std::string& bind_addr) {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    std::perror(socket_error);
    std::exit(1);
  }
  int on = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_ANY);
  if (!bind_addr.empty() && ::inet_pton(AF_INET, bind_addr.c_str(), &a.sin_addr) != 1) {
    errno = EINVAL;
    std::perror(bind_error);
    std::exit(1);
  }
  a.sin_port = htons(static_cast<uint16_t>(port));
  if (::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    std::perror(bind_error);
    std::exit(1);
  }
  if (::listen(fd, backlog) != 0) {
    std::perror(listen_error);
    std::exit(1);
  }
  return fd;
}

}  // namespace channels
