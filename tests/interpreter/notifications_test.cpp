#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/interpreter_harness.h"

namespace {

using Settings = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

constexpr const char* kAbsent = "<absent>";
// The 20-character time-stamp field that opens clue and tip texts.
const std::string kStamp = "2024-05-06 07:08:09 ";

// Outlet 3's e-mail flag stands at position 4; the others are off.
const Settings kMailOutlet3 = {
    {"Emaildailyopen", "1"}, {"IncludeOutlet", "0,0,1,0,0,0,0,0"}, {"EnableNotification", "1"}};

Settings with(Settings s, const Settings& extra) {
  for (const auto& [k, v] : extra) s[k] = v;
  return s;
}

struct NoticeCase {
  const char* name;
  std::string message;
  Settings settings;
  std::map<std::string, Lines> logs;  // every log file expected, with its lines
  Settings nvram_after;               // nvram keys and their values (kAbsent: not set)
  std::vector<long> sleeps;
};

void check(const NoticeCase& c) {
  SCOPED_TRACE(c.name);
  testing_support::InterpreterHarness h;
  for (const auto& [k, v] : c.settings) h.nvram.values[k] = v;
  EXPECT_EQ(h.feed(c.message), 0);
  for (int n = 0; n <= 8; ++n) {
    const std::string file = n == 0 ? "/user/ZLT.log" : "/user/Outlet" + std::to_string(n) + ".log";
    auto it = c.logs.find(file);
    if (it == c.logs.end())
      EXPECT_FALSE(h.scratch.exists(file)) << file;
    else
      EXPECT_EQ(h.scratch.lines(file), it->second) << file;
  }
  for (const auto& [k, v] : c.nvram_after) EXPECT_EQ(h.nv(k), v) << k;
  EXPECT_EQ(h.clock.sleeps, c.sleeps);
  EXPECT_TRUE(h.settings_lines().empty());  // nvram only: no settings-file lines
}

TEST(Notifications, ClueAndTipWriteTheSelectedLogs) {
  const std::string outlet3 = kStamp + "Outlet 3 overload";
  const std::string line3 = outlet3 + ".";
  const NoticeCase cases[] = {
      {"tip about an included outlet", "Tip:" + outlet3, kMailOutlet3,
       {{"/user/Outlet3.log", {line3}}, {"/user/ZLT.log", {line3}}},
       {{"Emailsend", outlet3}, {"sensor1checksend", "3"}},
       {150, 150, 150}},
      {"clue about an included outlet", "Clue:" + outlet3, kMailOutlet3,
       {{"/user/Outlet3.log", {line3}}, {"/user/ZLT.log", {line3}}},
       {{"Emailsend", kAbsent}, {"sensor1checksend", kAbsent}},
       {150, 150, 150}},
      {"all eight outlets included", "Tip:" + outlet3,
       with(kMailOutlet3, {{"IncludeOutlet", "11111111"}}),
       {{"/user/ZLT.log", {line3}}},
       {{"sensor1checksend", "3"}},
       {150, 150}},
      {"outlet not included", "Tip:" + outlet3,
       with(kMailOutlet3, {{"IncludeOutlet", "1,1,0,1,1,1,1,1"}}),
       {{"/user/ZLT.log", {line3}}}, {}, {150, 150}},
      {"daily mail off", "Tip:" + outlet3, with(kMailOutlet3, {{"Emaildailyopen", "0"}}),
       {{"/user/ZLT.log", {line3}}}, {}, {150, 150}},
      {"settings absent", "Tip:" + outlet3, {}, {{"/user/ZLT.log", {line3}}}, {}, {150, 150}},
      {"connection change without notifications",
       "Tip:" + kStamp + "Outlet 3 change from Idle to Connected",
       with(kMailOutlet3, {{"EnableNotification", "0"}}),
       {{"/user/ZLT.log", {kStamp + "Outlet 3 change from Idle to Connected."}}}, {}, {150, 150}},
      {"other change without notifications", "Tip:" + outlet3,
       with(kMailOutlet3, {{"EnableNotification", "0"}}),
       {{"/user/Outlet3.log", {line3}}, {"/user/ZLT.log", {line3}}}, {}, {150, 150, 150}},
      {"connection change with notifications",
       "Tip:" + kStamp + "Outlet 3 change from Connected to Idle", kMailOutlet3,
       {{"/user/Outlet3.log", {kStamp + "Outlet 3 change from Connected to Idle."}},
        {"/user/ZLT.log", {kStamp + "Outlet 3 change from Connected to Idle."}}},
       {}, {150, 150, 150}},
      {"outlet name inside the time-stamp field only", "Tip:Outlet 3 07:08:09 ab Power restored",
       kMailOutlet3, {{"/user/ZLT.log", {"Outlet 3 07:08:09 ab Power restored."}}}, {}, {150, 150}},
      {"lowest outlet number wins", "Tip:" + kStamp + "Outlet 8 then Outlet 3",
       with(kMailOutlet3, {{"IncludeOutlet", "0,0,1,0,0,0,0,1"}}),
       {{"/user/Outlet3.log", {kStamp + "Outlet 8 then Outlet 3."}},
        {"/user/ZLT.log", {kStamp + "Outlet 8 then Outlet 3."}}},
       {}, {150, 150, 150}},
      {"text shorter than the time-stamp field", "Tip:Outlet 3", kMailOutlet3,
       {{"/user/ZLT.log", {"Outlet 3."}}}, {{"Emailsend", "Outlet 3"}}, {150, 150}},
      {"clue taken before tip in one message", "Tip:Clue:" + outlet3, kMailOutlet3,
       {{"/user/Outlet3.log", {line3}}, {"/user/ZLT.log", {line3}}},
       {{"Emailsend", kAbsent}}, {150, 150, 150}},
  };
  for (const auto& c : cases) check(c);
}

TEST(Notifications, GroundEventFlagsTheDashboard) {
  const std::string ground = kStamp + "The System Lacks Ground Wire";
  // Kind 10 reads the flag at position 18, which is on here: still no outlet log.
  const Settings mail = {{"Emaildailyopen", "1"},
                         {"IncludeOutlet", "0,0,0,0,0,0,0,0,0,1"},
                         {"EnableNotification", "1"}};
  const NoticeCase cases[] = {
      {"tip", "Tip:" + ground, mail, {{"/user/ZLT.log", {ground + "."}}},
       {{"DashboardSenseTmp", "Device Ground Lost"}, {"Groundsen", "1"}, {"Emailsend", ground},
        {"sensor1checksend", "3"}},
       {100, 150, 150}},
      {"clue", "Clue:" + ground, mail, {{"/user/ZLT.log", {ground + "."}}},
       {{"DashboardSenseTmp", kAbsent}, {"Groundsen", kAbsent}}, {150, 150}},
      {"outlet named first", "Tip:" + kStamp + "Outlet 3: The System Lacks Ground Wire", {},
       {{"/user/ZLT.log", {kStamp + "Outlet 3: The System Lacks Ground Wire."}}},
       {{"Groundsen", kAbsent}}, {150, 150}},
  };
  for (const auto& c : cases) check(c);
}

TEST(Notifications, TipTrapsLikeTheSystemLog) {
  struct Case {
    std::string message;
    size_t traps;
  };
  const Case cases[] = {
      {"Tip:" + kStamp + "Outlet 3 Critical overload", 1},
      {"Tip:" + kStamp + "Sensor1 Critical high", 0},
      {"Tip:" + kStamp + "Outlet 3 On", 0},
      {"Sensor1Warning:" + kStamp + "Critical high", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    testing_support::InterpreterHarness h;
    h.nvram.values["SnmpTrapreceiver1"] = "198.51.100.1";
    h.feed(c.message);
    EXPECT_EQ(h.runner.argvs.size(), c.traps);
    EXPECT_EQ(h.runner.lines.size(), c.traps);  // nothing else runs
  }
}

TEST(Notifications, SensorWarningsLogDirectlyAndFlagTheMail) {
  const char* kUnchanged = "9";
  struct Case {
    int sensor;
    const char* check;  // null: absent
    const char* send;   // expected sensor<n>checksend, preset to "9"
  };
  const Case cases[] = {
      {1, "10", "2"}, {1, "01", "1"}, {1, "11", "1"}, {1, "00", kUnchanged}, {1, "1", kUnchanged},
      {1, nullptr, kUnchanged}, {2, "10", "2"}, {2, "01", "1"}, {2, "11", "1"}, {2, "00", kUnchanged},
      {2, "1", kUnchanged}, {2, "110", "1"},
  };
  for (const auto& c : cases) {
    const std::string n = std::to_string(c.sensor);
    SCOPED_TRACE("sensor " + n + " check " + (c.check ? c.check : "absent"));
    testing_support::InterpreterHarness h;
    h.nvram.values["sensor" + n + "checksend"] = kUnchanged;
    h.nvram.values["sensor" + std::string(c.sensor == 1 ? "2" : "1") + "checksend"] = kUnchanged;
    if (c.check) h.nvram.values["sensor" + n + "check"] = c.check;
    h.nvram.values["SnmpTrapreceiver1"] = "198.51.100.1";
    const std::string text = kStamp + "Sensor" + n + " Warning: 41C";
    EXPECT_EQ(h.feed("Sensor" + n + "Warning:" + text), 0);

    EXPECT_EQ(h.nv("sensor" + n + "checksend"), c.send);
    EXPECT_EQ(h.nv(c.sensor == 1 ? "senEmailsend" : "senEmailsend2"), text);
    EXPECT_EQ(h.nv(c.sensor == 1 ? "senEmailsend2" : "senEmailsend"), kAbsent);
    EXPECT_EQ(h.nv(std::string("sensor") + (c.sensor == 1 ? "2" : "1") + "checksend"), kUnchanged);
    EXPECT_EQ(h.scratch.lines("/user/ZLT.log"), Lines{text + "."});
    for (int o = 1; o <= 8; ++o) EXPECT_FALSE(h.scratch.exists("/user/Outlet" + std::to_string(o) + ".log"));
    EXPECT_TRUE(h.clock.sleeps.empty());
    EXPECT_TRUE(h.runner.argvs.empty());
  }
}

TEST(Notifications, SensorWarningKeepsTheSystemLogAtItsLimit) {
  testing_support::InterpreterHarness h;
  h.scratch.write("/user/ZLT.log", "a.\nb.\n");
  h.nvram.values["logfilesize"] = "0";
  h.feed("Sensor2Warning:c");
  h.feed("Sensor1Warning:d");
  EXPECT_EQ(h.scratch.lines("/user/ZLT.log"), (Lines{"c.", "d."}));
  h.nvram.values["logfilesize"] = "1";
  h.feed("Tip:e");
  EXPECT_EQ(h.scratch.lines("/user/ZLT.log"), (Lines{"c.", "d.", "e."}));
}

}  // namespace
