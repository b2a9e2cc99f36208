#include "interpreter/sensor_messages.h"

#include <cstring>
#include <string>
#include <string_view>

#include "interpreter/dispatcher.h"

namespace interp {

namespace {

// The keys of sensor port K.
template <int K>
struct Port {
  static_assert(K == 1 || K == 2, "the unit has two sensor ports");
  static constexpr const char* power = K == 1 ? "sensor1power" : "sensor2power";
  static constexpr const char* protocol = K == 1 ? "sensorpro1" : "sensorpro2";
  static constexpr const char* type = K == 1 ? "sensortype1" : "sensortype2";
  static constexpr const char* address = K == 1 ? "sensoraddress1" : "sensoraddress2";
  static constexpr const char* slave_station = K == 1 ? "sensorSlaveStation1" : "sensorSlaveStation2";
  static constexpr const char* function_code = K == 1 ? "sensorFunctionCode1" : "sensorFunctionCode2";
  static constexpr const char* max_value = K == 1 ? "sensor1maxvalue" : "sensor2maxvalue";
  static constexpr const char* min_value = K == 1 ? "sensor1minvalue" : "sensor2minvalue";
  static constexpr const char* unit = K == 1 ? "sensor1unit" : "sensor2unit";
  static constexpr const char* check = K == 1 ? "sensor1check" : "sensor2check";
  static constexpr const char* current = K == 1 ? "sensor1current" : "sensor2current";
  // The word before the GUI reading texts that the MCU cuts out.
  static constexpr const char* mode_word = K == 1 ? "[SUCCESS]GUI Get Sensor1 Mode " : "[SUCCESS]GUI Get Sensor2 Mode ";
  static constexpr const char* fail_word = K == 1 ? "[FAIL]Sensor1" : "[FAIL]Sensor2";
  static constexpr const char* gui_fail_word = K == 1 ? "[FAIL]GUI Sensor1" : "[FAIL]GUI Sensor2";
};

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

// The rest of the message after word, or an empty text when word is not there.
std::string text_after(const Context& ctx, const char* word) {
  const char* after = str_Endpoint(ctx.message, word);
  return after ? std::string(after) : std::string();
}

// A value the MCU confirmed, kept in the settings file and in nvram.
void store_file_then_nvram(Context& ctx, const char* key, std::string_view value) {
  ctx.settings.set(key, value);
  ctx.nvram.set(key, value);
}

// --- power ---------------------------------------------------------------

template <int K>
int sensor_power(Context& ctx, char* rest) {
  const char* digit = std::strncmp(rest, "ON", 2) == 0 ? "1" : "0";
  store_file_then_nvram(ctx, Port<K>::power, digit);
  return 0;
}

// --- protocol and type ---------------------------------------------------

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

template <int K>
int sensor_protocol(Context& ctx, char* rest) {
  store_named_code(ctx, Port<K>::protocol, kProtocols, rest);
  return 0;
}

template <int K>
int sensor_type(Context& ctx, char* rest) {
  store_named_code(ctx, Port<K>::type, kTypes, rest);
  return 0;
}

// --- Modbus addressing ---------------------------------------------------

template <int K>
int sensor_data_address(Context& ctx, char* rest) {
  store_file_then_nvram(ctx, Port<K>::address, rest);
  return 0;
}

// The slave station address confirmation goes to both stores; the slave ID
// confirmation of the same value only to nvram.
template <int K>
int sensor_slave_station(Context& ctx, char* rest) {
  store_file_then_nvram(ctx, Port<K>::slave_station, rest);
  return 0;
}

template <int K>
int sensor_slave_id(Context& ctx, char* rest) {
  ctx.nvram.set(Port<K>::slave_station, rest);
  return 0;
}

template <int K>
int sensor_function_code(Context& ctx, char* rest) {
  ctx.nvram.set(Port<K>::function_code, rest);
  return 0;
}

// --- limits and unit -----------------------------------------------------

template <int K>
int sensor_max_value(Context& ctx, char* rest) {
  store_file_then_nvram(ctx, Port<K>::max_value, rest);
  return 0;
}

int sensor1_min_value(Context& ctx, char* rest) {
  store_file_then_nvram(ctx, Port<1>::min_value, rest);
  return 0;
}

// The old lines are dropped with the pattern "sensorm2invalue=", which matches
// no stored key, as the unit has always done: every confirmation adds one more
// sensor2minvalue line and the last one is the current value.
int sensor2_min_value(Context& ctx, char* rest) {
  ctx.settings.set_mismatched("sensorm2invalue", Port<2>::min_value, rest);
  ctx.nvram.set(Port<2>::min_value, rest);
  return 0;
}

template <int K>
int sensor_unit(Context& ctx, char* rest) {
  std::string value = ctx.nvram.get_or(Port<K>::unit, "");
  if (rest[0] == '1' || rest[0] == '3' || rest[0] == '2') {
    value = std::string(1, rest[0]);
    ctx.nvram.set(Port<K>::unit, value);
  }
  ctx.settings.set(Port<K>::unit, value);
  return 0;
}

// --- beeper --------------------------------------------------------------

// The check flags hold four characters; the fourth is the beeper switch.
std::string check_flags(Context& ctx, const char* key) {
  std::string flags = ctx.nvram.get_or(key, "0000");
  if (flags.size() < 4) flags.append(4 - flags.size(), '0');
  return flags;
}

// Sensor 1 stores its flags always; sensor 2 only when the word was known.
// Both write the settings-file line from sensor 1's flags, so the file's
// sensor2check line carries sensor 1's flags while nvram holds sensor 2's.
template <int K>
int sensor_beeper(Context& ctx, char* rest) {
  std::string flags = check_flags(ctx, Port<K>::check);
  bool known = true;
  if (std::strncmp(rest, "ON", 2) == 0)
    flags[3] = '1';
  else if (std::strncmp(rest, "OFF", 3) == 0)
    flags[3] = '0';
  else
    known = false;
  if (K == 1 || known) ctx.nvram.set(Port<K>::check, flags);
  ctx.settings.set(Port<K>::check, check_flags(ctx, Port<1>::check));
  return 0;
}

// --- GUI reading texts ---------------------------------------------------

template <int K>
int sensor_contact_reading(Context& ctx, char* rest) {
  ctx.nvram.set(Port<K>::current, std::strchr(rest, '1') ? "OFF" : "ON");
  return 0;
}

template <int K>
int sensor_reading(Context& ctx, char* rest) {
  ctx.nvram.set(Port<K>::current, rest);
  return 0;
}

template <int K>
int sensor_mode_unknown(Context& ctx, char*) {
  ctx.nvram.set(Port<K>::current, text_after(ctx, Port<K>::mode_word));
  return 0;
}

template <int K>
int sensor_unit_wrong(Context& ctx, char*) {
  ctx.nvram.set(Port<K>::current, text_after(ctx, Port<K>::fail_word));
  return 0;
}

template <int K>
int sensor_gui_unit_wrong(Context& ctx, char*) {
  ctx.nvram.set(Port<K>::current, text_after(ctx, Port<K>::gui_fail_word));
  return 0;
}

template <int K>
int sensor_powered_off(Context& ctx, char*) {
  ctx.nvram.set(Port<K>::current, "Sensor OFF");
  return 0;
}

// Block A: directly after the key-lock confirmations.
constexpr Recogniser kBlockA[] = {
    prefix("[SUCCESS]Set Sensor1 Power To ", sensor_power<1>),
    prefix("[SUCCESS]Set Sensor2 Power To ", sensor_power<2>),
    prefix("[SUCCESS]Set Sensor2 Slave Station Address To ", sensor_slave_station<2>),
    prefix("[SUCCESS]GUI Get Sensor1 Current Value ", sensor_contact_reading<1>),
    prefix("[SUCCESS]GUI Get Sensor1 Current Temperature Value ", sensor_reading<1>),
    prefix("[SUCCESS]GUI Get Sensor1 Current Humidity Value ", sensor_reading<1>),
    prefix("[SUCCESS]GUI Get Sensor1 Current Air Pressure Value ", sensor_reading<1>),
    prefix("[SUCCESS]GUI Get Sensor1 Mode Unknown", sensor_mode_unknown<1>),
    prefix("[FAIL]Sensor1 Unit Wrong", sensor_unit_wrong<1>),
    prefix("[FAIL]Sensor2 Unit Wrong", sensor_unit_wrong<2>),
    prefix("[FAIL]GUI Sensor1 Unit Wrong", sensor_gui_unit_wrong<1>),
    prefix("[FAIL]GUI Sensor2 Unit Wrong", sensor_gui_unit_wrong<2>),
    prefix("[FAIL]GUI Sensor1 Power Is ", sensor_powered_off<1>),
    prefix("[FAIL]GUI Sensor2 Power Is ", sensor_powered_off<2>),
    prefix("[SUCCESS]GUI Get Sensor2 Current Value ", sensor_contact_reading<2>),
    prefix("[SUCCESS]GUI Get Sensor2 Current Temperature Value ", sensor_reading<2>),
    prefix("[SUCCESS]GUI Get Sensor2 Current Humidity Value ", sensor_reading<2>),
    prefix("[SUCCESS]GUI Get Sensor2 Current Air Pressure Value ", sensor_reading<2>),
    prefix("[SUCCESS]GUI Get Sensor2 Mode Unknown", sensor_mode_unknown<2>),
};

// Block B: after the GUI outlet status and the sensor event rules.
constexpr Recogniser kBlockB[] = {
    prefix("[SUCCESS]Set Sensor1 Protocols To ", sensor_protocol<1>),
    prefix("[SUCCESS]Set Sensor2 Protocols To ", sensor_protocol<2>),
    prefix("[SUCCESS]Set Sensor1 Type To ", sensor_type<1>),
    prefix("[SUCCESS]Set Sensor2 Type To ", sensor_type<2>),
    prefix("[SUCCESS]Set Sensor1 Data Address To ", sensor_data_address<1>),
    prefix("[SUCCESS]Set Sensor1 Slave ID Address To ", sensor_slave_id<1>),
    prefix("[SUCCESS]Set Sensor1 Slave Station Address To ", sensor_slave_station<1>),
    prefix("[SUCCESS]Set Sensor1 Function Code To ", sensor_function_code<1>),
    prefix("[SUCCESS]Set Sensor2 Function Code To ", sensor_function_code<2>),
    prefix("[SUCCESS]Set Sensor2 Slave ID Address To ", sensor_slave_id<2>),
    prefix("[SUCCESS]Set Sensor2 Data Address To ", sensor_data_address<2>),
    prefix("[SUCCESS]Set Sensor1 Max Value To ", sensor_max_value<1>),
    prefix("[SUCCESS]Set Sensor2 Max Value To ", sensor_max_value<2>),
    prefix("[SUCCESS]Set Sensor1 Min Value To ", sensor1_min_value),
    prefix("[SUCCESS]Set Sensor2 Min Value To ", sensor2_min_value),
    prefix("[SUCCESS]Set Sensor1 Unit To ", sensor_unit<1>),
    prefix("[SUCCESS]Set Sensor2 Unit To ", sensor_unit<2>),
    prefix("[SUCCESS]Set Sensor1 Beeper ", sensor_beeper<1>),
    prefix("[SUCCESS]Set Sensor2 Beeper ", sensor_beeper<2>),
};

}  // namespace

Row sensor_messages_a() { return row_of(kBlockA); }
Row sensor_messages_b() { return row_of(kBlockB); }

}  // namespace interp
