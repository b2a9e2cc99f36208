#include <gtest/gtest.h>

#include "interpreter/outlet_settings.h"
#include "support/case_file.h"

namespace {

TEST(OutletSettings, MapsDelayTextsToCodes) {
  struct Case {
    const char* text;
    int code;
  };
  const Case cases[] = {{"No Delay", 0}, {"100ms", 1}, {"200ms", 2}, {"300ms", 3}, {"400ms", 4},
                        {"500ms", 5},    {"250ms", 0}, {"600ms", 0}, {"0ms", 0},   {"-100ms", 0},
                        {"No Delay ", 0}, {"abc", 0},  {"", 0},      {" 200ms", 2},
                        // parsed as "%dms" parses: the unit text is not required
                        {"300", 3}};
  for (const auto& c : cases) EXPECT_EQ(interp::map_delay_to_value(c.text), c.code) << c.text;
}

}  // namespace

TEST(OutletSettings, Cases) { testing_support::run_case_file("interpreter/cases/outlet_settings.cases"); }
