#include "channels/unit_metrics.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "channels/channels.h"

namespace channels {

namespace {

struct Unit {
  const char* suffix;
  double scale;
};

// The units each reading may carry; the first is assumed when there is none.
const std::vector<Unit>& units_of(Quantity q) {
  static const std::vector<Unit> volts{{"V", 1}, {"mV", 1e-3}};
  static const std::vector<Unit> amperes{{"A", 1}, {"mA", 1e-3}};
  static const std::vector<Unit> watts{{"W", 1}, {"kW", 1e3}};
  static const std::vector<Unit> joules{{"kWh", 3.6e6}, {"Wh", 3600}, {"J", 1}};
  static const std::vector<Unit> hertz{{"Hz", 1}};
  static const std::vector<Unit> ratio{{"", 1}};
  switch (q) {
    case Quantity::Volts: return volts;
    case Quantity::Amperes: return amperes;
    case Quantity::Watts: return watts;
    case Quantity::Joules: return joules;
    case Quantity::Hertz: return hertz;
    default: return ratio;
  }
}

std::string_view trim(std::string_view t) {
  while (!t.empty() && (t.front() == ' ' || t.front() == '\t')) t.remove_prefix(1);
  while (!t.empty() && std::strchr(" \t\r\n", t.back())) t.remove_suffix(1);
  return t;
}

std::string number(double v) {
  char buf[40];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, r.ptr);
}

// Valid UTF-8 passes unchanged; otherwise every byte above 0x7F becomes '?'.
std::string clean_utf8(std::string_view t) {
  bool ok = true;
  for (size_t i = 0; i < t.size() && ok;) {
    unsigned char c = static_cast<unsigned char>(t[i]);
    size_t len = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
    if (len == 0 || i + len > t.size()) ok = false;
    for (size_t k = 1; ok && k < len; ++k)
      if ((static_cast<unsigned char>(t[i + k]) >> 6) != 2) ok = false;
    i += len ? len : 1;
  }
  std::string out(t);
  if (!ok)
    for (char& c : out)
      if (static_cast<unsigned char>(c) >= 0x80) c = '?';
  return out;
}

std::string json_string(std::string_view t) {
  std::string out = "\"";
  for (char c : clean_utf8(t)) {
    unsigned char u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (u < 0x20) {
      char esc[8];
      std::snprintf(esc, sizeof esc, "\\u%04x", u);
      out += esc;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string label_value(std::string_view t) {
  std::string out;
  for (char c : clean_utf8(t)) {
    if (c == '\\' || c == '"') out += '\\';
    if (c == '\n') {
      out += "\\n";
      continue;
    }
    out += c;
  }
  return out;
}

// Reads keys from nvram and remembers every one for the raw panel.
struct Reader {
  board::Nvram& nvram;
  UnitSnapshot& s;
  std::optional<std::string> get(const std::string& key) {
    std::optional<std::string> v = nvram.get(key);
    if (v) s.raw.emplace_back(key, *v);
    return v;
  }
  std::optional<double> reading(const std::string& key, Quantity q) {
    std::optional<std::string> v = get(key);
    return v ? parse_reading(*v, q) : std::nullopt;
  }
};

int count_used(const ClientTable& table) {
  int n = 0;
  for (const ClientEntry& e : table) n += e.fd.load() != -1;
  return n;
}

int count_used(const DescriptorTable& table) {
  int n = 0;
  for (const auto& fd : table.fd) n += fd.load() != -1;
  return n;
}

int count_ssh(const Segments& segments) {
  if (!segments._ssh) return 0;
  int32_t count = load(segments._ssh->count);
  if (count > kSshEntries) count = kSshEntries;
  int n = 0;
  for (int32_t i = 0; i < count; ++i) n += __atomic_load_n(&segments._ssh->entry[i][0], __ATOMIC_ACQUIRE) != 0;
  return n;
}

// One metric family: HELP, TYPE and its samples; nothing at all without samples.
class Family {
 public:
  Family(std::string& out, const char* name, const char* type, const char* help)
      : out_(out), name_(name), type_(type), help_(help) {}
  void sample(const std::string& labels, std::optional<double> v) {
    if (!v) return;
    if (!started_) {
      out_ += "# HELP " + name_ + " " + help_ + "\n# TYPE " + name_ + " " + type_ + "\n";
      started_ = true;
    }
    out_ += name_ + (labels.empty() ? "" : "{" + labels + "}") + " " + number(*v) + "\n";
  }

 private:
  std::string& out_;
  std::string name_, type_, help_;
  bool started_ = false;
};

std::optional<double> flag(std::optional<bool> b) {
  return b ? std::optional<double>(*b ? 1 : 0) : std::nullopt;
}

const char* const kStatusCodes = "2130";  // Connected, Idle, Overload, AbnormalVoltage

}  // namespace

int outlet_count(std::string_view model) {
  if (model.find("ZLT8DC") != std::string_view::npos || model.find("ZLT8AC") != std::string_view::npos) return 8;
  if (model.find("ZLT4AC") != std::string_view::npos) return 4;
  if (model.find("ZLT2AC") != std::string_view::npos) return 2;
  return 8;
}

std::optional<double> parse_reading(std::string_view text, Quantity q) {
  text = trim(text);
  size_t end = 0;
  while (end < text.size() && std::strchr("+-.0123456789eE", text[end]) && text[end] != '\0') ++end;
  if (end == 0) return std::nullopt;
  std::string digits(text.substr(0, end));
  char* stop = nullptr;
  double v = std::strtod(digits.c_str(), &stop);
  if (stop != digits.c_str() + digits.size() || !std::isfinite(v)) return std::nullopt;
  std::string_view unit = trim(text.substr(end));
  if (q == Quantity::Any) return unit.empty() || !std::isdigit(static_cast<unsigned char>(unit[0])) ? std::optional(v) : std::nullopt;
  for (const Unit& u : units_of(q)) {
    if (unit == u.suffix) return v * u.scale;
  }
  if (unit.empty()) return v * units_of(q).front().scale;
  return std::nullopt;
}

const char* status_word(char code) {
  switch (code) {
    case '2': return "Connected";
    case '1': return "Idle";
    case '3': return "Overload";
    case '0': return "AbnormalVoltage";
    default: return "";
  }
}

UnitSnapshot take_snapshot(Channels& ch, int http_clients) {
  UnitSnapshot s;
  Reader r{ch.board.nvram, s};
  s.model = ch.board.nvram.model();
  if (!s.model.empty()) s.raw.emplace_back("ZLTMerge", s.model);
  s.title = r.get("TitleLabel");
  std::optional<std::string> tip = r.get("Tipoutlet");
  int count = outlet_count(s.model);
  for (int n = 1; n <= count; ++n) {
    std::string k = std::to_string(n);
    UnitSnapshot::Outlet o;
    o.n = n;
    if (std::optional<std::string> v = r.get("Outlet" + k)) {
      if (*v == "1" || *v == "0") o.on = *v == "1";
    }
    if (tip && tip->size() >= static_cast<size_t>(n) && *status_word((*tip)[n - 1])) o.status = (*tip)[n - 1];
    o.label = r.get("Outlabel" + k);
    o.voltage = r.reading("Voltageout" + k, Quantity::Volts);
    o.current = r.reading("Carrent" + k, Quantity::Amperes);
    o.power = r.reading("Power" + k, Quantity::Watts);
    o.energy = r.reading("Consumed" + k, Quantity::Joules);
    o.power_factor = r.reading("PowerFactor" + k, Quantity::Ratio);
    o.threshold = r.reading("Thresholdcurrent" + k, Quantity::Amperes);
    s.outlets.push_back(o);
  }
  s.voltage = r.reading("Voltage", Quantity::Volts);
  s.current = r.reading("TotalCarrent", Quantity::Amperes);
  s.power = r.reading("TotalPower", Quantity::Watts);
  s.energy = r.reading("TotalEnergyConsumed", Quantity::Joules);
  s.power_factor = r.reading("PowerFactor", Quantity::Ratio);
  s.frequency = r.reading("Frequency", Quantity::Hertz);
  r.get("EnergyMeasuredSince");
  for (int p = 1; p <= 2; ++p) {
    std::string k = std::to_string(p);
    UnitSnapshot::Sensor sensor;
    sensor.port = p;
    r.get("sensorpro" + k);
    r.get("sensortype" + k);
    r.get("sensor" + k + "power");
    sensor.reading = r.get("sensor" + k + "current");
    if (sensor.reading) {
      std::string_view t = trim(*sensor.reading);
      if (t == "ON" || t == "OFF") sensor.on = t == "ON";
      sensor.value = parse_reading(t, Quantity::Any);
    }
    s.sensors.push_back(sensor);
  }

  const core::SharedState& st = ch.state;
  s.interpreted = st.messages_interpreted.load();
  s.dropped_by_queue = st.dropped_by_queue.load();
  s.dropped_by_reader = st.dropped_by_reader.load();
  s.settings_commits = ch.board.settings.commit_count();
  s.settings_commit_failures = ch.board.settings.failed_commit_count();
  s.seconds_since_mcu = st.seconds_since_mcu_message();
  s.clients = {{"tcp", count_used(ch.clients.TcpClient)},
               {"websocket", count_used(ch.clients.WebTcpClient)},
               {"telnet23", count_used(ch.rev_fd)},
               {"telnet8000", count_used(ch.rev_fd8000)},
               {"ssh", count_ssh(ch.segments)},
               {"http", http_clients}};
  return s;
}

std::string render_metrics(const UnitSnapshot& s) {
  std::string out;
  auto outlet = [](int n) { return "outlet=\"" + std::to_string(n) + "\""; };
  Family(out, "pdu_info", "gauge", "The unit's model code.").sample("model=\"" + label_value(s.model) + "\"", 1);
  Family(out, "pdu_outlets", "gauge", "Outlets of this model.").sample("", s.outlets.size());
  {
    Family f(out, "pdu_outlet_on", "gauge", "1 when the outlet is switched on, 0 when off.");
    for (const auto& o : s.outlets) f.sample(outlet(o.n), flag(o.on));
  }
  {
    Family f(out, "pdu_outlet_status", "gauge", "The outlet's status word: 1 for the current one.");
    for (const auto& o : s.outlets) {
      if (!o.status) continue;
      for (const char* c = kStatusCodes; *c; ++c)
        f.sample(outlet(o.n) + ",status=\"" + status_word(*c) + "\"", *c == o.status ? 1 : 0);
    }
  }
  struct PerOutlet {
    const char* name;
    const char* type;
    const char* help;
    std::optional<double> UnitSnapshot::Outlet::*field;
  };
  const PerOutlet per_outlet[] = {
      {"pdu_outlet_current_amperes", "gauge", "Outlet current.", &UnitSnapshot::Outlet::current},
      {"pdu_outlet_power_watts", "gauge", "Outlet active power.", &UnitSnapshot::Outlet::power},
      {"pdu_outlet_energy_joules_total", "counter", "Outlet energy since its last reset.",
       &UnitSnapshot::Outlet::energy},
      {"pdu_outlet_voltage_volts", "gauge", "Outlet voltage.", &UnitSnapshot::Outlet::voltage},
      {"pdu_outlet_power_factor_ratio", "gauge", "Outlet power factor.", &UnitSnapshot::Outlet::power_factor},
      {"pdu_outlet_current_threshold_amperes", "gauge", "Outlet current alarm threshold.",
       &UnitSnapshot::Outlet::threshold},
  };
  for (const PerOutlet& m : per_outlet) {
    Family f(out, m.name, m.type, m.help);
    for (const auto& o : s.outlets) f.sample(outlet(o.n), o.*m.field);
  }
  Family(out, "pdu_current_amperes", "gauge", "Unit total current.").sample("", s.current);
  Family(out, "pdu_power_watts", "gauge", "Unit total active power.").sample("", s.power);
  Family(out, "pdu_energy_joules_total", "counter", "Unit total energy since its last reset.").sample("", s.energy);
  Family(out, "pdu_voltage_volts", "gauge", "Unit input voltage.").sample("", s.voltage);
  Family(out, "pdu_frequency_hertz", "gauge", "Unit input frequency.").sample("", s.frequency);
  Family(out, "pdu_power_factor_ratio", "gauge", "Unit power factor.").sample("", s.power_factor);
  {
    Family v(out, "pdu_sensor_value", "gauge", "Sensor port reading, in the sensor's own unit.");
    for (const auto& p : s.sensors) v.sample("port=\"" + std::to_string(p.port) + "\"", p.value);
    Family on(out, "pdu_sensor_contact_on", "gauge", "Door or relay contact of a sensor port: 1 ON, 0 OFF.");
    for (const auto& p : s.sensors) on.sample("port=\"" + std::to_string(p.port) + "\"", flag(p.on));
  }
  Family(out, "pdud_mcu_messages_interpreted_total", "counter", "MCU messages the worker interpreted.")
      .sample("", s.interpreted);
  {
    Family f(out, "pdud_mcu_messages_dropped_total", "counter", "MCU messages dropped, by stage.");
    f.sample("stage=\"queue\"", s.dropped_by_queue);
    f.sample("stage=\"reader\"", s.dropped_by_reader);
  }
  Family(out, "pdud_settings_commits_total", "counter", "Settings-file replacements made.")
      .sample("", s.settings_commits);
  Family(out, "pdud_settings_commit_failures_total", "counter", "Settings-file replacements that failed.")
      .sample("", s.settings_commit_failures);
  Family(out, "pdud_mcu_last_message_age_seconds", "gauge", "Seconds since the last complete MCU message.")
      .sample("", s.seconds_since_mcu >= 0 ? std::optional<double>(s.seconds_since_mcu) : std::nullopt);
  {
    Family f(out, "pdud_clients", "gauge", "Connected clients, by channel.");
    for (const auto& [name, n] : s.clients) f.sample("channel=\"" + name + "\"", n);
  }
  return out;
}

std::string render_json(const UnitSnapshot& s) {
  std::string out;
  auto field = [](std::string& to, const char* name, std::optional<double> v) {
    if (v) to += ",\"" + std::string(name) + "\":" + number(*v);
  };
  out += "{\"model\":" + json_string(s.model);
  if (s.title) out += ",\"title\":" + json_string(*s.title);
  out += ",\"outlets\":[";
  for (const auto& o : s.outlets) {
    if (o.n > 1) out += ',';
    out += "{\"outlet\":" + std::to_string(o.n);
    if (o.on) out += std::string(",\"on\":") + (*o.on ? "true" : "false");
    if (o.status) out += ",\"status\":" + json_string(status_word(o.status));
    if (o.label) out += ",\"label\":" + json_string(*o.label);
    field(out, "current_amperes", o.current);
    field(out, "power_watts", o.power);
    field(out, "energy_joules", o.energy);
    field(out, "voltage_volts", o.voltage);
    field(out, "power_factor", o.power_factor);
    field(out, "threshold_amperes", o.threshold);
    out += '}';
  }
  std::string totals;
  field(totals, "current_amperes", s.current);
  field(totals, "power_watts", s.power);
  field(totals, "energy_joules", s.energy);
  field(totals, "voltage_volts", s.voltage);
  field(totals, "frequency_hertz", s.frequency);
  field(totals, "power_factor", s.power_factor);
  out += "],\"totals\":{" + (totals.empty() ? totals : totals.substr(1)) + "},\"sensors\":[";
  for (const auto& p : s.sensors) {
    if (p.port > 1) out += ',';
    out += "{\"port\":" + std::to_string(p.port);
    if (p.reading) out += ",\"reading\":" + json_string(*p.reading);
    field(out, "value", p.value);
    if (p.on) out += std::string(",\"on\":") + (*p.on ? "true" : "false");
    out += '}';
  }
  out += "],\"daemon\":{\"mcu_messages_interpreted\":" + std::to_string(s.interpreted) +
         ",\"mcu_messages_dropped_by_queue\":" + std::to_string(s.dropped_by_queue) +
         ",\"mcu_messages_dropped_by_reader\":" + std::to_string(s.dropped_by_reader) +
         ",\"settings_commits\":" + std::to_string(s.settings_commits) +
         ",\"settings_commit_failures\":" + std::to_string(s.settings_commit_failures) +
         ",\"seconds_since_mcu_message\":" + (s.seconds_since_mcu >= 0 ? number(s.seconds_since_mcu) : "null") +
         ",\"clients\":{";
  for (size_t i = 0; i < s.clients.size(); ++i)
    out += (i ? "," : "") + json_string(s.clients[i].first) + ":" + std::to_string(s.clients[i].second);
  out += "}},\"raw\":{";
  for (size_t i = 0; i < s.raw.size(); ++i)
    out += (i ? "," : "") + json_string(s.raw[i].first) + ":" + json_string(s.raw[i].second);
  return out + "}}\n";
}

}  // namespace channels
