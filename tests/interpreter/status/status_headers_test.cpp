// Table headers: which table each arms, the words it needs, the model gate,
// and its place in the recogniser chain.
#include <gtest/gtest.h>

#include <string>

#include "support/case_file.h"
#include "support/interpreter_harness.h"

namespace {

TEST(StatusHeaders, Cases) { testing_support::run_case_file("interpreter/status/cases/headers.cases"); }

// Only the outlet header announces the mode it arms; the whole output is checked.
TEST(StatusHeaders, OutletHeaderAnnouncesItself) {
  testing_support::InterpreterHarness h;
  h.set_model("ZLT8AC");
  h.feed("Outlet Status PowerOnTime EleReset");
  EXPECT_EQ(h.take_output(), "\n**RV470_InputData=Outlet Status PowerOnTime EleReset\nCheckStatusMode=4\n");
  h.feed("SafeMode RelayMode StandbyMode");
  EXPECT_EQ(h.take_output().find("CheckStatusMode="), std::string::npos);
}

}  // namespace
