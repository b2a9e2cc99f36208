#include "interpreter/system_identity.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "interpreter/common/actions.h"
#include "interpreter/network_restart.h"
#include "interpreter/common/outlet_string.h"
#include "util/cipher.h"

namespace interp {

namespace {

// ---------------------------------------------------------------------------
// Small helpers

bool contains(std::string_view text, std::string_view word) {
  return text.find(word) != std::string_view::npos;
}

bool starts_with(std::string_view text, std::string_view word) {
  return text.substr(0, word.size()) == word;
}

// The leading decimal number of text as atoi reads it (blanks skipped, sign
// allowed, 0 when there is none), held within the range of int.
int leading_int(const char* text) {
  while (std::isspace(static_cast<unsigned char>(*text))) ++text;
  bool negative = *text == '-';
  if (*text == '-' || *text == '+') ++text;
  long long value = 0;
  for (; std::isdigit(static_cast<unsigned char>(*text)); ++text) {
    value = value * 10 + (*text - '0');
    if (value > INT_MAX) value = static_cast<long long>(INT_MAX) + 1;
  }
  if (negative) value = -value;
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return static_cast<int>(value);
}

// ---------------------------------------------------------------------------
// Network apply, wait/reboot, identity

int network_reboot_apply(Context& ctx, char*) {
  ctx.nvram.commit();
  restart_network(ctx);
  return 0;
}

int mcu_wait(Context& ctx, char*) {
  auto waiting = ctx.nvram.get("SystemWaiting");
  if (!waiting || *waiting == "1") return 0;
  ctx.nvram.set("SystemWaiting", "1");
  return 0;
}

// The model code every model-dependent handler reads. Before the first login
// the host name and title follow the model name.
int current_model_name(Context& ctx, char* rest) {
  ctx.nvram.set("ZLTMerge", rest);
  std::string firstlogin = ctx.nvram.get_or("firstlogin", "");
  if (firstlogin.empty() || firstlogin[0] != '0') return 0;
  const char* const keys[] = {"wan_dhcp_hn", "HostName", "TitleLabel"};
  for (const char* key : keys) ctx.settings.remove(key);
  for (const char* key : keys) {
    ctx.settings.append(key, rest);
    ctx.nvram.set(key, rest);
  }
  return 0;
}

// "... Retry Later <m> Minute And <s> Second": the waiting time in seconds.
int abnormal_retry_seconds(const char* message) {
  const char* after = std::strstr(message, "Retry Later ");
  if (!after) return 0;
  after += std::strlen("Retry Later ");
  long long minutes = 0;
  if (const char* unit = std::strstr(after, " Minute")) {
    const char* digits = unit;
    while (digits > after && std::isdigit(static_cast<unsigned char>(digits[-1]))) --digits;
    minutes = leading_int(std::string(digits, unit).c_str());
  }
  long long seconds = 0;
  const char* and_word = std::strstr(after, "And ");
  if (and_word && std::strstr(and_word, " Second")) seconds = leading_int(and_word + 4);
  long long total = minutes * 60 + seconds;
  if (total > INT_MAX) return INT_MAX;
  if (total < INT_MIN) return INT_MIN;
  return static_cast<int>(total);
}

int abnormal_retry_later(Context& ctx, char*) {
  char text[20];
  std::snprintf(text, sizeof text, "%d", abnormal_retry_seconds(ctx.message));
  ctx.nvram.set("AbnormalStatus", text);
  return 0;
}

// The row's value: "1" on, "0" off.
int set_mdns(Context& ctx, const Recogniser& r, char*) {
  ctx.store("mDNSOpenStatu", r.value);
  ctx.clock.sleep_s(2);
  ctx.runner.run(kMdnsReload);
  return 0;
}

// Only the encrypted form of the new login password is kept, anywhere.
int new_password(Context& ctx, char* rest) {
  auto encrypted = util::aes_encrypt(ctx.runner, ctx.files.root(), rest);
  if (!encrypted) {
    ctx.print("Newpassword: cipher script failed, password not stored\n");
    return 0;
  }
  ctx.settings.set("NEWloginpassword", *encrypted);
  ctx.settings.set("Passwordad", *encrypted);
  ctx.files.replace("/user/newpassword.text", *encrypted + "\n");
  ctx.nvram.set("NEWloginpassword", *encrypted);
  ctx.nvram.set("Password", *encrypted);
  return 0;
}

// ---------------------------------------------------------------------------
// Front panel

int standby_mode(Context& ctx, char* rest) {
  ctx.store("Standbymode", starts_with(rest, "All_Standby_Mode") ? "0" : "1");
  return 0;
}

int power_led_auto_off(Context& ctx, char* rest) {
  int minutes = leading_int(rest);
  if (minutes < 3 || minutes > 60) {
    ctx.print("Error: Number %d is out of range (3-60)\n", minutes);
    return 0;
  }
  ctx.store("LED", std::to_string(minutes));
  return 0;
}

// LED: "0" lit, "1" dark (or the auto-off minutes, above).
int power_led(Context& ctx, char* rest) {
  if (contains(rest, "On") || contains(rest, "ON"))
    ctx.store("LED", "0");
  else if (contains(rest, "Off") || contains(rest, "OFF"))
    ctx.store("LED", "1");
  return 0;
}

int led_display(Context& ctx, char* rest) {
  const char* const pairs[] = {"Current and Voltage", "Voltage and Current", "Power and Voltage",
                               "Voltage and Power",   "Current and Power",   "Power and Current"};
  for (int i = 0; i < 6; ++i) {
    if (contains(rest, pairs[i])) {
      ctx.store("LEDDisplay", std::to_string(i));
      return 0;
    }
  }
  return 0;
}

// ---------------------------------------------------------------------------
// Retry, relay, thresholds, voltage monitor, supply class, serial speed

// A two-way choice: key = "0" for a rest beginning with word0, "1" for word1,
// unchanged for anything else.
void store_choice(Context& ctx, const char* key, const char* rest, const char* word0,
                  const char* word1) {
  if (starts_with(rest, word0))
    ctx.store(key, "0");
  else if (starts_with(rest, word1))
    ctx.store(key, "1");
}

int relay_mode(Context& ctx, char* rest) {
  store_choice(ctx, "relaymode", rest, "Dry_Contact", "Push_Button");
  return 0;
}

int relay_toggle_voltage(Context& ctx, char* rest) {
  store_choice(ctx, "ralayvoltage", rest, "Low_Voltage", "High_Voltage");
  return 0;
}

int voltage_monitor_mode(Context& ctx, char* rest) {
  const char* mode = "0";
  if (!contains(rest, "All_Outlets_Shutdown") && contains(rest, "Auto_Retry")) mode = "1";
  ctx.nvram.set("VoltMonitorMode", mode);
  return 0;
}

// The MCU reports "<n> mins"; the number is kept.
int voltage_monitor_retry_time(Context& ctx, char* rest) {
  std::string_view minutes(rest);
  minutes = minutes.substr(0, minutes.find(" mins"));
  ctx.nvram.set("VoltMonitorRetryTime", minutes);
  return 0;
}

int rs232_baud_rate(Context& ctx, char* rest) {
  const char* const rates[] = {"2400", "4800", "9600", "19200", "38400", "57600", "115200"};
  for (int i = 0; i < 7; ++i) {
    if (starts_with(rest, rates[i])) {
      ctx.store("localBaud", std::to_string(i + 1));
      return 0;
    }
  }
  return 0;
}

// ---------------------------------------------------------------------------
// Power limit and USB ports

int power_limit_8x36_usb_off(Context& ctx, char*) {
  ctx.store("PowerMode5v", "2");
  ctx.store(kOutletusb.key, kOutletusb.fallback);
  return 0;
}

// "<n> ON" / "<n> OFF": one USB port switched.
int usb_port(Context& ctx, char* rest) {
  std::string_view text(rest);
  int port = 0;
  for (int n = 1; n <= kSettingsOutlets && port == 0; ++n) {
    const char word[] = {static_cast<char>('0' + n), ' ', '\0'};
    if (contains(text, word)) port = n;
  }
  if (port == 0) return 0;
  bool on = text.size() > 2 && contains(text.substr(2), "ON");
  // Every port 1..8 has its place.
  std::string usb = outlet_string(ctx, kOutletusb, 7);
  std::string action = outlet_string(ctx, kOutletusbaction, 7);
  usb[port - 1] = on ? '1' : '0';
  if (on) action[port - 1] = '0';
  ctx.nvram.set("Ousb" + std::to_string(port), on ? "1" : "0");
  ctx.nvram.set("Outletusb", usb);
  ctx.nvram.set("Outletusbaction", action);
  return 0;
}

// ---------------------------------------------------------------------------
// Firmware file check and version

// The 7th and 8th characters after the phrase are the file's checksum tail.
int flash_ok(Context& ctx, char* rest) {
  std::string_view got(rest);
  std::string sum = ctx.nvram.get_or("CheckSum", "");
  bool same = got.size() >= 8 && sum.size() >= 2 && got[6] == sum[sum.size() - 2] &&
              got[7] == sum[sum.size() - 1];
  ctx.nvram.set("CheckFileReadOK", same ? "1" : "3");
  return 0;
}

int fw_version(Context& ctx, char*) {
  if (std::strstr(ctx.message, "Web Version")) return 0;
  const char* version = std::strstr(ctx.message, "Version: V");
  if (!version) return 0;
  // The passthrough tag the MCU may echo back is already cut from the message.
  ctx.nvram.set("HwVersion", version + std::strlen("Version: "));
  return 0;
}

// ---------------------------------------------------------------------------
// Clock and supply size

int system_time(Context& ctx, char* rest) {
  ctx.settings.set("EnergyMeasuredSince", rest);
  ctx.nvram.set("Energymeasured", rest);
  ctx.nvram.set("EnergyMeasuredSince", rest);
  return 0;
}

// Guiupsys says who asked for the clock: "1" the MCU upgrade page, "2" the GUI
// upgrade page, "3" a command session.
int gui_get_system_time(Context& ctx, char* rest) {
  std::string asked = ctx.nvram.get_or("Guiupsys", "0");
  const char* key = asked == "1" ? "Mcuupsystime" : asked == "2" ? "Guiupgradsystime"
                                                  : asked == "3" ? "CMDTIME"
                                                                 : nullptr;
  if (key) {
    ctx.store(key, rest);
    ctx.store("Guiupsys", "0");
    ctx.clock.sleep_ms(1000);
  }
  ctx.nvram.set("Energymeasured2", rest);
  if (ctx.nvram.get_or("EnergyMeasuredSince", "").empty()) ctx.nvram.set("EnergyMeasuredSince", rest);
  return 0;
}

// ---------------------------------------------------------------------------
// TCP/IP interface enable

// wanlanVal codes under which interface 1 (or 2) may be enabled.
bool wanlan_allows(Context& ctx, const char* own_code) {
  std::string wanlan = ctx.nvram.get_or("wanlanVal", "");
  const char* const codes[] = {own_code, "87838703", "81808100"};
  for (const char* code : codes) {
    if (contains(wanlan, code)) return true;
  }
  return false;
}

int tcpip1_enable(Context& ctx, char*) {
  if (!wanlan_allows(ctx, "83818301")) {
    ctx.mcu.write("NET TCP/IP ENABLE 2\r\n");
    return 0;
  }
  ctx.nvram.set("Enabletcpip", "0");
  restart_network(ctx);
  ctx.nvram.set("Enabletcpip", "0");
  return 0;
}

int tcpip2_enable(Context& ctx, char*) {
  if (!wanlan_allows(ctx, "85828502")) {
    ctx.mcu.write("NET TCP/IP ENABLE 1\r\n");
    return 0;
  }
  ctx.nvram.set("Enabletcpip", "1");
  restart_network(ctx, "/sbin/ifconfig br-lan1 down 2>/dev/null",
                  "/sbin/ifconfig br-lan2 down 2>/dev/null ");
  ctx.nvram.set("Enabletcpip", "1");
  return 0;
}

// ---------------------------------------------------------------------------
// System power

int system_power_off(Context& ctx, char*) {
  ctx.store("Power", "0");
  if (!ctx.model.dc) return 0;
  for (int n = 1; n <= kSettingsOutlets; ++n) ctx.store("Outlet" + std::to_string(n), "0");
  ctx.store(kOutletusb.key, kOutletusb.fallback);
  return 0;
}

int system_power_on(Context& ctx, char*) {
  ctx.store("Power", "1");
  ctx.mcu.write("GUISTATUS\r\n");
  ctx.runner.run("/bin/update_ota_version.sh &");
  return 0;
}

// ---------------------------------------------------------------------------
// The rows, in chain order

const Recogniser kSystemIdentity[] = {
    prefix("set-network-reboot-and-apply-new-config", "[SUCCESS]Set Network Reboot And Apply New Config", network_reboot_apply),
    prefix("mcu-wait", "[MCU]Wait", mcu_wait),
    data_row("rebooted", "Rebooted", nvram_fixed, "SystemWaiting", "0"),
    data_row("get-device-name", "[SUCCESS]Get Device Name To ", both_rest, "TitleLabel"),
    prefix("get-current-model-name", "[SUCCESS]Get Current Model Name To ", current_model_name),
    data_row("this-model-name-change-zlt4ac2", "[SUCCESS]This Model Name Change To ZLT4AC2", both_fixed, "ChangeModel2", "1"),
    prefix("status-abnormal-retry-later", "[STATUS]Abnormal Retry Later ", abnormal_retry_later),
    data_row("status-system-recovery-end", "[STATUS]System Recovery End", nvram_fixed, "AbnormalStatus", "0"),
    data_row("set-m-dns-on", "[SUCCESS]Set mDNS To ON", set_mdns, nullptr, "1"),
    prefix("set-newpassword", "[SUCCESS]Set Newpassword To ", new_password),
    data_row("set-m-dns-off", "[SUCCESS]Set mDNS To OFF", set_mdns, nullptr, "0"),
    prefix("set-system-standby-mode", "[SUCCESS]Set The System Standby Mode To ", standby_mode),
    prefix("set-power-led-auto-turn-off-after", "[SUCCESS]Set Power LED To Auto Turn OFF After", power_led_auto_off),
    data_row("set-voltage-select-on", "[SUCCESS]Set VOLTAGE SELECT ON", both_fixed, "selectkey", "1"),
    data_row("set-voltage-select-off", "[SUCCESS]Set VOLTAGE SELECT OFF", both_fixed, "selectkey", "0"),
    data_row("set-7-segment-display-on", "[SUCCESS]Set 7-Segment Display ON", both_fixed, "SEG7", "1"),
    data_row("set-7-segment-display-off", "[SUCCESS]Set 7-Segment Display OFF", both_fixed, "SEG7", "0"),
    prefix("set-power-led", "[SUCCESS]Set Power LED To ", power_led),
    prefix("set-led-display", "[SUCCESS]Set Led To Display", led_display),
    data_row("set-system-retry-number", "[SUCCESS]Set The System Retry Number To ", both_rest, "Reteriesvalue"),
    // Located without the leading '[' on the unit; the rest is the same.
    data_row("set-system-retry-delay-time", "[SUCCESS]Set The System Retry Delay Time To ", both_rest, "Secmin"),
    data_row("set-relay-on", "[SUCCESS]Set Relay ON", both_fixed, "relaypower", "1"),
    data_row("set-relay-off", "[SUCCESS]Set Relay OFF", both_fixed, "relaypower", "0"),
    prefix("set-relay-mode", "[SUCCESS]Set The Relay Mode To ", relay_mode),
    prefix("set-relay-toggle-voltage", "[SUCCESS]Set The Relay Toggle Voltage To ", relay_toggle_voltage),
    data_row("set-system-current-threshold", "[SUCCESS]Set The System Current Threshold To ", both_rest, "Thresholdcurrent"),
    data_row("set-system-under-voltage-threshold", "[SUCCESS]Set The System UnderVoltage Threshold To ", nvram_rest, "UnderVoltage"),
    data_row("set-system-over-voltage-threshold", "[SUCCESS]Set The System OverVoltage Threshold To ", nvram_rest, "VoltageThreshold"),
    prefix("set-system-voltage-monitor-mode", "[SUCCESS]Set The System Voltage Monitor Mode To ", voltage_monitor_mode),
    prefix("set-system-voltage-monitor-retry-delay-time", "[SUCCESS]Set The System Voltage Monitor Retry Delay Time To ", voltage_monitor_retry_time),
    data_row("gui-system-power-size-american-standard-voltage", "[SUCCESS]GUI The System Power Size Is American standard voltage", nvram_fixed, "Americanvoltage", "1"),
    data_row("gui-system-power-size-non-us-standard-voltage", "[SUCCESS]GUI The System Power Size Is Non-US standard voltage", nvram_fixed, "Americanvoltage", "0"),
    prefix("set-rs232-baud-rate", "[SUCCESS]Set RS232 Baud Rate To ", rs232_baud_rate),
    data_row("connected", "Connected.", nvram_fixed, "CheckConnectionOK", "1"),
    data_row("set-power-limit-8x30w", "[SUCCESS]Set Power Limit To 8x30W", both_fixed, "PowerMode5v", "0"),
    data_row("set-power-limit-4x36w-4x30w", "[SUCCESS]Set Power Limit To 4x36W & 4x30W", both_fixed, "PowerMode5v", "1"),
    prefix("set-power-limit-8x36w-usb-off", "[SUCCESS]Set Power Limit To 8x36W & USB OFF", power_limit_8x36_usb_off),
    prefix("set-usb", "[SUCCESS]Set USB ", usb_port),
    prefix("gui-usb", "[SUCCESS]GUI USB ", usb_port),
    prefix("flash-ok-08", "Flash_Ok:08", flash_ok),
    prefix("fw-version", "FW Version:", fw_version),
    data_row("set-device-name", "[SUCCESS]Set Device Name To ", both_rest, "TitleLabel"),
    prefix("set-time-system", "[SUCCESS]Set The Time For The System: ", system_time),
    prefix("gui-set-time-system", "[SUCCESS]GUI Set The Time For The System: ", system_time),
    data_row("electric-size-high-voltage", "Electric Size:HIGH_VOLTAGE", nvram_fixed, "ovsize", "1"),
    data_row("electric-size-low-voltage", "Electric Size:LOW_VOLTAGE", nvram_fixed, "ovsize", "2"),
    data_row("electric-size-non-standard-voltage", "Electric Size:NON_STANDARD_VOLTAGE", nvram_fixed, "ovsize", "3"),
    data_row("electric-size-standard-voltage", "Electric Size:STANDARD_VOLTAGE", nvram_fixed, "ovsize", "0"),
    prefix("gui-get-time-system", "[SUCCESS]GUI Get The Time For The System: ", gui_get_system_time),
};

const Recogniser kTcpipEnable[] = {
    prefix("set-tcp-ip1-enable", "[SUCCESS]Set The TCP/IP1 Enable", tcpip1_enable),
    prefix("set-tcp-ip2-enable", "[SUCCESS]Set The TCP/IP2 Enable", tcpip2_enable),
};

const Recogniser kSystemPower[] = {
    prefix("set-system-power-off", "[SUCCESS]Set System Power OFF", system_power_off),
    prefix("set-system-power-on", "[SUCCESS]Set System Power ON", system_power_on),
};

}  // namespace

Row system_identity_messages() { return row_of(kSystemIdentity); }
Row tcpip_enable_messages() { return row_of(kTcpipEnable); }
Row system_power_messages() { return row_of(kSystemPower); }

}  // namespace interp
