#pragma once
// Table cases for the sensor and network confirmations: the stores before,
// the messages fed through MachineCommunication_RV470, and the whole settings
// file, the whole nvram and every command line afterwards.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/interpreter_harness.h"

namespace testing_support {

struct StoreCase {
  const char* name;
  std::vector<std::string> messages;
  std::map<std::string, std::string> nvram_before;
  std::string file_before;
  std::vector<std::string> file_after;             // every line of the settings file
  std::map<std::string, std::string> nvram_after;  // the whole nvram (model code aside)
  std::vector<std::string> commands = {};          // every command line run
  std::string model = "ZLT8AC";
};

inline void check_store_case(const StoreCase& c) {
  SCOPED_TRACE(c.name);
  InterpreterHarness h;
  h.set_model(c.model);
  for (const auto& [key, value] : c.nvram_before) h.nvram.values[key] = value;
  if (!c.file_before.empty()) h.scratch.write("/user/argument.text", c.file_before);

  for (const auto& message : c.messages) EXPECT_EQ(h.feed(message), 0) << message;

  EXPECT_EQ(h.settings_lines(), c.file_after);
  auto nvram = h.nvram.values;
  nvram.erase("ZLTMerge");
  EXPECT_EQ(nvram, c.nvram_after);
  EXPECT_EQ(h.runner.lines, c.commands);
  EXPECT_TRUE(h.mcu.bytes.empty()) << "nothing is sent back to the MCU";
  EXPECT_TRUE(h.clock.sleeps.empty());
}

template <size_t N>
void check_store_cases(const StoreCase (&cases)[N]) {
  for (const StoreCase& c : cases) check_store_case(c);
}

}  // namespace testing_support
