// Sensor event-rule confirmations and the event-word converters.
#include <gtest/gtest.h>

#include <string>

#include "interpreter/event_rules.h"
#include "support/case_file.h"

namespace {

TEST(EventRules, Confirmations) { testing_support::run_case_file("interpreter/cases/event_rules.cases"); }

TEST(EventRules, ConvertersPutTheFirstContainedWordsCode) {
  // word, response code, trigger code ('-': unchanged)
  const struct { const char* word; char response, trigger; } cases[] = {
      {"NoAction", '1', '-'},     {"PowerOn", '2', '-'},   {"PowerON", '2', '2'},  {"PowerOff", '3', '-'},
      {"PowerOFF", '3', '3'},     {"Restart", '4', '-'},   {"N/A", '1', '1'},      {"NoTrigger", '-', '1'},
      {"Min-Max", '-', '4'},      {"Max", '-', '2'},       {"Min", '-', '3'},      {"ON", '-', '2'},
      {"OFF", '-', '3'},          {"Explode", '-', '-'},   {"", '-', '-'},
      {"NoTriggerON", '-', '1'},  // NoTrigger before ON
      {"RestartNoAction", '1', '-'},
  };
  for (const auto& c : cases) {
    std::string response = "---", trigger = "---";
    interp::process_response(c.word, response, 1);
    interp::process_trigger(c.word, trigger, 1);
    EXPECT_EQ(response, std::string("-") + c.response + "-") << c.word;
    EXPECT_EQ(trigger, std::string("-") + c.trigger + "-") << c.word;
  }
}

TEST(EventRules, ConvertersIgnoreBadArguments) {
  const struct { const char* word; int index; } cases[] = {{nullptr, 0}, {"Restart", -1}, {"Restart", 3}, {"Restart", 1000}};
  for (const auto& c : cases) {
    std::string codes = "111";
    interp::process_response(c.word, codes, c.index);
    interp::process_trigger(c.word ? "Max" : nullptr, codes, c.index);
    EXPECT_EQ(codes, "111") << c.index;
  }
}

}  // namespace
