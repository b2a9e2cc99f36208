// The real daemon against a pseudo-terminal MCU line, in host mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

TEST(Daemon, StartsUpInOrderHandlesSignalsAndLeavesNothingBehindOnSigterm) {
  DaemonHarness d;
  d.start();
  EXPECT_EQ(d.nvram("uart_shell"), "zzzzz");
  EXPECT_EQ(d.nvram("CheckWriteType"), "0");
  EXPECT_EQ(d.nvram("SystemWaiting"), "0");
  EXPECT_EQ(d.scratch.read("/var/run/readuart.pid"), std::to_string(d.pid()));
  std::string out = d.output();
  size_t tid = out.find("TID in pthread_create function: 0.\n");
  size_t main = out.find("Main process: PID: " + std::to_string(d.pid()) + ",TID: ");
  size_t open = out.find("open ttyS0 .....\n");
  ASSERT_NE(tid, std::string::npos) << out;
  ASSERT_NE(main, std::string::npos) << out;
  ASSERT_NE(open, std::string::npos) << out;
  EXPECT_LT(tid, main);
  EXPECT_LT(main, open);
  // Signals are handled off the handler, and the daemon goes on.
  ::kill(d.pid(), SIGUSR2);
  EXPECT_TRUE(d.wait_output("sign_no" + std::to_string(SIGUSR2) + "\n"));
  EXPECT_TRUE(d.running());
  EXPECT_EQ(d.stop(), 0);
  EXPECT_FALSE(d.scratch.exists("/var/run/readuart.pid"));
}

bool has(const std::vector<std::string>& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// MCU lines are framed, queued and interpreted; their effects reach the
// settings file, nvram, the commands run and the MCU line.
TEST(Daemon, CarriesMcuLinesToTheStoresTheCommandsAndBack) {
  DaemonHarness d;
  d.nvram_set("SnmpTrapreceiver1", "127.0.0.1:16299");
  d.settings("TitleLabel=Old\nPower=0\n");
  d.start();
  d.mcu_send("a\n\rb\r\nValue 1.5");  // then silence
  EXPECT_TRUE(d.wait_interpreted("Value 1.5"));
  EXPECT_EQ(d.output().find("InputData=a\n\rb"), std::string::npos);

  d.mcu_send("[SUCCESS]Set Device Name To Lab  telnet23\r\n");
  EXPECT_TRUE(wait_until([&] { return d.nvram("TitleLabel") == "Lab"; }));
  EXPECT_TRUE(wait_until([&] { return d.settings_lines() == std::vector<std::string>{"Power=0", "TitleLabel=Lab"}; }));

  d.mcu_send("[SUCCESS]Set System Power ON\r\n");
  EXPECT_TRUE(d.wait_mcu("GUISTATUS\r\n"));
  EXPECT_TRUE(wait_until([&] { return has(d.journal(), "/bin/update_ota_version.sh &"); }));

  d.mcu_send("MQTT topic/x 5\r\n");
  EXPECT_TRUE(d.wait_mcu("GUISYSTIME\r\n"));
  EXPECT_TRUE(wait_until([&] { return d.nvram("mqttBrokerpayloadvalue") == "MQTT topic/x 5"; }));
  EXPECT_EQ(d.nvram("Guiupsys"), "3");

  const std::string event = "2026-11-22 15:00:00 System Critical: 'over' temperature";
  d.mcu_send("Clue:" + event + "\r\n");
  EXPECT_TRUE(wait_until([&] { return has(d.scratch.lines("/user/ZLT.log"), event + "."); }));
  EXPECT_TRUE(wait_until([&] {
    for (const auto& l : d.journal())
      if (l.rfind("snmptrap ", 0) == 0 && l.find("127.0.0.1:16299") != std::string::npos) return true;
    return false;
  })) << d.output();
  EXPECT_EQ(d.stop(), 0);
}

TEST(Daemon, RecoversFromAHungUpLine) {
  DaemonHarness d;
  d.start();
  d.mcu_send("before\r\n");
  ASSERT_TRUE(d.wait_interpreted("before"));
  d.replace_line();  // the old line hangs up; the same path now leads to a new one
  // The real reason, not a stale errno.
  EXPECT_TRUE(d.wait_output("MCU line read error: POLLHUP; reopening\n")) << d.output();
  ASSERT_TRUE(d.wait_output("MCU line reopened\n"));
  d.mcu_send("after\r\n");
  EXPECT_TRUE(d.wait_interpreted("after", 15s)) << d.output();
  EXPECT_EQ(d.stop(), 0);
}

TEST(Daemon, ReportsAMissingLineAndEnds) {
  ScratchRoot r;
  ProcessResult p = run_built_program("pdud", {"--host", "--root", r.dir(), "--serial", r.path("/dev/none"),
                                               "--settle-ms", "0"});
  EXPECT_EQ(p.status, 0);
  EXPECT_NE((p.out + p.err).find("open_port error"), std::string::npos) << p.out << p.err;
}

}  // namespace
