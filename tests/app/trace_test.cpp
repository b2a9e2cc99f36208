// `pdud --trace FILE`: the daemon's record of MCU traffic and of the rows
// that took each message, and the file's bound.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>

#include "board/trace_file.h"
#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

TEST(Trace, RecordsBytesRowsAndChangedKeys) {
  DaemonHarness d;
  d.nvram_set("ZLTMerge", "ZLT8AC");
  d.start({"--trace", d.scratch.path("/mcu.trace")});
  d.mcu_send("[SUCCESS]Set Key ON\r\nPower Key Relay TCP/IP Baud Current OverVoltage UnderVoltage Ground\r\n"
             "ON OFF ON 1 9600 10 250 90 Device_Ground_Lost\r\nMQTT on\r\n");
  const char* const parts[] = {" rx \"", " row set-key-on keys: powerlock\n", " row table-header keys:\n",
                               " row status-dump row, table 3 keys: Power powerlock relaypower Enabletcpip localBaud "
                               "Thresholdcurrent VoltageThreshold UnderVoltage DashboardSense Groundsen\n",
                               " tx \"GUISYSTIME\\r\\n\"\n"};
  EXPECT_TRUE(wait_until([&] {
    const std::string text = d.scratch.read("/mcu.trace");
    return std::all_of(std::begin(parts), std::end(parts), [&](const char* p) { return text.find(p) != std::string::npos; });
  })) << d.scratch.read("/mcu.trace");
  // Every line: wall clock, monotonic milliseconds, kind, text.
  const std::regex line(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \d+ (rx|tx|row) .*)");
  for (const std::string& l : d.scratch.lines("/mcu.trace")) EXPECT_TRUE(std::regex_match(l, line)) << l;
  EXPECT_EQ(d.stop(), 0);
}

TEST(Trace, IsBoundedToTwoRotatedFiles) {
  ScratchRoot scratch;
  {
    board::TraceFile trace(scratch.path("/trace"), 300);
    ASSERT_TRUE(trace.ok());
    for (int i = 0; i < 40; ++i) trace.line("rx", board::TraceFile::quoted("line " + std::to_string(i) + "\r\n"));
  }
  const std::string now = scratch.read("/trace"), before = scratch.read("/trace.1");
  EXPECT_LE(now.size(), 300u);
  EXPECT_TRUE(!before.empty() && before.size() <= 300u);
  EXPECT_FALSE(scratch.exists("/trace.2"));
  EXPECT_NE(now.find("\"line 39\\r\\n\"\n"), std::string::npos) << now;
}

}  // namespace
