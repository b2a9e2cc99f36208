#include "channels/live_report.h"

#include <cstdio>

#include "channels/websocket_codec.h"

namespace channels {

namespace {

constexpr size_t kMessageMax = 2047;  // the 2048-byte message buffer

// Rows of the report: the message key and the nvram key it shows. A '#' in a
// row stands for the outlet numbers 1 to 4 (one message each).
struct Row {
  const char* message;
  const char* key;
};

constexpr Row kHead[] = {
    {"Videostatus=", "Inputstatus"}, {"AutoSwitch=", "AutoSwitch"}, {"AudioStatus=", "AudioStatus"},
    {"DevicePower=", "DevicePower"}, {"LockKey=", "LockKey"},       {"DHCPType=", "wanConnectionMode"},
};

constexpr Row kMail[] = {
    {"Smtpserver=", "Smtpserver"},
    {"Smtpserverport=", "Smtpserverport"},
    {"Connectionencrytion=", "Connectionencrytion"},
    {"Enablesmtp=", "Enablesmtp"},
    {"EmailUsername=", "EmailUsername"},
    {"EmailPassword=", "EmailPassword"},
    {"DefaultSenderEmail=", "DefaultSenderEmail"},
    {"Senddaily=", "Senddaily"},
    {"HttpServer=", "HttpServer"},
    {"boaVersions=", "boaVersions"},
    {"Outlet#=", "Outlet#"},
    {"PowerStatus=", "PowerStatus"},
};

constexpr Row kDevice[] = {
    {"DeviceControlOn=", "DeviceControlOn"},
    {"DeviceControlOff=", "DeviceControlOff"},
    {"WANPingFilter=", "WANPingFilter"},
    {"boaSPort=", "boaSPort"},
    {"boaPort=", "boaPort"},
    {"Outlabel#=", "Outlabel#"},
    {"TitleLabel=", "TitleLabel"},
    {"TotalCarrent=", "TotalCarrent"},
    {"SysRunTime=", "SysRunTime"},
    {"TotalPower=", "TotalPower"},
    {"TotalEnergyConsumed=", "TotalEnergyConsumed"},
    {"Voltage=", "Voltage"},
    {"Frequency=", "Frequency"},
    {"PowerFactor=", "PowerFactor"},
    {"Energymeasured=", "Energymeasured"},
    {"Voltageout#=", "Voltageout#"},
    {"Carrent#=", "Carrent#"},
    {"TimeZone=", "TimeZone"},
    {"Power#=", "Power#"},
    {"Consumed#=", "Consumed#"},
    {"AllInitalizStatus=", "AllInitalizStatus"},
    {"AllInitalizdelay=", "AllInitalizdelay"},
    {"AllPowerdelay=", "AllPowerdelay"},
    {"AllResetDelay=", "AllResetDelay"},
    {"InitalizStatus#=", "InitalizStatus#"},
    {"Initalizdelay#=", "Initalizdelay#"},
    {"Powerdelay#=", "Powerdelay#"},
    {"ResetDelay#=", "ResetDelay#"},
    {"cookievalue=", "cookievalue"},
};

constexpr Row kTail[] = {{"PowerMode=", "PowerMode"}, {"ChargingMode=", "ChargingMode"}};

using Report = std::vector<std::pair<std::string, std::string>>;

std::string numbered(const char* text, int n) {
  std::string s(text);
  auto at = s.find('#');
  if (at != std::string::npos) s.replace(at, 1, std::to_string(n));
  return s;
}

template <size_t N>
void add_rows(Channels& ch, const Row (&rows)[N], Report& out) {
  for (const Row& r : rows) {
    bool per_outlet = std::string(r.key).find('#') != std::string::npos;
    for (int n = 1; n <= (per_outlet ? 4 : 1); ++n)
      out.emplace_back(numbered(r.message, n), ch.board.nvram.get_or(numbered(r.key, n), ""));
  }
}

}  // namespace

void returnDataToBOA(Channels& ch, const std::string& key, const std::string& value) {
  // Queued for every GUI client; one that cannot take it is closed by the server.
  if (ch.gui_send) ch.gui_send((key + value).substr(0, kMessageMax));
}

Report live_report(Channels& ch) {
  board::Nvram& nv = ch.board.nvram;
  Report out;
  add_rows(ch, kHead, out);
  std::string mac = ch.macaddr ? ch.macaddr("br-lan2") : "";
  out.emplace_back("network=", nv.get_or("wanConnectionMode", "") + "," + nv.get_or("wan_ipaddr", "") +
                                   "," + nv.get_or("wan_netmask", "") + "," +
                                   nv.get_or("wan_gateway", "") + "," + mac);
  add_rows(ch, kMail, out);
  out.emplace_back("password=", nv.get_or("Password", "").substr(0, 47));  // a 48-byte text
  add_rows(ch, kDevice, out);
  for (int n = 1; n <= 20; ++n) {
    std::string label = nv.get_or("IRLabel" + std::to_string(n), "");
    if (label.empty()) continue;
    out.emplace_back("IRCodec=" + label + "," + nv.get_or("IRValue" + std::to_string(n), ""), "");
  }
  add_rows(ch, kTail, out);
  return out;
}

void StartReturnAvg(Channels& ch) {
  for (const auto& [key, value] : live_report(ch)) returnDataToBOA(ch, key, value);
}

}  // namespace channels
