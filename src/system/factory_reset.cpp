#include "system/factory_reset.h"

#include <dirent.h>

#include <string>

namespace system_actions {

namespace {

void killall(board::Board& b, std::initializer_list<const char*> names) {
  for (const char* name : names) b.runner.run(std::string("killall -9 ") + name);
}

// "rm -rf /user/argument*": every entry of /user whose name begins with "argument".
void remove_matching(board::Board& b, const std::string& dir, const std::string& prefix) {
  std::string real = b.files.path(dir);
  DIR* d = ::opendir(real.c_str());
  if (!d) return;
  std::vector<std::string> names;
  while (dirent* e = ::readdir(d)) {
    std::string name = e->d_name;
    if (name.compare(0, prefix.size(), prefix) == 0) names.push_back(name);
  }
  ::closedir(d);
  for (const auto& name : names) b.files.remove(dir + "/" + name);
}

// What "echo 'LINE' > FILE" leaves behind.
void echo_into(board::Board& b, const std::string& file, const std::string& line) {
  b.files.replace(file, line + "\n");
}

}  // namespace

void factory_reset(board::Board& b) {
  std::string model = b.nvram.get_direct("ZLTMerge").value_or("");
  if (model.empty()) model = b.nvram.get_direct("ZLTMerge").value_or("");

  // Stop the services that use the settings.
  killall(b, {"MqttSchedule.cgi", "DateTimeSchedule.cgi", "modbustcp.cgi", "startup"});
  b.clock.sleep_s(1);
  killall(b, {"system-monitor.sh", "outletWatchdog.cgi", "dropbear-gui", "nubis.cgi"});
  b.clock.sleep_s(1);
  killall(b, {"telnetPassthrougth23", "telnetPassthrougth8000", "mosquitto_sub", "mosquitto_sub_",
              "mqtt_send", "mqtt_send_feedback", "snmpd"});
  b.clock.sleep_s(1);
  killall(b, {"port-monitor.sh"});
  b.runner.run("killall -9 udhcpc 2>/dev/null");
  b.runner.run("killall -9 odhcp6c 2>/dev/null");
  b.runner.run("killall -9 mDNSResponder 2>/dev/null");
  b.runner.run("ifdown lan1");
  b.runner.run("ifdown lan2");
  b.clock.sleep_s(1);

  // The user's files. The settings file goes and comes back under the
  // settings lock, which also drops the changes not yet written.
  b.settings.replace_by([&b] { remove_matching(b, "/user", "argument"); });
  for (const char* f : {"/user/intervalenergy", "/user/lastsendtime", "/user/nextreport",
                        "/user/newpassword.text", "/user/login_lock", "/user/loginpw_lock"})
    b.files.remove(f);
  b.clock.sleep_s(1);

  // The factory copies.
  b.settings.replace_by([&b] { b.files.copy("/etc_ro/argument.text", "/user"); });
  b.clock.sleep_s(1);
  b.files.copy("/etc_ro/imglogo", "/user");
  b.clock.sleep_s(1);
  b.files.copy("/user/imglogo", "/log/www");
  b.clock.sleep_s(1);
  b.files.copy("/usr/local/privkey.pem", "/user/local/");
  b.files.copy("/usr/local/server.pem", "/user/local/");
  b.clock.sleep_s(1);

  // Empty MQTT settings.
  for (const char* f : {"/user/mqttClientID", "/user/mqttClientcontrolID", "/user/mqttClientfeedbackID",
                        "/user/mqttTopic", "/user/mqttcontrol", "/user/mqttfeed"})
    echo_into(b, f, "");

  // Empty schedules.
  const std::string on = "00:00;00:00;00:00;00:00;00:00;00:00;00:00;00:00";
  const std::string off = "24:00;24:00;24:00;24:00;24:00;24:00;24:00;24:00";
  for (const char* prefix : {"/user/", "/user/All"}) {
    for (int d = 1; d <= 7; ++d) echo_into(b, prefix + std::string("Scheduledataon") + std::to_string(d), on);
    for (int d = 1; d <= 7; ++d) echo_into(b, prefix + std::string("Scheduledataoff") + std::to_string(d), off);
  }
  b.clock.sleep_s(1);

  // Factory logs; the account files' backups go.
  b.files.copy("/etc_ro/ZLT.log", "/user");
  for (int k = 1; k <= 8; ++k) {
    std::string log = "/etc_ro/Outlet" + std::to_string(k) + ".log";
    if (b.files.exists(log)) b.files.copy(log, "/user");
  }
  for (const char* name : {"passwd", "shadow", "group", "gshadow"})
    for (const char* suffix : {"+", "-"}) b.files.remove(std::string("/etc/") + name + suffix);

  // The model code becomes host name and title.
  b.nvram.set("wan_dhcp_hn", model);
  b.clock.sleep_s(1);
  b.settings.set("ZLTMerge", model);
  b.settings.set("watchdogclear", "1");
  b.settings.remove("wan_dhcp_hn");
  b.settings.remove("HostName");
  b.settings.append("wan_dhcp_hn", model);
  b.settings.append("HostName", model);
  b.settings.set("TitleLabel", model);
  b.nvram.set("TitleLabel", model);
  b.clock.sleep_s(1);
  b.nvram.set("HostName", model);
  b.clock.sleep_s(1);
  b.nvram.set("ZLTMerge", model);
  b.nvram.set("watchdogclear", "1");

  // The board's own restore, which reboots.
  b.runner.run("ralink_init clear 2860");
  b.clock.sleep_s(2);
  b.runner.run("system_recover_factory");
}

}  // namespace system_actions
