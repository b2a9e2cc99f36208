#include "interpreter/dispatcher.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

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

// The chain flattened in order, with an index of the phrases its rows look
// for (a prefix row's prefix, a two-stage row's necessary phrases) by their
// first kHead bytes, so that a message is scanned once instead of once per
// row. Every phrase is at least kHead bytes long (checked when it is built).
constexpr size_t kHead = 4;

uint32_t head_of(const char* text) {
  uint32_t head;
  std::memcpy(&head, text, kHead);
  return head;
}

struct ChainIndex {
  struct Phrase {
    size_t position;  // the row's place in `rows`
    int stage;        // a two-stage row's place in `two_stage_rows`, or -1
    const char* text;
    size_t length;
  };
  std::vector<const Recogniser*> rows;  // chain order
  std::vector<size_t> two_stage_rows;   // the two-stage rows' places, ascending (at most 64)
  std::unordered_map<uint32_t, std::vector<Phrase>> by_head;
  bool starts[256] = {};  // a phrase starts with this byte

  ChainIndex() {
    for (const ChainRow& row : kChain)
      for (const Recogniser& r : row.recognisers()) rows.push_back(&r);
    for (size_t position = 0; position < rows.size(); ++position) {
      const Recogniser& r = *rows[position];
      if (!r.two_stage) {
        add(position, -1, r.prefix);
        continue;
      }
      const int stage = static_cast<int>(two_stage_rows.size());
      if (stage >= 64) throw std::logic_error("more than 64 two-stage recognisers");
      two_stage_rows.push_back(position);
      for (const char* const* need = r.needs; need && *need; ++need) add(position, stage, *need);
    }
  }

  void add(size_t position, int stage, const char* text) {
    const size_t length = std::strlen(text);
    if (length < kHead) throw std::logic_error(std::string("recogniser phrase too short: ") + text);
    by_head[head_of(text)].push_back({position, stage, text, length});
    starts[static_cast<unsigned char>(text[0])] = true;
  }
};

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
  // The model code rarely changes: decode it again only when it does (a
  // default Model is what an empty code decodes to).
  std::string model = ctx.nvram.model();
  if (model != ctx.model.code) ctx.model = Model::decode(model);
  ctx.print("\n**RV470_InputData=%s\n", message);

  ctx.taken = nullptr;
  ctx.status_table = 0;
  char* rest = nullptr;
  const Recogniser* r = taken_by_index(ctx, &rest);
  if (!r) return status_dump(ctx, message);
  ctx.taken = r;
  if (r->two_stage) return 0;
  return r->action ? r->action(ctx, *r, rest) : r->handler(ctx, rest);
}

const Recogniser* taken_by_linear(Context& ctx, char** rest) {
  for (const ChainRow& row : kChain) {
    for (const Recogniser& r : row.recognisers()) {
      if (r.two_stage) {
        if (r.two_stage(ctx)) return &r;
      } else if ((*rest = str_Endpoint(ctx.message, r.prefix))) {
        return &r;
      }
    }
  }
  return nullptr;
}

const Recogniser* taken_by_index(Context& ctx, char** rest) {
  static const ChainIndex index;
  const char* message = ctx.message;
  const size_t length = std::strlen(message);

  // One pass over the message: the earliest prefix row found, and the
  // two-stage rows one of whose phrases occurs. Positions are scanned in
  // order, so a row's first hit is its first occurrence, as strstr finds it.
  size_t first = index.rows.size();
  uint64_t stage_hit = 0;  // bit s: a phrase of two_stage_rows[s] occurs
  for (size_t i = 0; i + kHead <= length; ++i) {
    if (!index.starts[static_cast<unsigned char>(message[i])]) continue;
    auto bucket = index.by_head.find(head_of(message + i));
    if (bucket == index.by_head.end()) continue;
    for (const ChainIndex::Phrase& p : bucket->second) {
      if (p.position >= first || std::strncmp(message + i, p.text, p.length) != 0) continue;
      if (p.stage >= 0) {
        stage_hit |= uint64_t{1} << p.stage;
      } else {
        first = p.position;
        *rest = const_cast<char*>(message + i + p.length);
      }
    }
  }
  // The two-stage rows before it are tried in chain order, as the walk does.
  for (size_t stage = 0; stage < index.two_stage_rows.size(); ++stage) {
    const size_t position = index.two_stage_rows[stage];
    if (position >= first) break;
    const Recogniser* r = index.rows[position];
    const bool may_take = !r->needs || (stage_hit >> stage & 1);
    if (may_take && r->two_stage(ctx)) return r;
  }
  return first < index.rows.size() ? index.rows[first] : nullptr;
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
