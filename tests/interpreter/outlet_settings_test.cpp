#include <gtest/gtest.h>

#include "interpreter/outlet_settings.h"
#include "support/outlets_cases.h"

namespace {

using testing_support::expect_outlet_case;
using testing_support::OutletCase;

void run_all(const std::vector<OutletCase>& cases) {
  for (const auto& c : cases) expect_outlet_case(c);
}

// Columns: message, model, nvram before, file before, file after, nvram sets
// (in order, final values), then commands / printed / MCU bytes / sleeps
// (none unless given).

TEST(OutletSettings, StoresTheTextAfterThePhraseAsReceived) {
  run_all({
      {"[SUCCESS]Set Outlet 1 Current Threshold To 10A", "ZLT8AC", {}, {}, {},
       {{"Thresholdcurrent1", "10A"}}},
      {"[SUCCESS]Set All Outlets Initialization Status ON", "", {}, {}, {},
       {{"AllInitalizStatus", "ON"}}},
      {"[SUCCESS]Set System Initialization Delay 5s", "", {}, {}, {}, {{"AllInitalizdelay", "5s"}}},
      {"[SUCCESS]Set All Outlets Re-power Interval 3s", "", {}, {}, {}, {{"AllPowerdelay", "3s"}}},
      {"[SUCCESS]Set All Outlets Power_OFF Interval 2s", "", {}, {}, {}, {{"AllPoweroffdelay", "2s"}}},
      {"[SUCCESS]Set All Outlets Electrical Work Reset Duration To 60s", "", {}, {}, {},
       {{"AllResetDelay", "60s"}}},
      {"[SUCCESS]Get The Device Runtime For The System: 12:30:00", "", {}, {}, {},
       {{"SysRunTime", "12:30:00"}}},
      // Buzzer time and overload restart delay: file line and nvram; the plain
      // delete takes every line holding KEY=.
      {"[SUCCESS]Set The Buzzer Sound Time To 3s", "", {}, {"BeeperTime=1s", "A=1", "XBeeperTime=9"},
       {"A=1", "BeeperTime=3s"}, {{"BeeperTime", "3s"}}},
      {"[SUCCESS]Set The Overload Restart Delay 30s", "", {}, {"Overloadtime=5s", "B=2"},
       {"B=2", "Overloadtime=30s"}, {{"Overloadtime", "30s"}}},
      // Runtime texts: nvram and file.
      {"xxCMDTIME:2024-05-01 10:00", "", {}, {"CMDTIME=old"}, {"CMDTIME=2024-05-01 10:00"},
       {{"CMDTIME", "2024-05-01 10:00"}}},
      {"[SUCCESS]GUI Get The Device Runtime For The System: 1d 2h", "", {}, {}, {"RUNTIME=1d 2h"},
       {{"RUNTIME", "1d 2h"}}},
      // The MQTT restart request runs the client's script and stores nothing.
      {"[SUCCESS]Mqtt Process Detection", "", {}, {"A=1"}, {"A=1"}, {}, {"mqttsub-init.sh &"}},
  });
}

TEST(OutletSettings, SafeModeStoresADigit) {
  run_all({
      {"[SUCCESS]Set The System Safe Mode To Outlet_Shutdown", "", {}, {"Safemode=2"}, {"Safemode=0"},
       {{"Safemode", "0"}}},
      {"[SUCCESS]Set The System Safe Mode To System_Shutdown.", "", {}, {}, {"Safemode=1"},
       {{"Safemode", "1"}}},
      {"[SUCCESS]Set The System Safe Mode To Auto_Retry", "", {}, {}, {"Safemode=2"}, {{"Safemode", "2"}}},
  });
}

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

TEST(OutletSettings, AllOutletOcdtRepeatsTheCodeForEachOutletOfTheModel) {
  run_all({
      {"[SUCCESS]Set All Outlets OCDT To 300ms.", "ZLT8ACV", {}, {}, {}, {{"OCDT", "3:3:3:3:3:3:3:3"}}},
      {"[SUCCESS]Set All Outlets OCDT To 100ms", "ZLT8AC", {{"OCDT", "5:5"}}, {}, {},
       {{"OCDT", "1:1:1:1:1:1:1:1"}}},
      {"[SUCCESS]Set All Outlets OCDT To No Delay.", "ZLT4AC2", {}, {}, {}, {{"OCDT", "0:0:0:0"}}},
      {"[SUCCESS]Set All Outlets OCDT To 400ms.", "ZLT2AC", {}, {}, {}, {{"OCDT", "4:4"}}},
      {"[SUCCESS]Set All Outlets OCDT To 250ms.", "ZLT8AC", {}, {}, {}, {{"OCDT", "0:0:0:0:0:0:0:0"}}},
      // the text stops at its first '.'
      {"[SUCCESS]Set All Outlets OCDT To 200ms.5", "ZLT2AC", {}, {}, {}, {{"OCDT", "2:2"}}},
      // DC units and unknown models count no outlets: the list is stored empty.
      {"[SUCCESS]Set All Outlets OCDT To 300ms.", "ZLT8DC", {{"OCDT", "1:1"}}, {}, {}, {{"OCDT", ""}}},
  });
}

TEST(OutletSettings, PerOutletOcdtReplacesOneFieldOfTheList) {
  run_all({
      {"[SUCCESS]Set Outlet 2 OCDT To 200ms.", "ZLT8ACV", {}, {}, {}, {{"OCDT", "0:2:0:0:0:0:0:0"}}},
      {"[SUCCESS]Set Outlet 3 OCDT To No Delay", "ZLT8AC", {{"OCDT", "5:5:5:5:5:5:5:5"}}, {}, {},
       {{"OCDT", "5:5:0:5:5:5:5:5"}}},
      {"[SUCCESS]Set Outlet 4 OCDT To 100ms", "ZLT4AC2", {}, {}, {}, {{"OCDT", "0:0:0:1"}}},
      // several digits and leading blanks in the outlet number
      {"[SUCCESS]Set Outlet  08 OCDT To 300ms", "ZLT8AC", {}, {}, {}, {{"OCDT", "0:0:0:0:0:0:0:3"}}},
      // at most N fields of a longer list are taken, and only those are kept
      {"[SUCCESS]Set Outlet 2 OCDT To 400ms", "ZLT4AC", {{"OCDT", "1:1:1:1:1:1:1:1"}}, {}, {},
       {{"OCDT", "1:4:1:1"}}},
      // empty fields are skipped as a strtok split skips them
      {"[SUCCESS]Set Outlet 3 OCDT To 500ms", "ZLT4AC", {{"OCDT", "1::2:3"}}, {}, {}, {{"OCDT", "1:2:5"}}},
      // nothing is written:
      {"[SUCCESS]Set Outlet 2 OCDT To 200ms.", "ZLT8DC", {}, {}, {}, {}},
      {"[SUCCESS]Set Outlet 2 OCDT To 200ms.", "ZLT8DC", {{"OCDT", "0:0"}}, {}, {}, {}},
      {"[SUCCESS]Set Outlet 5 OCDT To 300ms", "ZLT4AC", {{"OCDT", "0:0:0:0"}}, {}, {}, {}},
      {"[SUCCESS]Set Outlet 4 OCDT To 300ms", "ZLT4AC", {{"OCDT", "1::2:3"}}, {}, {}, {}},
      {"[SUCCESS]Set Outlet 12 OCDT To 300ms", "ZLT8AC", {}, {}, {}, {}},
      {"[SUCCESS]Set Outlet x OCDT To 300ms", "ZLT8AC", {}, {}, {}, {}},
      {"[SUCCESS]Set Outlet 1 OCDT To 300ms", "ZLT8AC", {{"OCDT", ""}}, {}, {}, {}},
  });
}

TEST(OutletSettings, PerOutletTextSettingsReadOneOutletDigit) {
  run_all({
      {"[SUCCESS]Set Outlet 3 Power_ON Delay 5s", "ZLT8AC", {}, {"Powerdelay3=1s", "Powerdelay1=2s"},
       {"Powerdelay1=2s", "Powerdelay3=5s"}, {{"Powerdelay3", "5s"}}},
      {"[SUCCESS]Set Outlet 8 Power_OFF Delay 10s.", "ZLT8AC", {}, {}, {"Poweroffdelay8=10s."},
       {{"Poweroffdelay8", "10s."}}},
      {"[SUCCESS]Set Outlet 5 Electrical Work Reset Duration To 7s", "ZLT8AC", {}, {},
       {"ResetDelay5=7s"}, {{"ResetDelay5", "7s"}}},
      {"[SUCCESS]Set Outlet 6 Power_RESTA Delay 9s", "ZLT8AC", {}, {}, {"Restadelay6=9s"},
       {{"Restadelay6", "9s"}}},
      // initial status: nvram only
      {"[SUCCESS]Set Outlet 4 Initial Status To ON", "ZLT8AC", {}, {"Outlet4=0"}, {"Outlet4=0"},
       {{"InitalizStatus4", "ON"}}},
      // one character is the outlet number: "10" is outlet 1
      {"[SUCCESS]Set Outlet 10 Power_ON Delay 5s", "ZLT8AC", {}, {}, {"Powerdelay1=5s"},
       {{"Powerdelay1", "5s"}}},
      // nothing written outside '1'..'8'
      {"[SUCCESS]Set Outlet 9 Power_OFF Delay 5s", "ZLT8AC", {}, {}, {}, {}},
      {"[SUCCESS]Set Outlet 0 Initial Status To ON", "ZLT8AC", {}, {}, {}, {}},
  });
}

TEST(OutletSettings, PerOutletDcVoltageIsWrittenBackEvenWhenUnchanged) {
  run_all({
      {"[SUCCESS]Set Outlet 4 Voltage Status 12V", "ZLT8DC", {}, {}, {"Dcvoltage=11131111"},
       {{"Dcvoltage", "11131111"}}},
      {"[SUCCESS]Set Outlet 1 Voltage Status 9V", "ZLT8DC", {{"Dcvoltage", "55555555"}}, {"Dcvoltage=x"},
       {"Dcvoltage=25555555"}, {{"Dcvoltage", "25555555"}}},
      {"[SUCCESS]Set Outlet 8 Voltage Status 24", "ZLT8DC", {}, {}, {"Dcvoltage=11111115"},
       {{"Dcvoltage", "11111115"}}},
      // two characters are compared: "120" is 12V
      {"[SUCCESS]Set Outlet 3 Voltage Status 120", "ZLT8DC", {}, {}, {"Dcvoltage=11311111"},
       {{"Dcvoltage", "11311111"}}},
      {"[SUCCESS]Set Outlet 3 Voltage Status 7V", "ZLT8DC", {{"Dcvoltage", "12345123"}}, {},
       {"Dcvoltage=12345123"}, {{"Dcvoltage", "12345123"}}},
      // a shorter stored string is completed from the default
      {"[SUCCESS]Set Outlet 6 Voltage Status 24V", "ZLT8DC", {{"Dcvoltage", "333"}}, {},
       {"Dcvoltage=333115"}, {{"Dcvoltage", "333115"}}},
      {"[SUCCESS]Set Outlet 9 Voltage Status 24V", "ZLT8DC", {{"Dcvoltage", "12345123"}}, {},
       {"Dcvoltage=12345123"}, {{"Dcvoltage", "12345123"}}},
  });
}

TEST(OutletSettings, VoltageOffsetTakesTwoCharactersPerOutlet) {
  run_all({
      {"[SUCCESS]Set Outlet 8 Voltage Offset To 7", "ZLT8DC", {}, {}, {"Maxvotagevalue=0101010101010107"},
       {{"Maxvotagevalue", "0101010101010107"}}},
      {"[SUCCESS]Set Outlet 8 Voltage Offset To 12", "ZLT8DC", {}, {}, {"Maxvotagevalue=0101010101010112"},
       {{"Maxvotagevalue", "0101010101010112"}}},
      {"[SUCCESS]Set Outlet 1 Voltage Offset To 123", "ZLT8DC", {{"Maxvotagevalue", "0909090909090909"}},
       {}, {"Maxvotagevalue=1209090909090909"}, {{"Maxvotagevalue", "1209090909090909"}}},
      {"[SUCCESS]Set Outlet 3 Voltage Offset To 20", "ZLT8DC", {{"Maxvotagevalue", "090"}}, {},
       {"Maxvotagevalue=090120"}, {{"Maxvotagevalue", "090120"}}},
      {"[SUCCESS]Set Outlet 9 Voltage Offset To 5", "ZLT8DC", {{"Maxvotagevalue", "0909090909090909"}},
       {"Maxvotagevalue=1"}, {"Maxvotagevalue=0909090909090909"}, {{"Maxvotagevalue", "0909090909090909"}}},
  });
}

TEST(OutletSettings, AllOutletDcVoltageComparesThreeCharactersForTwoDigitVoltages) {
  run_all({
      {"[SUCCESS]Set All Outlets Voltage Status 12V", "ZLT8DC", {}, {}, {"Dcvoltage=33333333"},
       {{"Dcvoltage", "33333333"}}},
      {"[SUCCESS]Set All Outlets Voltage Status 5V.", "ZLT8DC", {{"Dcvoltage", "55555555"}}, {},
       {"Dcvoltage=11111111"}, {{"Dcvoltage", "11111111"}}},
      {"[SUCCESS]Set All Outlets Voltage Status 24V", "ZLT8DC", {}, {}, {"Dcvoltage=55555555"},
       {{"Dcvoltage", "55555555"}}},
      // "12" without its V matches nothing here, unlike the per-outlet form
      {"[SUCCESS]Set All Outlets Voltage Status 12", "ZLT8DC", {{"Dcvoltage", "12345123"}}, {},
       {"Dcvoltage=12345123"}, {{"Dcvoltage", "12345123"}}},
  });
}

// A message that carries the phrases of two rows goes to the earlier row.
TEST(OutletSettings, EarlierRowsOfTheChainWin) {
  run_all({
      // the threshold row comes before the switch row, which would store Outlet3
      {"[SUCCESS]Set Outlet 3 Current Threshold To 5", "ZLT8AC", {{"Outlet3", "1"}}, {"Outlet3=1"},
       {"Outlet3=1"}, {{"Thresholdcurrent3", "5"}}},
      // the per-outlet setting row comes before the switch row
      {"[SUCCESS]Set Outlet 2 Power_ON Delay 5", "ZLT8AC", {{"Outlet2", "1"}}, {"Outlet2=1"},
       {"Outlet2=1", "Powerdelay2=5"}, {{"Powerdelay2", "5"}}},
      {"[SUCCESS]Set Outlet 1 Initial Status To OFF", "ZLT8AC", {{"Outlet1", "1"}}, {"Outlet1=1"},
       {"Outlet1=1"}, {{"InitalizStatus1", "OFF"}}},
      // the all-outlet OCDT row comes before the per-outlet row
      {"[SUCCESS]Set All Outlets OCDT To 100ms [SUCCESS]Set Outlet 2 Power_ON Delay 5", "ZLT2AC", {}, {},
       {}, {{"OCDT", "1:1"}}},
      // per-outlet OCDT is tested before the text settings
      {"[SUCCESS]Set Outlet 1 OCDT To 200ms Power_ON Delay 5", "ZLT2AC", {}, {}, {}, {{"OCDT", "2:0"}}},
      // not the all-outlets switch
      {"[SUCCESS]Set All Outlets Initialization Status ON", "ZLT8AC", {}, {}, {}, {{"AllInitalizStatus", "ON"}}},
  });
}

}  // namespace
