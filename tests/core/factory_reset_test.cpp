#include <gtest/gtest.h>

#include "system/factory_reset.h"
#include "support/interpreter_harness.h"

namespace {

using namespace testing_support;

// The reset in host mode: board programs journaled, file work done under the root.
// The user's own files, gone after the reset.
const char* const kUserFiles[] = {"/user/argument.text.bak", "/user/intervalenergy", "/user/lastsendtime",
                                  "/user/nextreport", "/user/newpassword.text", "/user/login_lock",
                                  "/user/loginpw_lock", "/etc/passwd-"};

class FactoryReset : public ::testing::Test {
 protected:
  FactoryReset() {
    h.nvram.values["ZLTMerge"] = "ZLT4AC";
    for (const char* path : {"/etc_ro/ZLT.log", "/etc_ro/Outlet3.log", "/user/mqttTopic", "/etc/passwd",
                             "/usr/local/server.pem"})
      scratch.write(path, "x\n");
    for (const char* path : kUserFiles) scratch.write(path, "x\n");
    scratch.write("/etc_ro/argument.text", "HostName=factory\nwan_dhcp_hn=factory\nPower=1\n");
    scratch.write("/user/argument.text", "HostName=mine\n");
    h.files.make_dirs("/user/local");
    system_actions::factory_reset(h.ctx);
  }
  InterpreterHarness h;
  ScratchRoot& scratch = h.scratch;
  MemoryNvram& nvram = h.nvram;
};

TEST_F(FactoryReset, StopsTheServicesAndHandsOverInOrder) {
  const std::vector<std::string>& journal = h.runner.lines;
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
  ASSERT_FALSE(h.clock.sleeps.empty());
  EXPECT_EQ(h.clock.sleeps.back(), 2000);  // a pause before the hand-over
}

TEST_F(FactoryReset, RestoresTheFactoryFilesUnderTheRoot) {
  for (const char* path : kUserFiles) EXPECT_FALSE(scratch.exists(path)) << path;
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
