#include "support/outlets_cases.h"

#include <gtest/gtest.h>

#include "support/interpreter_harness.h"

namespace testing_support {

namespace {

std::string joined_lines(const std::vector<std::string>& lines) {
  std::string text;
  for (const auto& l : lines) text += l + "\n";
  return text;
}

}  // namespace

void expect_outlet_case(const OutletCase& c) {
  SCOPED_TRACE("message: " + c.message + "  model: " + (c.model.empty() ? "<absent>" : c.model));
  InterpreterHarness h;
  if (!c.model.empty()) h.set_model(c.model);
  for (const auto& [key, value] : c.nvram_before) h.nvram.values[key] = value;
  if (!c.file_before.empty()) h.scratch.write("/user/argument.text", joined_lines(c.file_before));

  h.feed(c.message);

  EXPECT_EQ(h.settings_lines(), c.file_after) << "settings file";
  std::vector<std::string> keys;
  for (const auto& kv : c.nvram_sets) keys.push_back(kv.first);
  EXPECT_EQ(h.nvram.set_order, keys) << "nvram keys set";
  for (const auto& [key, value] : c.nvram_sets) EXPECT_EQ(h.nv(key), value) << "nvram " << key;
  EXPECT_EQ(h.nvram.commits, 0) << "nvram commits";
  EXPECT_EQ(h.runner.lines, c.commands) << "commands";
  EXPECT_EQ(h.take_output(), "\n**RV470_InputData=" + c.message + "\n" + c.printed) << "printed";
  EXPECT_EQ(h.mcu.bytes, c.mcu) << "MCU bytes";
  EXPECT_EQ(h.clock.sleeps, c.sleeps) << "sleeps";
}

}  // namespace testing_support
