#include <gtest/gtest.h>

#include <csignal>

#include "system/netinit.h"
#include "support/fakes.h"
#include "support/scratch_root.h"

namespace {

using namespace testing_support;

TEST(Netinit, ActsOnTheSignalAndTheConnectionMode) {
  struct Case {
    int signo;
    const char* mode;
    std::vector<std::string> commands;
    std::vector<long> sleeps;
    bool tells_mcu;
  };
  const Case cases[] = {
      {SIGUSR1, "STATIC", {"/sbin/internet.sh"}, {10000, 1000}, true},
      {SIGUSR1, "DHCP", {"/sbin/internet.sh"}, {10000}, false},
      {SIGUSR2, "STATIC", {}, {}, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.signo) + " " + c.mode);
    ScratchRoot scratch;
    MemoryNvram nvram;
    RecordingRunner runner;
    RecordingClock clock;
    RecordingMcu mcu;
    board::Files files(scratch.root());
    board::SettingsFile settings(files);
    char* buf = nullptr;
    size_t len = 0;
    std::FILE* out = open_memstream(&buf, &len);
    board::Board b{files, nvram, settings, runner, clock, mcu, out};
    nvram.values["wanConnectionMode"] = c.mode;
    system_actions::netinit(b, c.signo);
    std::fclose(out);
    EXPECT_EQ(std::string(buf, len), "sign_no" + std::to_string(c.signo) + "\n");
    std::free(buf);
    EXPECT_EQ(runner.lines, c.commands);
    EXPECT_EQ(clock.sleeps, c.sleeps);
    EXPECT_EQ(nvram.values.count("CheckNetworkType"), c.signo == SIGUSR1 ? 1u : 0u);
    if (c.tells_mcu) {
      EXPECT_EQ(mcu.bytes.rfind(">SetGuiIP ", 0), 0u);
      EXPECT_EQ(mcu.bytes.substr(mcu.bytes.size() - 2), "\r\n");
    } else {
      EXPECT_TRUE(mcu.bytes.empty());
    }
  }
}

}  // namespace
