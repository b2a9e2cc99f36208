#include <gtest/gtest.h>

#include "core/factory_reset.h"
#include "support/fakes.h"
#include "support/scratch_root.h"

namespace {

using namespace testing_support;

// The reset in host mode: board programs journaled, file work done under the root.
class FactoryReset : public ::testing::Test {
 protected:
  FactoryReset()
      : files(scratch.root()), settings(files), runner(scratch.root()),
        board{files, nvram, settings, runner, clock, mcu, stdout} {
    nvram.values["ZLTMerge"] = "ZLT4AC";
    scratch.write("/etc_ro/argument.text", "HostName=factory\nPower=1\n");
    scratch.write("/etc_ro/ZLT.log", "");
    scratch.write("/etc_ro/Outlet3.log", "");
    scratch.write("/user/argument.text", "HostName=mine\n");
    scratch.write("/user/argument.text.bak", "old\n");
    scratch.write("/user/intervalenergy", "1 2.0\n");
    scratch.write("/user/newpassword.text", "secret\n");
    scratch.write("/user/mqttTopic", "a/b\n");
    scratch.write("/etc/passwd-", "x\n");
    scratch.write("/etc/passwd", "root\n");
    scratch.write("/usr/local/server.pem", "PEM\n");
    files.make_dirs("/user/local");
    core::factory_reset(board);
  }
  ScratchRoot scratch;
  MemoryNvram nvram;
  board::Files files;
  board::SettingsFile settings;
  board::JournalRunner runner;
  RecordingClock clock;
  RecordingMcu mcu;
  board::Board board;
};

TEST_F(FactoryReset, StopsTheServicesAndHandsOverInOrder) {
  std::vector<std::string> journal = scratch.lines("/var/log/commands.log");
  const std::vector<std::string> expected = {
      "killall -9 MqttSchedule.cgi", "killall -9 DateTimeSchedule.cgi", "killall -9 modbustcp.cgi",
      "killall -9 startup", "killall -9 system-monitor.sh", "killall -9 outletWatchdog.cgi",
      "killall -9 dropbear-gui", "killall -9 nubis.cgi", "killall -9 telnetPassthrougth23",
      "killall -9 telnetPassthrougth8000", "killall -9 mosquitto_sub", "killall -9 mosquitto_sub_",
      "killall -9 mqtt_send", "killall -9 mqtt_send_feedback", "killall -9 snmpd",
      "killall -9 port-monitor.sh", "killall -9 udhcpc 2>/dev/null", "killall -9 odhcp6c 2>/dev/null",
      "killall -9 mDNSResponder 2>/dev/null", "ifdown lan1", "ifdown lan2", "ralink_init clear 2860",
      "system_recover_factory"};
  EXPECT_EQ(journal, expected);
  ASSERT_FALSE(clock.sleeps.empty());
  EXPECT_EQ(clock.sleeps.back(), 2000);  // a pause before the hand-over
}

TEST_F(FactoryReset, RestoresTheFactoryFilesUnderTheRoot) {
  EXPECT_FALSE(scratch.exists("/user/argument.text.bak"));
  EXPECT_FALSE(scratch.exists("/user/intervalenergy"));
  EXPECT_FALSE(scratch.exists("/user/newpassword.text"));
  EXPECT_FALSE(scratch.exists("/etc/passwd-"));
  EXPECT_TRUE(scratch.exists("/etc/passwd"));
  EXPECT_EQ(scratch.read("/user/mqttTopic"), "\n");
  EXPECT_EQ(scratch.read("/user/mqttfeed"), "\n");
  EXPECT_EQ(scratch.read("/user/Scheduledataon1"), "00:00;00:00;00:00;00:00;00:00;00:00;00:00;00:00\n");
  EXPECT_EQ(scratch.read("/user/AllScheduledataoff7"), "24:00;24:00;24:00;24:00;24:00;24:00;24:00;24:00\n");
  EXPECT_TRUE(scratch.exists("/user/ZLT.log"));
  EXPECT_TRUE(scratch.exists("/user/Outlet3.log"));
  EXPECT_TRUE(scratch.exists("/user/local/server.pem"));
}

TEST_F(FactoryReset, KeepsTheModelCodeAsHostNameAndTitle) {
  EXPECT_EQ(scratch.lines("/user/argument.text"),
            (std::vector<std::string>{"Power=1", "ZLTMerge=ZLT4AC", "watchdogclear=1", "wan_dhcp_hn=ZLT4AC",
                                      "HostName=ZLT4AC", "TitleLabel=ZLT4AC"}));
  for (const char* key : {"wan_dhcp_hn", "TitleLabel", "HostName", "ZLTMerge"})
    EXPECT_EQ(nvram.values[key], "ZLT4AC") << key;
  EXPECT_EQ(nvram.values["watchdogclear"], "1");
}

}  // namespace
