// The outlet families in the real daemon, fed through a pseudo-terminal.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

bool has(const std::vector<std::string>& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(OutletsEndToEnd, OutletSettingsAndSwitchingFromRealMcuLines) {
  DaemonHarness d;
  d.nvram_set("ZLTMerge", "ZLT8AC");
  d.nvram_set("Outlet3", "1");
  d.settings("Outlet3=1\nPowerdelay3=1s\n");
  d.start();

  // A per-outlet delay, not a switch of outlet 3.
  d.mcu_send("[SUCCESS]Set Outlet 3 Power_ON Delay 5s\r\n");
  // The file is written when the message ends: wait for it.
  EXPECT_TRUE(wait_until([&] { return has(d.settings_lines(), "Powerdelay3=5s"); })) << d.output();
  EXPECT_EQ(d.nvram("Powerdelay3"), "5s");
  EXPECT_EQ(d.settings_lines(), (std::vector<std::string>{"Outlet3=1", "Powerdelay3=5s"}));
  EXPECT_EQ(d.nvram("Outlet3"), "1");

  // The reader drops the ".\r\n"; the model gives the eight-outlet default list.
  d.mcu_send("[SUCCESS]Set Outlet 2 OCDT To 200ms.\r\n");
  EXPECT_TRUE(wait_until([&] { return d.nvram("OCDT") == "0:2:0:0:0:0:0:0"; })) << d.output();

  // nvram is set first, the file line last: wait for the line.
  d.mcu_send("[SUCCESS]Set Outlet 3 OFF\r\n");
  EXPECT_TRUE(wait_until([&] { return has(d.settings_lines(), "Outlet3=0"); })) << d.output();
  EXPECT_FALSE(has(d.settings_lines(), "Outlet3=1"));
  EXPECT_EQ(d.nvram("Outlet3"), "0");

  EXPECT_EQ(d.stop(), 0);
}

TEST(OutletsEndToEnd, OutletEnergyCleanUpRewritesTheRecords) {
  DaemonHarness d;
  d.scratch.write("/user/intervalenergy", "1 0.5\n2 0.25\n1 0.75\n");
  d.start();

  // Framed by ".\r\n": the message reaches the handler without its full stop.
  d.mcu_send("[SUCCESS]Clean Up The Outlet 1 Electrical Work.\r\n");
  EXPECT_TRUE(d.wait_output("Cleaned 2 record(s) for outlet 1.\n")) << d.output();
  EXPECT_EQ(d.scratch.read("/user/intervalenergy"), "2 0.250000\n");

  EXPECT_EQ(d.stop(), 0);
}

}  // namespace
