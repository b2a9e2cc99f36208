#include "records/event_log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/interpreter_harness.h"

namespace {

using Lines = std::vector<std::string>;

// One line with one full stop in the log of its kind, 150 ms after; only the
// system log raises traps.
TEST(SystemLog, EachKindWritesOneLineToItsOwnLogAndNothingElse) {
  const struct { int kind; const char *text, *file, *line; } cases[] = {  // null file: nothing written
      {0, "Outlet 4 Critical: overload", "/user/ZLT.log", "Outlet 4 Critical: overload.\n"},
      {1, "Critical: ended.", "/user/Outlet1.log", "Critical: ended..\n"},
      {8, "Critical\nsecond line", "/user/Outlet8.log", "Critical.\n"},
      {2, "", "/user/Outlet2.log", ".\n"}, {9, "Critical", nullptr, nullptr}, {-1, "Critical", nullptr, nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("kind " + std::to_string(c.kind));
    testing_support::InterpreterHarness h;
    h.nvram.values["SnmpTrapreceiver1"] = "rx";
    records::systemlog(h.ctx, c.kind, c.text);
    for (int n = 0; n <= 8; ++n) {
      const std::string file = n ? "/user/Outlet" + std::to_string(n) + ".log" : "/user/ZLT.log";
      EXPECT_EQ(h.scratch.exists(file), c.file && file == c.file) << file;
    }
    if (c.file) { EXPECT_EQ(h.scratch.read(c.file), c.line); }
    EXPECT_EQ(h.clock.sleeps, c.file ? std::vector<long>{150} : std::vector<long>{});
    EXPECT_EQ(h.runner.argvs.size(), c.kind == 0 ? 1u : 0u);
  }
}

TEST(SystemLog, SizeLimitKeepsTheLineCount) {
  testing_support::InterpreterHarness h;
  h.scratch.write("/user/ZLT.log", "a.\nb.\nc.\n");
  h.nvram.values["logfilesize"] = "0";
  for (const char* text : {"d", "e"}) records::systemlog(h.ctx, 0, text);
  EXPECT_EQ(h.scratch.lines("/user/ZLT.log"), (Lines{"c.", "d.", "e."}));
  EXPECT_EQ(h.clock.sleeps, (std::vector<long>{150, 150, 150, 150}));
  h.nvram.values["logfilesize"] = "1";
  records::systemlog(h.ctx, 0, "f");
  EXPECT_EQ(h.scratch.lines("/user/ZLT.log"), (Lines{"c.", "d.", "e.", "f."}));
  // The outlet logs have no limit.
  h.nvram.values["logfilesize"] = "0";
  h.scratch.write("/user/Outlet1.log", "x.\n");
  records::systemlog(h.ctx, 1, "y");
  EXPECT_EQ(h.scratch.lines("/user/Outlet1.log"), (Lines{"x.", "y."}));
}

TEST(SystemLog, TrapsGoToTheReceiversThatAreSet) {
  const struct { const char *text, *mode, *r1, *r2; Lines receivers; } cases[] = {  // null: absent
      {"Critical: overload", "1", "r1", "r2", {"r1", "r2"}}, {"Warning: hot", "1", "r1", nullptr, {"r1"}},
      {"Critical", "1", nullptr, "r2", {"r2"}},           {"Critical", nullptr, "r1", nullptr, {"r1"}},
      {"Critical", "3", "r1", "r2", {}},                  {"Critical", "30", "r1", "r2", {}},
      {"Sensor1 Critical", "1", "r1", nullptr, {}},       {"Outlet 1 On", "1", "r1", nullptr, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.text) + " mode " + (c.mode ? c.mode : "absent"));
    testing_support::InterpreterHarness h;
    const char* keys[] = {"EnableSnmpTrap", "SnmpTrapreceiver1", "SnmpTrapreceiver2"};
    const char* values[] = {c.mode, c.r1, c.r2};
    for (int i = 0; i < 3; ++i)
      if (values[i]) h.nvram.values[keys[i]] = values[i];
    records::systemlog(h.ctx, 0, c.text);
    Lines sent;
    for (const auto& argv : h.runner.argvs) sent.push_back(argv.at(5));  // v2c: the receiver
    EXPECT_EQ(sent, c.receivers);
    EXPECT_EQ(h.scratch.read("/user/ZLT.log"), std::string(c.text) + ".\n");  // logged in every case
  }
}

}  // namespace
