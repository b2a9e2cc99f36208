// The real daemon against a pseudo-terminal MCU line, in host mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

TEST(Daemon, StartsUpInOrderHandlesSignalsAndLeavesNothingBehindOnSigterm) {
  DaemonHarness d;
  d.start();
  EXPECT_EQ(d.nvram("uart_shell") + d.nvram("CheckWriteType") + d.nvram("SystemWaiting"), "zzzzz00");
  EXPECT_EQ(d.scratch.read("/var/run/readuart.pid"), std::to_string(d.pid()));
  const std::string out = d.output();
  const size_t at[] = {out.find("TID in pthread_create function: 0.\n"),
                       out.find("Main process: PID: " + std::to_string(d.pid()) + ",TID: "), out.find("open ttyS0 .....\n")};
  EXPECT_TRUE(at[2] != std::string::npos && std::is_sorted(std::begin(at), std::end(at))) << out;
  // Signals are handled off the handler, and the daemon goes on.
  ::kill(d.pid(), SIGUSR2);
  EXPECT_TRUE(d.wait_output("sign_no" + std::to_string(SIGUSR2) + "\n"));
  EXPECT_TRUE(d.running());
  EXPECT_EQ(d.stop(), 0);
  EXPECT_FALSE(d.scratch.exists("/var/run/readuart.pid"));
}

// MCU lines are framed, queued and interpreted; their effects reach the
// settings file, nvram, the commands run and the MCU line.
TEST(Daemon, CarriesMcuLinesToTheStoresTheCommandsAndBack) {
  DaemonHarness d;
  d.nvram_set("SnmpTrapreceiver1", "127.0.0.1:16299");
  d.scratch.write("/user/argument.text", "TitleLabel=Old\nPower=0\n");
  d.start();
  auto journaled = [&](const std::string& part) {
    return wait_until([&] {
      for (const auto& l : d.scratch.lines("/var/log/commands.log"))
        if (l.find(part) != std::string::npos) return true;
      return false;
    });
  };
  d.mcu_send("Value 1.5");  // then silence ends it
  EXPECT_TRUE(d.wait_interpreted("Value 1.5"));
  d.mcu_send("[SUCCESS]Set Device Name To Lab  telnet23\r\n");
  EXPECT_TRUE(wait_until([&] { return d.nvram("TitleLabel") == "Lab"; }));
  EXPECT_TRUE(wait_until([&] { return d.scratch.read("/user/argument.text") == "Power=0\nTitleLabel=Lab\n"; }));
  d.mcu_send("[SUCCESS]Set System Power ON\r\n");
  EXPECT_TRUE(d.wait_mcu("GUISTATUS\r\n"));
  EXPECT_TRUE(journaled("/bin/update_ota_version.sh &"));
  d.mcu_send("MQTT topic/x 5\r\n");
  EXPECT_TRUE(d.wait_mcu("GUISYSTIME\r\n"));
  EXPECT_TRUE(wait_until([&] { return d.nvram("mqttBrokerpayloadvalue") == "MQTT topic/x 5"; }));
  const std::string event = "2026-11-22 15:00:00 System Critical: 'over' temperature";
  d.mcu_send("Clue:" + event + "\r\n");
  EXPECT_TRUE(wait_until([&] { return d.scratch.read("/user/ZLT.log").find(event + ".\n") != std::string::npos; }));
  EXPECT_TRUE(journaled("127.0.0.1:16299")) << d.output();  // the trap
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

TEST(Daemon, ReportsWhatItCannotOpen) {
  ScratchRoot r;
  const struct { std::vector<std::string> args; int status; const char* message; } cases[] = {
      {{"--serial", r.path("/dev/none")}, 0, "open_port error"},
      {{"--trace", r.path("/missing/dir/trace")}, 1, "pdud: cannot open the trace file "},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args = {"--host", "--root", r.dir(), "--settle-ms", "0"};
    args.insert(args.end(), c.args.begin(), c.args.end());
    ProcessResult p = run_built_program("pdud", args);
    EXPECT_EQ(p.status, c.status) << c.message;
    EXPECT_NE((p.out + p.err).find(c.message), std::string::npos) << p.out << p.err;
  }
}

}  // namespace
