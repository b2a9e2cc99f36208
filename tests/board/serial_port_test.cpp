// The MCU line's settings as a terminal takes them. A pseudo-terminal keeps the
// speed, the stop bits and the raw mode, but not the character size or parity.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "board/serial_port.h"

namespace {

TEST(SerialPort, TheLineTakesTheSpeedStopBitsAndRawMode) {
  struct Case {
    int speed, bits;
    char parity;
    int stop;
    speed_t rate;
    tcflag_t stop_flag;
  } cases[] = {{115200, 8, 'N', 1, B115200, 0},
               {2400, 7, 'E', 2, B2400, CSTOPB},
               {4800, 8, 'O', 1, B4800, 0},
               {57600, 8, 'N', 1, B9600, 0}};  // any other speed: 9600
  for (const Case& c : cases) {
    int master = ::posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(::grantpt(master), 0);
    ASSERT_EQ(::unlockpt(master), 0);
    int fd = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(board::set_opt(fd, c.speed, c.bits, c.parity, c.stop, stdout), 0) << c.speed;
    termios t{};
    ASSERT_EQ(::tcgetattr(fd, &t), 0);
    EXPECT_EQ(::cfgetospeed(&t), c.rate) << c.speed;
    EXPECT_EQ(::cfgetispeed(&t), c.rate) << c.speed;
    EXPECT_EQ(t.c_cflag & CSTOPB, c.stop_flag) << c.speed;
    EXPECT_EQ(t.c_lflag & (ICANON | ECHO), 0u) << c.speed;
    EXPECT_EQ(t.c_cc[VMIN], 0);
    ::close(fd);
    ::close(master);
  }
}

}  // namespace
