// The MCU line: its settings as a terminal takes them (a pseudo-terminal keeps
// the speed, the stop bits and the raw mode, but not the character size or
// parity), the reasons a wait fails, and the writes.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "board/mcu_line.h"
#include "board/serial_port.h"

namespace {

TEST(SerialPort, TheLineTakesTheSpeedStopBitsAndRawMode) {
  const struct { int speed, bits; char parity; int stop; speed_t rate; tcflag_t stop_flag; } cases[] = {
      {115200, 8, 'N', 1, B115200, 0}, {2400, 7, 'E', 2, B2400, CSTOPB}, {4800, 8, 'O', 1, B4800, 0},
      {57600, 8, 'N', 1, B9600, 0}};  // any other speed: 9600
  // One line for every row: each setting replaces the one before it whole.
  int master = ::posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_TRUE(master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0);
  int fd = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
  ASSERT_GE(fd, 0);
  for (const auto& c : cases) {
    ASSERT_EQ(board::set_opt(fd, c.speed, c.bits, c.parity, c.stop, stdout), 0) << c.speed;
    termios t{};
    ASSERT_EQ(::tcgetattr(fd, &t), 0);
    EXPECT_EQ(::cfgetospeed(&t), c.rate) << c.speed;
    EXPECT_EQ(::cfgetispeed(&t), c.rate) << c.speed;
    EXPECT_EQ(t.c_cflag & CSTOPB, c.stop_flag) << c.speed;
    EXPECT_EQ(t.c_lflag & (ICANON | ECHO), 0u) << c.speed;
    EXPECT_EQ(t.c_cc[VMIN], 0);
  }
  ::close(fd);
  ::close(master);
}

int pipe_fds[2];

// A signal during the wait is no failure; a descriptor in error is one, and
// says so. Descriptor 0 is a line like any other (a daemon started without
// standard input).
TEST(SerialLine, WaitsThroughSignalsNamesAFailureAndWritesOnAnyDescriptor) {
  ASSERT_EQ(::pipe2(pipe_fds, O_NONBLOCK), 0);
  struct sigaction on{}, old{};
  on.sa_handler = [](int) { (void)!::write(pipe_fds[1], "x", 1); };  // the data comes with the signal
  ASSERT_EQ(::sigaction(SIGALRM, &on, &old), 0);
  itimerval once{{0, 0}, {0, 50000}};
  ::setitimer(ITIMER_REAL, &once, nullptr);
  board::SerialSource line(pipe_fds[0]);
  EXPECT_EQ(line.wait(10000), board::ByteSource::Wait::Data) << line.failure();
  ::sigaction(SIGALRM, &old, nullptr);
  char got[16] = "";
  EXPECT_EQ(::read(pipe_fds[0], got, sizeof got), 1);
  const int saved = ::dup(0);
  ASSERT_EQ(::dup2(pipe_fds[1], 0), 0);
  board::SerialMcuLine mcu;
  mcu.set_fd(0);
  EXPECT_EQ(mcu.write("GUISTATUS\r\n", 11), 11);
  ::dup2(saved, 0);
  ::close(saved);
  EXPECT_EQ(::read(pipe_fds[0], got, sizeof got), 11);
  ::close(pipe_fds[0]);  // the write end of a pipe nobody reads is in error
  board::SerialSource broken(pipe_fds[1]);
  EXPECT_EQ(broken.wait(0), board::ByteSource::Wait::Failed);
  EXPECT_EQ(broken.failure(), "POLLERR");
  ::close(pipe_fds[1]);
}

}  // namespace
