// Sensor event-rule confirmations and the event-word converters.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interpreter/event_rules.h"
#include "support/interpreter_harness.h"
#include "support/status_cases.h"

namespace {

using testing_support::check_message_case;
using testing_support::kAbsent;
using testing_support::MessageCase;

TEST(EventRules, Confirmations) {
  const std::vector<MessageCase> cases = {
      {"Mode with no stored value", "ZLT8AC", {}, 0,
       {"[SUCCESS]Set Event2 Outlet3 Response Sensor1 Mode To Power OFF."},
       {{"sensor21output", "11311111", "11311111"}}, 0, "ptr+4: Power OFF.\nfield_type: Mode\n"},
      {"Mode words compared whole", "ZLT8AC", {{"sensor12output", "44444444"}}, 0,
       {"[SUCCESS]Set Event1 Outlet1 Response Sensor2 Mode To NoAction.",
        "[SUCCESS]Set Event1 Outlet2 Response Sensor2 Mode To Power ON.",
        "[SUCCESS]Set Event1 Outlet3 Response Sensor2 Mode To N/A.",
        "[SUCCESS]Set Event1 Outlet4 Response Sensor2 Mode To PowerON.",
        "[SUCCESS]Set Event1 Outlet5 Response Sensor2 Mode To Restart"},
       {{"sensor12output", "12144444", "12144444"}}, 0},
      {"Trigger Min-Max on outlet 8", "ZLT8AC", {}, 0,
       {"[SUCCESS]Set Event1 Outlet8 Response Sensor2 Trigger To Min-Max."},
       {{"sensor12trigger", "11111114", "11111114"}}, 0},
      {"Trigger words compared whole", "ZLT8AC", {}, 0,
       {"[SUCCESS]Set Event3 Outlet1 Response Sensor1 Trigger To Max.",
        "[SUCCESS]Set Event3 Outlet2 Response Sensor1 Trigger To Min.",
        "[SUCCESS]Set Event3 Outlet3 Response Sensor1 Trigger To OFF.",
        "[SUCCESS]Set Event3 Outlet4 Response Sensor1 Trigger To ON.",
        "[SUCCESS]Set Event3 Outlet5 Response Sensor1 Trigger To Maxx."},
       {{"sensor31trigger", "23321111", "23321111"}}, 0},
      {"outlet 9 writes the string back unchanged", "ZLT8AC", {{"sensor11output", "12341234"}}, 0,
       {"[SUCCESS]Set Event1 Outlet9 Response Sensor1 Mode To Restart."},
       {{"sensor11output", "12341234", "12341234"}}, 0},
      {"an unknown action is written back unchanged", "ZLT8AC", {}, 0,
       {"[SUCCESS]Set Event1 Outlet1 Response Sensor1 Mode To Explode."},
       {{"sensor11output", "11111111", "11111111"}}, 0},
      {"Delay stored as sent, without its full stop", "ZLT8AC", {}, 0,
       {"[SUCCESS]Set Event1 Outlet2 Response Sensor1 Delay To 300ms."},
       {{"sensor11delay2", "300ms", "300ms"}}, 0, "field_type: Delay\n"},
      {"Delay does not range-check the outlet", "ZLT8AC", {}, 0,
       {"[SUCCESS]Set Event2 Outlet12 Response Sensor2 Delay To No Delay"},
       {{"sensor22delay12", "No Delay", "No Delay"}}, 0},
      {"blanks between the sensor number and the field", "ZLT8AC", {}, 0,
       {"[SUCCESS]Set Event1 Outlet1 Response Sensor1   Mode To Restart."},
       {{"sensor11output", "41111111", "41111111"}}, 0},
      {"an unknown field writes nothing", "ZLT8AC", {}, 0,
       {"[SUCCESS]Set Event1 Outlet1 Response Sensor1 Beeper To ON."},
       {{"sensor11output", kAbsent, kAbsent}, {"sensor11trigger", kAbsent, kAbsent}}, 0},
      {"without ' To ' nothing is written, but the message is taken", "ZLT8AC", {}, 3,
       {"[SUCCESS]Set Event1 Outlet1 Response Sensor1 Mode Restart"},
       {{"sensor11output", kAbsent, kAbsent}, {"Enabletcpip", kAbsent, kAbsent}}, 3},
      {"without 'Response Sensor' the chain goes on", "ZLT8AC", {}, 0,
       {"[SUCCESS]Set Event1 Outlet1 Sensor1 Mode To Restart."}, {{"sensor11output", kAbsent, kAbsent}}, 0},
  };
  for (const auto& c : cases) check_message_case(c);
}

TEST(EventRules, AnchoredStoreDropsOnlyItsOwnLine) {
  testing_support::InterpreterHarness h;
  h.set_model("ZLT8AC");
  h.scratch.write("/user/argument.text", "Xsensor21output=5\nsensor21output=99999999\nPower=1\n");
  h.feed("[SUCCESS]Set Event2 Outlet1 Response Sensor1 Mode To Restart.");
  EXPECT_EQ(h.settings_lines(),
            (std::vector<std::string>{"Xsensor21output=5", "Power=1", "sensor21output=41111111"}));
}

TEST(EventRules, ConvertersPutTheFirstContainedWordsCode) {
  struct Case {
    const char* word;
    char response;  // '-': unchanged
    char trigger;
  };
  const Case cases[] = {
      {"NoAction", '1', '-'},     {"PowerOn", '2', '-'},   {"PowerON", '2', '2'},  {"PowerOff", '3', '-'},
      {"PowerOFF", '3', '3'},     {"Restart", '4', '-'},   {"N/A", '1', '1'},      {"NoTrigger", '-', '1'},
      {"Min-Max", '-', '4'},      {"Max", '-', '2'},       {"Min", '-', '3'},      {"ON", '-', '2'},
      {"OFF", '-', '3'},          {"Explode", '-', '-'},   {"", '-', '-'},
      {"NoTriggerON", '-', '1'},  // NoTrigger before ON
      {"RestartNoAction", '1', '-'},
  };
  for (const Case& c : cases) {
    std::string response = "---";
    std::string trigger = "---";
    interp::process_response(c.word, response, 1);
    interp::process_trigger(c.word, trigger, 1);
    EXPECT_EQ(response, std::string("-") + c.response + "-") << c.word;
    EXPECT_EQ(trigger, std::string("-") + c.trigger + "-") << c.word;
  }
}

TEST(EventRules, ConvertersIgnoreBadArguments) {
  struct Case {
    const char* word;
    int index;
  };
  const Case cases[] = {{nullptr, 0}, {"Restart", -1}, {"Restart", 3}, {"Restart", 1000}};
  for (const Case& c : cases) {
    std::string codes = "111";
    interp::process_response(c.word, codes, c.index);
    interp::process_trigger(c.word ? "Max" : nullptr, codes, c.index);
    EXPECT_EQ(codes, "111") << c.index;
  }
}

}  // namespace
