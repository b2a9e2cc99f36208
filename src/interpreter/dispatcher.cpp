#include "interpreter/dispatcher.h"

#include <cstring>

#include "interpreter/event_rules.h"
#include "interpreter/network_settings.h"
#include "interpreter/notifications.h"
#include "interpreter/outlet_settings.h"
#include "interpreter/outlet_state.h"
#include "interpreter/query_replies.h"
#include "interpreter/common/recogniser.h"
#include "interpreter/sensor_messages.h"
#include "interpreter/status/status_dump.h"
#include "interpreter/status/status_headers.h"
#include "interpreter/system_identity.h"

namespace interp {

namespace {

// The recogniser chain, tried top to bottom; the first match decides. A
// message that nothing takes is a row of the status dump.
struct ChainRow {
  int order;  // the row's place in the chain, as it is read
  Row (*recognisers)();
};

const ChainRow kChain[] = {
    {1, system_identity_messages},        // "[SUCCESS]Set Network Reboot ..." .. "[SUCCESS]GUI Get The Time ..."
    {2, energy_cleanup_messages},         // "[SUCCESS]Clean Up All Outlets Electrical Work", "... The Outlet "
    {3, tcpip_enable_messages},           // "[SUCCESS]Set The TCP/IP1 Enable", "... TCP/IP2 Enable"
    {4, outlet_threshold_messages},       // "[SUCCESS]Set Outlet 1..8 Current Threshold To "
    {5, all_outlets_and_key_messages},    // "[SUCCESS]Set All Outlets ON/OFF", "[SUCCESS]Set Key ON/OFF"
    {6, sensor_messages_a},               // sensor power, slave station, GUI readings, unit/power failures
    {7, gui_outlet_status_messages},      // two-stage: "[SUCCESS]GUI Outlet" + "Current Status Is"
    {8, event_rule_messages},             // two-stage: "[SUCCESS]Set Event" + "Response Sensor"
    {9, sensor_messages_b},               // sensor protocols, types, addresses, codes, limits, unit, beeper
    {10, status_header_messages},         // two-stage status-dump table headers
    {11, initialization_status_messages}, // "[SUCCESS]Set All Outlets Initialization Status "
    {12, mqtt_detection_messages},        // "[SUCCESS]Mqtt Process Detection"
    {13, all_outlet_timing_messages},     // system delay, re-power, power-off, buzzer, reset duration, OCDT
    {14, per_outlet_setting_messages},    // two-stage: "[SUCCESS]Set Outlet " + setting words
    {15, all_outlet_voltage_messages},    // "[SUCCESS]Set All Outlets Voltage Status "
    {16, outlet_switch_messages},         // "[SUCCESS]Set Outlet ", "[SUCCESS]GUI Set Outlet "
    {17, runtime_messages},               // device runtime, "CMDTIME:"
    {18, safe_mode_messages},             // safe mode, overload restart delay
    {19, notification_messages},          // "Clue:", "Tip:", "Sensor1Warning:", "Sensor2Warning:"
    {20, network_messages},               // IPv6, IPv4, DHCP ON/OFF, "List Current TCP/IP Address"
    {21, system_power_messages},          // "[SUCCESS]Set System Power OFF", "... ON"
    {22, query_reply_messages},           // "<GetPowerStatus On" .. "<GetOutletCurrentThreshold "
    {23, dhcp_off_message},               // "[SUCCESS]Set The TCP/IP1 DHCP OFF", the very last
};

// The passthrough appends this tag to the commands it sends; the MCU echoes it.
constexpr const char* kTelnetTag = "  telnet23";

}  // namespace

char* str_Endpoint(const char* text, const char* needle) {
  if (!text || !needle) return nullptr;
  const char* hit = std::strstr(text, needle);
  return hit ? const_cast<char*>(hit + std::strlen(needle)) : nullptr;
}

char* str_Endpoint_len(const char* text, const char* needle, size_t limit) {
  if (!text || !needle) return nullptr;
  size_t n = std::min(std::strlen(text), limit);
  size_t m = std::strlen(needle);
  if (m > n) return nullptr;
  for (size_t i = 0; i + m <= n; ++i) {
    if (std::memcmp(text + i, needle, m) == 0) return const_cast<char*>(text + i + m);
  }
  return nullptr;
}

void CopyString(char source, int index, char* destination, int mode) {
  char* slot = destination + (static_cast<unsigned>(index) % 256u);
  switch (mode) {
    case 1:
      if (source == 'N')
        *slot = '0';
      else if (source == 'Y')
        *slot = '1';
      else if (source == 'X')
        *slot = 'X';
      break;
    case 2:
    case 3:
      *slot = source;
      break;
    default:
      break;
  }
}

int MachineCommunication_RV470(Context& ctx, char* message) {
  if (!message) return 0;
  if (char* tag = std::strstr(message, kTelnetTag)) *tag = '\0';
  ctx.message = message;
  ctx.model = Model::decode(ctx.nvram.model());
  ctx.print("\n**RV470_InputData=%s\n", message);

  ctx.taken = nullptr;
  ctx.status_table = 0;
  for (const ChainRow& row : kChain) {
    for (const Recogniser& r : row.recognisers()) {
      if (r.two_stage) {
        if (!r.two_stage(ctx)) continue;
        ctx.taken = &r;
        return 0;
      }
      if (char* rest = str_Endpoint(message, r.prefix)) {
        ctx.taken = &r;
        return r.action ? r.action(ctx, r, rest) : r.handler(ctx, rest);
      }
    }
  }
  return status_dump(ctx, message);
}

std::vector<const Recogniser*> recogniser_chain() {
  std::vector<const Recogniser*> rows;
  for (const ChainRow& row : kChain)
    for (const Recogniser& r : row.recognisers()) rows.push_back(&r);
  return rows;
}

std::string taken_by(const Context& ctx) {
  if (ctx.taken) return ctx.taken->name;
  if (ctx.status_table) return "status-dump row, table " + std::to_string(ctx.status_table);
  return "no effect";
}

}  // namespace interp
