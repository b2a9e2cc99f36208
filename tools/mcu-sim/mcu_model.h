#pragma once
// The MCU's side of the serial line, as a model without I/O: the unit's state,
// the commands it accepts and the lines it answers with, the status dump of
// each model, and the notices it raises by itself. pdu-mcu-sim puts it on a
// pseudo-terminal; the tests hand its answers to the daemon's interpreter.
#include <ctime>
#include <random>
#include <string>
#include <vector>

namespace mcusim {

using Lines = std::vector<std::string>;

struct Outlet {
  bool on = true;
  std::string status = "Connected";  // Connected, Idle, Overload, AbnormalVoltage
  std::string delay[4];              // power on, power off, restart, electrical work reset
  std::string initial = "ON";
  std::string threshold = "10";
  int ocdt_ms = 0;                   // overcurrent delay time: 0, 100 .. 500
  std::string dc_voltage = "12V";
  int dc_limit = 10;
  bool usb = false, usb_overload = false;
  double load_a = 0;                 // the current drawn while on
  double amps = 0, watts = 0, kwh = 0, pf = 0.95;
};

struct Sensor {
  bool power = true;
  std::string protocol = "1-wire", type = "Tem+Hum", address = "0x01", slave = "1", code = "3";
  bool beeper = false;
  std::string max = "40.0", min = "10.0", unit = "C";
};

struct Rule {  // one outlet's reaction to the two sensors in one response set
  std::string response[2] = {"NoAction", "NoAction"}, trigger[2] = {"NoTrigger", "NoTrigger"};
  std::string delay[2] = {"0ms", "0ms"};
};

class Mcu;

std::string fmt(const char* format, double value);  // one number, printf-formatted

// A command line matched against a phrase, in which '#' stands for a decimal
// number: the line, the text after the phrase and the numbers.
struct Match {
  std::string line, rest;
  int n[3] = {0, 0, 0};
};

// One command form: the phrase it starts with, an example line, and what it
// does; no answer means that the line is refused.
struct Command {
  const char* phrase;
  const char* example;
  Lines (*run)(Mcu& mcu, const Match& m);
};

// Every command form the model accepts, in the order they are tried.
const std::vector<Command>& commands();

class Mcu {
 public:
  // The model codes the daemon knows; false for any other.
  static bool valid_model(const std::string& code);
  static const char* model_list() { return "ZLT8AC, ZLT8ACV, ZLT4AC, ZLT4AC2, ZLT2AC, ZLT8DC"; }

  explicit Mcu(const std::string& model = "ZLT8AC", unsigned seed = 1);

  // Answers one command line (without its CR LF) with the lines to send back.
  Lines handle(const std::string& line);
  // The full status dump: every table header of the model, each followed by its rows.
  Lines status_dump() const;
  // The meters move on by `seconds`: voltage noise, current of the outlets that
  // are on, energy that accumulates.
  void tick(double seconds);
  // A random event (an outlet switched, an overload, ground lost or back).
  Lines random_event();
  Lines overload(int outlet);
  Lines ground(bool grounded);
  Lines switch_outlet(int outlet, bool on);
  std::string clock_text() const;  // "YYYY-MM-DD HH:MM:SS"

  // The state; the command table reads and writes it directly.
  std::string model;
  int outlets;        // switched outlets
  bool dc, ninth;     // the DC model; the ninth measurement channel of the 8-outlet AC models
  std::vector<Outlet> outlet;  // outlets + 1 (the ninth channel) entries
  bool power = true, key_lock = false, relay = false, grounded = true;
  std::string relay_mode = "Dry_Contact", relay_level = "Low_Voltage";
  int tcpip = 1;  // the enabled interface
  std::string baud = "9600", current_threshold = "16", over_voltage = "135", under_voltage = "95";
  std::string volt_mode = "Auto_Retry", volt_retry = "5", power_limit = "8x36W";
  std::string safe_mode = "Outlet_Shutdown", standby = "Sleep_Mode", retries = "3", retry_time = "30s";
  std::string beeper_time = "3s", sys_interval_on = "5s", sys_interval_off = "10s", name;
  std::string overload_delay = "10s", all_init = "ON", init_delay = "0s", repower = "1s",
              power_off_interval = "1s", ele_reset = "5s", led = "ON", led_display = "Current and Voltage";
  bool seg7 = true, voltage_select = false, mdns = true;
  Sensor sensor[2];
  Rule rules[3][8];
  std::string wan_ip = "192.168.1.100", wan_mask = "255.255.255.0", wan_gw = "192.168.1.1";
  std::string lan_ip = "192.168.2.100", lan_mask = "255.255.255.0", lan_gw = "192.168.2.1";
  bool wan_dhcp = false, lan_dhcp = false;
  std::string ipv6[6];  // interface 1 address, gateways 1 and 2, then interface 2
  double volts = 120.0, hz = 60.0;
  long clock_offset = 0;  // seconds between the unit's clock and the host's

  std::string tip(const std::string& event) const;  // "Tip:" + 20-character time stamp + event
  Lines system_table() const;                        // the system table's header and row
  // A meter of channel n as the MCU prints it: 'V', 'A', 'W', 'E' (energy), 'F' (power factor).
  std::string meter(int n, char what) const;
  double total(double Outlet::*member) const;         // summed over the switched outlets
  double nominal_volts(int n) const;
  void refresh_meters();

 private:
  std::mt19937 rng_;
};

}  // namespace mcusim
