#include "board/serial_port.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace board {

int open_port(const std::string& path, const char* label, std::FILE* out) {
  int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NDELAY | O_CLOEXEC);
  if (fd < 0) {
    std::perror("Can't Open Serial Port");
    return -1;
  }
  std::fprintf(out, "open %s .....\n", label);
  int flags = ::fcntl(fd, F_SETFL, 0);
  if (flags < 0)
    std::fprintf(out, "fcntl failed!\n");
  else
    std::fprintf(out, "fcntl=%d\n", flags);
  if (::isatty(STDIN_FILENO) == 0)
    std::fprintf(out, "standard input is not a terminal device\n");
  else
    std::fprintf(out, "isatty success!\n");
  std::fprintf(out, "fd-open=%d\n", fd);
  std::fflush(out);
  return fd;
}

int set_opt(int fd, int speed, int bits, char parity, int stop, std::FILE* out) {
  struct termios oldtio, newtio;
  if (::tcgetattr(fd, &oldtio) != 0) {
    std::perror("SetupSerial 1");
    return -1;
  }
  std::memset(&newtio, 0, sizeof newtio);
  newtio.c_cflag |= CLOCAL | CREAD;
  newtio.c_cflag &= ~CSIZE;
  if (bits == 7) newtio.c_cflag |= CS7;
  if (bits == 8) newtio.c_cflag |= CS8;
  switch (parity) {
    case 'O':
      newtio.c_cflag |= PARENB | PARODD;
      newtio.c_iflag |= INPCK | ISTRIP;
      break;
    case 'E':
      newtio.c_cflag |= PARENB;
      newtio.c_cflag &= ~PARODD;
      newtio.c_iflag |= INPCK | ISTRIP;
      break;
    case 'N':
      newtio.c_cflag &= ~PARENB;
      break;
    default:
      break;
  }
  speed_t rate = B9600;
  if (speed == 2400) rate = B2400;
  if (speed == 4800) rate = B4800;
  if (speed == 115200) rate = B115200;
  ::cfsetispeed(&newtio, rate);
  ::cfsetospeed(&newtio, rate);
  if (stop == 1) newtio.c_cflag &= ~CSTOPB;
  if (stop == 2) newtio.c_cflag |= CSTOPB;
  newtio.c_lflag &= ~(ICANON | ECHO | ECHOE | ISIG);
  newtio.c_oflag &= ~OPOST;
  newtio.c_iflag &= ~(BRKINT | ISTRIP | ICRNL | IXON | IXOFF | IXANY);
  newtio.c_cc[VTIME] = 1;
  newtio.c_cc[VMIN] = 0;
  ::tcflush(fd, TCIFLUSH);
  if (::tcsetattr(fd, TCSANOW, &newtio) != 0) {
    std::perror("com set error");
    return -1;
  }
  std::fflush(out);
  return 0;
}

ByteSource::Wait SerialSource::wait(int timeout_ms) {
  failure_.clear();
  for (;;) {
    pollfd p{fd_, POLLIN, 0};
    int r = ::poll(&p, 1, timeout_ms);
    if (r < 0) {
      if (errno == EINTR) continue;
      failure_ = std::strerror(errno);
      std::perror("select");
      return Wait::Failed;
    }
    if (r == 0) return Wait::Silence;
    hung_up_ = (p.revents & POLLHUP) != 0;
    if (p.revents & POLLIN) return Wait::Data;
    failure_ = (p.revents & POLLHUP) ? "POLLHUP" : (p.revents & POLLNVAL) ? "POLLNVAL" : "POLLERR";
    return Wait::Failed;
  }
}

ssize_t SerialSource::read(char* buf, size_t max) {
  for (;;) {
    ssize_t n = ::read(fd_, buf, max);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) failure_ = std::strerror(errno);
    if (n == 0) failure_ = hung_up_ ? "POLLHUP" : "end of file";
    return n;
  }
}

int reopen_port(const std::string& path, std::FILE* out) {
  int fd = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return -1;
  if (set_opt(fd, 115200, 8, 'N', 1, out) < 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

void flush_input(int fd) { ::tcflush(fd, TCIFLUSH); }

void close_port(int fd) {
  if (fd >= 0) ::close(fd);
}

}  // namespace board
