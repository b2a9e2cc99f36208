#include "records/event_log.h"

#include <cstring>
#include <string>

#include "board/settings_file.h"
#include "records/snmp_trap.h"

namespace records {

namespace {

// The logs are written 150 ms apart.
constexpr long kWriteGapMs = 150;

// Sensor events never go out as traps from here, nor do events that are
// neither critical nor warnings, nor anything while traps are off.
bool is_trap_event(board::Nvram& nvram, const char* text) {
  const std::string mode = nvram.get_or("EnableSnmpTrap", "1");
  if (!mode.empty() && mode[0] == '3') return false;
  if (std::strstr(text, "Sensor1") || std::strstr(text, "Sensor2")) return false;
  return std::strstr(text, "Critical") || std::strstr(text, "Warning");
}

void write_system_log(board::Board& b, const char* text) {
  if (system_log_full(b.nvram)) {
    drop_oldest_line(b.files, kSystemLogPath);
    b.clock.sleep_ms(kWriteGapMs);
  }
  append_event_line(b.files, kSystemLogPath, text);
  b.clock.sleep_ms(kWriteGapMs);

  if (!is_trap_event(b.nvram, text)) return;
  for (const char* key : {"SnmpTrapreceiver1", "SnmpTrapreceiver2"}) {
    const std::string receiver = b.nvram.get_or(key, "");
    if (!receiver.empty()) send_snmp_trap(b, receiver.c_str(), text);
  }
}

}  // namespace

bool system_log_full(board::Nvram& nvram) {
  const std::string size = nvram.get_or("logfilesize", "");
  return !size.empty() && size[0] == '0';
}

void drop_oldest_line(const board::Files& files, std::string_view unit_path) {
  auto contents = files.read(unit_path);
  if (!contents) return;
  const size_t end = contents->find('\n');
  files.replace(unit_path, end == std::string::npos ? std::string_view() :
                                                      std::string_view(*contents).substr(end + 1));
}

void append_event_line(const board::Files& files, std::string_view unit_path,
                       std::string_view text) {
  // One event is one line, whatever the MCU put into its text.
  std::string line(board::first_line(text));
  line += ".\n";
  files.append(unit_path, line);
}

void systemlog(board::Board& b, int kind, const char* text) {
  if (!text) return;
  if (kind == 0) {
    write_system_log(b, text);
  } else if (kind >= 1 && kind <= 8) {
    append_event_line(b.files, "/user/Outlet" + std::to_string(kind) + ".log", text);
    b.clock.sleep_ms(kWriteGapMs);
  }
}

}  // namespace records
