#include "board/mcu_line.h"

#include <unistd.h>

#include <cerrno>

namespace board {

ssize_t SerialMcuLine::write(const char* data, size_t n) {
  std::lock_guard<std::mutex> hold(lock_);
  if (observer) observer(data, n);
  int fd = fd_.load();
  if (fd < 0) return -1;
  size_t done = 0;
  while (done < n) {
    ssize_t w = ::write(fd, data + done, n - done);
    if (w < 0) {
      if (errno == EINTR) continue;
      return done ? static_cast<ssize_t>(done) : -1;
    }
    done += static_cast<size_t>(w);
  }
  return static_cast<ssize_t>(done);
}

}  // namespace board
