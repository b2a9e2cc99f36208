#include "mcu-sim/mcu_model.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace mcusim {

namespace {

const char* on_off(bool on) { return on ? "ON" : "OFF"; }

std::string ocdt_text(int ms) { return ms ? std::to_string(ms) + "ms" : "No_Delay"; }

}  // namespace

std::string fmt(const char* format, double value) {
  char buf[64];
  std::snprintf(buf, sizeof buf, format, value);
  return buf;
}

bool Mcu::valid_model(const std::string& code) {
  for (const char* m : {"ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT2AC", "ZLT8DC"})
    if (code == m) return true;
  return false;
}

Mcu::Mcu(const std::string& code, unsigned seed) : model(code), rng_(seed) {
  dc = model == "ZLT8DC";
  outlets = model[3] - '0';
  ninth = model == "ZLT8AC" || model == "ZLT8ACV";
  outlet.resize(static_cast<size_t>(outlets + 1));
  for (int n = 1; n <= outlets + 1; ++n) {
    Outlet& o = outlet[static_cast<size_t>(n - 1)];
    for (int d = 0; d < 4; ++d) o.delay[d] = std::to_string(n + d) + "s";
    o.load_a = 0.08 * n + 0.03;
    o.ocdt_ms = (n - 1) % 6 * 100;
    static const char* const volts_dc[] = {"5V", "9V", "12V", "18V", "24V"};
    o.dc_voltage = volts_dc[(n - 1) % 5];
  }
  // The ninth channel measures the unit's input; its switch row is fixed.
  Outlet& input = outlet[static_cast<size_t>(outlets)];
  input.status = "AbnormalVoltage";
  for (std::string& d : input.delay) d = "0s";
  input.threshold = "0";
  if (dc) {
    baud = "57600", over_voltage = "28", under_voltage = "10", volt_mode = "All_Outlets_Shutdown", volt_retry = "10";
  }
  name = model;
  sensor[1] = Sensor{false, "Modbus-RTU-RS485", "NO", "0x10", "2", "4", false, "100", "0", "%"};
  static const char* const responses[] = {"NoAction", "PowerON", "PowerOFF", "Restart", "N/A"};
  static const char* const triggers[] = {"NoTrigger", "Max", "Min", "Min-Max", "ON", "OFF"};
  for (int e = 0; e < 3; ++e)
    for (int o = 0; o < 8; ++o)
      for (int r = 0; r < 2; ++r) {
        rules[e][o].response[r] = responses[(e + o + r) % 5];
        rules[e][o].trigger[r] = triggers[(e + o + 2 * r) % 6];
        rules[e][o].delay[r] = std::to_string((e + o + r) % 6 * 100) + "ms";
      }
  tick(0);
}

double Mcu::nominal_volts(int n) const {
  if (!dc) return volts;
  return std::atof(outlet[static_cast<size_t>(n - 1)].dc_voltage.c_str());
}

void Mcu::refresh_meters() {
  for (int n = 1; n <= outlets; ++n) {
    Outlet& o = outlet[static_cast<size_t>(n - 1)];
    if (!o.on || !power) {
      o.amps = o.watts = 0;
      continue;
    }
    o.amps = o.load_a * (dc ? 4 : 1);
    o.watts = nominal_volts(n) * o.amps * (dc ? 1.0 : o.pf);
  }
  Outlet& ninth_channel = outlet[static_cast<size_t>(outlets)];
  ninth_channel.amps = total(&Outlet::amps);
  ninth_channel.watts = total(&Outlet::watts);
  ninth_channel.kwh = total(&Outlet::kwh);
}

void Mcu::tick(double seconds) {
  std::normal_distribution<double> noise(0.0, 0.25);
  volts = 120.0 + noise(rng_);
  hz = 60.0 + noise(rng_) / 25;
  for (int n = 1; n <= outlets; ++n) {
    Outlet& o = outlet[static_cast<size_t>(n - 1)];
    o.load_a = std::fabs(o.load_a * (1 + noise(rng_) / 50));
    o.kwh += o.watts * seconds / 3.6e6;
  }
  refresh_meters();
}

std::string Mcu::clock_text() const {
  std::time_t now = std::time(nullptr) + clock_offset;
  std::tm tm{};
  gmtime_r(&now, &tm);
  char buf[32];
  std::strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S", &tm);
  return buf;
}

std::string Mcu::tip(const std::string& event) const { return "Tip:" + clock_text() + " " + event; }

Lines Mcu::switch_outlet(int n, bool on) {
  Outlet& o = outlet[static_cast<size_t>(n - 1)];
  Lines out = {"[SUCCESS]Set Outlet " + std::to_string(n) + (on ? " ON" : " OFF")};
  const std::string was = o.status, now = on ? "Connected" : "Idle";
  o.on = on;
  o.status = now;
  refresh_meters();
  if (was != now) {
    out.push_back(tip("Outlet " + std::to_string(n) + " change from " + was + " to " + now));
    out.push_back("[SUCCESS]GUI Outlet " + std::to_string(n) + " Current Status Is " + now);
  }
  return out;
}

Lines Mcu::overload(int n) {
  Outlet& o = outlet[static_cast<size_t>(n - 1)];
  const std::string was = o.status;
  o.status = "Overload";
  if (safe_mode == "Outlet_Shutdown") o.on = false;
  refresh_meters();
  return {tip("Outlet " + std::to_string(n) + " change from " + was + " to Overload"),
          "[SUCCESS]GUI Outlet " + std::to_string(n) + " Current Status Is Overload"};
}

Lines Mcu::ground(bool ok_now) {
  grounded = ok_now;
  if (!ok_now) return {tip("The System Lacks Ground Wire")};
  return {"<GetGroundStatus Properly Grounded"};
}

Lines Mcu::random_event() {
  std::uniform_int_distribution<int> pick(1, outlets), kind(0, 9);
  const int k = kind(rng_), n = pick(rng_);
  if (k == 0) return ground(!grounded);
  if (k == 1 && outlet[static_cast<size_t>(n - 1)].on) return overload(n);
  return switch_outlet(n, !outlet[static_cast<size_t>(n - 1)].on);
}


std::string Mcu::meter(int n, char what) const {
  const Outlet& o = outlet[static_cast<size_t>(n - 1)];
  const double v = o.on ? nominal_volts(n) : 0;
  switch (what) {
    case 'V': return fmt(dc ? "%.2fV" : "%.1fV", v);
    case 'A': return fmt("%.3fA", o.amps);
    case 'W': return fmt("%.1fW", o.watts);
    case 'E': return fmt("%.6fkWh", o.kwh);
    default: return fmt("%.2f", o.on ? o.pf : 0.0);
  }
}

double Mcu::total(double Outlet::*member) const {
  double sum = 0;
  for (int n = 1; n <= outlets; ++n) sum += outlet[static_cast<size_t>(n - 1)].*member;
  return sum;
}

Lines Mcu::system_table() const {
  const std::string interface = tcpip == 1 ? "1" : "0";
  std::string p = power ? "ON" : "OFF";
  if (dc)
    return {"Power Key Relay Reserved TCP/IP Baud OverVoltage UnderVoltage",
            p + " " + on_off(key_lock) + " " + on_off(relay) + " 1 " + interface + " " + baud + " " +
                over_voltage + " " + under_voltage};
  // The first four-outlet model has no ground detection.
  const bool ground = model != "ZLT4AC";
  return {std::string("Power Key Relay TCP/IP Baud Current OverVoltage UnderVoltage") + (ground ? " Ground" : ""),
          p + " " + on_off(key_lock) + " " + on_off(relay) + " " + interface + " " + baud + " " +
              current_threshold + " " + over_voltage + " " + under_voltage +
              (ground ? (grounded ? " Device_Ground_Detected" : " Device_Ground_Lost") : "")};
}


Lines Mcu::status_dump() const {
  Lines out = system_table();
  if (dc) {
    out.push_back("PowerLimit VoltMonitorMode VoltMonitorRetryTime");
    out.push_back(power_limit + " " + volt_mode + " " + volt_retry + "mins");
  } else {
    out.push_back("VoltMonitorMode VoltMonitorRetryTime");
    out.push_back(volt_mode + " " + volt_retry + "mins");
  }
  out.push_back("SysStatus SysIntervalOn SysIntervalOff BeeperTime");
  out.push_back(std::string(on_off(power)) + " " + sys_interval_on + " " + sys_interval_off + " " + beeper_time);
  out.push_back("SafeMode RelayMode RelayLevel StandbyMode RetryCnt RetryTime BeeperTime");
  out.push_back(safe_mode + " " + relay_mode + " " + relay_level + " " + standby + " " + retries + " " + retry_time +
                " " + beeper_time);
  out.push_back(dc ? "Outlet Status Tip PowerOnTime PowerOffTime PowerRestaTime EleReset Voltage MaxVoltage USB USBStatus"
                   : "Outlet Status Tip PowerOnTime PowerOffTime PowerRestaTime EleReset Current OCDT");
  const int rows = outlets + (ninth ? 1 : 0);
  for (int n = 1; n <= rows; ++n) {
    const Outlet& o = outlet[static_cast<size_t>(n - 1)];
    std::string row = std::to_string(n) + " " + on_off(o.on) + " " + o.status;
    for (const std::string& d : o.delay) row += " " + d;
    if (dc)
      row += " " + o.dc_voltage + " " + std::to_string(o.dc_limit) + " " + on_off(o.usb) +
             (o.usb_overload ? " Overload" : " Normal");
    else
      row += " " + o.threshold + " " + (n > outlets ? "0" : ocdt_text(o.ocdt_ms));
    out.push_back(row);
  }
  out.push_back(std::string("SYS ") + on_off(power) + " Connected 0s 0s 0s 0s " +
                (dc ? "0V 0 OFF Normal" : current_threshold + " 0"));
  out.push_back("Outlet Voltage Current Power Consumed PowerFactor Frequency");
  const std::string freq = fmt("%.1fHz", hz);
  for (int n = 1; n <= rows; ++n)
    out.push_back(std::to_string(n) + " " + meter(n, 'V') + " " + meter(n, 'A') + " " +
                  meter(n, 'W') + " " + meter(n, 'E') + " " + meter(n, 'F') + " " + freq);
  out.push_back("SYS " + fmt("%.1fV", volts) + " " + fmt("%.3fA", total(&Outlet::amps)) + " " +
                fmt("%.1fW", total(&Outlet::watts)) + " " + fmt("%.6fkWh", total(&Outlet::kwh)) +
                " 0.95 " + freq);
  out.push_back("Sensor111 Power Protocol Type Address SlaveStation Code Check Max Min Unit Beeper");
  for (int p = 0; p < 2; ++p) {
    const Sensor& s = sensor[p];
    out.push_back(std::to_string(p + 1) + " " + on_off(s.power) + " " + s.protocol + " " + s.type + " " + s.address +
                  " " + s.slave + " " + s.code + (s.beeper ? " On " : " Off ") + s.max + " " + s.min + " " + s.unit);
  }
  for (int e = 1; e <= 3; ++e) {
    const std::string set = std::to_string(e);
    out.push_back("Outlet Sensor1Response" + set + " Sensor1Trigger" + set + " Sensor1Delay" + set +
                  " Sensor2Response" + set + " Sensor2Trigger" + set + " Sensor2Delay" + set);
    for (int o = 0; o < 8; ++o) {
      const Rule& r = rules[e - 1][o];
      out.push_back(std::to_string(o + 1) + " " + r.response[0] + " " + r.trigger[0] + " " + r.delay[0] + " " +
                    r.response[1] + " " + r.trigger[1] + " " + r.delay[1]);
    }
  }
  return out;
}

}  // namespace mcusim
