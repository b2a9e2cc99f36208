#include "records/event_log.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/interpreter_harness.h"

namespace {

using Lines = std::vector<std::string>;

std::vector<std::string> log_files() {
  std::vector<std::string> out = {"/user/ZLT.log"};
  for (int n = 1; n <= 8; ++n) out.push_back("/user/Outlet" + std::to_string(n) + ".log");
  return out;
}

TEST(SystemLog, EachKindWritesItsOwnLogAndNothingElse) {
  struct Case {
    int kind;
    const char* file;  // null: nothing written
  };
  const Case cases[] = {{0, "/user/ZLT.log"},      {1, "/user/Outlet1.log"}, {4, "/user/Outlet4.log"},
                        {8, "/user/Outlet8.log"},  {9, nullptr},             {10, nullptr},
                        {-1, nullptr},             {100, nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE("kind " + std::to_string(c.kind));
    testing_support::InterpreterHarness h;
    h.nvram.values["SnmpTrapreceiver1"] = "rx";
    records::systemlog(h.ctx, c.kind, "Outlet 4 Critical: overload");
    for (const auto& file : log_files()) {
      if (c.file && file == c.file)
        EXPECT_EQ(h.scratch.read(file), "Outlet 4 Critical: overload.\n");
      else
        EXPECT_FALSE(h.scratch.exists(file)) << file;
    }
    EXPECT_EQ(h.clock.sleeps, c.file ? std::vector<long>{150} : std::vector<long>{});
    // Only the system log raises traps.
    EXPECT_EQ(h.runner.argvs.size(), c.kind == 0 ? 1u : 0u);
  }
}

TEST(SystemLog, LineIsTheTextWithOneFullStop) {
  struct Case {
    const char* text;
    const char* line;
  };
  const Case cases[] = {
      {"Already ended.", "Already ended..\n"},
      {"", ".\n"},
      {"two\nlines", "two.\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    testing_support::InterpreterHarness h;
    records::systemlog(h.ctx, 2, c.text);
    EXPECT_EQ(h.scratch.read("/user/Outlet2.log"), c.line);
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
  const std::optional<std::string> absent;
  struct Case {
    const char* name;
    std::string text;
    std::optional<std::string> mode, r1, r2;
    std::vector<std::string> receivers;  // in the order the traps went out
  };
  const Case cases[] = {
      {"both", "Critical: overload", std::string("1"), std::string("r1"), std::string("r2"), {"r1", "r2"}},
      {"warning", "Warning: hot", std::string("1"), std::string("r1"), absent, {"r1"}},
      {"first absent", "Critical", std::string("1"), absent, std::string("r2"), {"r2"}},
      {"mode absent", "Critical", absent, std::string("r1"), absent, {"r1"}},
      {"traps off", "Critical", std::string("3"), std::string("r1"), std::string("r2"), {}},
      {"starts with 3", "Critical", std::string("30"), std::string("r1"), std::string("r2"), {}},
      {"sensor 1 event", "Sensor1 Critical", std::string("1"), std::string("r1"), absent, {}},
      {"plain event", "Outlet 1 On", std::string("1"), std::string("r1"), absent, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing_support::InterpreterHarness h;
    if (c.mode) h.nvram.values["EnableSnmpTrap"] = *c.mode;
    if (c.r1) h.nvram.values["SnmpTrapreceiver1"] = *c.r1;
    if (c.r2) h.nvram.values["SnmpTrapreceiver2"] = *c.r2;
    records::systemlog(h.ctx, 0, c.text.c_str());
    std::vector<std::string> sent;
    for (const auto& argv : h.runner.argvs) sent.push_back(argv.at(5));  // v2c: the receiver
    EXPECT_EQ(sent, c.receivers);
    EXPECT_EQ(h.scratch.read("/user/ZLT.log"), c.text + ".\n");  // logged in every case
  }
}

}  // namespace
