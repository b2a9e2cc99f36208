#include "interpreter/sensor_messages.h"

#include <cstring>
#include <string>

#include "interpreter/common/actions.h"
#include "interpreter/dispatcher.h"
#include "interpreter/common/outlet_string.h"

namespace interp {

namespace {

// Keys that the code itself names (the rows carry the others).
constexpr char kSensor2minvalue[] = "sensor2minvalue";
constexpr char kSensor1check[] = "sensor1check";

struct NamedCode {
  const char* name;
  char code;
};

// Compared over each name's full length, in this order: the first that the
// rest begins with gives the code.
constexpr NamedCode kProtocols[] = {
    {"1-wire", '1'}, {"I2C", '2'}, {"Modbus-RTU-RS485", '3'}, {"Door", '4'}, {"Relay", '5'},
};

// "Temperature And Humidity" before "Temperature"; the contact states of a
// door or relay share their codes with the first group.
constexpr NamedCode kTypes[] = {
    {"Temperature And Humidity", '3'}, {"Humidity", '2'},      {"Temperature", '1'},
    {"Air Pressure", '4'},             {"Other Data", '5'},    {"Normally Open", '1'},
    {"Normally Close", '2'},
};

bool begins_with(const char* text, const char* word) {
  return std::strncmp(text, word, std::strlen(word)) == 0;
}

// --- values as received ----------------------------------------------------

// The old lines are dropped with the pattern "sensorm2invalue=", which matches
// no stored key, as the unit has always done: every confirmation adds one more
// sensor2minvalue line and the last one is the current value.
int sensor2_min_value(Context& ctx, char* rest) {
  ctx.settings.set_mismatched("sensorm2invalue", kSensor2minvalue, rest);
  ctx.nvram.set(kSensor2minvalue, rest);
  return 0;
}

// --- power -----------------------------------------------------------------

int sensor_power(Context& ctx, const Recogniser& r, char* rest) {
  ctx.store(r.key, begins_with(rest, "ON") ? "1" : "0");
  return 0;
}

// --- protocol and type -----------------------------------------------------

// Sets the first character of the stored code on a known name; the file line
// is written again with the current code either way.
template <size_t N>
void store_named_code(Context& ctx, const char* key, const NamedCode (&table)[N], const char* rest) {
  std::string value = ctx.nvram.get_or(key, "1");
  for (const NamedCode& entry : table) {
    if (!begins_with(rest, entry.name)) continue;
    if (value.empty())
      value = std::string(1, entry.code);
    else
      value[0] = entry.code;
    ctx.nvram.set(key, value);
    break;
  }
  ctx.settings.set(key, value);
}

int sensor_protocol(Context& ctx, const Recogniser& r, char* rest) {
  store_named_code(ctx, r.key, kProtocols, rest);
  return 0;
}

int sensor_type(Context& ctx, const Recogniser& r, char* rest) {
  store_named_code(ctx, r.key, kTypes, rest);
  return 0;
}

// --- unit --------------------------------------------------------------------

int sensor_unit(Context& ctx, const Recogniser& r, char* rest) {
  std::string value = ctx.nvram.get_or(r.key, "");
  if (rest[0] == '1' || rest[0] == '3' || rest[0] == '2') {
    value = std::string(1, rest[0]);
    ctx.nvram.set(r.key, value);
  }
  ctx.settings.set(r.key, value);
  return 0;
}

// --- beeper ------------------------------------------------------------------

// The check flags hold four characters; the fourth is the beeper switch.
std::string check_flags(Context& ctx, const char* key) { return outlet_string(ctx, kSensorCheckFlags, key, 3); }

// Sensor 1 stores its flags always; sensor 2 only when the word was known.
// Both write the settings-file line from sensor 1's flags, so the file's
// sensor2check line carries sensor 1's flags while nvram holds sensor 2's.
int sensor_beeper(Context& ctx, const Recogniser& r, char* rest) {
  const bool sensor1 = std::strcmp(r.key, kSensor1check) == 0;
  std::string flags = check_flags(ctx, r.key);
  bool known = true;
  if (begins_with(rest, "ON"))
    flags[3] = '1';
  else if (begins_with(rest, "OFF"))
    flags[3] = '0';
  else
    known = false;
  if (sensor1 || known) ctx.nvram.set(r.key, flags);
  ctx.settings.set(r.key, sensor1 ? flags : check_flags(ctx, kSensor1check));
  return 0;
}

// --- GUI reading texts ---------------------------------------------------------

// A door or relay contact: "1" anywhere means open.
int contact_reading(Context& ctx, const Recogniser& r, char* rest) {
  ctx.nvram.set(r.key, std::strchr(rest, '1') ? "OFF" : "ON");
  return 0;
}

// The reading is the message's text after the row's value (which its prefix
// contains).
int reading_after(Context& ctx, const Recogniser& r, char*) {
  const char* after = str_Endpoint(ctx.message, r.value);
  ctx.nvram.set(r.key, after ? after : "");
  return 0;
}

int powered_off(Context& ctx, const Recogniser& r, char*) {
  ctx.nvram.set(r.key, "Sensor OFF");
  return 0;
}

// Block A: directly after the key-lock confirmations.
constexpr Recogniser kBlockA[] = {
    data_row("set-sensor1-power", "[SUCCESS]Set Sensor1 Power To ", sensor_power, "sensor1power"),
    data_row("set-sensor2-power", "[SUCCESS]Set Sensor2 Power To ", sensor_power, "sensor2power"),
    data_row("set-sensor2-slave-station-address", "[SUCCESS]Set Sensor2 Slave Station Address To ", both_rest, "sensorSlaveStation2"),
    data_row("gui-get-sensor1-current-value", "[SUCCESS]GUI Get Sensor1 Current Value ", contact_reading, "sensor1current"),
    data_row("gui-get-sensor1-current-temperature-value", "[SUCCESS]GUI Get Sensor1 Current Temperature Value ", nvram_rest, "sensor1current"),
    data_row("gui-get-sensor1-current-humidity-value", "[SUCCESS]GUI Get Sensor1 Current Humidity Value ", nvram_rest, "sensor1current"),
    data_row("gui-get-sensor1-current-air-pressure-value", "[SUCCESS]GUI Get Sensor1 Current Air Pressure Value ", nvram_rest, "sensor1current"),
    data_row("gui-get-sensor1-mode-unknown", "[SUCCESS]GUI Get Sensor1 Mode Unknown", reading_after, "sensor1current", "[SUCCESS]GUI Get Sensor1 Mode "),
    data_row("fail-sensor1-unit-wrong", "[FAIL]Sensor1 Unit Wrong", reading_after, "sensor1current", "[FAIL]Sensor1"),
    data_row("fail-sensor2-unit-wrong", "[FAIL]Sensor2 Unit Wrong", reading_after, "sensor2current", "[FAIL]Sensor2"),
    data_row("fail-gui-sensor1-unit-wrong", "[FAIL]GUI Sensor1 Unit Wrong", reading_after, "sensor1current", "[FAIL]GUI Sensor1"),
    data_row("fail-gui-sensor2-unit-wrong", "[FAIL]GUI Sensor2 Unit Wrong", reading_after, "sensor2current", "[FAIL]GUI Sensor2"),
    data_row("fail-gui-sensor1-power", "[FAIL]GUI Sensor1 Power Is ", powered_off, "sensor1current"),
    data_row("fail-gui-sensor2-power", "[FAIL]GUI Sensor2 Power Is ", powered_off, "sensor2current"),
    data_row("gui-get-sensor2-current-value", "[SUCCESS]GUI Get Sensor2 Current Value ", contact_reading, "sensor2current"),
    data_row("gui-get-sensor2-current-temperature-value", "[SUCCESS]GUI Get Sensor2 Current Temperature Value ", nvram_rest, "sensor2current"),
    data_row("gui-get-sensor2-current-humidity-value", "[SUCCESS]GUI Get Sensor2 Current Humidity Value ", nvram_rest, "sensor2current"),
    data_row("gui-get-sensor2-current-air-pressure-value", "[SUCCESS]GUI Get Sensor2 Current Air Pressure Value ", nvram_rest, "sensor2current"),
    data_row("gui-get-sensor2-mode-unknown", "[SUCCESS]GUI Get Sensor2 Mode Unknown", reading_after, "sensor2current", "[SUCCESS]GUI Get Sensor2 Mode "),
};

// Block B: after the GUI outlet status and the sensor event rules. The slave ID
// confirmation goes to nvram only, the slave station one to both stores.
constexpr Recogniser kBlockB[] = {
    data_row("set-sensor1-protocols", "[SUCCESS]Set Sensor1 Protocols To ", sensor_protocol, "sensorpro1"),
    data_row("set-sensor2-protocols", "[SUCCESS]Set Sensor2 Protocols To ", sensor_protocol, "sensorpro2"),
    data_row("set-sensor1-type", "[SUCCESS]Set Sensor1 Type To ", sensor_type, "sensortype1"),
    data_row("set-sensor2-type", "[SUCCESS]Set Sensor2 Type To ", sensor_type, "sensortype2"),
    data_row("set-sensor1-data-address", "[SUCCESS]Set Sensor1 Data Address To ", both_rest, "sensoraddress1"),
    data_row("set-sensor1-slave-id-address", "[SUCCESS]Set Sensor1 Slave ID Address To ", nvram_rest, "sensorSlaveStation1"),
    data_row("set-sensor1-slave-station-address", "[SUCCESS]Set Sensor1 Slave Station Address To ", both_rest, "sensorSlaveStation1"),
    data_row("set-sensor1-function-code", "[SUCCESS]Set Sensor1 Function Code To ", nvram_rest, "sensorFunctionCode1"),
    data_row("set-sensor2-function-code", "[SUCCESS]Set Sensor2 Function Code To ", nvram_rest, "sensorFunctionCode2"),
    data_row("set-sensor2-slave-id-address", "[SUCCESS]Set Sensor2 Slave ID Address To ", nvram_rest, "sensorSlaveStation2"),
    data_row("set-sensor2-data-address", "[SUCCESS]Set Sensor2 Data Address To ", both_rest, "sensoraddress2"),
    data_row("set-sensor1-max-value", "[SUCCESS]Set Sensor1 Max Value To ", both_rest, "sensor1maxvalue"),
    data_row("set-sensor2-max-value", "[SUCCESS]Set Sensor2 Max Value To ", both_rest, "sensor2maxvalue"),
    data_row("set-sensor1-min-value", "[SUCCESS]Set Sensor1 Min Value To ", both_rest, "sensor1minvalue"),
    prefix("set-sensor2-min-value", "[SUCCESS]Set Sensor2 Min Value To ", sensor2_min_value),
    data_row("set-sensor1-unit", "[SUCCESS]Set Sensor1 Unit To ", sensor_unit, "sensor1unit"),
    data_row("set-sensor2-unit", "[SUCCESS]Set Sensor2 Unit To ", sensor_unit, "sensor2unit"),
    data_row("set-sensor1-beeper", "[SUCCESS]Set Sensor1 Beeper ", sensor_beeper, "sensor1check"),
    data_row("set-sensor2-beeper", "[SUCCESS]Set Sensor2 Beeper ", sensor_beeper, "sensor2check"),
};

}  // namespace

Row sensor_messages_a() { return row_of(kBlockA); }
Row sensor_messages_b() { return row_of(kBlockB); }

}  // namespace interp
