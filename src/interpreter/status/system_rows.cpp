#include "interpreter/status/system_rows.h"

#include <string_view>

#include <cstring>

#include "interpreter/common/model.h"
#include "interpreter/status/status_modes.h"
#include "interpreter/common/tokenizer.h"

namespace interp {

namespace {

// One column of a single-row table: its rule and the key it writes.
struct Field {
  void (*apply)(Context& ctx, const char* key, const Token& token);
  const char* key;
};

struct Columns {
  const Field* fields;
  int count;
};

template <size_t N>
constexpr Columns columns_of(const Field (&fields)[N]) {
  return Columns{fields, static_cast<int>(N)};
}

void parse_columns(Context& ctx, const char* row, Columns columns) {
  for_each_token(row, columns.count, [&](int column, const Token& token) {
    const Field& field = columns.fields[column];
    if (field.apply) field.apply(ctx, field.key, token);
  });
}

// --- rules -----------------------------------------------------------------

void file_and_nvram(Context& ctx, const char* key, const Token& token) { ctx.store(key, token.verbatim); }

void nvram_only(Context& ctx, const char* key, const Token& token) { ctx.nvram.set(key, token.verbatim); }

void store_keyword(Context& ctx, const char* key, const char* value) {
  if (value) ctx.store(key, value);
}

void power_switch(Context& ctx, const char* key, const Token& token) {
  store_keyword(ctx, key, first_keyword(token, {{"ON", "1"}, {"On", "1"}, {"OFF", "0"}, {"Off", "0"}}));
}

void on_off(Context& ctx, const char* key, const Token& token) {
  store_keyword(ctx, key, first_keyword(token, {{"ON", "1"}, {"OFF", "0"}}));
}

// The MCU sends 1 for a disabled interface: the setting is the inverse.
void enable_tcpip(Context& ctx, const char* key, const Token& token) {
  ctx.store(key, contains(token, "1") ? "0" : "1");
}

// The RS-232 speed is kept as a one-digit index into the rate list.
void local_baud(Context& ctx, const char* key, const Token& token) {
  std::string value = ctx.nvram.get_or(key, "6");
  const char* index = first_keyword(token, {{"2400", "1"},
                                            {"4800", "2"},
                                            {"9600", "3"},
                                            {"19200", "4"},
                                            {"38400", "5"},
                                            {"57600", "6"},
                                            {"115200", "7"}});
  if (index) {
    if (value.empty()) value = index;
    else value[0] = *index;
  }
  ctx.store(key, value);
}

void ground(Context& ctx, const char*, const Token& token) {
  if (contains(token, "Device_Ground_Detected")) {
    ctx.nvram.set("DashboardSense", "Device Ground Detected");
    ctx.nvram.set("Groundsen", "0");
  } else if (contains(token, "Device_Ground_Lost")) {
    ctx.nvram.set("DashboardSense", "Device Ground Lost");
    ctx.nvram.set("Groundsen", "1");
  }
}

void volt_monitor_mode(Context& ctx, const char* key, const Token& token) {
  const char* value = first_keyword(token, {{"All_Outlets_Shutdown", "0"}, {"Auto_Retry", "1"}});
  if (value) ctx.nvram.set(key, value);
}

// The last column of the voltage-monitor row: it closes the table.
void volt_monitor_retry_time(Context& ctx, const char* key, const Token& token) {
  const std::string_view value(token.verbatim);
  ctx.nvram.set(key, value.substr(0, value.find("mins")));
  ctx.state.CheckStatusMode = kNoTable;
}

void safe_mode(Context& ctx, const char* key, const Token& token) {
  const char* value = first_keyword(token, {{"Outlet_Shutdown", "0"}, {"System_Shutdown", "1"}});
  ctx.store(key, value ? value : "2");
}

void relay_mode(Context& ctx, const char* key, const Token& token) {
  store_keyword(ctx, key, first_keyword(token, {{"Push_Button", "1"}, {"Dry_Contact", "0"}}));
}

void relay_voltage(Context& ctx, const char* key, const Token& token) {
  store_keyword(ctx, key, first_keyword(token, {{"Low_Voltage", "0"}, {"High_Voltage", "1"}}));
}

void standby_mode(Context& ctx, const char* key, const Token& token) {
  ctx.store(key, contains(token, "All_Standby_Mode") ? "0" : "1");
}

// --- layouts -----------------------------------------------------------------

const Field kSystemRowDc[] = {
    {power_switch, "Power"},         {on_off, "powerlock"},     {on_off, "relaypower"},
    {nullptr, nullptr},              {enable_tcpip, "Enabletcpip"}, {local_baud, "localBaud"},
    {nvram_only, "VoltageThreshold"}, {nvram_only, "UnderVoltage"},
};

// ZLT8AC, and ZLT4AC when ChangeModel2 begins with 1; without the ground
// column for any other ZLT4AC.
const Field kSystemRowAc[] = {
    {power_switch, "Power"},           {on_off, "powerlock"},
    {on_off, "relaypower"},            {enable_tcpip, "Enabletcpip"},
    {local_baud, "localBaud"},         {file_and_nvram, "Thresholdcurrent"},
    {nvram_only, "VoltageThreshold"},  {nvram_only, "UnderVoltage"},
    {ground, nullptr},
};

const Field kVoltageMonitorRowDc[] = {
    {file_and_nvram, "PowerMode5v"},
    {volt_monitor_mode, "VoltMonitorMode"},
    {volt_monitor_retry_time, "VoltMonitorRetryTime"},
};

const Field kVoltageMonitorRow[] = {
    {volt_monitor_mode, "VoltMonitorMode"},
    {volt_monitor_retry_time, "VoltMonitorRetryTime"},
};

const Field kSystemModeRow[] = {
    {safe_mode, "Safemode"},           {relay_mode, "relaymode"}, {relay_voltage, "ralayvoltage"},
    {standby_mode, "Standbymode"},     {file_and_nvram, "Reteriesvalue"},
    {file_and_nvram, "Secmin"},        {file_and_nvram, "BeeperTime"},
};

const Field kInitialisationRow[] = {
    {nvram_only, "AllInitalizStatus"}, {nvram_only, "AllInitalizdelay"},
    {nvram_only, "AllPowerdelay"},     {nvram_only, "AllPoweroffdelay"},
    {nvram_only, "AllResetDelay"},     {nvram_only, "BeeperTime"},
};

bool change_model2(Context& ctx) {
  auto value = ctx.nvram.get("ChangeModel2");
  return value && !value->empty() && (*value)[0] == '1';
}

}  // namespace

int parse_system_row(Context& ctx, Layout layout, const char* row) {
  Columns columns{};
  switch (layout) {
    case Layout::Dc8: columns = columns_of(kSystemRowDc); break;
    case Layout::Ac8: columns = columns_of(kSystemRowAc); break;
    case Layout::Ac4:
      columns = columns_of(kSystemRowAc);
      if (!change_model2(ctx)) columns.count -= 1;
      break;
    case Layout::None: return 0;  // no layout: the table stays armed
  }
  parse_columns(ctx, row, columns);
  ctx.state.CheckStatusMode = kNoTable;
  return 0;
}

int parse_voltage_monitor_row(Context& ctx, Layout layout, const char* row) {
  // The last column closes the table, even when the row ran out before it.
  parse_columns(ctx, row, layout == Layout::Dc8 ? columns_of(kVoltageMonitorRowDc)
                                                           : columns_of(kVoltageMonitorRow));
  return 0;
}

int parse_system_mode_row(Context& ctx, Layout, const char* row) {
  parse_columns(ctx, row, columns_of(kSystemModeRow));
  ctx.state.CheckStatusMode = kNoTable;
  return 0;
}

int parse_initialisation_row(Context& ctx, Layout, const char* row) {
  parse_columns(ctx, row, columns_of(kInitialisationRow));
  ctx.state.CheckStatusMode = kNoTable;
  return 0;
}

}  // namespace interp
