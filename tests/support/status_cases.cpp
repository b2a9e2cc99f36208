#include "support/status_cases.h"

#include <gtest/gtest.h>

#include "support/interpreter_harness.h"

namespace testing_support {

void check_message_case(const MessageCase& c) {
  SCOPED_TRACE(c.what);
  InterpreterHarness h;
  h.set_model(c.model);
  for (const auto& [key, value] : c.nvram_before) h.nvram.values[key] = value;
  if (!c.settings_before.empty()) h.scratch.write("/user/argument.text", c.settings_before);
  h.state.CheckStatusMode = c.mode_before;
  for (const auto& message : c.messages) EXPECT_EQ(h.feed(message), 0) << message;
  for (const auto& e : c.expect) {
    EXPECT_EQ(h.nv(e.key), e.nvram) << "nvram " << e.key;
    EXPECT_EQ(h.setting(e.key), e.file) << "settings file " << e.key;
  }
  EXPECT_EQ(h.state.CheckStatusMode.load(), c.mode_after) << "CheckStatusMode";
  const std::string printed = h.take_output();
  if (!c.printed.empty()) {
    EXPECT_NE(printed.find(c.printed), std::string::npos) << printed;
  }
}

}  // namespace testing_support
