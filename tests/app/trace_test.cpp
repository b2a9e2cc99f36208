// `pdud --trace FILE`: the daemon's record of MCU traffic and of the rows
// that took each message, and the file's bound.
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "board/trace_file.h"
#include "support/board_process.h"
#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

TEST(Trace, RecordsBytesRowsAndChangedKeys) {
  DaemonHarness d;
  d.nvram_set("ZLTMerge", "ZLT8AC");
  const std::string trace = d.scratch.path("/mcu.trace");
  d.start({"--trace", trace});
  d.mcu_send("[SUCCESS]Set Key ON\r\n");
  d.mcu_send("Power Key Relay TCP/IP Baud Current OverVoltage UnderVoltage Ground\r\n");
  d.mcu_send("ON OFF ON 1 9600 10 250 90 Device_Ground_Lost\r\n");
  d.mcu_send("MQTT on\r\n");
  const std::string status_row =
      " row status-dump row, table 3 keys: Power powerlock relaypower Enabletcpip localBaud "
      "Thresholdcurrent VoltageThreshold UnderVoltage DashboardSense Groundsen\n";
  ASSERT_TRUE(wait_until([&] { return d.scratch.read("/mcu.trace").find(status_row) != std::string::npos; }))
      << d.scratch.read("/mcu.trace");
  ASSERT_TRUE(wait_until([&] { return d.scratch.read("/mcu.trace").find("tx \"GUISYSTIME\\r\\n\"") != std::string::npos; }));
  const std::string text = d.scratch.read("/mcu.trace");
  EXPECT_NE(text.find(" row set-key-on keys: powerlock\n"), std::string::npos) << text;
  EXPECT_NE(text.find(" row table-header keys:\n"), std::string::npos) << text;
  // Every line: wall clock, monotonic milliseconds, kind, text.
  const std::regex line(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \d+ (rx|tx|row) .*)");
  std::string rx;
  for (const std::string& l : d.scratch.lines("/mcu.trace")) {
    EXPECT_TRUE(std::regex_match(l, line)) << l;
    if (l.find(" rx \"") != std::string::npos) rx += l.substr(l.find(" rx \"") + 5, l.size() - l.find(" rx \"") - 6);
  }
  EXPECT_NE(rx.find("[SUCCESS]Set Key ON\\r\\n"), std::string::npos) << rx;
  EXPECT_EQ(d.stop(), 0);
}

TEST(Trace, IsBoundedToTwoRotatedFiles) {
  ScratchRoot scratch;
  const std::string path = scratch.path("/trace");
  {
    board::TraceFile trace(path, 300);
    ASSERT_TRUE(trace.ok());
    for (int i = 0; i < 40; ++i) trace.line("rx", board::TraceFile::quoted("line " + std::to_string(i) + "\r\n"));
  }
  const std::string now = scratch.read("/trace");
  const std::string before = scratch.read("/trace.1");
  EXPECT_LE(now.size(), 300u);
  EXPECT_LE(before.size(), 300u);
  EXPECT_FALSE(before.empty());
  EXPECT_FALSE(scratch.exists("/trace.2"));
  EXPECT_NE(now.find("\"line 39\\r\\n\"\n"), std::string::npos) << now;
}

TEST(Trace, AnUnwritableFileStopsTheStartWithAMessage) {
  ScratchRoot scratch;
  const ProcessResult r = run_built_program(
      "pdud", {"--host", "--root", scratch.dir(), "--trace", scratch.path("/missing/dir/trace")});
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("pdud: cannot open the trace file "), std::string::npos) << r.err;
}

}  // namespace
