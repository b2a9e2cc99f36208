#include "interpreter/status/sensor_tables.h"

#include "interpreter/common/codes.h"
#include "interpreter/common/keys.h"
#include "interpreter/common/outlet_string.h"
#include "interpreter/status/status_modes.h"
#include "interpreter/common/tokenizer.h"

namespace interp {

namespace {

// A one-character code: the first character of the current value (or of "1"
// when there is none) becomes the code; no code leaves the key as it is.
void set_code(Context& ctx, const std::string& key, const char* code) {
  if (!code) return;
  std::string value = outlet_string(ctx, kSensorCode, key, 0);
  value[0] = *code;
  ctx.nvram.set(key, value);
}

void sensor_port_column(Context& ctx, int port, int column, const Token& token) {
  switch (column) {
    case 1:
      set_code(ctx, format_key("sensor%dpower", port),
               contains(token, "ON") || contains(token, "On") ? "1" : "0");
      break;
    case 2:
      set_code(ctx, format_key("sensorpro%d", port),
               first_keyword(token, {{"1-wire", "1"},
                                     {"I2C", "2"},
                                     {"Modbus-RTU-RS485", "3"},
                                     {"Door", "4"},
                                     {"RelaySwitch", "5"}}));
      break;
    case 3:
      // "Tem+Hum" before "Tem": a combined sensor is not a temperature sensor.
      set_code(ctx, format_key("sensortype%d", port),
               first_keyword(token, {{"Tem+Hum", "3"},
                                     {"Tem", "1"},
                                     {"Hum", "2"},
                                     {"AirPre", "4"},
                                     {"Other", "5"},
                                     {"NC", "2"},
                                     {"NO", "1"}}));
      break;
    case 4: ctx.nvram.set(format_key("sensoraddress%d", port), token.verbatim); break;
    case 5: ctx.nvram.set(format_key("sensorSlaveStation%d", port), token.verbatim); break;
    case 6: ctx.nvram.set(format_key("sensorFunctionCode%d", port), token.verbatim); break;
    case 7:
      set_code(ctx, format_key("sensor%dcheck", port),
               first_keyword(token, {{"On", "1"}, {"ON", "1"}, {"Off", "0"}, {"OFF", "0"}}));
      break;
    case 8: ctx.nvram.set(format_key("sensor%dmaxvalue", port), token.verbatim); break;
    case 9: ctx.nvram.set(format_key("sensor%dminvalue", port), token.verbatim); break;
    case 10: ctx.nvram.set(format_key("sensor%dunit", port), token.verbatim); break;
    default: break;
  }
}

// One outlet's code in a rule string (8 characters, default "11111111").
std::string update_rule_codes(Context& ctx, const std::string& key, int outlet, const Token& token,
                              void (*convert)(const char*, std::string&, int)) {
  std::string codes = outlet_string(ctx, kRuleCodes, key, static_cast<size_t>(outlet - 1));
  convert(token.whole, codes, outlet - 1);
  ctx.nvram.set(key, codes);
  return codes;
}

// Columns 1-3 belong to sensor 1, columns 4-6 to sensor 2: response, trigger, delay.
void sensor_rule_column(Context& ctx, int set, int outlet, int column, const Token& token) {
  const int sensor = column <= 3 ? 1 : 2;
  switch ((column - 1) % 3) {
    case 0: {
      const std::string key = format_key("sensor%d%doutput", set, sensor);
      const std::string codes = update_rule_codes(ctx, key, outlet, token, process_response);
      // The one rule string that the settings file keeps as well.
      if (set == 1 && sensor == 1) ctx.store(key, codes);
      break;
    }
    case 1:
      update_rule_codes(ctx, format_key("sensor%d%dtrigger", set, sensor), outlet, token, process_trigger);
      break;
    default:
      ctx.nvram.set(format_key("sensor%d%ddelay%d", set, sensor, outlet), token.verbatim);
      break;
  }
}

}  // namespace

// Rows "1" and "2" are the sensor ports; "2" closes the table.
int parse_sensor_port_row(Context& ctx, Layout, const char* row) {
  int port = 0;
  for_each_token(row, 11, [&](int column, const Token& token) {
    if (column == 0) {
      port = row_identity(token, 2, false);
      if (port == 2) ctx.state.CheckStatusMode = kNoTable;
    } else if (port != 0) {
      sensor_port_column(ctx, port, column, token);
    }
  });
  return 0;
}

// Rows "1" to "8" are the outlets; "8" closes the table.
int parse_sensor_rule_row(Context& ctx, const char* row, int response_set) {
  int outlet = 0;
  for_each_token(row, 7, [&](int column, const Token& token) {
    if (column == 0) {
      outlet = row_identity(token, kSettingsOutlets, false);
      if (outlet == kSettingsOutlets) ctx.state.CheckStatusMode = kNoTable;
    } else if (outlet != 0) {
      sensor_rule_column(ctx, response_set, outlet, column, token);
    }
  });
  return 0;
}

}  // namespace interp
