// Single status-dump rows: token rules, stores (file + nvram versus nvram
// only), closing rows and the model layouts.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interpreter/status/tokenizer.h"
#include "support/interpreter_harness.h"
#include "support/status_cases.h"

namespace {

using testing_support::check_message_case;
using testing_support::kAbsent;
using testing_support::MessageCase;

const std::string kSystemHeader = "Power Key Relay TCP/IP Baud Current OverVoltage UnderVoltage Ground";
const std::string kVoltageHeader = "VoltMonitorMode VoltMonitorRetryTime";
const std::string kModeHeader = "SafeMode RelayMode RelayLevel StandbyMode RetryCnt RetryTime BeeperTime";
const std::string kOutletHeader = "Outlet Status Tip PowerOnTime PowerOffTime PowerRestaTime EleReset Current OCDT";
const std::string kMeasurementHeader = "Outlet Voltage Current Power Consumed PowerFactor Frequency";
const std::string kPortHeader = "Sensor111 Power Protocol Type Address SlaveStation Code Check Max Min Unit Beeper";
const std::string kRuleHeader2 =
    "Outlet Sensor1Response2 Sensor1Trigger2 Sensor1Delay2 Sensor2Response2 Sensor2Trigger2 Sensor2Delay2";

TEST(StatusTokeniser, SplitsRowsIntoColumns) {
  struct Case {
    const char* row;
    int columns;
    std::vector<std::string> tokens;
  };
  const Case cases[] = {
      {"a b c", 3, {"a", "b", "c"}},
      {"a  b   c", 3, {"a", "b", "c"}},                    // runs of spaces are one separator
      {" a b", 3, {"", "a", "b"}},                         // a leading space: empty column 0
      {"a b", 4, {"a", "b", "", ""}},                      // short rows give empty columns
      {"", 2, {"", ""}},
      {"a b c d", 2, {"a", "b"}},                          // the rest is never read
      {"a\tb c\r\n", 2, {"a\tb", "c\r\n"}},                // only a space ends a column
      {"123456789012345678901234 x", 2, {"1234567890123456789", "x"}},  // cut at 19, rest consumed
  };
  for (const Case& c : cases) {
    std::vector<std::string> got;
    interp::for_each_column(c.row, c.columns, [&](int column, const char* token) {
      EXPECT_EQ(column, static_cast<int>(got.size()));
      got.emplace_back(token);
    });
    EXPECT_EQ(got, c.tokens) << '"' << c.row << '"';
  }
}

TEST(StatusTokeniser, RowIdentityIsTheFirstNumberContained) {
  struct Case {
    const char* token;
    int last;
    bool sys_row;
    int id;
  };
  const Case cases[] = {
      {"3", 9, true, 3},   {"12", 9, true, 1},  {"21", 9, true, 1},  {"SYS", 9, true, 10},
      {"SYS", 8, true, 9}, {"9", 8, true, 0},   {"SYS", 8, false, 0}, {"x", 9, true, 0},
      {"", 2, false, 0},   {"5", 4, true, 0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(interp::row_identity(c.token, c.last, c.sys_row), c.id) << c.token << " last " << c.last;
  }
}

TEST(StatusRows, SystemRow) {
  const std::string row8ac = "ON OFF ON 1 9600 10 250 90 Device_Ground_Lost";
  const std::vector<MessageCase> cases = {
      {"ZLT8AC: every column, file + nvram versus nvram only", "ZLT8AC", {}, 0, {kSystemHeader, row8ac},
       {{"Power", "1", "1"}, {"powerlock", "0", "0"}, {"relaypower", "1", "1"}, {"Enabletcpip", "0", "0"},
        {"localBaud", "3", "3"}, {"Thresholdcurrent", "10", "10"}, {"VoltageThreshold", "250", kAbsent},
        {"UnderVoltage", "90", kAbsent}, {"DashboardSense", "Device Ground Lost", kAbsent},
        {"Groundsen", "1", kAbsent}},
       0},
      {"ZLT8DC: column 3 ignored, the rest shifted, 8 columns", "ZLT8DC", {}, 0, {kSystemHeader, row8ac},
       {{"Enabletcpip", "1", "1"}, {"localBaud", "6", "6"}, {"Thresholdcurrent", kAbsent, kAbsent},
        {"VoltageThreshold", "250", kAbsent}, {"UnderVoltage", "90", kAbsent},
        {"DashboardSense", kAbsent, kAbsent}},
       0},
      {"ZLT4AC without ChangeModel2: no ground column", "ZLT4AC", {}, 0, {kSystemHeader, row8ac},
       {{"UnderVoltage", "90", kAbsent}, {"Groundsen", kAbsent, kAbsent}}, 0},
      {"ZLT4AC2 with ChangeModel2 1: ground column", "ZLT4AC2", {{"ChangeModel2", "1x"}}, 0,
       {kSystemHeader, row8ac}, {{"Groundsen", "1", kAbsent}}, 0},
      {"ChangeModel2 tested on its first character only", "ZLT4AC2", {{"ChangeModel2", "01"}}, 0,
       {kSystemHeader, row8ac}, {{"Groundsen", kAbsent, kAbsent}}, 0},
      {"Device_Ground_Detected is longer than a column holds and is never recognised", "ZLT8AC", {}, 0,
       {kSystemHeader, "ON OFF ON 1 9600 10 250 90 Device_Ground_Detected"},
       {{"DashboardSense", kAbsent, kAbsent}, {"Groundsen", kAbsent, kAbsent}}, 0},
      {"localBaud 115200 is index 7 and replaces only the first character", "ZLT8AC",
       {{"localBaud", "2x"}}, 0, {kSystemHeader, "ON OFF ON 1 115200"}, {{"localBaud", "7x", "7x"}}, 0},
      {"localBaud without a known rate is written back unchanged", "ZLT8AC", {{"localBaud", "4"}}, 0,
       {kSystemHeader, "ON OFF ON 1 1200"}, {{"localBaud", "4", "4"}}, 0},
      {"Power accepts On and Off", "ZLT8AC", {}, 0, {kSystemHeader, "On Off Off"},
       {{"Power", "1", "1"}, {"powerlock", kAbsent, kAbsent}, {"relaypower", kAbsent, kAbsent}}, 0},
      {"Power Off", "ZLT8AC", {}, 0, {kSystemHeader, "Off"}, {{"Power", "0", "0"}}, 0},
      {"unknown words leave keys alone, Enabletcpip is always written", "ZLT8AC", {}, 0,
       {kSystemHeader, "maybe maybe maybe x"},
       {{"Power", kAbsent, kAbsent}, {"powerlock", kAbsent, kAbsent}, {"Enabletcpip", "1", "1"}}, 0},
      {"a row cut after column 5 stores empty thresholds", "ZLT8AC", {}, 0,
       {kSystemHeader, "ON OFF ON 1 9600 10"},
       {{"Thresholdcurrent", "10", "10"}, {"VoltageThreshold", "", kAbsent}, {"UnderVoltage", "", kAbsent}},
       0},
      {"a second row without a new header changes nothing", "ZLT8AC", {}, 0,
       {kSystemHeader, row8ac, "OFF ON OFF 0 2400 1 2 3"}, {{"Power", "1", "1"}, {"localBaud", "3", "3"}},
       0},
      {"two spaces between columns", "ZLT8AC", {}, 0, {kSystemHeader, "ON  OFF   ON 1"},
       {{"Power", "1", "1"}, {"powerlock", "0", "0"}, {"relaypower", "1", "1"}}, 0},
      {"unknown model: nothing parsed, the table stays armed", "ZLT9XX", {}, 0,
       {kSystemHeader, row8ac, row8ac}, {{"Power", kAbsent, kAbsent}, {"localBaud", kAbsent, kAbsent}}, 3},
      {"a row before its header is lost", "ZLT8AC", {}, 0, {row8ac}, {{"Power", kAbsent, kAbsent}}, 0},
      {"ZLT2AC: the header is taken but its row stores nothing", "ZLT2AC", {}, 0, {kSystemHeader, row8ac},
       {{"Power", kAbsent, kAbsent}}, 0},
      {"ZLT8ACV: the same", "ZLT8ACV", {}, 0, {kSystemHeader, row8ac}, {{"Power", kAbsent, kAbsent}}, 0},
  };
  for (const auto& c : cases) check_message_case(c);
}

TEST(StatusRows, VoltageMonitorSystemModeAndInitialisationRows) {
  const std::vector<MessageCase> cases = {
      {"voltage monitor on ZLT8AC", "ZLT8AC", {}, 0, {kVoltageHeader, "Auto_Retry 5mins"},
       {{"VoltMonitorMode", "1", kAbsent}, {"VoltMonitorRetryTime", "5", kAbsent}}, 0},
      {"voltage monitor on ZLT8DC: PowerMode5v first", "ZLT8DC", {}, 0,
       {"PowerLimit VoltMonitorMode VoltMonitorRetryTime", "8x30W Auto_Retry 10mins"},
       {{"PowerMode5v", "8x30W", "8x30W"}, {"VoltMonitorMode", "1", kAbsent},
        {"VoltMonitorRetryTime", "10", kAbsent}},
       0},
      {"the retry time column closes the table even when missing", "ZLT8AC", {}, 0,
       {kVoltageHeader, "Auto_Retry"}, {{"VoltMonitorRetryTime", "", kAbsent}}, 0},
      {"All_Outlets_Shutdown is longer than a column holds", "ZLT8AC", {{"VoltMonitorMode", "1"}}, 0,
       {kVoltageHeader, "All_Outlets_Shutdown 3mins"},
       {{"VoltMonitorMode", "1", kAbsent}, {"VoltMonitorRetryTime", "3", kAbsent}}, 0},
      {"system mode: every column, file + nvram", "ZLT8AC", {}, 0,
       {kModeHeader, "System_Shutdown Push_Button High_Voltage All_Standby_Mode 5 60s 2s"},
       {{"Safemode", "1", "1"}, {"relaymode", "1", "1"}, {"ralayvoltage", "1", "1"},
        {"Standbymode", "0", "0"}, {"Reteriesvalue", "5", "5"}, {"Secmin", "60s", "60s"},
        {"BeeperTime", "2s", "2s"}},
       0},
      {"system mode: unknown words", "ZLT4AC", {}, 0, {kModeHeader, "Auto_Retry Lever Middle Sleep_Mode"},
       {{"Safemode", "2", "2"}, {"relaymode", kAbsent, kAbsent}, {"ralayvoltage", kAbsent, kAbsent},
        {"Standbymode", "1", "1"}, {"BeeperTime", "", ""}},
       0},
      {"the SysStatus header leaves the armed table alone", "ZLT8AC", {}, 0,
       {kModeHeader, "SysStatus SysIntervalOn SysIntervalOff BeeperTime", "Outlet_Shutdown Dry_Contact"},
       {{"Safemode", "0", "0"}, {"relaymode", "0", "0"}}, 0},
      {"initialisation row (nothing arms it): nvram only", "ZLT8AC", {}, 5, {"On 1s 2s 3s 4s 5s"},
       {{"AllInitalizStatus", "On", kAbsent}, {"AllInitalizdelay", "1s", kAbsent},
        {"AllPowerdelay", "2s", kAbsent}, {"AllPoweroffdelay", "3s", kAbsent},
        {"AllResetDelay", "4s", kAbsent}, {"BeeperTime", "5s", kAbsent}},
       0},
  };
  for (const auto& c : cases) check_message_case(c);
}

TEST(StatusRows, OutletTable) {
  const std::string dcHeader =
      "Outlet Status Tip PowerOnTime PowerOffTime PowerRestaTime EleReset Voltage MaxVoltage USB USBStatus";
  const std::vector<MessageCase> cases = {
      {"an AC row: switch, status word, delays; the table stays armed", "ZLT8AC", {}, 0,
       {kOutletHeader, "3 ON Overload 5 10 15 20"},
       {{"Outlet3", "1", "1"}, {"Tipoutlet", "113111111", "113111111"}, {"Powerdelay3", "5", "5"},
        {"Poweroffdelay3", "10", "10"}, {"Restadelay3", "15", "15"}, {"ResetDelay3", "20", "20"}},
       4},
      {"switch state replaces the first character only", "ZLT8AC", {{"Outlet2", "1x"}}, 0,
       {kOutletHeader, "2 Off"}, {{"Outlet2", "0x", "0x"}}, 4},
      {"threshold current and OCDT are nvram only", "ZLT8AC", {}, 0,
       {kOutletHeader, "3 ON Idle 1s 1s 1s 1s 12 500ms"},
       {{"Thresholdcurrent3", "12", kAbsent}, {"OCDT", "0:0:5:0:0:0:0:0", kAbsent}}, 4,
       "OCDT i=8, _input=3, avgArr=500ms\n"},
      {"ZLT4AC OCDT rewrites only its outlet's field", "ZLT4AC", {{"OCDT", "1:2:3:4"}}, 0,
       {kOutletHeader, "2 ON Idle 1s 1s 1s 1s 7 300ms"}, {{"OCDT", "1:3:3:4", kAbsent}}, 4},
      {"ZLT4AC OCDT for an outlet above 4 changes no field", "ZLT4AC", {{"OCDT", "1:2:3:4"}}, 0,
       {kOutletHeader, "6 ON Idle 1s 1s 1s 1s 7 300ms"}, {{"OCDT", "1:2:3:4", kAbsent}}, 4},
      {"OCDT delay names other than 100ms..500ms are 0", "ZLT8AC", {{"OCDT", "5:5:5:5:5:5:5:5"}}, 0,
       {kOutletHeader, "1 ON Idle 1 1 1 1 7 No_Delay", "2 ON Idle 1 1 1 1 7 250ms", "3 ON Idle 1 1 1 1 7 100"},
       {{"OCDT", "0:0:1:5:5:5:5:5", kAbsent}}, 4},
      {"outlet 9: nvram only, Tio9 on AbnormalVoltage", "ZLT8AC", {}, 0,
       {kOutletHeader, "9 ON AbnormalVoltage 1s 1s 1s 1s 3 100ms"},
       {{"Outlet9", "1", kAbsent}, {"Tipoutlet", "111111110", "111111110"}, {"Tio9", "0", kAbsent},
        {"Powerdelay9", kAbsent, kAbsent}, {"Thresholdcurrent9", kAbsent, kAbsent},
        {"OCDT", kAbsent, kAbsent}},
       4},
      {"SYS closes the table and still rewrites Tipoutlet", "ZLT8AC", {{"Tipoutlet", "222222222"}}, 0,
       {kOutletHeader, "SYS ON Idle 0 0 0 0 0 0", "2 ON Connected 1 1 1 1 1 1"},
       {{"Tipoutlet", "222222222", "222222222"}, {"Outlet2", kAbsent, kAbsent},
        {"Powerdelay2", kAbsent, kAbsent}},
       0},
      {"row 12 is taken for outlet 1", "ZLT8AC", {}, 0, {kOutletHeader, "12 ON Connected 4s"},
       {{"Outlet1", "1", "1"}, {"Powerdelay1", "4s", "4s"}, {"Outlet2", kAbsent, kAbsent}}, 4},
      {"a row before its header is lost", "ZLT8AC", {}, 0, {"3 ON Overload 5 10 15 20"},
       {{"Outlet3", kAbsent, kAbsent}, {"Tipoutlet", kAbsent, kAbsent}}, 0},
      {"two spaces between columns", "ZLT8AC", {}, 0, {kOutletHeader, "3  ON   Overload  5 10"},
       {{"Outlet3", "1", "1"}, {"Tipoutlet", "113111111", "113111111"}, {"Poweroffdelay3", "10", "10"}},
       4},
      {"a long delay is cut at 19 characters, the next column still found", "ZLT8AC", {}, 0,
       {kOutletHeader, "3 ON Idle 123456789012345678901234 10"},
       {{"Powerdelay3", "1234567890123456789", "1234567890123456789"}, {"Poweroffdelay3", "10", "10"}}, 4},
      {"a leading space leaves the row without an outlet", "ZLT8AC", {}, 0, {kOutletHeader, " 3 ON Idle 5"},
       {{"Outlet3", kAbsent, kAbsent}, {"Tipoutlet", kAbsent, kAbsent}, {"Powerdelay3", kAbsent, kAbsent}},
       4},
      {"unknown model: rows ignored, the table stays armed", "ZLT9XX", {}, 0,
       {kOutletHeader, "3 ON Overload 5 10 15 20"}, {{"Outlet3", kAbsent, kAbsent}}, 4},
      {"DC row: voltage, limit 7 as 07, USB port and overload", "ZLT8DC", {}, 0,
       {dcHeader, "2 ON Idle 1s 2s 3s 4s 12V 7 ON Overload"},
       {{"Dcvoltage", "13111111", "13111111"}, {"Maxvotagevalue", "0107010101010101", "0107010101010101"},
        {"Outletusb", "01000000", "01000000"}, {"Ousb2", "1", kAbsent},
        {"Outletusbaction", "01000000", "01000000"}, {"Thresholdcurrent2", kAbsent, kAbsent}},
       4},
      {"DC limit 24 stores 24", "ZLT8DC", {}, 0, {dcHeader, "8 OFF Idle 1s 2s 3s 4s 24V 24 OFF Normal"},
       {{"Dcvoltage", "11111115", "11111115"}, {"Maxvotagevalue", "0101010101010124", "0101010101010124"},
        {"Outletusb", "00000000", "00000000"}, {"Ousb8", "0", kAbsent}, {"Outlet8", "0", "0"}},
       4},
      {"DC has no outlet 9 and closes on SYS", "ZLT8DC", {}, 0,
       {dcHeader, "9 ON Idle 1s 2s 3s 4s 24V 24 ON Overload", "SYS ON Idle 1s 2s 3s 4s 24V 24 ON Overload"},
       {{"Outlet9", kAbsent, kAbsent}, {"Dcvoltage", kAbsent, kAbsent}, {"Tipoutlet", "111111111", "111111111"}},
       0},
      {"status words in their order", "ZLT8AC", {}, 0,
       {kOutletHeader, "1 ON Connected", "2 ON Idle", "3 ON Overload", "4 ON AbnormalVoltage", "5 ON Busy",
        "6 ON IdleOverload"},
       {{"Tipoutlet", "213011111", "213011111"}, {"Tio9", kAbsent, kAbsent}}, 4},
  };
  for (const auto& c : cases) check_message_case(c);
}

TEST(StatusRows, MeasurementTable) {
  const std::vector<MessageCase> cases = {
      {"an outlet row, verbatim, nvram only; column 6 dropped", "ZLT8AC", {}, 0,
       {kMeasurementHeader, "3 120.3V 0.312A 31.5W 3.234567kWh 0.93 60.0Hz"},
       {{"Voltageout3", "120.3V", kAbsent}, {"Carrent3", "0.312A", kAbsent}, {"Power3", "31.5W", kAbsent},
        {"Consumed3", "3.234567kWh", kAbsent}, {"PowerFactor3", "0.93", kAbsent},
        {"Frequency", kAbsent, kAbsent}},
       6},
      {"SYS stores the totals and closes the table", "ZLT4AC", {}, 0,
       {kMeasurementHeader, "SYS 230.1V 4.096A 492.0W 9.876543kWh 0.98 50.0Hz\r"},
       {{"Voltage", "230.1V", kAbsent}, {"TotalCarrent", "4.096A", kAbsent}, {"TotalPower", "492.0W", kAbsent},
        {"TotalEnergyConsumed", "9.876543kWh", kAbsent}, {"PowerFactor", "0.98", kAbsent},
        {"Frequency", "50.0Hz\r", kAbsent}},
       0},
      {"ZLT4AC has no row 5", "ZLT4AC", {}, 0, {kMeasurementHeader, "5 1V 1A 1W 1kWh 1 1Hz"},
       {{"Voltageout5", kAbsent, kAbsent}}, 6},
      {"ZLT8DC has no row 9", "ZLT8DC", {}, 0, {kMeasurementHeader, "9 1V 1A 1W 1kWh 1 1Hz"},
       {{"Voltageout9", kAbsent, kAbsent}}, 6},
      {"ZLT8AC has row 9", "ZLT8AC", {}, 0, {kMeasurementHeader, "9 1V 1A 1W 1kWh 1 1Hz"},
       {{"Voltageout9", "1V", kAbsent}}, 6},
      {"a short row stores empty values", "ZLT8AC", {}, 0, {kMeasurementHeader, "2 119V"},
       {{"Voltageout2", "119V", kAbsent}, {"Carrent2", "", kAbsent}}, 6},
      {"unknown model: ignored, stays armed", "ZLT9XX", {}, 0, {kMeasurementHeader, "1 1V 1A 1W 1kWh 1 1Hz"},
       {{"Voltageout1", kAbsent, kAbsent}}, 6},
  };
  for (const auto& c : cases) check_message_case(c);
}

TEST(StatusRows, SensorTables) {
  const std::vector<MessageCase> cases = {
      {"port 1: codes and verbatim columns, nvram only", "ZLT8AC", {}, 0,
       {kPortHeader, "1 ON I2C Tem+Hum 0x44 7 3 ON 50 -10 C"},
       {{"sensor1power", "1", kAbsent}, {"sensorpro1", "2", kAbsent}, {"sensortype1", "3", kAbsent},
        {"sensoraddress1", "0x44", kAbsent}, {"sensorSlaveStation1", "7", kAbsent},
        {"sensorFunctionCode1", "3", kAbsent}, {"sensor1check", "1", kAbsent},
        {"sensor1maxvalue", "50", kAbsent}, {"sensor1minvalue", "-10", kAbsent},
        {"sensor1unit", "C", kAbsent}},
       14},
      {"port 2 closes the table", "ZLT8DC", {}, 0, {kPortHeader, "2 OFF Modbus-RTU-RS485 NC"},
       {{"sensor2power", "0", kAbsent}, {"sensorpro2", "3", kAbsent}, {"sensortype2", "2", kAbsent}}, 0},
      {"codes replace the first character; unknown words leave them", "ZLT8AC",
       {{"sensortype1", "15"}, {"sensorpro1", "29"}, {"sensor1check", "07"}}, 0,
       {kPortHeader, "1 On Wireless AirPre 1 1 1 Off"},
       {{"sensortype1", "45", kAbsent}, {"sensorpro1", "29", kAbsent}, {"sensor1check", "07", kAbsent},
        {"sensor1power", "1", kAbsent}},
       14},
      {"sensor types in their order", "ZLT8AC", {}, 0,
       {kPortHeader, "1 ON Door Hum", "2 ON RelaySwitch Other"},
       {{"sensortype1", "2", kAbsent}, {"sensorpro1", "4", kAbsent}, {"sensortype2", "5", kAbsent},
        {"sensorpro2", "5", kAbsent}},
       0},
      {"rule row for outlet 5 in response set 2", "ZLT8AC", {}, 0,
       {kRuleHeader2, "5 Restart Min 300ms PowerOff Max 100ms"},
       {{"sensor21output", "11114111", kAbsent}, {"sensor21trigger", "11113111", kAbsent},
        {"sensor21delay5", "300ms", kAbsent}, {"sensor22output", "11113111", kAbsent},
        {"sensor22trigger", "11112111", kAbsent}, {"sensor22delay5", "100ms", kAbsent}},
       12},
      {"response set 1 keeps sensor11output in the settings file too", "ZLT8AC", {}, 0,
       {"Outlet Sensor1Response1 Sensor1Trigger1 Sensor1Delay1 Sensor2Response1", "2 PowerON Max 0ms PowerOFF"},
       {{"sensor11output", "12111111", "12111111"}, {"sensor11trigger", "12111111", kAbsent},
        {"sensor12output", "13111111", kAbsent}},
       11},
      {"rule row 8 closes the table; unknown words keep the code", "ZLT8AC", {{"sensor31output", "44444444"}},
       13, {"8 Explode Min-Max 1ms N/A N/A 2ms"},
       {{"sensor31output", "44444444", kAbsent}, {"sensor31trigger", "11111114", kAbsent},
        {"sensor32output", "11111111", kAbsent}, {"sensor32trigger", "11111111", kAbsent}},
       0},
  };
  for (const auto& c : cases) check_message_case(c);
}

TEST(StatusRows, EveryUnmatchedMessageClearsTheQueryState) {
  struct Case {
    const char* model;
    uint32_t mode;
  };
  const Case cases[] = {{"ZLT8AC", 0}, {"ZLT9XX", 3}, {"ZLT2AC", 4}};
  for (const Case& c : cases) {
    testing_support::InterpreterHarness h;
    h.set_model(c.model);
    h.state.CheckStatusMode = c.mode;
    h.state._readGetCommand = 5;
    h.state._readGetCommandFirstNumber = 6;
    h.state._readGetCommandFirstOrSecond = 7;
    h.feed("nothing anyone recognises");
    EXPECT_EQ(h.state._readGetCommand.load(), 0) << c.model;
    EXPECT_EQ(h.state._readGetCommandFirstNumber.load(), 0) << c.model;
    EXPECT_EQ(h.state._readGetCommandFirstOrSecond.load(), 0) << c.model;
  }
}

}  // namespace
