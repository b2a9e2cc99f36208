// The handler families in the real daemon, fed through a pseudo-terminal.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

bool has(const std::vector<std::string>& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(FamiliesEndToEnd, SettingsCommandsAndMcuRepliesFromRealMcuLines) {
  DaemonHarness d;
  d.nvram_set("SnmpTrapreceiver1", "127.0.0.1:16299");
  d.settings("TitleLabel=Old\nPower=0\n");
  d.start();

  // Device name, with the passthrough's tag echoed back by the MCU.
  d.mcu_send("[SUCCESS]Set Device Name To Lab  telnet23\r\n");
  // The file is written when the message ends: wait for it.
  EXPECT_TRUE(wait_until([&] { return has(d.settings_lines(), "TitleLabel=Lab"); }));
  EXPECT_EQ(d.nvram("TitleLabel"), "Lab");
  EXPECT_FALSE(has(d.settings_lines(), "TitleLabel=Old"));

  // System power on: a status request to the MCU and the board's OTA script.
  d.mcu_send("[SUCCESS]Set System Power ON\r\n");
  EXPECT_TRUE(d.wait_mcu("GUISTATUS\r\n"));
  EXPECT_TRUE(wait_until([&] { return has(d.journal(), "/bin/update_ota_version.sh &"); }));
  EXPECT_TRUE(has(d.settings_lines(), "Power=1"));

  // A query reply goes to nvram only.
  d.mcu_send("<GetRelayStatus On\r\n");
  EXPECT_TRUE(wait_until([&] { return d.nvram("relaypower") == "1"; }));
  EXPECT_FALSE(has(d.settings_lines(), "relaypower=1"));

  // A critical clue reaches the system log and raises a trap (journaled in host mode).
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

}  // namespace
