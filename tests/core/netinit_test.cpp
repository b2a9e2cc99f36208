#include "system/netinit.h"

#include <gtest/gtest.h>

#include <csignal>

#include "support/interpreter_harness.h"

namespace {

// SIGUSR1 restarts the internet and notes it; a static unit also tells the MCU its address.
TEST(Netinit, ActsOnTheSignalAndTheConnectionMode) {
  const struct { int signo; const char* mode; std::vector<std::string> commands; std::vector<long> sleeps; } cases[] = {
      {SIGUSR1, "STATIC", {"/sbin/internet.sh"}, {10000, 1000}},
      {SIGUSR1, "DHCP", {"/sbin/internet.sh"}, {10000}},
      {SIGUSR2, "STATIC", {}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.signo) + " " + c.mode);
    testing_support::InterpreterHarness h;
    h.nvram.values["wanConnectionMode"] = c.mode;
    system_actions::netinit(h.ctx, c.signo);
    EXPECT_EQ(h.take_output(), "sign_no" + std::to_string(c.signo) + "\n");
    EXPECT_EQ(h.runner.lines, c.commands);
    EXPECT_EQ(h.clock.sleeps, c.sleeps);
    EXPECT_EQ(h.nv("CheckNetworkType"), c.signo == SIGUSR1 ? "1" : "<absent>");
    const std::string& mcu = h.mcu.bytes;
    EXPECT_TRUE(c.sleeps.size() == 2 ? mcu.rfind(">SetGuiIP ", 0) == 0 && mcu.find("\r\n") == mcu.size() - 2 : mcu.empty()) << mcu;
  }
}

}  // namespace
