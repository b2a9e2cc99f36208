// The MCU's answers to Get queries, fed through the whole chain: what ends up
// in nvram and in the settings file.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/interpreter_harness.h"

namespace {

using Values = std::map<std::string, std::string>;
using Lines = std::vector<std::string>;

// Every case starts from this settings file; replies other than "<Outlet "
// must leave it as it is.
const char* const kSeedFile = "HostName=pdu\nOutlet2=1\nXOutlet2=7\nPowerdelay3=old\n";
const Lines kSeedLines = {"HostName=pdu", "Outlet2=1", "XOutlet2=7", "Powerdelay3=old"};

struct Case {
  const char* message;
  Values nvram_before;  // "ZLTMerge" here is the model
  Values nvram_after;   // the whole of nvram afterwards
  Lines file_after = kSeedLines;
};

void run_cases(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string("message: ") + c.message);
    testing_support::InterpreterHarness h;
    h.scratch.write("/user/argument.text", kSeedFile);
    h.nvram.values = c.nvram_before;
    EXPECT_EQ(h.feed(c.message), 0);
    EXPECT_EQ(h.nvram.values, c.nvram_after);
    EXPECT_EQ(h.settings_lines(), c.file_after);
    EXPECT_EQ(h.nvram.commits, 0);
    EXPECT_TRUE(h.runner.lines.empty());
    EXPECT_TRUE(h.mcu.bytes.empty());
  }
}

TEST(QueryReplies, FixedValuesGoToNvramOnly) {
  run_cases({
      {"<GetPowerStatus On", {}, {{"Power", "1"}}},
      {"<GetPowerStatus Off", {{"Power", "1"}}, {{"Power", "0"}}},
      {"<GetKeyStatus On", {}, {{"powerlock", "1"}}},
      {"<GetKeyStatus Off", {}, {{"powerlock", "0"}}},
      {"<GetGroundStatus Properly Grounded",
       {},
       {{"DashboardSense", "Device Ground Detected"}, {"Groundsen", "0"}}},
      {"<GetGroundStatus Not Grounded",
       {},
       {{"DashboardSense", "Device Ground Lost"}, {"Groundsen", "1"}}},
      {"<GetSafeMode Outlet_Shutdown", {}, {{"Safemode", "0"}}},
      {"<GetSafeMode System_Shutdown", {}, {{"Safemode", "1"}}},
      {"<GetSafeMode Auto_Retry", {}, {{"Safemode", "2"}}},
      {"<GetStandbyMode All_Standby_Mode", {}, {{"Standbymode", "0"}}},
      {"<GetStandbyMode Sleep_Mode", {}, {{"Standbymode", "1"}}},
      {"<GetRelayMode Dry_Contact", {}, {{"relaymode", "0"}}},
      {"<GetRelayMode Push_Button", {}, {{"relaymode", "1"}}},
      {"<GetRelayLevel Low_Voltage", {}, {{"ralayvoltage", "0"}}},
      {"<GetRelayLevel High_Voltage", {}, {{"ralayvoltage", "1"}}},
      {"<GetRelayStatus On", {}, {{"relaypower", "1"}}},
      {"<GetRelayStatus Off", {}, {{"relaypower", "0"}}},
      // Found anywhere in the message, case-sensitively.
      {"xx<GetRelayStatus On\r\n", {}, {{"relaypower", "1"}}},
      {"<getrelaystatus On", {}, {}},
  });
}

TEST(QueryReplies, PlainRestsAreStoredUnchanged) {
  run_cases({
      {"<GetSystemOverVoltageThreshold 250V", {}, {{"VoltageThreshold", "250V"}}},
      {"<GetSystemUnderVoltageThreshold 90", {}, {{"UnderVoltage", "90"}}},
      {"<GetSystemCurrentThreshold  16A.", {}, {{"Thresholdcurrent", " 16A."}}},
      {"<GetSystemCurrentThreshold ", {}, {{"Thresholdcurrent", ""}}},
      {"<Total Current 3.2A", {}, {{"TotalCarrent", "3.2A"}}},
      {"<Total Power 700W", {}, {{"TotalPower", "700W"}}},
      {"<Total Energy Consumed 12.5kWh", {}, {{"TotalEnergyConsumed", "12.5kWh"}}},
      {"<Voltage 229.8V", {}, {{"Voltage", "229.8V"}}},
      {"<Frequency 50Hz", {}, {{"Frequency", "50Hz"}}},
      {"<Power Factor 0.98", {}, {{"PowerFactor", "0.98"}}},
  });
}

TEST(QueryReplies, PerOutletTimesGoToNvramNotTheFile) {
  run_cases({
      // The file already holds a Powerdelay3 line; the reply must not touch it.
      {"<GetOutletPowerOnTime 3 5", {}, {{"Powerdelay3", "5"}}},
      {"<GetOutletPowerOnTime 1 10s", {}, {{"Powerdelay1", "10s"}}},
      {"<GetOutletPowerOffTime 8 7s", {}, {{"Poweroffdelay8", "7s"}}},
      {"<GetOutletPowerOffTime 1 0s", {}, {{"Poweroffdelay1", "0s"}}},
      {"<GetOutletEleResetTime 5 3s", {}, {{"ResetDelay5", "3s"}}},
      {"<GetOutletPowerRestaTime 4 60s", {}, {{"Restadelay4", "60s"}}},
      {"<GetOutletPowerRestaTime 8 ", {}, {{"Restadelay8", ""}}},
      // Only outlets 1 to 8 have recognisers.
      {"<GetOutletPowerOnTime 9 5", {}, {}},
      {"<GetOutletPowerOnTime 3", {}, {}},
  });
}

TEST(QueryReplies, NumberedRepliesNeedAnOutletDigit) {
  run_cases({
      {"<GetOutletVoltage 1 230.1V", {}, {{"Voltageout1", "230.1V"}}},
      {"<GetOutletCurrent 2 0.52A", {}, {{"Carrent2", "0.52A"}}},
      {"<GetOutletPower 3 120W", {}, {{"Power3", "120W"}}},
      {"<GetOutletConsumed 9 1.5kWh", {}, {{"Consumed9", "1.5kWh"}}},
      {"<GetOutletPowerFactor 4 0.97", {}, {{"PowerFactor4", "0.97"}}},
      {"<GetOutletCurrentThreshold 8 10A", {}, {{"Thresholdcurrent8", "10A"}}},
      // The digit and any one separator are skipped.
      {"<GetOutletVoltage 5:231V", {}, {{"Voltageout5", "231V"}}},
      {"<GetOutletVoltage 6 ", {}, {{"Voltageout6", ""}}},
      {"<GetOutletVoltage x 230V", {}, {}},
      {"<GetOutletVoltage 0 230V", {}, {}},
      {"<GetOutletVoltage ", {}, {}},
      {"<GetOutletCurrent 7", {}, {}},
  });
}

TEST(QueryReplies, BlankAfterTheNameIsRequiredForRetryAndBeeperReplies) {
  run_cases({
      {"<GetOverloadRetryCnt 3", {}, {{"Reteriesvalue", "3"}}},
      {"<GetOverloadRetryTime 30s", {}, {{"Secmin", "30s"}}},
      {"<GetBeeperTime 5", {}, {{"BeeperTime", "5"}}},
      {"<GetOverloadRetryCnt", {{"Reteriesvalue", "2"}}, {{"Reteriesvalue", "2"}}},
      {"<GetOverloadRetryTime:30", {}, {}},
      {"<GetBeeperTime5", {}, {}},
  });
}

TEST(QueryReplies, BaudReplyRewritesTheFirstCharacterOfLocalBaud) {
  run_cases({
      {"<GetRS232Baud 2400", {{"localBaud", "6"}}, {{"localBaud", "1"}}},
      {"<GetRS232Baud 4800", {{"localBaud", "6"}}, {{"localBaud", "2"}}},
      {"<GetRS232Baud 9600", {{"localBaud", "6"}}, {{"localBaud", "3"}}},
      {"<GetRS232Baud 19200", {{"localBaud", "6"}}, {{"localBaud", "4"}}},
      {"<GetRS232Baud 38400", {{"localBaud", "1"}}, {{"localBaud", "5"}}},
      {"<GetRS232Baud 57600", {{"localBaud", "1"}}, {{"localBaud", "6"}}},
      {"<GetRS232Baud 115200", {{"localBaud", "1"}}, {{"localBaud", "7"}}},
      {"<GetRS232Baud 9600", {{"localBaud", "15"}}, {{"localBaud", "35"}}},
      {"<GetRS232Baud 9600", {}, {{"localBaud", "3"}}},
      // An unknown rate writes the old value back; absent, it starts as 6.
      {"<GetRS232Baud 1200", {{"localBaud", "2"}}, {{"localBaud", "2"}}},
      {"<GetRS232Baud 1200", {}, {{"localBaud", "6"}}},
  });
}

TEST(QueryReplies, OutletSwitchStateAlsoRewritesTheSettingsFileBelowOutletNine) {
  const Lines outlet2_off = {"HostName=pdu", "Powerdelay3=old", "Outlet2=0"};
  const Lines outlet2_on = {"HostName=pdu", "Powerdelay3=old", "Outlet2=1"};
  run_cases({
      // The plain delete also drops XOutlet2=7.
      {"<Outlet 2 Off", {{"Outlet2", "1"}}, {{"Outlet2", "0"}}, outlet2_off},
      {"<Outlet 2 On", {}, {{"Outlet2", "1"}}, outlet2_on},
      {"<Outlet 2 Ofx", {{"Outlet2", "1"}}, {{"Outlet2", "0"}}, outlet2_off},
      {"<Outlet 2 On", {{"Outlet2", "01"}}, {{"Outlet2", "11"}},
       {"HostName=pdu", "Powerdelay3=old", "Outlet2=11"}},
      {"<Outlet 5 On", {}, {{"Outlet5", "1"}}, {"HostName=pdu", "Outlet2=1", "XOutlet2=7",
                                                 "Powerdelay3=old", "Outlet5=1"}},
      {"<Outlet 8 Off", {}, {{"Outlet8", "0"}}, {"HostName=pdu", "Outlet2=1", "XOutlet2=7",
                                                  "Powerdelay3=old", "Outlet8=0"}},
      // Outlet 9 lives in nvram only.
      {"<Outlet 9 On", {}, {{"Outlet9", "1"}}},
      // No usable state or digit: nothing at all.
      {"<Outlet 2 Idle", {{"Outlet2", "1"}}, {{"Outlet2", "1"}}},
      {"<Outlet 2 O", {{"Outlet2", "1"}}, {{"Outlet2", "1"}}},
      {"<Outlet 0 On", {}, {}},
      {"<Outlet 2", {}, {}},
      {"<Outlet A On", {}, {}},
  });
}

TEST(QueryReplies, OutletModeRewritesOneCharacterOfTipoutlet) {
  run_cases({
      {"<GetOutletMode 3 Connected", {}, {{"Tipoutlet", "112111111"}}},
      {"<GetOutletMode 1 Idle", {{"Tipoutlet", "222222222"}}, {{"Tipoutlet", "122222222"}}},
      {"<GetOutletMode 5 Overload", {}, {{"Tipoutlet", "111131111"}}},
      {"<GetOutletMode 9 AbnormalVoltage", {}, {{"Tipoutlet", "111111110"}}},
      // A stored string shorter than the outlet number is padded with Idle.
      {"<GetOutletMode 4 Overload", {{"Tipoutlet", "22"}}, {{"Tipoutlet", "2213"}}},
      {"<GetOutletMode 2 Unknown", {{"Tipoutlet", "222222222"}}, {{"Tipoutlet", "222222222"}}},
      {"<GetOutletMode 0 Idle", {}, {}},
      {"<GetOutletMode 7", {}, {}},
  });
}

TEST(QueryReplies, OutletCurrentDelayUsesTheModelsDefaultList) {
  run_cases({
      {"<GetOutletCurrentDelayTime 3 200ms", {{"ZLTMerge", "ZLT4AC"}},
       {{"ZLTMerge", "ZLT4AC"}, {"OCDT", "0:0:2:0"}}},
      {"<GetOutletCurrentDelayTime 4 100ms", {{"ZLTMerge", "ZLT4AC2"}},
       {{"ZLTMerge", "ZLT4AC2"}, {"OCDT", "0:0:0:1"}}},
      {"<GetOutletCurrentDelayTime 8 500ms", {{"ZLTMerge", "ZLT8AC"}},
       {{"ZLTMerge", "ZLT8AC"}, {"OCDT", "0:0:0:0:0:0:0:5"}}},
      {"<GetOutletCurrentDelayTime 1 300ms", {{"ZLTMerge", "ZLT8ACV"}},
       {{"ZLTMerge", "ZLT8ACV"}, {"OCDT", "3:0:0:0:0:0:0:0"}}},
      {"<GetOutletCurrentDelayTime 2 400ms", {{"ZLTMerge", "ZLT2AC"}},
       {{"ZLTMerge", "ZLT2AC"}, {"OCDT", "0:4"}}},
      // The unit's own list wins over the model's default.
      {"<GetOutletCurrentDelayTime 2 0ms", {{"ZLTMerge", "ZLT2AC"}, {"OCDT", "5:5:5:5"}},
       {{"ZLTMerge", "ZLT2AC"}, {"OCDT", "5:0:5:5"}}},
      {"<GetOutletCurrentDelayTime 1 100ms", {{"OCDT", "0:0"}}, {{"OCDT", "1:0"}}},
      // No default list for other models.
      {"<GetOutletCurrentDelayTime 1 100ms", {{"ZLTMerge", "ZLT8DC"}}, {{"ZLTMerge", "ZLT8DC"}}},
      {"<GetOutletCurrentDelayTime 1 100ms", {}, {}},
      // Other delays, outlets out of range or beyond the list, and missing
      // numbers store nothing.
      {"<GetOutletCurrentDelayTime 3 250ms", {{"ZLTMerge", "ZLT4AC"}}, {{"ZLTMerge", "ZLT4AC"}}},
      {"<GetOutletCurrentDelayTime 3 600ms", {{"ZLTMerge", "ZLT4AC"}}, {{"ZLTMerge", "ZLT4AC"}}},
      {"<GetOutletCurrentDelayTime 3 -100ms", {{"ZLTMerge", "ZLT4AC"}}, {{"ZLTMerge", "ZLT4AC"}}},
      {"<GetOutletCurrentDelayTime 5 100ms", {{"ZLTMerge", "ZLT4AC"}}, {{"ZLTMerge", "ZLT4AC"}}},
      {"<GetOutletCurrentDelayTime 0 100ms", {{"ZLTMerge", "ZLT8AC"}}, {{"ZLTMerge", "ZLT8AC"}}},
      {"<GetOutletCurrentDelayTime 10 100ms", {{"ZLTMerge", "ZLT8AC"}}, {{"ZLTMerge", "ZLT8AC"}}},
      {"<GetOutletCurrentDelayTime 3", {{"ZLTMerge", "ZLT8AC"}}, {{"ZLTMerge", "ZLT8AC"}}},
      {"<GetOutletCurrentDelayTime", {{"ZLTMerge", "ZLT8AC"}}, {{"ZLTMerge", "ZLT8AC"}}},
      {"<GetOutletCurrentDelayTime 99999999999 100ms", {{"ZLTMerge", "ZLT8AC"}},
       {{"ZLTMerge", "ZLT8AC"}}},
  });
}

TEST(QueryReplies, AbnormalVoltageModeAndRetryTime) {
  run_cases({
      {"<GetAbnormalVoltage_SafeMode All_Outlets_Shutdown", {}, {{"VoltMonitorMode", "0"}}},
      {"<GetAbnormalVoltage_SafeMode Auto_Retry", {}, {{"VoltMonitorMode", "1"}}},
      {"<GetAbnormalVoltage_SafeMode Something", {}, {{"VoltMonitorMode", "0"}}},
      {"<GetAbnormalVoltage_RetryTime  5mins", {}, {{"VoltMonitorRetryTime", " 5"}}},
      {"<GetAbnormalVoltage_RetryTime 10 mins 3mins", {}, {{"VoltMonitorRetryTime", "10 "}}},
      {"<GetAbnormalVoltage_RetryTime 7", {}, {{"VoltMonitorRetryTime", "7"}}},
  });
}

// A message holding two prefixes goes to the one tested first.
TEST(QueryReplies, EarlierRecognisersWin) {
  run_cases({
      // A letter after "Current"/"Power" keeps the longer names apart.
      {"<GetOutletCurrentThreshold 2 10A", {}, {{"Thresholdcurrent2", "10A"}}},
      {"<GetOutletPowerFactor 2 0.9", {}, {{"PowerFactor2", "0.9"}}},
      {"<GetOutletCurrent 4 1.2A <GetOutletCurrentThreshold 4 10",
       {},
       {{"Carrent4", "1.2A <GetOutletCurrentThreshold 4 10"}}},
      {"<GetOutletPower 3 5W <GetOutletPowerOnTime 3 7s", {}, {{"Powerdelay3", "7s"}}},
      {"<GetOutletPower 3 5W <GetOutletPowerOffTime 3 2s", {}, {{"Poweroffdelay3", "2s"}}},
      {"<GetOutletPowerFactor 1 0.9 <GetOutletPower 1 5W", {}, {{"Power1", "5W"}}},
      {"<GetOutletVoltage 1 230V <Power Factor 0.99", {}, {{"PowerFactor", "0.99"}}},
      {"<GetOutletConsumed 1 2kWh <Voltage 230V", {}, {{"Voltage", "230V"}}},
      {"<Total Power 700W <Power Factor 0.9", {}, {{"TotalPower", "700W <Power Factor 0.9"}}},
      {"<Outlet 2 On <GetOutletMode 2 Overload", {}, {{"Tipoutlet", "131111111"}}},
      {"<GetPowerStatus On <GetRelayStatus Off", {}, {{"Power", "1"}}},
      {"<GetOutletPowerOnTime 2 5s <GetOutletPowerOffTime 2 3s", {}, {{"Poweroffdelay2", "3s"}}},
      {"<GetOutletPowerOnTime 8 5s <GetOutletPowerOnTime 1 3s", {}, {{"Powerdelay1", "3s"}}},
      {"<GetOutletCurrentDelayTime 1 100ms <GetOutletCurrent 1 2A", {{"ZLTMerge", "ZLT2AC"}},
       {{"ZLTMerge", "ZLT2AC"}, {"OCDT", "1:0"}}},
  });
}

}  // namespace
