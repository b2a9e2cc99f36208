#include "interpreter/query_replies.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

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

struct QueryReply;
using Action = int (*)(Context&, const QueryReply&, char* rest);

struct QueryReply {
  const char* prefix;
  Action action;
  const char* key;    // the nvram key, or the stem that the outlet number completes
  const char* value;  // the fixed value, where the reply names it in words
  const char* key2;   // a second fixed key and value (ground status)
  const char* value2;
};

// ---- what each reply does -------------------------------------------------

// Fixed values: the reply's words name the value.
int store_fixed(Context& ctx, const QueryReply& r, char*) {
  ctx.nvram.set(r.key, r.value);
  if (r.key2) ctx.nvram.set(r.key2, r.value2);
  return 0;
}

// The rest of the message, unchanged (an empty rest is stored as empty).
int store_rest(Context& ctx, const QueryReply& r, char* rest) {
  ctx.nvram.set(r.key, rest);
  return 0;
}

// The recogniser does not require the blank that ends the reply's name; a
// reply without it stores nothing.
int store_after_blank(Context& ctx, const QueryReply& r, char*) {
  std::string spaced = std::string(r.prefix) + " ";
  if (const char* value = str_Endpoint(ctx.message, spaced.c_str())) ctx.nvram.set(r.key, value);
  return 0;
}

// `localBaud` keeps the speed as a one-digit index: its first character
// becomes the rate's place in this list.
int store_baud_code(Context& ctx, const QueryReply& r, char*) {
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
int store_numbered(Context& ctx, const QueryReply& r, char* rest) {
  if (char* value = after_outlet(rest)) ctx.nvram.set(outlet_key(r.key, outlet_digit(rest)), value);
  return 0;
}

// Outlet switch state: the first character of `Outlet<n>` follows On/Off.
// Outlets below 9 are also kept in the settings file.
int store_outlet_switch(Context& ctx, const QueryReply& r, char* rest) {
  const char* text = after_outlet(rest);
  if (!text) return 0;
  int n = outlet_digit(rest);
  std::string key = outlet_key(r.key, n);
  char code;
  if (std::strncmp(text, "On", 2) == 0) code = '1';
  else if (std::strncmp(text, "Off", 2) == 0) code = '0';  // only "Of" is compared
  else return 0;
  std::string value = outlet_string(ctx, key, "0", 0);
  value[0] = code;
  ctx.nvram.set(key, value);
  if (n < 9) ctx.settings.set_formatted(key, value);
  return 0;
}

// Outlet mode: character n-1 of `Tipoutlet` becomes the status code.
int store_outlet_mode(Context& ctx, const QueryReply& r, char* rest) {
  const char* text = after_outlet(rest);
  if (!text) return 0;
  char code = outlet_status_code(text);
  if (!code) return 0;
  size_t n = static_cast<size_t>(outlet_digit(rest));
  std::string value = outlet_string(ctx, r.key, "111111111", n - 1);
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
int store_outlet_current_delay(Context& ctx, const QueryReply& r, char* rest) {
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
  } else if (outlet_count(ctx.model()) > 0) {
    value = default_ocdt(ctx.model());
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
int store_volt_monitor_mode(Context& ctx, const QueryReply& r, char* rest) {
  bool retry = !std::strstr(rest, "All_Outlets_Shutdown") && std::strstr(rest, "Auto_Retry");
  ctx.nvram.set(r.key, retry ? "1" : "0");
  return 0;
}

// The retry time without its unit: the rest up to the first "mins".
int store_volt_monitor_retry_time(Context& ctx, const QueryReply& r, char* rest) {
  std::string_view value(rest);
  ctx.nvram.set(r.key, value.substr(0, value.find("mins")));
  return 0;
}

// ---- the table ------------------------------------------------------------

constexpr QueryReply fixed(const char* prefix, const char* key, const char* value) {
  return {prefix, store_fixed, key, value, nullptr, nullptr};
}
constexpr QueryReply fixed2(const char* prefix, const char* key, const char* value,
                            const char* key2, const char* value2) {
  return {prefix, store_fixed, key, value, key2, value2};
}
constexpr QueryReply rest_to(const char* prefix, const char* key) {
  return {prefix, store_rest, key, nullptr, nullptr, nullptr};
}
constexpr QueryReply after_blank_to(const char* prefix, const char* key) {
  return {prefix, store_after_blank, key, nullptr, nullptr, nullptr};
}
constexpr QueryReply numbered(const char* prefix, const char* stem) {
  return {prefix, store_numbered, stem, nullptr, nullptr, nullptr};
}
constexpr QueryReply parsed(const char* prefix, Action action, const char* key) {
  return {prefix, action, key, nullptr, nullptr, nullptr};
}

// One recogniser per outlet, outlet 1 first: "<prefix><n> " into "<key><n>".
#define EACH_OUTLET_1_TO_8(prefix, key)                                                       \
  rest_to(prefix "1 ", key "1"), rest_to(prefix "2 ", key "2"), rest_to(prefix "3 ", key "3"), \
      rest_to(prefix "4 ", key "4"), rest_to(prefix "5 ", key "5"),                            \
      rest_to(prefix "6 ", key "6"), rest_to(prefix "7 ", key "7"), rest_to(prefix "8 ", key "8")

// Tested top to bottom; a prefix is found anywhere in the message. The blanks
// that end the names keep similar replies apart ("<GetOutletCurrent " is not
// part of "<GetOutletCurrentThreshold ").
constexpr QueryReply kReplies[] = {
    fixed("<GetPowerStatus On", "Power", "1"),
    fixed("<GetPowerStatus Off", "Power", "0"),
    fixed("<GetKeyStatus On", "powerlock", "1"),
    fixed("<GetKeyStatus Off", "powerlock", "0"),
    parsed("<GetRS232Baud", store_baud_code, "localBaud"),
    rest_to("<GetSystemOverVoltageThreshold ", "VoltageThreshold"),
    rest_to("<GetSystemUnderVoltageThreshold ", "UnderVoltage"),
    rest_to("<GetSystemCurrentThreshold ", "Thresholdcurrent"),
    fixed2("<GetGroundStatus Properly Grounded", "DashboardSense", "Device Ground Detected",
           "Groundsen", "0"),
    fixed2("<GetGroundStatus Not Grounded", "DashboardSense", "Device Ground Lost",
           "Groundsen", "1"),
    parsed("<GetOutletCurrentDelayTime", store_outlet_current_delay, "OCDT"),
    parsed("<GetOutletMode ", store_outlet_mode, "Tipoutlet"),
    EACH_OUTLET_1_TO_8("<GetOutletPowerOffTime ", "Poweroffdelay"),
    EACH_OUTLET_1_TO_8("<GetOutletPowerOnTime ", "Powerdelay"),
    EACH_OUTLET_1_TO_8("<GetOutletEleResetTime ", "ResetDelay"),
    EACH_OUTLET_1_TO_8("<GetOutletPowerRestaTime ", "Restadelay"),
    fixed("<GetSafeMode Outlet_Shutdown", "Safemode", "0"),
    fixed("<GetSafeMode System_Shutdown", "Safemode", "1"),
    fixed("<GetSafeMode Auto_Retry", "Safemode", "2"),
    fixed("<GetStandbyMode All_Standby_Mode", "Standbymode", "0"),
    fixed("<GetStandbyMode Sleep_Mode", "Standbymode", "1"),
    after_blank_to("<GetOverloadRetryCnt", "Reteriesvalue"),
    after_blank_to("<GetOverloadRetryTime", "Secmin"),
    after_blank_to("<GetBeeperTime", "BeeperTime"),
    parsed("<Outlet ", store_outlet_switch, "Outlet"),
    rest_to("<Total Current ", "TotalCarrent"),
    rest_to("<Total Power ", "TotalPower"),
    rest_to("<Total Energy Consumed ", "TotalEnergyConsumed"),
    rest_to("<Voltage ", "Voltage"),
    rest_to("<Frequency ", "Frequency"),
    rest_to("<Power Factor ", "PowerFactor"),
    numbered("<GetOutletVoltage ", "Voltageout"),
    numbered("<GetOutletCurrent ", "Carrent"),
    numbered("<GetOutletPower ", "Power"),
    numbered("<GetOutletConsumed ", "Consumed"),
    numbered("<GetOutletPowerFactor ", "PowerFactor"),
    fixed("<GetRelayMode Dry_Contact", "relaymode", "0"),
    fixed("<GetRelayMode Push_Button", "relaymode", "1"),
    fixed("<GetRelayLevel Low_Voltage", "ralayvoltage", "0"),
    fixed("<GetRelayLevel High_Voltage", "ralayvoltage", "1"),
    fixed("<GetRelayStatus On", "relaypower", "1"),
    fixed("<GetRelayStatus Off", "relaypower", "0"),
    parsed("<GetAbnormalVoltage_SafeMode ", store_volt_monitor_mode, "VoltMonitorMode"),
    parsed("<GetAbnormalVoltage_RetryTime ", store_volt_monitor_retry_time,
           "VoltMonitorRetryTime"),
    numbered("<GetOutletCurrentThreshold ", "Thresholdcurrent"),
};

#undef EACH_OUTLET_1_TO_8

static_assert(std::size(kReplies) == 73, "the query replies are 73 recognisers");

// Each reply becomes one recogniser of the chain, in the table's order.
template <size_t I>
int handle(Context& ctx, char* rest) {
  return kReplies[I].action(ctx, kReplies[I], rest);
}

template <size_t... I>
constexpr std::array<Recogniser, sizeof...(I)> recognisers_of(std::index_sequence<I...>) {
  return {{prefix(kReplies[I].prefix, &handle<I>)...}};
}

constexpr auto kRecognisers = recognisers_of(std::make_index_sequence<std::size(kReplies)>());

}  // namespace

Row query_reply_messages() { return Row{kRecognisers.data(), kRecognisers.size()}; }

}  // namespace interp
