// The system actions in host mode: board programs journaled, file work done under the root.
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

#include "support/interpreter_harness.h"
#include "system/factory_reset.h"
#include "system/netinit.h"

namespace {

TEST(FactoryReset, StopsTheServicesRestoresTheFactoryFilesAndKeepsTheModelCode) {
  testing_support::InterpreterHarness h;
  testing_support::ScratchRoot& scratch = h.scratch;
  h.set_model("ZLT4AC");
  const char* const user_files[] = {"/user/argument.text.bak", "/user/intervalenergy", "/user/lastsendtime",
                                    "/user/nextreport", "/user/newpassword.text", "/user/login_lock",
                                    "/user/loginpw_lock", "/etc/passwd-"};
  const char* const mqtt_files[] = {"/user/mqttClientID", "/user/mqttClientcontrolID", "/user/mqttClientfeedbackID",
                                    "/user/mqttTopic", "/user/mqttcontrol", "/user/mqttfeed"};
  for (const char* path : {"/etc_ro/ZLT.log", "/etc_ro/Outlet3.log", "/etc/passwd", "/usr/local/server.pem",
                           "/etc_ro/imglogo/a.png"})
    scratch.write(path, "x\n");
  scratch.write("/user/ZLT.log", "old\n");
  for (const char* path : user_files) scratch.write(path, "x\n");
  for (const char* path : mqtt_files) scratch.write(path, "x\n");
  scratch.write("/etc_ro/argument.text", "HostName=factory\nwan_dhcp_hn=factory\nPower=1\n");
  scratch.write("/user/argument.text", "HostName=mine\n");
  h.files.make_dirs("/user/local");
  h.files.make_dirs("/log/www");
  system_actions::factory_reset(h.ctx);

  // The services stop, in order, before the board's own restore takes over.
  std::vector<std::string> journal;
  std::istringstream killed("MqttSchedule.cgi DateTimeSchedule.cgi modbustcp.cgi startup system-monitor.sh "
                            "outletWatchdog.cgi dropbear-gui nubis.cgi telnetPassthrougth23 telnetPassthrougth8000 "
                            "mosquitto_sub mosquitto_sub_ mqtt_send mqtt_send_feedback snmpd port-monitor.sh");
  for (std::string name; killed >> name;) journal.push_back("killall -9 " + name);
  for (const char* name : {"udhcpc", "odhcp6c", "mDNSResponder"}) journal.push_back(std::string("killall -9 ") + name + " 2>/dev/null");
  for (const char* line : {"ifdown lan1", "ifdown lan2", "ralink_init clear 2860", "system_recover_factory"})
    journal.push_back(line);
  EXPECT_EQ(h.runner.lines, journal);
  ASSERT_FALSE(h.clock.sleeps.empty());
  EXPECT_EQ(h.clock.sleeps.back(), 2000);  // a pause before the hand-over

  for (const char* path : user_files) EXPECT_FALSE(scratch.exists(path)) << path;
  for (const char* path : mqtt_files) EXPECT_EQ(scratch.read(path), "\n") << path;
  EXPECT_EQ(scratch.read("/user/Scheduledataon1"), "00:00;00:00;00:00;00:00;00:00;00:00;00:00;00:00\n");
  EXPECT_EQ(scratch.read("/user/AllScheduledataoff7"), "24:00;24:00;24:00;24:00;24:00;24:00;24:00;24:00\n");
  // The factory copies, into directories (over an old file) and as trees.
  for (const char* path : {"/etc/passwd", "/user/ZLT.log", "/user/Outlet3.log", "/user/local/server.pem",
                           "/user/imglogo/a.png", "/log/www/imglogo/a.png"})
    EXPECT_EQ(scratch.read(path), "x\n") << path;

  // The model code becomes host name and title.
  EXPECT_EQ(scratch.read("/user/argument.text"),
            "Power=1\nZLTMerge=ZLT4AC\nwatchdogclear=1\nwan_dhcp_hn=ZLT4AC\nHostName=ZLT4AC\nTitleLabel=ZLT4AC\n");
  for (const char* key : {"wan_dhcp_hn", "TitleLabel", "HostName", "ZLTMerge"}) EXPECT_EQ(h.nv(key), "ZLT4AC") << key;
  EXPECT_EQ(h.nv("watchdogclear"), "1");
}

// SIGUSR1 restarts the internet and notes it; a static unit also tells the MCU its address.
TEST(Netinit, ActsOnTheSignalAndTheConnectionMode) {
  const struct { int signo; const char* mode; std::vector<std::string> commands; std::vector<long> sleeps; } cases[] = {
      {SIGUSR1, "STATIC", {"/sbin/internet.sh"}, {10000, 1000}},
      {SIGUSR1, "DHCP", {"/sbin/internet.sh"}, {10000}},
      {SIGUSR2, "STATIC", {}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.signo) + " " + c.mode);
    testing_support::InterpreterHarness h;
    h.nvram.values["wanConnectionMode"] = c.mode;
    system_actions::netinit(h.ctx, c.signo);
    EXPECT_EQ(h.take_output(), "sign_no" + std::to_string(c.signo) + "\n");
    EXPECT_EQ(h.runner.lines, c.commands);
    EXPECT_EQ(h.clock.sleeps, c.sleeps);
    EXPECT_EQ(h.nv("CheckNetworkType"), c.signo == SIGUSR1 ? "1" : "<absent>");
    const std::string& mcu = h.mcu.bytes;
    EXPECT_TRUE(c.sleeps.size() == 2 ? mcu.rfind(">SetGuiIP ", 0) == 0 && mcu.find("\r\n") == mcu.size() - 2 : mcu.empty()) << mcu;
  }
}

}  // namespace
