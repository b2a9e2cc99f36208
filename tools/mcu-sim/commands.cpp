// The commands the simulated MCU accepts, and the lines it answers them with.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "mcu-sim/mcu_model.h"

namespace mcusim {

namespace {

// The line as the MCU confirms it.
Lines ok(const std::string& line) { return {"[SUCCESS]" + line}; }

// The index of the first of `words` that `text` starts with, or -1.
int word_index(const std::string& text, std::initializer_list<const char*> words) {
  int i = 0;
  for (const char* w : words) {
    if (text.compare(0, std::strlen(w), w) == 0) return i;
    ++i;
  }
  return -1;
}

bool ipv4(const std::string& text) {
  int a, b, c, d;
  char end;
  return std::sscanf(text.c_str(), "%d.%d.%d.%d%c", &a, &b, &c, &d, &end) == 4 && a >= 0 &&
         a < 256 && b >= 0 && b < 256 && c >= 0 && c < 256 && d >= 0 && d < 256;
}

// "No Delay" or 100 .. 500 ms in steps of 100, as the overcurrent delay.
int ocdt_ms(const std::string& text) {
  if (text.compare(0, 8, "No Delay") == 0) return 0;
  int ms = -1;
  if (std::sscanf(text.c_str(), "%dms", &ms) != 1 || ms < 0 || ms > 500 || ms % 100) return -1;
  return ms;
}

// The line against a phrase in which '#' stands for a decimal number (kept
// below a million; the commands range-check it).
bool match(const char* phrase, const std::string& line, Match& m) {
  size_t i = 0;
  int numbers = 0;
  for (const char* p = phrase; *p; ++p) {
    if (*p == '#') {
      if (i >= line.size() || !std::isdigit(static_cast<unsigned char>(line[i]))) return false;
      long value = 0;
      for (; i < line.size() && std::isdigit(static_cast<unsigned char>(line[i])); ++i)
        value = std::min(value * 10 + (line[i] - '0'), 999999L);
      m.n[numbers++] = static_cast<int>(value);
    } else if (i >= line.size() || line[i++] != *p) {
      return false;
    }
  }
  m.line = line;
  m.rest = line.substr(i);
  return true;
}

// A text setting: the rest of the line becomes the member's value.
template <std::string Mcu::*Member>
Lines set_text(Mcu& mcu, const Match& m) {
  if (m.rest.empty()) return {};
  mcu.*Member = m.rest;
  return ok(m.line);
}

// A setting that takes one word of a fixed list.
template <std::string Mcu::*Member>
Lines set_word(Mcu& mcu, const Match& m, std::initializer_list<const char*> words) {
  int i = word_index(m.rest, words);
  if (i < 0) return {};
  mcu.*Member = words.begin()[i];
  return ok(m.line);
}

template <bool Mcu::*Member, bool Value>
Lines set_flag(Mcu& mcu, const Match& m) {
  mcu.*Member = Value;
  return ok(m.line);
}

Lines confirm(Mcu&, const Match& m) { return ok(m.line); }

// The outlet of a per-outlet command, or null when the model has no such outlet.
Outlet* outlet_of(Mcu& mcu, int n) {
  return n >= 1 && n <= mcu.outlets ? &mcu.outlet[static_cast<size_t>(n - 1)] : nullptr;
}

template <int Which>
Lines outlet_delay(Mcu& mcu, const Match& m) {
  Outlet* o = outlet_of(mcu, m.n[0]);
  if (!o || m.rest.empty()) return {};
  o->delay[Which] = m.rest;
  return ok(m.line);
}

Lines all_outlets(Mcu& mcu, bool on) {
  Lines out = ok(on ? "Set All Outlets ON" : "Set All Outlets OFF");
  for (int n = 1; n <= mcu.outlets; ++n) {
    Lines notices = mcu.switch_outlet(n, on);
    out.insert(out.end(), notices.begin() + 1, notices.end());
  }
  return out;
}

Sensor* sensor_of(Mcu& mcu, int k) { return k == 1 || k == 2 ? &mcu.sensor[k - 1] : nullptr; }

// The names the MCU confirms, and the words of the status dump for the same settings.
const char* const kProtocolNames[] = {"1-wire", "I2C", "Modbus-RTU-RS485", "Door", "Relay"};
const char* const kProtocolWords[] = {"1-wire", "I2C", "Modbus-RTU-RS485", "Door", "RelaySwitch"};
const char* const kTypeNames[] = {"Temperature And Humidity", "Humidity", "Temperature", "Air Pressure",
                                  "Other Data", "Normally Open", "Normally Close"};
const char* const kTypeWords[] = {"Tem+Hum", "Hum", "Tem", "AirPre", "Other", "NO", "NC"};
const char* const kUnits[] = {"C", "F", "%"};

template <size_t N>
int name_index(const std::string& text, const char* const (&names)[N]) {
  for (size_t i = 0; i < N; ++i)
    if (text == names[i]) return static_cast<int>(i);
  return -1;
}

template <std::string Sensor::*Member>
Lines sensor_text(Mcu& mcu, const Match& m) {
  Sensor* s = sensor_of(mcu, m.n[0]);
  if (!s || m.rest.empty()) return {};
  s->*Member = m.rest;
  return ok(m.line);
}

Lines sensor_reading(Mcu& mcu, const Match& m) {
  Sensor* s = sensor_of(mcu, m.n[0]);
  if (!s) return {};
  const std::string k = std::to_string(m.n[0]);
  if (!s->power) return {"[FAIL]GUI Sensor" + k + " Power Is OFF"};
  const std::string head = "[SUCCESS]GUI Get Sensor" + k + " Current ";
  if (s->protocol == "Door" || s->protocol == "RelaySwitch") return {head + "Value " + (mcu.grounded ? "0" : "1")};
  if (s->type == "Hum") return {head + "Humidity Value " + fmt("%.1f%%", 45.0 + m.n[0])};
  if (s->type == "AirPre") return {head + "Air Pressure Value " + fmt("%.1fkPa", 101.3)};
  if (s->type == "Other") return {"[SUCCESS]GUI Get Sensor" + k + " Mode Unknown"};
  return {head + "Temperature Value " + fmt("%.1fC", 22.5 + m.n[0])};
}

// Set Event<E> Outlet<O> Response Sensor<R> Mode|Trigger|Delay To <value>
Lines event_rule(Mcu& mcu, const Match& m) {
  const int e = m.n[0], o = m.n[1], r = m.n[2];
  if (e < 1 || e > 3 || o < 1 || o > 8 || r < 1 || r > 2) return {};
  Rule& rule = mcu.rules[e - 1][o - 1];
  std::string value;
  const std::string& rest = m.rest;
  size_t to = rest.find(" To ");
  if (to == std::string::npos) return {};
  value = rest.substr(to + 4);
  if (!value.empty() && value.back() == '.') value.pop_back();
  const std::string field = rest.substr(0, to);
  if (field == "Mode") {
    static const char* const names[] = {"NoAction", "Power ON", "Power OFF", "Restart", "N/A"};
    static const char* const words[] = {"NoAction", "PowerON", "PowerOFF", "Restart", "N/A"};
    int i = name_index(value, names);
    if (i < 0) return {};
    rule.response[r - 1] = words[i];
  } else if (field == "Trigger") {
    static const char* const words[] = {"NoTrigger", "Min-Max", "Max", "Min", "ON", "OFF"};
    int i = name_index(value, words);
    if (i < 0) return {};
    rule.trigger[r - 1] = words[i];
  } else if (field == "Delay") {
    if (value.empty()) return {};
    rule.delay[r - 1] = value;
  } else {
    return {};
  }
  return {"[SUCCESS]" + m.line + (m.line.back() == '.' ? "" : ".")};
}



// A "<Get..." reply for an outlet: the question, the outlet and the value.
Lines outlet_reply(Mcu& mcu, const Match& m, const std::string& value) {
  if (!outlet_of(mcu, m.n[0])) return {};
  return {"<" + m.line + " " + value};
}

template <int Which>
Lines get_delay(Mcu& mcu, const Match& m) {
  Outlet* o = outlet_of(mcu, m.n[0]);
  return o ? outlet_reply(mcu, m, o->delay[Which]) : Lines{};
}

template <char What>
Lines get_meter(Mcu& mcu, const Match& m) {
  return outlet_of(mcu, m.n[0]) ? outlet_reply(mcu, m, mcu.meter(m.n[0], What)) : Lines{};
}


const std::vector<Command> kCommands = {
    // Unit-wide settings.
    {"Set Network Reboot And Apply New Config", "Set Network Reboot And Apply New Config", confirm},
    {"Set mDNS To ON", "Set mDNS To ON", set_flag<&Mcu::mdns, true>},
    {"Set mDNS To OFF", "Set mDNS To OFF", set_flag<&Mcu::mdns, false>},
    {"Set The System Standby Mode To ", "Set The System Standby Mode To All_Standby_Mode",
     [](Mcu& c, const Match& m) { return set_word<&Mcu::standby>(c, m, {"All_Standby_Mode", "Sleep_Mode"}); }},
    {"Set Power LED To Auto Turn OFF After #", "Set Power LED To Auto Turn OFF After 30",
     [](Mcu& c, const Match& m) {
       if (m.n[0] < 3 || m.n[0] > 60 || !m.rest.empty()) return Lines{};
       c.led = std::to_string(m.n[0]);
       return ok(m.line);
     }},
    {"Set VOLTAGE SELECT ON", "Set VOLTAGE SELECT ON", set_flag<&Mcu::voltage_select, true>},
    {"Set VOLTAGE SELECT OFF", "Set VOLTAGE SELECT OFF", set_flag<&Mcu::voltage_select, false>},
    {"Set 7-Segment Display ON", "Set 7-Segment Display ON", set_flag<&Mcu::seg7, true>},
    {"Set 7-Segment Display OFF", "Set 7-Segment Display OFF", set_flag<&Mcu::seg7, false>},
    {"Set Power LED To ", "Set Power LED To OFF",
     [](Mcu& c, const Match& m) { return set_word<&Mcu::led>(c, m, {"ON", "OFF"}); }},
    {"Set Led To Display ", "Set Led To Display Power and Voltage",
     [](Mcu& c, const Match& m) {
       return set_word<&Mcu::led_display>(c, m, {"Current and Voltage", "Voltage and Current", "Power and Voltage",
                                                 "Voltage and Power", "Current and Power", "Power and Current"});
     }},
    {"Set The System Retry Number To ", "Set The System Retry Number To 5", set_text<&Mcu::retries>},
    {"Set The System Retry Delay Time To ", "Set The System Retry Delay Time To 60s", set_text<&Mcu::retry_time>},
    {"Set Relay ON", "Set Relay ON", set_flag<&Mcu::relay, true>},
    {"Set Relay OFF", "Set Relay OFF", set_flag<&Mcu::relay, false>},
    {"Set The Relay Mode To ", "Set The Relay Mode To Push_Button",
     [](Mcu& c, const Match& m) { return set_word<&Mcu::relay_mode>(c, m, {"Dry_Contact", "Push_Button"}); }},
    {"Set The Relay Toggle Voltage To ", "Set The Relay Toggle Voltage To High_Voltage",
     [](Mcu& c, const Match& m) { return set_word<&Mcu::relay_level>(c, m, {"Low_Voltage", "High_Voltage"}); }},
    {"Set The System Current Threshold To ", "Set The System Current Threshold To 12",
     set_text<&Mcu::current_threshold>},
    {"Set The System UnderVoltage Threshold To ", "Set The System UnderVoltage Threshold To 90",
     set_text<&Mcu::under_voltage>},
    {"Set The System OverVoltage Threshold To ", "Set The System OverVoltage Threshold To 140",
     set_text<&Mcu::over_voltage>},
    {"Set The System Voltage Monitor Mode To ", "Set The System Voltage Monitor Mode To All_Outlets_Shutdown",
     [](Mcu& c, const Match& m) { return set_word<&Mcu::volt_mode>(c, m, {"All_Outlets_Shutdown", "Auto_Retry"}); }},
    {"Set The System Voltage Monitor Retry Delay Time To #", "Set The System Voltage Monitor Retry Delay Time To 7",
     [](Mcu& c, const Match& m) {
       c.volt_retry = std::to_string(m.n[0]);
       return ok(m.line);
     }},
    {"Set RS232 Baud Rate To ", "Set RS232 Baud Rate To 38400",
     [](Mcu& c, const Match& m) {
       int i = word_index(m.rest, {"2400", "4800", "9600", "19200", "38400", "57600", "115200"});
       if (i < 0 || m.rest.size() > 6) return Lines{};
       c.baud = m.rest;
       return ok(m.line);
     }},
    {"Set Power Limit To ", "Set Power Limit To 8x30W",
     [](Mcu& c, const Match& m) {
       int i = word_index(m.rest, {"8x30W", "4x36W & 4x30W", "8x36W & USB OFF"});
       if (!c.dc || i < 0) return Lines{};
       c.power_limit = i == 0 ? "8x30W" : i == 1 ? "4x36W" : "8x36W";
       if (i == 2)
         for (Outlet& o : c.outlet) o.usb = false;
       return ok(m.line);
     }},
    {"Set USB # ", "Set USB 2 ON",
     [](Mcu& c, const Match& m) {
       Outlet* o = c.dc ? outlet_of(c, m.n[0]) : nullptr;
       int i = word_index(m.rest, {"ON", "OFF"});
       if (!o || i < 0) return Lines{};
       o->usb = i == 0;
       o->usb_overload = false;
       return ok(m.line);
     }},
    {"Set Device Name To ", "Set Device Name To Rack-7", set_text<&Mcu::name>},
    {"Get Device Name", "Get Device Name", [](Mcu& c, const Match&) { return Lines{"[SUCCESS]Get Device Name To " + c.name}; }},
    {"Get Current Model Name", "Get Current Model Name",
     [](Mcu& c, const Match&) { return Lines{"[SUCCESS]Get Current Model Name To " + c.model}; }},
    {"Set The Time For The System: ", "Set The Time For The System: 2024-05-01 12:00:00",
     [](Mcu& c, const Match& m) {
       std::tm tm{};
       const char* end = strptime(m.rest.c_str(), "%Y-%m-%d %H:%M:%S", &tm);
       if (!end || *end) return Lines{};
       c.clock_offset = static_cast<long>(timegm(&tm) - std::time(nullptr));
       return ok(m.line);
     }},
    {"Get The Device Runtime For The System", "Get The Device Runtime For The System",
     [](Mcu&, const Match&) { return Lines{"[SUCCESS]Get The Device Runtime For The System: 12 Days 03:04:05"}; }},
    {"Set The TCP/IP1 Enable", "Set The TCP/IP1 Enable", [](Mcu& c, const Match& m) { c.tcpip = 1; return ok(m.line); }},
    {"Set The TCP/IP2 Enable", "Set The TCP/IP2 Enable", [](Mcu& c, const Match& m) { c.tcpip = 2; return ok(m.line); }},
    {"Set System Power OFF", "Set System Power OFF",
     [](Mcu& c, const Match& m) {
       c.power = false;
       if (c.dc)
         for (Outlet& o : c.outlet) o.on = o.usb = false;
       c.refresh_meters();
       return ok(m.line);
     }},
    {"Set System Power ON", "Set System Power ON", set_flag<&Mcu::power, true>},
    // Outlets.
    {"Set Outlet # Current Threshold To ", "Set Outlet 2 Current Threshold To 7",
     [](Mcu& c, const Match& m) {
       Outlet* o = c.dc ? nullptr : outlet_of(c, m.n[0]);
       if (!o || m.rest.empty()) return Lines{};
       o->threshold = m.rest;
       return ok(m.line);
     }},
    {"Set All Outlets ON", "Set All Outlets ON", [](Mcu& c, const Match&) { return all_outlets(c, true); }},
    {"Set All Outlets OFF", "Set All Outlets OFF", [](Mcu& c, const Match&) { return all_outlets(c, false); }},
    {"Set Key ON", "Set Key ON", set_flag<&Mcu::key_lock, true>},
    {"Set Key OFF", "Set Key OFF", set_flag<&Mcu::key_lock, false>},
    {"Set All Outlets Initialization Status ", "Set All Outlets Initialization Status OFF", set_text<&Mcu::all_init>},
    {"Set System Initialization Delay ", "Set System Initialization Delay 3s", set_text<&Mcu::init_delay>},
    {"Set All Outlets Re-power Interval ", "Set All Outlets Re-power Interval 2s", set_text<&Mcu::repower>},
    {"Set All Outlets Power_OFF Interval ", "Set All Outlets Power_OFF Interval 2s",
     set_text<&Mcu::power_off_interval>},
    {"Set The Buzzer Sound Time To ", "Set The Buzzer Sound Time To 4s", set_text<&Mcu::beeper_time>},
    {"Set All Outlets Electrical Work Reset Duration To ", "Set All Outlets Electrical Work Reset Duration To 6s",
     set_text<&Mcu::ele_reset>},
    {"Set All Outlets OCDT To ", "Set All Outlets OCDT To 300ms",
     [](Mcu& c, const Match& m) {
       int ms = ocdt_ms(m.rest);
       if (c.dc || ms < 0) return Lines{};
       for (Outlet& o : c.outlet) o.ocdt_ms = ms;
       return ok(m.line);
     }},
    {"Set Outlet # OCDT To ", "Set Outlet 2 OCDT To 200ms",
     [](Mcu& c, const Match& m) {
       Outlet* o = c.dc ? nullptr : outlet_of(c, m.n[0]);
       int ms = ocdt_ms(m.rest);
       if (!o || ms < 0) return Lines{};
       o->ocdt_ms = ms;
       return ok(m.line);
     }},
    {"Set Outlet # Initial Status To ", "Set Outlet 2 Initial Status To OFF",
     [](Mcu& c, const Match& m) {
       Outlet* o = outlet_of(c, m.n[0]);
       if (!o || word_index(m.rest, {"ON", "OFF"}) < 0) return Lines{};
       o->initial = m.rest;
       return ok(m.line);
     }},
    {"Set Outlet # Power_ON Delay ", "Set Outlet 2 Power_ON Delay 9s", outlet_delay<0>},
    {"Set Outlet # Power_OFF Delay ", "Set Outlet 2 Power_OFF Delay 9s", outlet_delay<1>},
    {"Set Outlet # Power_RESTA Delay ", "Set Outlet 2 Power_RESTA Delay 9s", outlet_delay<2>},
    {"Set Outlet # Electrical Work Reset Duration To ", "Set Outlet 2 Electrical Work Reset Duration To 9s",
     outlet_delay<3>},
    {"Set Outlet # Voltage Status ", "Set Outlet 2 Voltage Status 24V",
     [](Mcu& c, const Match& m) {
       Outlet* o = c.dc ? outlet_of(c, m.n[0]) : nullptr;
       if (!o || word_index(m.rest, {"5V", "9V", "12V", "18V", "24V"}) < 0) return Lines{};
       o->dc_voltage = m.rest;
       return ok(m.line);
     }},
    {"Set Outlet # Voltage Offset To #", "Set Outlet 2 Voltage Offset To 12",
     [](Mcu& c, const Match& m) {
       Outlet* o = c.dc ? outlet_of(c, m.n[0]) : nullptr;
       if (!o || m.n[1] > 99) return Lines{};
       o->dc_limit = m.n[1];
       return ok(m.line);
     }},
    {"Set All Outlets Voltage Status ", "Set All Outlets Voltage Status 9V",
     [](Mcu& c, const Match& m) {
       if (!c.dc || word_index(m.rest, {"5V", "9V", "12V", "18V", "24V"}) < 0) return Lines{};
       for (Outlet& o : c.outlet) o.dc_voltage = m.rest;
       return ok(m.line);
     }},
    {"Set Outlet # ", "Set Outlet 3 OFF",
     [](Mcu& c, const Match& m) {
       int i = word_index(m.rest, {"ON", "OFF", "RESTART"});
       if (!outlet_of(c, m.n[0]) || i < 0) return Lines{};
       Lines out = c.switch_outlet(m.n[0], i == 0);
       if (i == 2) out[0] = "[SUCCESS]" + m.line;  // off, as the daemon records a restart
       return out;
     }},
    {"GUI Outlet # Current Status", "GUI Outlet 2 Current Status",
     [](Mcu& c, const Match& m) {
       Outlet* o = outlet_of(c, m.n[0]);
       if (!o) return Lines{};
       return Lines{"[SUCCESS]GUI Outlet " + std::to_string(m.n[0]) + " Current Status Is " + o->status};
     }},
    {"Set The System Safe Mode To ", "Set The System Safe Mode To Auto_Retry",
     [](Mcu& c, const Match& m) {
       return set_word<&Mcu::safe_mode>(c, m, {"Outlet_Shutdown", "System_Shutdown", "Auto_Retry"});
     }},
    {"Set The Overload Restart Delay ", "Set The Overload Restart Delay 20s", set_text<&Mcu::overload_delay>},
    {"Clean Up All Outlets Electrical Work", "Clean Up All Outlets Electrical Work",
     [](Mcu& c, const Match& m) {
       for (Outlet& o : c.outlet) o.kwh = 0;
       return ok(m.line);
     }},
    {"Clean Up The Outlet # Electrical Work", "Clean Up The Outlet 2 Electrical Work",
     [](Mcu& c, const Match& m) {
       Outlet* o = outlet_of(c, m.n[0]);
       if (!o) return Lines{};
       o->kwh = 0;
       return Lines{"[SUCCESS]Clean Up The Outlet " + std::to_string(m.n[0]) + " Electrical Work."};
     }},
    // Sensors and their event rules.
    {"Set Sensor# Power To ", "Set Sensor2 Power To OFF",
     [](Mcu& c, const Match& m) {
       Sensor* s = sensor_of(c, m.n[0]);
       int i = word_index(m.rest, {"ON", "OFF"});
       if (!s || i < 0) return Lines{};
       s->power = i == 0;
       return ok(m.line);
     }},
    {"Set Sensor# Protocols To ", "Set Sensor1 Protocols To Door",
     [](Mcu& c, const Match& m) {
       Sensor* s = sensor_of(c, m.n[0]);
       int i = name_index(m.rest, kProtocolNames);
       if (!s || i < 0) return Lines{};
       s->protocol = kProtocolWords[i];
       return ok(m.line);
     }},
    {"Set Sensor# Type To ", "Set Sensor2 Type To Normally Close",
     [](Mcu& c, const Match& m) {
       Sensor* s = sensor_of(c, m.n[0]);
       int i = name_index(m.rest, kTypeNames);
       if (!s || i < 0) return Lines{};
       s->type = kTypeWords[i];
       return ok(m.line);
     }},
    {"Set Sensor# Data Address To ", "Set Sensor2 Data Address To 0x20", sensor_text<&Sensor::address>},
    {"Set Sensor# Slave ID Address To ", "Set Sensor1 Slave ID Address To 4", sensor_text<&Sensor::slave>},
    {"Set Sensor# Slave Station Address To ", "Set Sensor2 Slave Station Address To 5", sensor_text<&Sensor::slave>},
    {"Set Sensor# Function Code To ", "Set Sensor1 Function Code To 6", sensor_text<&Sensor::code>},
    {"Set Sensor# Max Value To ", "Set Sensor1 Max Value To 55", sensor_text<&Sensor::max>},
    {"Set Sensor# Min Value To ", "Set Sensor2 Min Value To 5", sensor_text<&Sensor::min>},
    {"Set Sensor# Unit To #", "Set Sensor1 Unit To 3",
     [](Mcu& c, const Match& m) {
       Sensor* s = sensor_of(c, m.n[0]);
       if (!s || m.n[1] < 1 || m.n[1] > 3 || !m.rest.empty()) return Lines{};
       s->unit = kUnits[m.n[1] - 1];
       return ok(m.line);
     }},
    {"Set Sensor# Beeper ", "Set Sensor1 Beeper ON",
     [](Mcu& c, const Match& m) {
       Sensor* s = sensor_of(c, m.n[0]);
       int i = word_index(m.rest, {"ON", "OFF"});
       if (!s || i < 0) return Lines{};
       s->beeper = i == 0;
       return ok(m.line);
     }},
    {"GUI Get Sensor# Current Value", "GUI Get Sensor1 Current Value", sensor_reading},
    {"Set Event# Outlet# Response Sensor# ", "Set Event2 Outlet3 Response Sensor1 Mode To Power OFF", event_rule},
    // Network.
    {"Set TCP/IP1 IP Address To ", "Set TCP/IP1 IP Address To 10.0.0.9",
     [](Mcu& c, const Match& m) { return ipv4(m.rest) ? set_text<&Mcu::wan_ip>(c, m) : Lines{}; }},
    {"Set TCP/IP1 Gateway Address To ", "Set TCP/IP1 Gateway Address To 10.0.0.1",
     [](Mcu& c, const Match& m) { return ipv4(m.rest) ? set_text<&Mcu::wan_gw>(c, m) : Lines{}; }},
    {"Set TCP/IP1 Subnet Mask To ", "Set TCP/IP1 Subnet Mask To 255.255.0.0",
     [](Mcu& c, const Match& m) { return ipv4(m.rest) ? set_text<&Mcu::wan_mask>(c, m) : Lines{}; }},
    {"Set TCP/IP2 IP Address To ", "Set TCP/IP2 IP Address To 10.0.1.9",
     [](Mcu& c, const Match& m) { return ipv4(m.rest) ? set_text<&Mcu::lan_ip>(c, m) : Lines{}; }},
    {"Set TCP/IP2 Gateway Address To ", "Set TCP/IP2 Gateway Address To 10.0.1.1",
     [](Mcu& c, const Match& m) { return ipv4(m.rest) ? set_text<&Mcu::lan_gw>(c, m) : Lines{}; }},
    {"Set TCP/IP2 Subnet Mask To ", "Set TCP/IP2 Subnet Mask To 255.255.0.0",
     [](Mcu& c, const Match& m) { return ipv4(m.rest) ? set_text<&Mcu::lan_mask>(c, m) : Lines{}; }},
    {"Set The TCP/IP1 DHCP ON", "Set The TCP/IP1 DHCP ON", set_flag<&Mcu::wan_dhcp, true>},
    {"Set The TCP/IP1 DHCP OFF", "Set The TCP/IP1 DHCP OFF", set_flag<&Mcu::wan_dhcp, false>},
    {"Set The TCP/IP2 DHCP ON", "Set The TCP/IP2 DHCP ON", set_flag<&Mcu::lan_dhcp, true>},
    {"Set The TCP/IP2 DHCP OFF", "Set The TCP/IP2 DHCP OFF", set_flag<&Mcu::lan_dhcp, false>},
    {"Set TCP/IPv6 # ", "Set TCP/IPv6 1 Gateway Address1 To FE80::1",
     [](Mcu& c, const Match& m) {
       int i = word_index(m.rest, {"IP Address To ", "Gateway Address1 To ", "Gateway Address2 To "});
       if (i < 0 || m.n[0] < 1 || m.n[0] > 2) return Lines{};
       c.ipv6[(m.n[0] - 1) * 3 + i] = m.rest.substr(m.rest.find(" To ") + 4);
       return ok(m.line);
     }},
    {"List Current TCP/IP Address", "List Current TCP/IP Address", confirm},
    // Queries.
    {"GetPowerStatus", "GetPowerStatus", [](Mcu& c, const Match&) { return Lines{std::string("<GetPowerStatus ") + (c.power ? "On" : "Off")}; }},
    {"GetKeyStatus", "GetKeyStatus", [](Mcu& c, const Match&) { return Lines{std::string("<GetKeyStatus ") + (c.key_lock ? "On" : "Off")}; }},
    {"GetRS232Baud", "GetRS232Baud", [](Mcu& c, const Match&) { return Lines{"<GetRS232Baud " + c.baud}; }},
    {"GetSystemOverVoltageThreshold", "GetSystemOverVoltageThreshold",
     [](Mcu& c, const Match&) { return Lines{"<GetSystemOverVoltageThreshold " + c.over_voltage}; }},
    {"GetSystemUnderVoltageThreshold", "GetSystemUnderVoltageThreshold",
     [](Mcu& c, const Match&) { return Lines{"<GetSystemUnderVoltageThreshold " + c.under_voltage}; }},
    {"GetSystemCurrentThreshold", "GetSystemCurrentThreshold",
     [](Mcu& c, const Match&) { return Lines{"<GetSystemCurrentThreshold " + c.current_threshold}; }},
    {"GetGroundStatus", "GetGroundStatus",
     [](Mcu& c, const Match&) { return Lines{std::string("<GetGroundStatus ") + (c.grounded ? "Properly Grounded" : "Not Grounded")}; }},
    {"GetOutletCurrentDelayTime #", "GetOutletCurrentDelayTime 2",
     [](Mcu& c, const Match& m) {
       Outlet* o = c.dc ? nullptr : outlet_of(c, m.n[0]);
       return o ? outlet_reply(c, m, std::to_string(o->ocdt_ms) + "ms") : Lines{};
     }},
    {"GetOutletMode #", "GetOutletMode 2",
     [](Mcu& c, const Match& m) { Outlet* o = outlet_of(c, m.n[0]); return o ? outlet_reply(c, m, o->status) : Lines{}; }},
    {"GetOutletPowerOnTime #", "GetOutletPowerOnTime 2", get_delay<0>},
    {"GetOutletPowerOffTime #", "GetOutletPowerOffTime 2", get_delay<1>},
    {"GetOutletPowerRestaTime #", "GetOutletPowerRestaTime 2", get_delay<2>},
    {"GetOutletEleResetTime #", "GetOutletEleResetTime 2", get_delay<3>},
    {"GetSafeMode", "GetSafeMode", [](Mcu& c, const Match&) { return Lines{"<GetSafeMode " + c.safe_mode}; }},
    {"GetStandbyMode", "GetStandbyMode", [](Mcu& c, const Match&) { return Lines{"<GetStandbyMode " + c.standby}; }},
    {"GetOverloadRetryCnt", "GetOverloadRetryCnt", [](Mcu& c, const Match&) { return Lines{"<GetOverloadRetryCnt " + c.retries}; }},
    {"GetOverloadRetryTime", "GetOverloadRetryTime", [](Mcu& c, const Match&) { return Lines{"<GetOverloadRetryTime " + c.retry_time}; }},
    {"GetBeeperTime", "GetBeeperTime", [](Mcu& c, const Match&) { return Lines{"<GetBeeperTime " + c.beeper_time}; }},
    {"GetOutlet #", "GetOutlet 2",
     [](Mcu& c, const Match& m) {
       Outlet* o = outlet_of(c, m.n[0]);
       if (!o) return Lines{};
       return Lines{"<Outlet " + std::to_string(m.n[0]) + (o->on ? " On" : " Off")};
     }},
    {"GetTotalCurrent", "GetTotalCurrent", [](Mcu& c, const Match&) { return Lines{"<Total Current " + fmt("%.3fA", c.total(&Outlet::amps))}; }},
    {"GetTotalPower", "GetTotalPower", [](Mcu& c, const Match&) { return Lines{"<Total Power " + fmt("%.1fW", c.total(&Outlet::watts))}; }},
    {"GetTotalEnergyConsumed", "GetTotalEnergyConsumed",
     [](Mcu& c, const Match&) { return Lines{"<Total Energy Consumed " + fmt("%.6fkWh", c.total(&Outlet::kwh))}; }},
    {"GetVoltage", "GetVoltage", [](Mcu& c, const Match&) { return Lines{"<Voltage " + fmt("%.1fV", c.volts)}; }},
    {"GetFrequency", "GetFrequency", [](Mcu& c, const Match&) { return Lines{"<Frequency " + fmt("%.1fHz", c.hz)}; }},
    {"GetPowerFactor", "GetPowerFactor", [](Mcu&, const Match&) { return Lines{"<Power Factor 0.95"}; }},
    {"GetOutletVoltage #", "GetOutletVoltage 2", get_meter<'V'>},
    {"GetOutletCurrent #", "GetOutletCurrent 2", get_meter<'A'>},
    {"GetOutletPower #", "GetOutletPower 2", get_meter<'W'>},
    {"GetOutletConsumed #", "GetOutletConsumed 2", get_meter<'E'>},
    {"GetOutletPowerFactor #", "GetOutletPowerFactor 2", get_meter<'F'>},
    {"GetOutletCurrentThreshold #", "GetOutletCurrentThreshold 2",
     [](Mcu& c, const Match& m) {
       Outlet* o = c.dc ? nullptr : outlet_of(c, m.n[0]);
       return o ? outlet_reply(c, m, o->threshold) : Lines{};
     }},
    {"GetRelayMode", "GetRelayMode", [](Mcu& c, const Match&) { return Lines{"<GetRelayMode " + c.relay_mode}; }},
    {"GetRelayLevel", "GetRelayLevel", [](Mcu& c, const Match&) { return Lines{"<GetRelayLevel " + c.relay_level}; }},
    {"GetRelayStatus", "GetRelayStatus", [](Mcu& c, const Match&) { return Lines{std::string("<GetRelayStatus ") + (c.relay ? "On" : "Off")}; }},
    {"GetAbnormalVoltage_SafeMode", "GetAbnormalVoltage_SafeMode",
     [](Mcu& c, const Match&) { return Lines{"<GetAbnormalVoltage_SafeMode " + c.volt_mode}; }},
    {"GetAbnormalVoltage_RetryTime", "GetAbnormalVoltage_RetryTime",
     [](Mcu& c, const Match&) { return Lines{"<GetAbnormalVoltage_RetryTime " + c.volt_retry + "mins"}; }},
    // The daemon's own lines, and the dumps.
    {"GUISTATUS", "GUISTATUS", [](Mcu& c, const Match&) { return c.status_dump(); }},
    {"GUISYSTIME", "GUISYSTIME",
     [](Mcu& c, const Match&) { return Lines{"[SUCCESS]GUI Get The Time For The System: " + c.clock_text()}; }},
    {">SetGuiIP ", ">SetGuiIP 10.0.1.20",
     [](Mcu& c, const Match& m) {
       if (!ipv4(m.rest)) return Lines{};
       c.lan_ip = m.rest;
       return Lines{"[SUCCESS]Set TCP/IP2 IP Address To " + m.rest};
     }},
    // The daemon answers a refused interface switch with the other interface:
    // report the system row, which carries the enabled interface.
    {"NET TCP/IP ENABLE #", "NET TCP/IP ENABLE 2",
     [](Mcu& c, const Match& m) {
       if (m.n[0] < 1 || m.n[0] > 2) return Lines{};
       c.tcpip = m.n[0];
       return c.system_table();
     }},
    // Simulated faults.
    {"SIM OVERLOAD #", "SIM OVERLOAD 2", [](Mcu& c, const Match& m) { return outlet_of(c, m.n[0]) ? c.overload(m.n[0]) : Lines{}; }},
    {"SIM GROUND LOST", "SIM GROUND LOST", [](Mcu& c, const Match&) { return c.ground(false); }},
    {"SIM GROUND OK", "SIM GROUND OK", [](Mcu& c, const Match&) { return c.ground(true); }},
};

}  // namespace

const std::vector<Command>& commands() { return kCommands; }

Lines Mcu::handle(const std::string& line) {
  for (const Command& c : kCommands) {
    Match m;
    if (!match(c.phrase, line, m)) continue;
    Lines out = c.run(*this, m);
    if (out.empty()) break;
    return out;
  }
  return {"[FAIL]Unknown Or Invalid Command: " + line.substr(0, 80)};
}


}  // namespace mcusim
