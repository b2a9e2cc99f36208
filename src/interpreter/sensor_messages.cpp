#include "interpreter/sensor_messages.h"

#include <cstring>
#include <string>

#include "interpreter/dispatcher.h"
#include "interpreter/common/outlet_string.h"

namespace interp {

namespace {

// Keys of the two sensor ports, and the words before the GUI reading texts.
constexpr char kSensor1power[] = "sensor1power";
constexpr char kSensor2power[] = "sensor2power";
constexpr char kSensorpro1[] = "sensorpro1";
constexpr char kSensorpro2[] = "sensorpro2";
constexpr char kSensortype1[] = "sensortype1";
constexpr char kSensortype2[] = "sensortype2";
constexpr char kSensoraddress1[] = "sensoraddress1";
constexpr char kSensoraddress2[] = "sensoraddress2";
constexpr char kSensorSlaveStation1[] = "sensorSlaveStation1";
constexpr char kSensorSlaveStation2[] = "sensorSlaveStation2";
constexpr char kSensorFunctionCode1[] = "sensorFunctionCode1";
constexpr char kSensorFunctionCode2[] = "sensorFunctionCode2";
constexpr char kSensor1maxvalue[] = "sensor1maxvalue";
constexpr char kSensor2maxvalue[] = "sensor2maxvalue";
constexpr char kSensor1minvalue[] = "sensor1minvalue";
constexpr char kSensor2minvalue[] = "sensor2minvalue";
constexpr char kSensor1unit[] = "sensor1unit";
constexpr char kSensor2unit[] = "sensor2unit";
constexpr char kSensor1check[] = "sensor1check";
constexpr char kSensor2check[] = "sensor2check";
constexpr char kSensor1current[] = "sensor1current";
constexpr char kSensor2current[] = "sensor2current";
constexpr char kSensor1Mode[] = "[SUCCESS]GUI Get Sensor1 Mode ";
constexpr char kSensor2Mode[] = "[SUCCESS]GUI Get Sensor2 Mode ";
constexpr char kFailSensor1[] = "[FAIL]Sensor1";
constexpr char kFailSensor2[] = "[FAIL]Sensor2";
constexpr char kFailGuiSensor1[] = "[FAIL]GUI Sensor1";
constexpr char kFailGuiSensor2[] = "[FAIL]GUI Sensor2";

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

template <const char* Key>
int file_then_nvram(Context& ctx, char* rest) {
  ctx.store(Key, rest);
  return 0;
}

template <const char* Key>
int nvram_only(Context& ctx, char* rest) {
  ctx.nvram.set(Key, rest);
  return 0;
}

// The old lines are dropped with the pattern "sensorm2invalue=", which matches
// no stored key, as the unit has always done: every confirmation adds one more
// sensor2minvalue line and the last one is the current value.
int sensor2_min_value(Context& ctx, char* rest) {
  ctx.settings.set_mismatched("sensorm2invalue", kSensor2minvalue, rest);
  ctx.nvram.set(kSensor2minvalue, rest);
  return 0;
}

// --- power -----------------------------------------------------------------

template <const char* Key>
int sensor_power(Context& ctx, char* rest) {
  ctx.store(Key, begins_with(rest, "ON") ? "1" : "0");
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

template <const char* Key>
int sensor_protocol(Context& ctx, char* rest) {
  store_named_code(ctx, Key, kProtocols, rest);
  return 0;
}

template <const char* Key>
int sensor_type(Context& ctx, char* rest) {
  store_named_code(ctx, Key, kTypes, rest);
  return 0;
}

// --- unit --------------------------------------------------------------------

template <const char* Key>
int sensor_unit(Context& ctx, char* rest) {
  std::string value = ctx.nvram.get_or(Key, "");
  if (rest[0] == '1' || rest[0] == '3' || rest[0] == '2') {
    value = std::string(1, rest[0]);
    ctx.nvram.set(Key, value);
  }
  ctx.settings.set(Key, value);
  return 0;
}

// --- beeper ------------------------------------------------------------------

// The check flags hold four characters; the fourth is the beeper switch.
std::string check_flags(Context& ctx, const char* key) { return outlet_string(ctx, kSensorCheckFlags, key, 3); }

// Sensor 1 stores its flags always; sensor 2 only when the word was known.
// Both write the settings-file line from sensor 1's flags, so the file's
// sensor2check line carries sensor 1's flags while nvram holds sensor 2's.
template <const char* Key>
int sensor_beeper(Context& ctx, char* rest) {
  constexpr bool sensor1 = Key == kSensor1check;
  std::string flags = check_flags(ctx, Key);
  bool known = true;
  if (begins_with(rest, "ON"))
    flags[3] = '1';
  else if (begins_with(rest, "OFF"))
    flags[3] = '0';
  else
    known = false;
  if (sensor1 || known) ctx.nvram.set(Key, flags);
  ctx.settings.set(Key, sensor1 ? flags : check_flags(ctx, kSensor1check));
  return 0;
}

// --- GUI reading texts ---------------------------------------------------------

// A door or relay contact: "1" anywhere means open.
template <const char* Key>
int contact_reading(Context& ctx, char* rest) {
  ctx.nvram.set(Key, std::strchr(rest, '1') ? "OFF" : "ON");
  return 0;
}

// The reading is the message's text after Word (which the recogniser's
// phrase contains).
template <const char* Key, const char* Word>
int reading_after(Context& ctx, char*) {
  const char* after = str_Endpoint(ctx.message, Word);
  ctx.nvram.set(Key, after ? after : "");
  return 0;
}

template <const char* Key>
int powered_off(Context& ctx, char*) {
  ctx.nvram.set(Key, "Sensor OFF");
  return 0;
}

// Block A: directly after the key-lock confirmations.
constexpr Recogniser kBlockA[] = {
    prefix("set-sensor1-power", "[SUCCESS]Set Sensor1 Power To ", sensor_power<kSensor1power>),
    prefix("set-sensor2-power", "[SUCCESS]Set Sensor2 Power To ", sensor_power<kSensor2power>),
    prefix("set-sensor2-slave-station-address", "[SUCCESS]Set Sensor2 Slave Station Address To ", file_then_nvram<kSensorSlaveStation2>),
    prefix("gui-get-sensor1-current-value", "[SUCCESS]GUI Get Sensor1 Current Value ", contact_reading<kSensor1current>),
    prefix("gui-get-sensor1-current-temperature-value", "[SUCCESS]GUI Get Sensor1 Current Temperature Value ", nvram_only<kSensor1current>),
    prefix("gui-get-sensor1-current-humidity-value", "[SUCCESS]GUI Get Sensor1 Current Humidity Value ", nvram_only<kSensor1current>),
    prefix("gui-get-sensor1-current-air-pressure-value", "[SUCCESS]GUI Get Sensor1 Current Air Pressure Value ", nvram_only<kSensor1current>),
    prefix("gui-get-sensor1-mode-unknown", "[SUCCESS]GUI Get Sensor1 Mode Unknown", reading_after<kSensor1current, kSensor1Mode>),
    prefix("fail-sensor1-unit-wrong", "[FAIL]Sensor1 Unit Wrong", reading_after<kSensor1current, kFailSensor1>),
    prefix("fail-sensor2-unit-wrong", "[FAIL]Sensor2 Unit Wrong", reading_after<kSensor2current, kFailSensor2>),
    prefix("fail-gui-sensor1-unit-wrong", "[FAIL]GUI Sensor1 Unit Wrong", reading_after<kSensor1current, kFailGuiSensor1>),
    prefix("fail-gui-sensor2-unit-wrong", "[FAIL]GUI Sensor2 Unit Wrong", reading_after<kSensor2current, kFailGuiSensor2>),
    prefix("fail-gui-sensor1-power", "[FAIL]GUI Sensor1 Power Is ", powered_off<kSensor1current>),
    prefix("fail-gui-sensor2-power", "[FAIL]GUI Sensor2 Power Is ", powered_off<kSensor2current>),
    prefix("gui-get-sensor2-current-value", "[SUCCESS]GUI Get Sensor2 Current Value ", contact_reading<kSensor2current>),
    prefix("gui-get-sensor2-current-temperature-value", "[SUCCESS]GUI Get Sensor2 Current Temperature Value ", nvram_only<kSensor2current>),
    prefix("gui-get-sensor2-current-humidity-value", "[SUCCESS]GUI Get Sensor2 Current Humidity Value ", nvram_only<kSensor2current>),
    prefix("gui-get-sensor2-current-air-pressure-value", "[SUCCESS]GUI Get Sensor2 Current Air Pressure Value ", nvram_only<kSensor2current>),
    prefix("gui-get-sensor2-mode-unknown", "[SUCCESS]GUI Get Sensor2 Mode Unknown", reading_after<kSensor2current, kSensor2Mode>),
};

// Block B: after the GUI outlet status and the sensor event rules. The slave ID
// confirmation goes to nvram only, the slave station one to both stores.
constexpr Recogniser kBlockB[] = {
    prefix("set-sensor1-protocols", "[SUCCESS]Set Sensor1 Protocols To ", sensor_protocol<kSensorpro1>),
    prefix("set-sensor2-protocols", "[SUCCESS]Set Sensor2 Protocols To ", sensor_protocol<kSensorpro2>),
    prefix("set-sensor1-type", "[SUCCESS]Set Sensor1 Type To ", sensor_type<kSensortype1>),
    prefix("set-sensor2-type", "[SUCCESS]Set Sensor2 Type To ", sensor_type<kSensortype2>),
    prefix("set-sensor1-data-address", "[SUCCESS]Set Sensor1 Data Address To ", file_then_nvram<kSensoraddress1>),
    prefix("set-sensor1-slave-id-address", "[SUCCESS]Set Sensor1 Slave ID Address To ", nvram_only<kSensorSlaveStation1>),
    prefix("set-sensor1-slave-station-address", "[SUCCESS]Set Sensor1 Slave Station Address To ", file_then_nvram<kSensorSlaveStation1>),
    prefix("set-sensor1-function-code", "[SUCCESS]Set Sensor1 Function Code To ", nvram_only<kSensorFunctionCode1>),
    prefix("set-sensor2-function-code", "[SUCCESS]Set Sensor2 Function Code To ", nvram_only<kSensorFunctionCode2>),
    prefix("set-sensor2-slave-id-address", "[SUCCESS]Set Sensor2 Slave ID Address To ", nvram_only<kSensorSlaveStation2>),
    prefix("set-sensor2-data-address", "[SUCCESS]Set Sensor2 Data Address To ", file_then_nvram<kSensoraddress2>),
    prefix("set-sensor1-max-value", "[SUCCESS]Set Sensor1 Max Value To ", file_then_nvram<kSensor1maxvalue>),
    prefix("set-sensor2-max-value", "[SUCCESS]Set Sensor2 Max Value To ", file_then_nvram<kSensor2maxvalue>),
    prefix("set-sensor1-min-value", "[SUCCESS]Set Sensor1 Min Value To ", file_then_nvram<kSensor1minvalue>),
    prefix("set-sensor2-min-value", "[SUCCESS]Set Sensor2 Min Value To ", sensor2_min_value),
    prefix("set-sensor1-unit", "[SUCCESS]Set Sensor1 Unit To ", sensor_unit<kSensor1unit>),
    prefix("set-sensor2-unit", "[SUCCESS]Set Sensor2 Unit To ", sensor_unit<kSensor2unit>),
    prefix("set-sensor1-beeper", "[SUCCESS]Set Sensor1 Beeper ", sensor_beeper<kSensor1check>),
    prefix("set-sensor2-beeper", "[SUCCESS]Set Sensor2 Beeper ", sensor_beeper<kSensor2check>),
};

}  // namespace

Row sensor_messages_a() { return row_of(kBlockA); }
Row sensor_messages_b() { return row_of(kBlockB); }

}  // namespace interp
