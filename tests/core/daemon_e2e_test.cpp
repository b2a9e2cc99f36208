// The real daemon against a pseudo-terminal MCU line, in host mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>
#include <vector>

#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

// Start-up in order (the leftovers of a crash cleared), MCU lines carried to the stores, the commands, the MCU
// and the trace, signals handled off the handler, a hung-up line reopened,
// and nothing left behind on SIGTERM.
TEST(Daemon, RunsTheUnitFromStartToSigterm) {
  DaemonHarness d;
  d.nvram_set("SnmpTrapreceiver1", "127.0.0.1:16299");
  d.nvram_set("ZLTMerge", "ZLT8AC");
  d.scratch.write("/user/argument.text", "TitleLabel=Old\nPower=0\n");
  d.scratch.write("/user/argument.text.tmpAb12Cd", "Half=");  // what an interrupted replacement left
  d.start({"--trace", d.scratch.path("/mcu.trace")});
  EXPECT_FALSE(d.scratch.exists("/user/argument.text.tmpAb12Cd"));
  EXPECT_EQ(d.nvram("uart_shell") + d.nvram("CheckWriteType") + d.nvram("SystemWaiting"), "zzzzz00");
  EXPECT_EQ(d.scratch.read("/var/run/readuart.pid"), std::to_string(d.pid()));
  const std::string out = d.output();
  const size_t at[] = {out.find("TID in pthread_create function: 0.\n"),
                       out.find("Main process: PID: " + std::to_string(d.pid()) + ",TID: "), out.find("open ttyS0 .....\n")};
  EXPECT_TRUE(at[2] != std::string::npos && std::is_sorted(std::begin(at), std::end(at))) << out;

  auto holds = [&](const std::string& path, const std::string& part) {
    return wait_until([&] { return d.scratch.read(path).find(part) != std::string::npos; });
  };
  d.mcu_send("[SUCCESS]Set Device Name To Lab  telnet23\r\n[SUCCESS]Set System Power ON\r\nMQTT on\r\n");
  EXPECT_TRUE(holds("/user/argument.text", "TitleLabel=Lab\nPower=1\n")) << d.scratch.read("/user/argument.text");
  EXPECT_TRUE(d.wait_mcu("GUISTATUS\r\n") && d.wait_mcu("GUISYSTIME\r\n"));
  EXPECT_TRUE(holds("/var/log/commands.log", "/bin/update_ota_version.sh &\n"));
  const std::string event = "2026-11-22 15:00:00 System Critical: 'over' temperature";
  d.mcu_send("Clue:" + event + "\r\n");
  EXPECT_TRUE(holds("/user/ZLT.log", event + ".\n"));
  EXPECT_TRUE(holds("/var/log/commands.log", "127.0.0.1:16299")) << d.output();  // the trap
  d.mcu_send("Power Key Relay TCP/IP Baud Current OverVoltage UnderVoltage Ground\r\nON OFF ON 1 9600 10 250 90 x\r\n");
  for (const char* part : {" rx \"", " row set-device-name keys: TitleLabel\n", " row table-header keys:\n",
                           " row status-dump row, table 3 keys: Power powerlock relaypower Enabletcpip localBaud "
                           "Thresholdcurrent VoltageThreshold UnderVoltage\n", " tx \"GUISYSTIME\\r\\n\"\n"})
    EXPECT_TRUE(holds("/mcu.trace", part)) << part << d.scratch.read("/mcu.trace");
  // Every trace line: wall clock, monotonic milliseconds, kind, text.
  const std::regex line(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \d+ (rx|tx|row) .*)");
  for (const std::string& l : d.scratch.lines("/mcu.trace")) EXPECT_TRUE(std::regex_match(l, line)) << l;

  ::kill(d.pid(), SIGUSR2);
  EXPECT_TRUE(d.wait_output("sign_no" + std::to_string(SIGUSR2) + "\n"));
  d.replace_line();  // the old line hangs up; the same path now leads to a new one
  EXPECT_TRUE(d.wait_output("MCU line read error: POLLHUP; reopening\n")) << d.output();  // not a stale errno
  ASSERT_TRUE(d.wait_output("MCU line reopened\n"));
  d.mcu_send("after\r\n");
  EXPECT_TRUE(d.wait_output("\n**RV470_InputData=after\n", 15s)) << d.output();  // the worker took it
  EXPECT_EQ(d.stop(), 0);
  EXPECT_FALSE(d.scratch.exists("/var/run/readuart.pid"));
}

TEST(Daemon, ReportsWhatItCannotOpen) {
  ScratchRoot r;
  const struct { const char* option; std::string path; int status; const char* message; } cases[] = {
      {"--serial", r.path("/dev/none"), 0, "open_port error"},
      {"--trace", r.path("/missing/dir/trace"), 1, "pdud: cannot open the trace file "}};
  for (const auto& c : cases) {
    ProcessResult p = run_built_program("pdud", {"--host", "--root", r.dir(), "--settle-ms", "0", c.option, c.path});
    EXPECT_EQ(p.status, c.status) << c.message;
    EXPECT_NE((p.out + p.err).find(c.message), std::string::npos) << p.out << p.err;
  }
}

}  // namespace
