#include "interpreter/event_rules.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "interpreter/dispatcher.h"
#include "interpreter/common/keys.h"
#include "interpreter/common/outlet_string.h"
#include "interpreter/common/tokenizer.h"

namespace interp {

namespace {

constexpr const char* kDefaultCodes = kRuleCodes.fallback;

// The number at the start of text as atoi reads it, kept within int.
int leading_number(const char* text) {
  long value = std::strtol(text, nullptr, 10);
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return static_cast<int>(value);
}

struct WholeWord {
  const char* word;
  char code;
};

const WholeWord kModeWords[] = {
    {"NoAction", '1'}, {"Power ON", '2'}, {"Power OFF", '3'}, {"Restart", '4'}, {"N/A", '1'}};
const WholeWord kTriggerWords[] = {{"NoTrigger", '1'}, {"Min-Max", '4'}, {"Max", '2'},
                                   {"Min", '3'},       {"ON", '2'},      {"OFF", '3'}};

// A Mode or Trigger confirmation: one outlet's code in the rule's outlet string.
template <size_t N>
void set_rule_code(Context& ctx, const std::string& key, int outlet, const std::string& value,
                   const WholeWord (&words)[N]) {
  const bool in_range = outlet >= 1 && outlet <= kSettingsOutlets;
  std::string codes = in_range ? outlet_string(ctx, key, kDefaultCodes, static_cast<size_t>(outlet - 1))
                               : ctx.nvram.get_or(key, kDefaultCodes);
  if (in_range) {
    for (const WholeWord& w : words) {
      if (value == w.word) {
        codes[static_cast<size_t>(outlet - 1)] = w.code;
        break;
      }
    }
  }
  ctx.nvram.set(key, codes);
  ctx.settings.update_config(key, codes);
}

// "[SUCCESS]Set Event<E> Outlet<O> Response Sensor<R> <field> To <value>."
void event_rule_confirmation(Context& ctx) {
  const char* after_event = str_Endpoint(ctx.message, "Event");
  if (!after_event) return;
  const int event = leading_number(after_event);
  const char* after_outlet = str_Endpoint(after_event, "Outlet");
  if (!after_outlet) return;
  const int outlet = leading_number(after_outlet);
  const char* after_sensor = str_Endpoint(after_outlet, "Sensor");
  if (!after_sensor) return;
  const int sensor = leading_number(after_sensor);
  const char* to = std::strstr(after_sensor, " To ");
  if (!to) return;

  const char* field_start = after_sensor;
  while (*field_start >= '0' && *field_start <= '9') ++field_start;
  while (*field_start == ' ') ++field_start;
  size_t field_length = field_start < to ? static_cast<size_t>(to - field_start) : 0;
  std::string field_type(field_start, std::min<size_t>(field_length, 19));

  std::string value(to + 4);
  value = value.substr(0, value.find('.'));
  ctx.print("ptr+4: %s\n", to + 4);
  ctx.print("field_type: %s\n", field_type.c_str());

  // The keys are built from the MCU's numbers: only the rule sets 1 to 3 and
  // the sensor ports 1 and 2 exist.
  const bool stores = field_type == "Mode" || field_type == "Trigger" || field_type == "Delay";
  if (stores && (event < 1 || event > 3 || sensor < 1 || sensor > 2)) {
    ctx.print("Event%d Sensor%d is out of range: nothing stored\n", event, sensor);
    return;
  }
  if (field_type == "Mode") {
    set_rule_code(ctx, format_key("sensor%d%doutput", event, sensor), outlet, value, kModeWords);
  } else if (field_type == "Trigger") {
    set_rule_code(ctx, format_key("sensor%d%dtrigger", event, sensor), outlet, value, kTriggerWords);
  } else if (field_type == "Delay") {
    const std::string key = format_key("sensor%d%ddelay%d", event, sensor, outlet);
    ctx.nvram.set(key, value);
    ctx.settings.update_config(key, value);
  }
}

bool event_rule_messages_test(Context& ctx) {
  if (!str_Endpoint(ctx.message, "[SUCCESS]Set Event")) return false;
  if (!str_Endpoint(ctx.message, "Response Sensor")) return false;
  event_rule_confirmation(ctx);
  return true;
}

constexpr const char* kEventRuleNeeds[] = {"[SUCCESS]Set Event", nullptr};
const Recogniser kEventRuleMessages[] = {
    two_stage("set-event-response-sensor", event_rule_messages_test, kEventRuleNeeds),
};

}  // namespace

Row event_rule_messages() { return row_of(kEventRuleMessages); }

}  // namespace interp
