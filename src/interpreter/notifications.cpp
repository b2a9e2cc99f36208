#include "interpreter/notifications.h"

#include <cstring>
#include <string>

#include "interpreter/dispatcher.h"
#include "records/event_log.h"

namespace interp {

namespace {

// "Clue:" and "Tip:" texts open with a 20-character time-stamp field.
constexpr size_t kStampField = 20;
// An event about no outlet in particular: it reaches the system log only.
constexpr int kDeviceEvent = 10;

char first(const std::string& value) { return value.empty() ? '\0' : value[0]; }

// The outlet a notice is about (1..8, outlet 1 tested first), or kDeviceEvent.
int outlet_kind(const char* after_stamp) {
  for (int n = 1; n <= kSettingsOutlets; ++n) {
    const std::string name = "Outlet " + std::to_string(n);
    if (str_Endpoint(after_stamp, name.c_str())) return n;
  }
  return kDeviceEvent;
}

// The outlet's own log is written when daily e-mail is on, not every outlet
// is included, and this one is; connection changes only with notifications on.
bool wants_outlet_log(Context& ctx, int kind, const char* text) {
  const std::string include = ctx.nvram.get_or("IncludeOutlet", "");
  const size_t flag_at = 2 * static_cast<size_t>(kind - 1);
  const char flag = flag_at < include.size() ? include[flag_at] : '\0';
  if (first(ctx.nvram.get_or("Emaildailyopen", "")) != '1') return false;
  if (include.compare(0, 8, "11111111") == 0) return false;
  if (flag != '1') return false;
  if (first(ctx.nvram.get_or("EnableNotification", "")) == '1') return true;
  return !str_Endpoint(text, "change from Idle to Connected") &&
         !str_Endpoint(text, "change from Connected to Idle");
}

int notice(Context& ctx, char* text, bool tip) {
  const char* after_stamp = std::strlen(text) >= kStampField ? text + kStampField : "";
  const int kind = outlet_kind(after_stamp);
  if (tip && kind == kDeviceEvent && str_Endpoint(after_stamp, "The System Lacks Ground Wire")) {
    ctx.nvram.set("DashboardSenseTmp", "Device Ground Lost");
    ctx.clock.sleep_ms(100);
    ctx.nvram.set("Groundsen", "1");
  }
  if (wants_outlet_log(ctx, kind, text)) records::systemlog(ctx, kind, text);
  ctx.clock.sleep_ms(150);
  records::systemlog(ctx, 0, text);
  if (tip) {
    ctx.nvram.set("Emailsend", text);
    ctx.nvram.set("sensor1checksend", "3");
  }
  return 0;
}

int clue(Context& ctx, char* text) { return notice(ctx, text, false); }
int tip(Context& ctx, char* text) { return notice(ctx, text, true); }

// A sensor warning goes to the system log directly (no outlet log, no trap,
// no pauses) and to the e-mail side, flagged by the sensor's check setting.
int sensor_warning(Context& ctx, char* text, int sensor) {
  const std::string n = std::to_string(sensor);
  ctx.nvram.set(sensor == 1 ? "senEmailsend" : "senEmailsend2", text);
  const std::string check = ctx.nvram.get_or("sensor" + n + "check", "");
  const bool first_on = check.size() >= 2 && check[0] == '1';
  const bool second_on = check.size() >= 2 && check[1] == '1';
  const std::string send_key = "sensor" + n + "checksend";
  if (second_on)
    ctx.nvram.set(send_key, "1");
  else if (first_on)
    ctx.nvram.set(send_key, "2");
  if (records::system_log_full(ctx.nvram)) records::drop_oldest_line(ctx.files, records::kSystemLogPath);
  records::append_event_line(ctx.files, records::kSystemLogPath, text);
  return 0;
}

int sensor1_warning(Context& ctx, char* text) { return sensor_warning(ctx, text, 1); }
int sensor2_warning(Context& ctx, char* text) { return sensor_warning(ctx, text, 2); }

const Recogniser kNotifications[] = {
    prefix("clue", "Clue:", clue),
    prefix("tip", "Tip:", tip),
    prefix("sensor1warning", "Sensor1Warning:", sensor1_warning),
    prefix("sensor2warning", "Sensor2Warning:", sensor2_warning),
};

}  // namespace

Row notification_messages() { return row_of(kNotifications); }

}  // namespace interp
