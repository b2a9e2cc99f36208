#include "interpreter/outlet_settings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "interpreter/common/outlet_string.h"
#include "interpreter/common/actions.h"
#include "interpreter/common/ocdt.h"
#include "interpreter/dispatcher.h"

namespace interp {

namespace {

constexpr const char* kSetOutlet = "[SUCCESS]Set Outlet ";
constexpr size_t kListLimit = 255;  // the unit's OCDT list buffer

// ---- stores -------------------------------------------------------------

void nvram_only(Context& ctx, const char* key, const char* value) { ctx.nvram.set(key, value); }
// File line first, then nvram.
void file_then_nvram(Context& ctx, const char* key, const char* value) { ctx.store(key, value); }
// nvram first, then the file line.
void nvram_then_file(Context& ctx, const char* key, const char* value) {
  ctx.nvram.set(key, value);
  ctx.settings.set(key, value);
}

// n copies of text joined by ':', at most 255 characters.
std::string joined(const std::string& text, int n) {
  std::string list;
  for (int i = 0; i < n; ++i) {
    if (i) list += ':';
    list += text;
  }
  return list.substr(0, kListLimit);
}

}  // namespace

// ---- model --------------------------------------------------------------

namespace {

// ---- OCDT ---------------------------------------------------------------

// The delay text after the phrase: up to the end, the first '.', or 31 characters.
std::string delay_text(const char* after) {
  std::string text;
  for (const char* p = after; *p && *p != '.' && text.size() < 31; ++p) text += *p;
  return text;
}

int all_outlets_ocdt(Context& ctx, char* rest) {
  int code = map_delay_to_value(delay_text(rest).c_str());
  ctx.nvram.set("OCDT", joined(std::to_string(code), ctx.model.outlets));
  return 0;
}

// "[SUCCESS]Set Outlet <k> ... OCDT To <delay>": field k of the OCDT list.
void outlet_ocdt(Context& ctx, const char* after_prefix) {
  char* end = nullptr;
  long k = std::strtol(after_prefix, &end, 10);
  if (end == after_prefix) return;
  const char* after = str_Endpoint(end, "OCDT To ");
  if (!after) return;
  int code = map_delay_to_value(delay_text(after).c_str());

  const int n = ctx.model.outlets;
  auto stored = ctx.nvram.get("OCDT");
  if (!stored && n == 0) return;
  std::string list = stored ? *stored : ctx.model.default_ocdt();
  if (list.empty()) return;

  std::vector<std::string> fields = split_ocdt(list, static_cast<size_t>(n > 0 ? n : 0), EmptyFields::Skip);
  if (k < 1 || static_cast<long>(fields.size()) < k) return;

  fields[static_cast<size_t>(k - 1)] = std::to_string(code);
  std::string rebuilt;
  for (size_t i = 0; i < fields.size(); ++i) {
    if (i) rebuilt += ':';
    rebuilt += fields[i];
  }
  ctx.nvram.set("OCDT", rebuilt.substr(0, kListLimit));
}

// ---- per-outlet settings -------------------------------------------------

// The outlet digit right after "[SUCCESS]Set Outlet " ('1'..'8'), or 0.
int outlet_digit(const char* after_prefix) {
  char c = after_prefix[0];
  return c >= '1' && c <= '8' ? c - '0' : 0;
}

// A per-outlet text setting: "<key><n>" = the text after value_phrase.
struct OutletText {
  const char* value_phrase;
  const char* key;
  void (*write)(Context&, const char*, const char*);
};

void outlet_text(Context& ctx, const char* after_prefix, const OutletText& s) {
  int n = outlet_digit(after_prefix);
  if (!n) return;
  const char* value = str_Endpoint(ctx.message, s.value_phrase);
  if (!value) return;
  s.write(ctx, (std::string(s.key) + std::to_string(n)).c_str(), value);
}

const OutletText kInitialStatus{"Initial Status To ", "InitalizStatus", nvram_only};
const OutletText kPowerOnDelay{"Power_ON Delay ", "Powerdelay", file_then_nvram};
const OutletText kPowerOffDelay{"Power_OFF Delay ", "Poweroffdelay", file_then_nvram};
const OutletText kResetDuration{"Electrical Work Reset Duration To ", "ResetDelay", file_then_nvram};
const OutletText kRestartDelay{"Power_RESTA Delay ", "Restadelay", file_then_nvram};

void initial_status(Context& ctx, const char* a) { outlet_text(ctx, a, kInitialStatus); }
void power_on_delay(Context& ctx, const char* a) { outlet_text(ctx, a, kPowerOnDelay); }
void power_off_delay(Context& ctx, const char* a) { outlet_text(ctx, a, kPowerOffDelay); }
void reset_duration(Context& ctx, const char* a) { outlet_text(ctx, a, kResetDuration); }
void restart_delay(Context& ctx, const char* a) { outlet_text(ctx, a, kRestartDelay); }

// ---- DC voltage and voltage offset ----------------------------------------

constexpr const char* kDcvoltageDefault = kDcvoltage.fallback;
constexpr const char* kMaxvotagevalueDefault = kMaxvotagevalue.fallback;

// A stored outlet string shorter than len is completed from the key's default.
void complete_from_default(std::string& value, const std::string& fallback, size_t len) {
  if (value.size() < len) value += fallback.substr(value.size(), len - value.size());
}

// One voltage name and its code; width is how many characters are compared.
struct VoltageName {
  const char* name;
  size_t width;
  char code;
};

// The code of the first name that value begins with (over its width), or 0.
template <size_t N>
char voltage_code(const char* value, const VoltageName (&names)[N]) {
  for (const auto& v : names)
    if (std::strncmp(value, v.name, v.width) == 0) return v.code;
  return 0;
}

// One outlet's voltage: two characters compared for every name.
const VoltageName kOutletVoltages[] = {
    {"5V", 2, '1'}, {"9V", 2, '2'}, {"12", 2, '3'}, {"18", 2, '4'}, {"24", 2, '5'}};
// All outlets: the two-digit voltages are compared with their 'V'.
const VoltageName kAllOutletVoltages[] = {
    {"5V", 2, '1'}, {"9V", 2, '2'}, {"12V", 3, '3'}, {"18V", 3, '4'}, {"24V", 3, '5'}};

void outlet_dc_voltage(Context& ctx, const char* after_prefix) {
  std::string dc = ctx.nvram.get_or("Dcvoltage", kDcvoltageDefault);
  int n = outlet_digit(after_prefix);
  const char* value = str_Endpoint(ctx.message, "Voltage Status ");
  char code = value ? voltage_code(value, kOutletVoltages) : 0;
  if (n && code) {
    complete_from_default(dc, kDcvoltageDefault, static_cast<size_t>(n));
    dc[static_cast<size_t>(n - 1)] = code;
  }
  file_then_nvram(ctx, "Dcvoltage", dc.c_str());  // written back also when unchanged
}

void outlet_voltage_offset(Context& ctx, const char* after_prefix) {
  std::string offsets = ctx.nvram.get_or("Maxvotagevalue", kMaxvotagevalueDefault);
  int n = outlet_digit(after_prefix);
  const char* value = str_Endpoint(ctx.message, " Voltage Offset To ");
  size_t at = static_cast<size_t>(2 * (n - 1));
  if (n && value) {
    complete_from_default(offsets, kMaxvotagevalueDefault, at + 2);
    int offset = std::atoi(value);
    char two[16];
    std::snprintf(two, sizeof two, offset < 10 ? "0%d" : "%d", offset);
    offsets.replace(at, 2, two, 2);
  }
  file_then_nvram(ctx, "Maxvotagevalue", offsets.c_str());  // written back also when unchanged
}

int all_outlets_dc_voltage(Context& ctx, char* rest) {
  std::string dc = ctx.nvram.get_or("Dcvoltage", kDcvoltageDefault);
  if (char code = voltage_code(rest, kAllOutletVoltages)) dc.assign(8, code);
  file_then_nvram(ctx, "Dcvoltage", dc.c_str());
  return 0;
}

// "[SUCCESS]Set Outlet " with one of these phrases, tested in this order.
struct OutletSetting {
  const char* phrase;
  void (*apply)(Context&, const char* after_prefix);
};

const OutletSetting kOutletSettings[] = {
    {"OCDT To ", outlet_ocdt},
    {"Initial Status To", initial_status},
    {"Power_ON Delay ", power_on_delay},
    {"Power_OFF Delay ", power_off_delay},
    {"Electrical Work Reset Duration To ", reset_duration},
    {"Power_RESTA Delay ", restart_delay},
    {"Voltage Status ", outlet_dc_voltage},
    {"Voltage Offset To ", outlet_voltage_offset},
};

bool per_outlet_setting(Context& ctx) {
  const char* after_prefix = str_Endpoint(ctx.message, kSetOutlet);
  if (!after_prefix) return false;
  for (const auto& s : kOutletSettings) {
    if (str_Endpoint(ctx.message, s.phrase)) {
      s.apply(ctx, after_prefix);
      return true;
    }
  }
  return false;
}

// ---- plain stores ----------------------------------------------------------

// Stores the text after the prefix, as received, under the row's key: nvram
// first, then the file line.
int rest_to_nvram_then_file(Context& ctx, const Recogniser& r, char* rest) {
  nvram_then_file(ctx, r.key, rest);
  return 0;
}

int mqtt_detection(Context& ctx, char*) {
  ctx.runner.run("mqttsub-init.sh &");
  return 0;
}

int safe_mode(Context& ctx, char* rest) {
  const char* mode = std::strncmp(rest, "Outlet_Shutdown", 15) == 0   ? "0"
                     : std::strncmp(rest, "System_Shutdown", 15) == 0 ? "1"
                                                                       : "2";
  nvram_then_file(ctx, "Safemode", mode);
  return 0;
}

const Recogniser kThresholds[] = {
    data_row("set-outlet-1-current-threshold", "[SUCCESS]Set Outlet 1 Current Threshold To ", nvram_rest, "Thresholdcurrent1"),
    data_row("set-outlet-2-current-threshold", "[SUCCESS]Set Outlet 2 Current Threshold To ", nvram_rest, "Thresholdcurrent2"),
    data_row("set-outlet-3-current-threshold", "[SUCCESS]Set Outlet 3 Current Threshold To ", nvram_rest, "Thresholdcurrent3"),
    data_row("set-outlet-4-current-threshold", "[SUCCESS]Set Outlet 4 Current Threshold To ", nvram_rest, "Thresholdcurrent4"),
    data_row("set-outlet-5-current-threshold", "[SUCCESS]Set Outlet 5 Current Threshold To ", nvram_rest, "Thresholdcurrent5"),
    data_row("set-outlet-6-current-threshold", "[SUCCESS]Set Outlet 6 Current Threshold To ", nvram_rest, "Thresholdcurrent6"),
    data_row("set-outlet-7-current-threshold", "[SUCCESS]Set Outlet 7 Current Threshold To ", nvram_rest, "Thresholdcurrent7"),
    data_row("set-outlet-8-current-threshold", "[SUCCESS]Set Outlet 8 Current Threshold To ", nvram_rest, "Thresholdcurrent8"),
};

const Recogniser kInitializationStatus[] = {
    data_row("set-all-outlets-initialization-status", "[SUCCESS]Set All Outlets Initialization Status ", nvram_rest, "AllInitalizStatus"),
};

const Recogniser kMqttDetection[] = {
    prefix("mqtt-process-detection", "[SUCCESS]Mqtt Process Detection", mqtt_detection),
};

const Recogniser kAllOutletTiming[] = {
    data_row("set-system-initialization-delay", "[SUCCESS]Set System Initialization Delay ", nvram_rest, "AllInitalizdelay"),
    data_row("set-all-outlets-re-power-interval", "[SUCCESS]Set All Outlets Re-power Interval ", nvram_rest, "AllPowerdelay"),
    data_row("set-all-outlets-power-off-interval", "[SUCCESS]Set All Outlets Power_OFF Interval ", nvram_rest, "AllPoweroffdelay"),
    data_row("set-buzzer-sound-time", "[SUCCESS]Set The Buzzer Sound Time To ", both_rest, "BeeperTime"),
    data_row("set-all-outlets-electrical-work-reset-duration", "[SUCCESS]Set All Outlets Electrical Work Reset Duration To ", nvram_rest, "AllResetDelay"),
    prefix("set-all-outlets-ocdt", "[SUCCESS]Set All Outlets OCDT To ", all_outlets_ocdt),
};

constexpr const char* kPerOutletSettingNeeds[] = {kSetOutlet, nullptr};
const Recogniser kPerOutletSettings[] = {
    two_stage("per-outlet-setting", per_outlet_setting, kPerOutletSettingNeeds),
};

const Recogniser kAllOutletVoltage[] = {
    prefix("set-all-outlets-voltage-status", "[SUCCESS]Set All Outlets Voltage Status ", all_outlets_dc_voltage),
};

const Recogniser kRuntime[] = {
    data_row("get-device-runtime-system", "[SUCCESS]Get The Device Runtime For The System: ", nvram_rest, "SysRunTime"),
    data_row("cmdtime", "CMDTIME:", rest_to_nvram_then_file, "CMDTIME"),
    data_row("gui-get-device-runtime-system", "[SUCCESS]GUI Get The Device Runtime For The System: ", rest_to_nvram_then_file, "RUNTIME"),
};

const Recogniser kSafeMode[] = {
    prefix("set-system-safe-mode", "[SUCCESS]Set The System Safe Mode To ", safe_mode),
    data_row("set-overload-restart-delay", "[SUCCESS]Set The Overload Restart Delay ", both_rest, "Overloadtime"),
};

}  // namespace

Row outlet_threshold_messages() { return row_of(kThresholds); }
Row initialization_status_messages() { return row_of(kInitializationStatus); }
Row mqtt_detection_messages() { return row_of(kMqttDetection); }
Row all_outlet_timing_messages() { return row_of(kAllOutletTiming); }
Row per_outlet_setting_messages() { return row_of(kPerOutletSettings); }
Row all_outlet_voltage_messages() { return row_of(kAllOutletVoltage); }
Row runtime_messages() { return row_of(kRuntime); }
Row safe_mode_messages() { return row_of(kSafeMode); }

}  // namespace interp
