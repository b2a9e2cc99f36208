#include "interpreter/query_replies.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "interpreter/common/actions.h"
#include "interpreter/dispatcher.h"
#include "interpreter/outlet_settings.h"
#include "interpreter/common/outlet_string.h"

// A client or the GUI asks the MCU for a value ("Get..."); the MCU answers with
// "<" and the question's name followed by the value. The raw line already went
// to the clients; here the value is copied into nvram so that the settings
// store follows the MCU. Only the outlet switch state also goes to the
// settings file. Nothing is answered or logged.

namespace interp {

namespace {

// ---- what each reply does -------------------------------------------------

// The recogniser does not require the blank that ends the reply's name; a
// reply without it stores nothing.
int store_after_blank(Context& ctx, const Recogniser& r, char*) {
  std::string spaced = std::string(r.prefix) + " ";
  if (const char* value = str_Endpoint(ctx.message, spaced.c_str())) ctx.nvram.set(r.key, value);
  return 0;
}

// `localBaud` keeps the speed as a one-digit index: its first character
// becomes the rate's place in this list.
int store_baud_code(Context& ctx, const Recogniser& r, char*) {
  static const char* const kRates[] = {"<GetRS232Baud 2400",  "<GetRS232Baud 4800",
                                       "<GetRS232Baud 9600",  "<GetRS232Baud 19200",
                                       "<GetRS232Baud 38400", "<GetRS232Baud 57600",
                                       "<GetRS232Baud 115200"};
  std::string value = ctx.nvram.get_or(r.key, "6");
  for (size_t i = 0; i < std::size(kRates); ++i) {
    if (str_Endpoint(ctx.message, kRates[i])) {
      char code = static_cast<char>('1' + i);
      if (value.empty()) value.push_back(code);
      else value[0] = code;
      break;
    }
  }
  ctx.nvram.set(r.key, value);
  return 0;
}

// The outlet number "1".."9" that starts the rest, or 0.
int outlet_digit(const char* rest) { return (rest[0] >= '1' && rest[0] <= '9') ? rest[0] - '0' : 0; }

// The text after the outlet digit and its separator, or null when the reply
// ends before them.
char* after_outlet(char* rest) { return (outlet_digit(rest) && rest[1] != '\0') ? rest + 2 : nullptr; }

std::string outlet_key(const char* stem, int n) { return stem + std::to_string(n); }

// Numbered form: "<stem><n>" = the text after the digit and one separator.
int store_numbered(Context& ctx, const Recogniser& r, char* rest) {
  if (char* value = after_outlet(rest)) ctx.nvram.set(outlet_key(r.key, outlet_digit(rest)), value);
  return 0;
}

// Outlet switch state: the first character of `Outlet<n>` follows On/Off.
// Outlets below 9 are also kept in the settings file.
int store_outlet_switch(Context& ctx, const Recogniser& r, char* rest) {
  const char* text = after_outlet(rest);
  if (!text) return 0;
  int n = outlet_digit(rest);
  std::string key = outlet_key(r.key, n);
  char code;
  if (std::strncmp(text, "On", 2) == 0) code = '1';
  else if (std::strncmp(text, "Off", 2) == 0) code = '0';  // only "Of" is compared
  else return 0;
  std::string value = outlet_string(ctx, kOutletOnOff, key, 0);
  value[0] = code;
  ctx.nvram.set(key, value);
  if (n <= kSettingsOutlets) ctx.settings.set_formatted(key, value);
  return 0;
}

// Outlet mode: character n-1 of `Tipoutlet` becomes the status code.
int store_outlet_mode(Context& ctx, const Recogniser& r, char* rest) {
  const char* text = after_outlet(rest);
  if (!text) return 0;
  char code = outlet_status_code(text);
  if (!code) return 0;
  size_t n = static_cast<size_t>(outlet_digit(rest));
  std::string value = outlet_string(ctx, kTipoutlet, r.key, n - 1);
  value[n - 1] = code;
  ctx.nvram.set(r.key, value);
  return 0;
}

// A decimal int after optional white space, as "%d" reads it; false when none
// is there or it does not fit.
bool read_int(const char*& p, int& out) {
  char* end = nullptr;
  errno = 0;
  long v = std::strtol(p, &end, 10);
  if (end == p || errno == ERANGE || v < INT_MIN || v > INT_MAX) return false;
  out = static_cast<int>(v);
  p = end;
  return true;
}

// Outlet overcurrent delay: " <n> <ms>ms"; field n of `OCDT` becomes the
// delay's code, 0 to 5 for 0 to 500 ms in steps of 100.
int store_outlet_current_delay(Context& ctx, const Recogniser& r, char* rest) {
  if (rest[0] == '\0') return 0;
  const char* p = rest + 1;
  int n = 0;
  int ms = 0;
  if (!read_int(p, n) || !read_int(p, ms)) return 0;
  if (n <= 0 || n >= 10) return 0;
  if (ms < 0 || ms > 500 || ms % 100 != 0) return 0;
  auto current = ctx.nvram.get(r.key);
  std::string value;
  if (current) {
    value = *current;
  } else if (ctx.model.outlets > 0) {
    value = ctx.model.default_ocdt();
  } else {
    return 0;
  }
  size_t field = 2 * static_cast<size_t>(n - 1);
  if (field >= value.size()) return 0;  // the model has fewer outlets
  value[field] = static_cast<char>('0' + ms / 100);
  ctx.nvram.set(r.key, value);
  return 0;
}

// "0" when outlets shut down on abnormal voltage, "1" when they retry.
int store_volt_monitor_mode(Context& ctx, const Recogniser& r, char* rest) {
  bool retry = !std::strstr(rest, "All_Outlets_Shutdown") && std::strstr(rest, "Auto_Retry");
  ctx.nvram.set(r.key, retry ? "1" : "0");
  return 0;
}

// The retry time without its unit: the rest up to the first "mins".
int store_volt_monitor_retry_time(Context& ctx, const Recogniser& r, char* rest) {
  std::string_view value(rest);
  ctx.nvram.set(r.key, value.substr(0, value.find("mins")));
  return 0;
}

// ---- the rows -------------------------------------------------------------

// Tested top to bottom; a prefix is found anywhere in the message. The blanks
// that end the names keep similar replies apart ("<GetOutletCurrent " is not
// part of "<GetOutletCurrentThreshold ").
const Recogniser kReplies[] = {
    data_row("get-power-status-on", "<GetPowerStatus On", nvram_fixed, "Power", "1"),
    data_row("get-power-status-off", "<GetPowerStatus Off", nvram_fixed, "Power", "0"),
    data_row("get-key-status-on", "<GetKeyStatus On", nvram_fixed, "powerlock", "1"),
    data_row("get-key-status-off", "<GetKeyStatus Off", nvram_fixed, "powerlock", "0"),
    data_row("get-rs232-baud", "<GetRS232Baud", store_baud_code, "localBaud"),
    data_row("get-system-over-voltage-threshold", "<GetSystemOverVoltageThreshold ", nvram_rest, "VoltageThreshold"),
    data_row("get-system-under-voltage-threshold", "<GetSystemUnderVoltageThreshold ", nvram_rest, "UnderVoltage"),
    data_row("get-system-current-threshold", "<GetSystemCurrentThreshold ", nvram_rest, "Thresholdcurrent"),
    data_row("get-ground-status-properly-grounded", "<GetGroundStatus Properly Grounded", nvram_fixed, "DashboardSense", "Device Ground Detected", "Groundsen", "0"),
    data_row("get-ground-status-not-grounded", "<GetGroundStatus Not Grounded", nvram_fixed, "DashboardSense", "Device Ground Lost", "Groundsen", "1"),
    data_row("get-outlet-current-delay-time", "<GetOutletCurrentDelayTime", store_outlet_current_delay, "OCDT"),
    data_row("get-outlet-mode", "<GetOutletMode ", store_outlet_mode, "Tipoutlet"),
    data_row("get-outlet-power-off-time-1", "<GetOutletPowerOffTime 1 ", nvram_rest, "Poweroffdelay1"),
    data_row("get-outlet-power-off-time-2", "<GetOutletPowerOffTime 2 ", nvram_rest, "Poweroffdelay2"),
    data_row("get-outlet-power-off-time-3", "<GetOutletPowerOffTime 3 ", nvram_rest, "Poweroffdelay3"),
    data_row("get-outlet-power-off-time-4", "<GetOutletPowerOffTime 4 ", nvram_rest, "Poweroffdelay4"),
    data_row("get-outlet-power-off-time-5", "<GetOutletPowerOffTime 5 ", nvram_rest, "Poweroffdelay5"),
    data_row("get-outlet-power-off-time-6", "<GetOutletPowerOffTime 6 ", nvram_rest, "Poweroffdelay6"),
    data_row("get-outlet-power-off-time-7", "<GetOutletPowerOffTime 7 ", nvram_rest, "Poweroffdelay7"),
    data_row("get-outlet-power-off-time-8", "<GetOutletPowerOffTime 8 ", nvram_rest, "Poweroffdelay8"),
    data_row("get-outlet-power-on-time-1", "<GetOutletPowerOnTime 1 ", nvram_rest, "Powerdelay1"),
    data_row("get-outlet-power-on-time-2", "<GetOutletPowerOnTime 2 ", nvram_rest, "Powerdelay2"),
    data_row("get-outlet-power-on-time-3", "<GetOutletPowerOnTime 3 ", nvram_rest, "Powerdelay3"),
    data_row("get-outlet-power-on-time-4", "<GetOutletPowerOnTime 4 ", nvram_rest, "Powerdelay4"),
    data_row("get-outlet-power-on-time-5", "<GetOutletPowerOnTime 5 ", nvram_rest, "Powerdelay5"),
    data_row("get-outlet-power-on-time-6", "<GetOutletPowerOnTime 6 ", nvram_rest, "Powerdelay6"),
    data_row("get-outlet-power-on-time-7", "<GetOutletPowerOnTime 7 ", nvram_rest, "Powerdelay7"),
    data_row("get-outlet-power-on-time-8", "<GetOutletPowerOnTime 8 ", nvram_rest, "Powerdelay8"),
    data_row("get-outlet-ele-reset-time-1", "<GetOutletEleResetTime 1 ", nvram_rest, "ResetDelay1"),
    data_row("get-outlet-ele-reset-time-2", "<GetOutletEleResetTime 2 ", nvram_rest, "ResetDelay2"),
    data_row("get-outlet-ele-reset-time-3", "<GetOutletEleResetTime 3 ", nvram_rest, "ResetDelay3"),
    data_row("get-outlet-ele-reset-time-4", "<GetOutletEleResetTime 4 ", nvram_rest, "ResetDelay4"),
    data_row("get-outlet-ele-reset-time-5", "<GetOutletEleResetTime 5 ", nvram_rest, "ResetDelay5"),
    data_row("get-outlet-ele-reset-time-6", "<GetOutletEleResetTime 6 ", nvram_rest, "ResetDelay6"),
    data_row("get-outlet-ele-reset-time-7", "<GetOutletEleResetTime 7 ", nvram_rest, "ResetDelay7"),
    data_row("get-outlet-ele-reset-time-8", "<GetOutletEleResetTime 8 ", nvram_rest, "ResetDelay8"),
    data_row("get-outlet-power-resta-time-1", "<GetOutletPowerRestaTime 1 ", nvram_rest, "Restadelay1"),
    data_row("get-outlet-power-resta-time-2", "<GetOutletPowerRestaTime 2 ", nvram_rest, "Restadelay2"),
    data_row("get-outlet-power-resta-time-3", "<GetOutletPowerRestaTime 3 ", nvram_rest, "Restadelay3"),
    data_row("get-outlet-power-resta-time-4", "<GetOutletPowerRestaTime 4 ", nvram_rest, "Restadelay4"),
    data_row("get-outlet-power-resta-time-5", "<GetOutletPowerRestaTime 5 ", nvram_rest, "Restadelay5"),
    data_row("get-outlet-power-resta-time-6", "<GetOutletPowerRestaTime 6 ", nvram_rest, "Restadelay6"),
    data_row("get-outlet-power-resta-time-7", "<GetOutletPowerRestaTime 7 ", nvram_rest, "Restadelay7"),
    data_row("get-outlet-power-resta-time-8", "<GetOutletPowerRestaTime 8 ", nvram_rest, "Restadelay8"),
    data_row("get-safe-mode-outlet-shutdown", "<GetSafeMode Outlet_Shutdown", nvram_fixed, "Safemode", "0"),
    data_row("get-safe-mode-system-shutdown", "<GetSafeMode System_Shutdown", nvram_fixed, "Safemode", "1"),
    data_row("get-safe-mode-auto-retry", "<GetSafeMode Auto_Retry", nvram_fixed, "Safemode", "2"),
    data_row("get-standby-mode-all-standby-mode", "<GetStandbyMode All_Standby_Mode", nvram_fixed, "Standbymode", "0"),
    data_row("get-standby-mode-sleep-mode", "<GetStandbyMode Sleep_Mode", nvram_fixed, "Standbymode", "1"),
    data_row("get-overload-retry-cnt", "<GetOverloadRetryCnt", store_after_blank, "Reteriesvalue"),
    data_row("get-overload-retry-time", "<GetOverloadRetryTime", store_after_blank, "Secmin"),
    data_row("get-beeper-time", "<GetBeeperTime", store_after_blank, "BeeperTime"),
    data_row("outlet", "<Outlet ", store_outlet_switch, "Outlet"),
    data_row("total-current", "<Total Current ", nvram_rest, "TotalCarrent"),
    data_row("total-power", "<Total Power ", nvram_rest, "TotalPower"),
    data_row("total-energy-consumed", "<Total Energy Consumed ", nvram_rest, "TotalEnergyConsumed"),
    data_row("voltage", "<Voltage ", nvram_rest, "Voltage"),
    data_row("frequency", "<Frequency ", nvram_rest, "Frequency"),
    data_row("power-factor", "<Power Factor ", nvram_rest, "PowerFactor"),
    data_row("get-outlet-voltage", "<GetOutletVoltage ", store_numbered, "Voltageout"),
    data_row("get-outlet-current", "<GetOutletCurrent ", store_numbered, "Carrent"),
    data_row("get-outlet-power", "<GetOutletPower ", store_numbered, "Power"),
    data_row("get-outlet-consumed", "<GetOutletConsumed ", store_numbered, "Consumed"),
    data_row("get-outlet-power-factor", "<GetOutletPowerFactor ", store_numbered, "PowerFactor"),
    data_row("get-relay-mode-dry-contact", "<GetRelayMode Dry_Contact", nvram_fixed, "relaymode", "0"),
    data_row("get-relay-mode-push-button", "<GetRelayMode Push_Button", nvram_fixed, "relaymode", "1"),
    data_row("get-relay-level-low-voltage", "<GetRelayLevel Low_Voltage", nvram_fixed, "ralayvoltage", "0"),
    data_row("get-relay-level-high-voltage", "<GetRelayLevel High_Voltage", nvram_fixed, "ralayvoltage", "1"),
    data_row("get-relay-status-on", "<GetRelayStatus On", nvram_fixed, "relaypower", "1"),
    data_row("get-relay-status-off", "<GetRelayStatus Off", nvram_fixed, "relaypower", "0"),
    data_row("get-abnormal-voltage-safe-mode", "<GetAbnormalVoltage_SafeMode ", store_volt_monitor_mode, "VoltMonitorMode"),
    data_row("get-abnormal-voltage-retry-time", "<GetAbnormalVoltage_RetryTime ", store_volt_monitor_retry_time, "VoltMonitorRetryTime"),
    data_row("get-outlet-current-threshold", "<GetOutletCurrentThreshold ", store_numbered, "Thresholdcurrent"),
};

static_assert(std::size(kReplies) == 73, "the query replies are 73 recognisers");

}  // namespace

Row query_reply_messages() { return row_of(kReplies); }

}  // namespace interp
