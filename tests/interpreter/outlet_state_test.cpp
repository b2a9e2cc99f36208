#include <gtest/gtest.h>

#include "support/interpreter_harness.h"
#include "support/outlets_cases.h"

namespace {

using testing_support::expect_outlet_case;
using testing_support::KeyValues;
using testing_support::OutletCase;

void run_all(const std::vector<OutletCase>& cases) {
  for (const auto& c : cases) expect_outlet_case(c);
}

std::vector<std::string> outlet_lines(const char* v) {
  std::vector<std::string> lines;
  for (int n = 1; n <= 8; ++n) lines.push_back("Outlet" + std::to_string(n) + "=" + v);
  return lines;
}

KeyValues all_outlet_sets(const char* v) {
  KeyValues sets{{"SystemOnOff", v}};
  for (int n = 1; n <= 8; ++n) sets.emplace_back("Outlet" + std::to_string(n), v);
  return sets;
}

KeyValues zeroed(int n, bool dc) {
  std::string k = std::to_string(n);
  return {{"Outlet" + k, "0"},
          {"Voltageout" + k, dc ? "0.00V" : "0.000V"},
          {"Carrent" + k, dc ? "0.00A" : "0.000A"},
          {"Power" + k, dc ? "0.00W" : "0.000W"},
          {"Consumed" + k, "0.000000kWh"},
          {"PowerFactor" + k, "0.00"}};
}

// Columns: message, model, nvram before, file before, file after, nvram sets
// (in order, final values), commands, printed.

TEST(OutletState, AllOutletsAreSwitchedWhateverTheModel) {
  std::vector<std::string> on_after{"Other=1"};
  for (const auto& l : outlet_lines("1")) on_after.push_back(l);
  run_all({
      {"[SUCCESS]Set All Outlets ON", "ZLT8AC", {}, {"Outlet2=0", "Other=1"}, on_after, all_outlet_sets("1")},
      {"[SUCCESS]Set All Outlets OFF", "ZLT2AC", {}, {}, outlet_lines("0"), all_outlet_sets("0")},
  });
}

TEST(OutletState, KeyLockGoesToBothStores) {
  run_all({
      {"[SUCCESS]Set Key ON", "", {}, {"powerlock=0", "A=1"}, {"A=1", "powerlock=1"}, {{"powerlock", "1"}}},
      {"[SUCCESS]Set Key OFF", "", {}, {}, {"powerlock=0"}, {{"powerlock", "0"}}},
  });
}

TEST(OutletState, OneOutletSwitched) {
  run_all({
      {"[SUCCESS]Set Outlet 3 OFF", "ZLT8AC", {{"Outlet3", "1"}}, {"Outlet3=1"}, {"Outlet3=0"},
       {{"Outlet3", "0"}}},
      {"[SUCCESS]Set Outlet 5 ON.", "ZLT8AC", {}, {}, {"Outlet5=1"}, {{"Outlet5", "1"}}},
      {"[SUCCESS]GUI Set Outlet 4 ON", "ZLT8AC", {}, {}, {"Outlet4=1"}, {{"Outlet4", "1"}}},
      // outlet 9 lives in nvram only
      {"[SUCCESS]Set Outlet 9 ON", "ZLT8ACV", {}, {"A=1"}, {"A=1"}, {{"Outlet9", "1"}}},
      {"[SUCCESS]Set Outlet 9 SOMETHING", "ZLT8ACV", {{"Outlet9", "1"}}, {}, {}, {}},
      // an unknown word writes the old state back to the file only
      {"[SUCCESS]Set Outlet 6 SOMETHING", "ZLT8AC", {{"Outlet6", "1"}}, {"Outlet6=0"}, {"Outlet6=1"}, {}},
      // the GUI form knows no restart word
      {"[SUCCESS]GUI Set Outlet 4 RESTA", "ZLT8AC", {{"Outlet4", "1"}}, {"Outlet4=0"}, {"Outlet4=1"}, {}},
      // not an outlet digit
      {"[SUCCESS]Set Outlet 0 ON", "ZLT8AC", {}, {}, {}, {}},
      {"[SUCCESS]Set Outlet 1", "ZLT8AC", {{"Outlet1", "1"}}, {}, {"Outlet1=1"}, {}},
  });
}

TEST(OutletState, OutletSevenIsSwitchedOnOnlyByTheExactWord) {
  run_all({
      {"[SUCCESS]Set Outlet 7 ON", "ZLT8AC", {{"Outlet7", "0"}}, {}, {"Outlet7=1"}, {{"Outlet7", "1"}}},
      {"[SUCCESS]Set Outlet 7 ON.", "ZLT8AC", {{"Outlet7", "0"}}, {"Outlet7=1"}, {"Outlet7=0"}, {}},
      {"[SUCCESS]GUI Set Outlet 7 ON ", "ZLT8AC", {{"Outlet7", "0"}}, {}, {"Outlet7=0"}, {}},
      {"[SUCCESS]Set Outlet 7 OFF.", "ZLT8AC", {{"Outlet7", "1"}}, {}, {"Outlet7=0"}, {{"Outlet7", "0"}}},
      // other outlets look at two characters only
      {"[SUCCESS]Set Outlet 6 ON.", "ZLT8AC", {{"Outlet6", "0"}}, {}, {"Outlet6=1"}, {{"Outlet6", "1"}}},
  });
}

TEST(OutletState, RestartZeroesTheReadingsPerModel) {
  auto dc = zeroed(2, true);
  auto ac = zeroed(2, false);
  auto nine = zeroed(9, false);
  run_all({
      {"[SUCCESS]Set Outlet 2 RESTART", "ZLT8DC", {{"Outlet2", "1"}}, {}, {"Outlet2=0"}, dc},
      {"[SUCCESS]Set Outlet 2 RESTART", "ZLT8AC", {{"Outlet2", "1"}}, {}, {"Outlet2=0"}, ac},
      {"[SUCCESS]Set Outlet 2 RESTART", "", {}, {}, {"Outlet2=0"}, ac},
      {"[SUCCESS]Set Outlet 9 RESTART", "ZLT8ACV", {}, {"A=1"}, {"A=1"}, nine},
  });
}

TEST(OutletState, GuiOutletStatusSetsOneCharacterOfTheOutletString) {
  run_all({
      {"[SUCCESS]GUI Outlet 5 Current Status Is Overload", "ZLT8AC", {}, {}, {},
       {{"Tio5", "3"}, {"Tipoutlet", "111131111"}}, {}, "outlet_num: 5\n"},
      {"[SUCCESS]GUI Outlet 1 Current Status Is Connected", "ZLT8AC", {{"Tipoutlet", "333333333"}}, {}, {},
       {{"Tio1", "2"}, {"Tipoutlet", "233333333"}}, {}, "outlet_num: 1\n"},
      {"[SUCCESS]GUI Outlet 9 Current Status Is AbnormalVoltage", "ZLT8ACV", {}, {}, {},
       {{"Tio9", "0"}, {"Tipoutlet", "111111110"}}, {}, "outlet_num: 9\n"},
      // no status word: the string is stored as it was (the default when absent)
      {"[SUCCESS]GUI Outlet 3 Current Status Is Sleeping", "ZLT8AC", {}, {}, {},
       {{"Tipoutlet", "111111111"}}, {}, "outlet_num: 3\n"},
      // outlet numbers without a place in the string change nothing
      {"[SUCCESS]GUI Outlet 0 Current Status Is Idle", "ZLT8AC", {}, {}, {}, {}, {}, "outlet_num: 0\n"},
      {"[SUCCESS]GUI Outlet 12 Current Status Is Idle", "ZLT8AC", {}, {}, {}, {}, {}, "outlet_num: 12\n"},
      // a shorter stored string is completed from the default
      {"[SUCCESS]GUI Outlet 6 Current Status Is Overload", "ZLT4AC", {{"Tipoutlet", "2222"}}, {}, {},
       {{"Tio6", "3"}, {"Tipoutlet", "222213"}}, {}, "outlet_num: 6\n"},
  });
}

// The GUI status row comes before the per-outlet setting and switch rows.
TEST(OutletState, GuiStatusRowComesBeforeTheSwitchRows) {
  run_all({
      {"[SUCCESS]GUI Outlet 4 Current Status Is Idle [SUCCESS]Set Outlet 4 ON", "ZLT8AC", {}, {}, {},
       {{"Tio4", "1"}, {"Tipoutlet", "111111111"}}, {}, "outlet_num: 4\n"},
      // without "Current Status Is" the GUI row lets the message go on
      {"[SUCCESS]GUI Outlet 4 Idle [SUCCESS]Set Outlet 4 ON", "ZLT8AC", {}, {}, {"Outlet4=1"},
       {{"Outlet4", "1"}}},
  });
}

// Energy clean-ups: the energy file and the printed lines.
TEST(OutletState, EnergyCleanUps) {
  struct Case {
    std::string message;
    KeyValues nvram_sets;
    std::string energy_after;
    std::string printed;
  };
  const std::string energy = "1 0.5\n2 0.25\n1 0.75\n";
  const Case cases[] = {
      {"[SUCCESS]Clean Up All Outlets Electrical Work", {{"EnergyMeasuredSince", "2024-05-01"}}, "",
       "Cleaned 3 record(s) for outlet 0.\n"},
      {"[SUCCESS]Clean Up The Outlet 1 Electrical Work.", {}, "2 0.250000\n",
       "Cleaned 2 record(s) for outlet 1.\n"},
      {"[SUCCESS]Clean Up The Outlet 9 Electrical Work.", {}, "1 0.500000\n2 0.250000\n1 0.750000\n",
       "No record found for outlet 9.\n"},
      // out of range, or not at the start of the message: nothing happens
      {"[SUCCESS]Clean Up The Outlet 12 Electrical Work.", {}, energy, ""},
      {"[SUCCESS]Clean Up The Outlet 0 Electrical Work.", {}, energy, ""},
      {"x[SUCCESS]Clean Up The Outlet 1 Electrical Work.", {}, energy, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    testing_support::InterpreterHarness h;
    h.nvram.values["Energymeasured2"] = "2024-05-01";
    h.scratch.write("/user/intervalenergy", energy);
    h.feed(c.message);
    std::vector<std::string> keys;
    for (const auto& kv : c.nvram_sets) keys.push_back(kv.first);
    EXPECT_EQ(h.nvram.set_order, keys);
    for (const auto& [key, value] : c.nvram_sets) EXPECT_EQ(h.nv(key), value) << key;
    EXPECT_EQ(h.scratch.read("/user/intervalenergy"), c.energy_after);
    EXPECT_EQ(h.take_output(), "\n**RV470_InputData=" + c.message + "\n" + c.printed);
    EXPECT_TRUE(h.settings_lines().empty());
    EXPECT_TRUE(h.runner.lines.empty());
  }
}

TEST(OutletState, CleanUpOfAllOutletsWithoutAMeasuredDateOnlyCleansTheRecords) {
  testing_support::InterpreterHarness h;
  h.feed("[SUCCESS]Clean Up All Outlets Electrical Work");
  EXPECT_EQ(h.nv("EnergyMeasuredSince"), "<absent>");
  EXPECT_TRUE(h.nvram.set_order.empty());
  EXPECT_FALSE(h.scratch.exists("/user/intervalenergy"));
}

}  // namespace
