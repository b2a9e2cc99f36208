#pragma once
// What the HTTP endpoints show: the unit's live values read from nvram at the
// moment of the request, and the daemon's own health counters. The keys read
// are a fixed list of readings and labels, so no password, key or cookie
// value can ever appear.
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "board/nvram.h"
#include "core/state.h"

namespace channels {

class Channels;

// Outlets of a model code: 2, 4 or 8 (8 for an unknown code).
int outlet_count(std::string_view model);

// The number in an MCU reading such as "230.1V", "0.512A" or "1.5kWh", in the
// base unit. Absent for an empty, non-numeric or infinite value and for a unit
// other than those given.
enum class Quantity { Volts, Amperes, Watts, Joules, Hertz, Ratio, Any };
std::optional<double> parse_reading(std::string_view text, Quantity q);

struct UnitSnapshot {
  struct Outlet {
    int n = 0;
    std::optional<bool> on;
    char status = 0;  // the Tipoutlet code '0'..'3', 0 when unknown
    std::optional<std::string> label;
    std::optional<double> current, power, energy, voltage, threshold, power_factor;
  };
  struct Sensor {
    int port = 0;
    std::optional<std::string> reading;  // the text as the MCU gave it
    std::optional<double> value;
    std::optional<bool> on;  // door and relay contacts report ON / OFF
  };
  std::string model;
  std::optional<std::string> title;
  std::vector<Outlet> outlets;
  std::optional<double> current, power, energy, voltage, frequency, power_factor;
  std::vector<Sensor> sensors;

  unsigned long interpreted = 0, dropped_by_queue = 0, dropped_by_reader = 0;
  unsigned long settings_commits = 0, settings_commit_failures = 0;
  double seconds_since_mcu = -1;  // negative: no message yet
  std::vector<std::pair<std::string, int>> clients;  // channel, connected clients

  // Every key read, with its value when present.
  std::vector<std::pair<std::string, std::string>> raw;
};

// http_clients: the HTTP connections being served right now.
UnitSnapshot take_snapshot(Channels& ch, int http_clients);

// The Prometheus text exposition format (version 0.0.4).
std::string render_metrics(const UnitSnapshot& s);
// One JSON document.
std::string render_json(const UnitSnapshot& s);

// The name of a status code ("Connected", "Idle", "Overload", "AbnormalVoltage"); "" when unknown.
const char* status_word(char code);

}  // namespace channels
