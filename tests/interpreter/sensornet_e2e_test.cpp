// Sensor and network confirmations in the real daemon, fed through a pseudo-terminal.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

long count(const std::vector<std::string>& lines, const std::string& line) {
  return std::count(lines.begin(), lines.end(), line);
}

TEST(SensorNetEndToEnd, SensorConfirmationsReachBothStores) {
  DaemonHarness d;
  d.nvram_set("sensor1check", "1010");
  d.settings("sensor2minvalue=1\n");
  d.start();

  d.mcu_send("[SUCCESS]Set Sensor1 Protocols To Modbus-RTU-RS485\r\n");
  d.mcu_send("[SUCCESS]Set Sensor2 Beeper ON\r\n");
  d.mcu_send("[SUCCESS]Set Sensor2 Min Value To 5\r\n");
  d.mcu_send("[SUCCESS]Set Sensor2 Min Value To 6\r\n");
  d.mcu_send("[SUCCESS]GUI Get Sensor1 Current Temperature Value 21.5 C\r\n");
  EXPECT_TRUE(wait_until([&] { return d.nvram("sensor1current") == "21.5 C"; })) << d.output();

  EXPECT_EQ(d.nvram("sensorpro1"), "3");
  EXPECT_EQ(d.nvram("sensor2check"), "0001");
  EXPECT_EQ(d.nvram("sensor2minvalue"), "6");
  const auto lines = d.settings_lines();
  EXPECT_EQ(count(lines, "sensorpro1=3"), 1);
  EXPECT_EQ(count(lines, "sensor2check=1010"), 1) << "the file line carries sensor 1's flags";
  EXPECT_EQ(count(lines, "sensor2minvalue=1"), 1);
  EXPECT_EQ(count(lines, "sensor2minvalue=5"), 1);
  EXPECT_EQ(count(lines, "sensor2minvalue=6"), 1);
  EXPECT_EQ(lines.back(), "sensor2minvalue=6");

  EXPECT_EQ(d.stop(), 0);
}

TEST(SensorNetEndToEnd, NetworkConfirmationsStoreAndRunTheFixedCommands) {
  DaemonHarness d;
  d.start();

  d.mcu_send("[SUCCESS]Set TCP/IP1 Subnet Mask To 255.255.0\r\n");  // three tokens: nothing
  d.mcu_send("[SUCCESS]Set TCP/IP1 IP Address To 010.001.002.003\r\n");
  d.mcu_send("[SUCCESS]Set TCP/IPv6 1 Gateway Address1 To FE80::1\r\n");
  d.mcu_send("[SUCCESS]Set The TCP/IP1 DHCP OFF\r\n");
  d.mcu_send("[SUCCESS]List Current TCP/IP Address\r\n");
  EXPECT_TRUE(wait_until([&] { return count(d.journal(), "/sbin/wan.sh &") == 1; })) << d.output();

  EXPECT_EQ(d.nvram("wan_ipaddr"), "10.1.2.3");
  EXPECT_EQ(d.nvram("wan_netmask"), "<absent>");
  EXPECT_EQ(d.nvram("Ipv6Gateadd1"), "fe80::1");
  EXPECT_EQ(d.nvram("wanConnectionMode"), "STATIC");
  const auto lines = d.settings_lines();
  EXPECT_EQ(count(lines, "wan_ipaddr=10.1.2.3"), 1);
  EXPECT_EQ(count(lines, "wanConnectionMode=STATIC"), 1);

  // The mDNS reload, then the network restart, in order.
  const std::vector<std::string> expected = {
      "/log/www/cgi-bin/ReloadmDNSRepons.cgi restart &",
      "killall -9 udhcpc 2>/dev/null", "killall -9 odhcp6c 2>/dev/null", "killall -9 mDNSResponder 2>/dev/null",
      "/sbin/ifconfig br-lan1 down",   "/sbin/ifconfig br-lan2 down",    "/sbin/ifconfig br-lan1 up",
      "/sbin/ifconfig br-lan2 up",     "/sbin/wan.sh &",
  };
  const auto journal = d.journal();
  auto from = std::find(journal.begin(), journal.end(), expected.front());
  ASSERT_NE(from, journal.end());
  EXPECT_EQ(std::vector<std::string>(from, journal.end()), expected);

  EXPECT_EQ(d.stop(), 0);
}

}  // namespace
