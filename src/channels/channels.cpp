#include "channels/channels.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

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

bool read_full(int fd, void* buf, size_t n) {
  auto* p = static_cast<char*>(buf);
  size_t done = 0;
  while (done < n) {
    ssize_t r = ::read(fd, p + done, n - done);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    done += static_cast<size_t>(r);
  }
  return true;
}

ssize_t send_all(int fd, const void* buf, size_t n) {
  const auto* p = static_cast<const char*>(buf);
  size_t done = 0;
  while (done < n) {
    ssize_t w = ::send(fd, p + done, n - done, MSG_NOSIGNAL);
    if (w < 0 && errno == EINTR) continue;
    if (w < 0) return -1;
    done += static_cast<size_t>(w);
  }
  return static_cast<ssize_t>(done);
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
