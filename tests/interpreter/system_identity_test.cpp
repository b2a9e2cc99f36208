// System and identity messages, driven through the dispatcher: each case gives
// the MCU message and what the board held before, and states everything that
// must come out: the whole settings file, the whole nvram, command lines, MCU
// bytes, sleeps and printed text.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/interpreter_harness.h"

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;
using Lines = std::vector<std::string>;

struct Case {
  explicit Case(std::string m) : message(std::move(m)) {}
  Case& model(std::string code) { nv_before.emplace_back("ZLTMerge", std::move(code)); return *this; }
  Case& preset(Pairs p) { nv_before.insert(nv_before.end(), p.begin(), p.end()); return *this; }
  Case& file_before(Lines l) { old_file = std::move(l); return *this; }
  Case& file(Lines l) { file_lines = std::move(l); return *this; }
  Case& nv(Pairs p) { nv_changes = std::move(p); return *this; }
  Case& cmds(Lines l) { commands = std::move(l); return *this; }
  Case& mcu(std::string b) { mcu_bytes = std::move(b); return *this; }
  Case& sleeps(std::vector<long> s) { sleep_ms = std::move(s); return *this; }
  Case& prints(std::string p) { printed = std::move(p); return *this; }
  Case& commits(int n) { nv_commits = n; return *this; }

  std::string message;
  Pairs nv_before;
  Lines old_file;
  Lines file_lines;
  Pairs nv_changes;  // nvram afterwards = nv_before with these set
  Lines commands;
  std::string mcu_bytes;
  std::vector<long> sleep_ms;
  std::string printed;  // after the dispatcher's own input line
  int nv_commits = 0;
};

void check(const Case& c) {
  SCOPED_TRACE("message: " + c.message);
  testing_support::InterpreterHarness h;
  std::map<std::string, std::string> expected_nv;
  for (const auto& [k, v] : c.nv_before) h.nvram.values[k] = expected_nv[k] = v;
  if (!c.old_file.empty()) {
    std::string text;
    for (const auto& l : c.old_file) text += l + "\n";
    h.scratch.write("/user/argument.text", text);
  }
  for (const auto& [k, v] : c.nv_changes) expected_nv[k] = v;

  EXPECT_EQ(h.feed(c.message), 0);

  EXPECT_EQ(h.settings_lines(), c.file_lines);
  EXPECT_EQ(h.nvram.values, expected_nv);
  EXPECT_EQ(h.runner.lines, c.commands);
  EXPECT_EQ(h.mcu.bytes, c.mcu_bytes);
  EXPECT_EQ(h.clock.sleeps, c.sleep_ms);
  EXPECT_EQ(h.nvram.commits, c.nv_commits);
  // The dispatcher echoes the message without the passthrough tag.
  std::string input_line = "\n**RV470_InputData=" + c.message.substr(0, c.message.find("  telnet23")) + "\n";
  std::string out = h.take_output();
  ASSERT_EQ(out.substr(0, input_line.size()), input_line);
  EXPECT_EQ(out.substr(input_line.size()), c.printed);
}

void check_all(const std::vector<Case>& cases) {
  for (const auto& c : cases) check(c);
}

const Lines kNetworkRestart = {
    "killall -9 udhcpc 2>/dev/null",       "killall -9 odhcp6c 2>/dev/null",
    "killall -9 mDNSResponder 2>/dev/null", "/sbin/ifconfig br-lan1 down",
    "/sbin/ifconfig br-lan2 down",          "/sbin/ifconfig br-lan1 up",
    "/sbin/ifconfig br-lan2 up",            "/sbin/wan.sh &",
};
const char* const kMdnsReload = "/log/www/cgi-bin/ReloadmDNSRepons.cgi restart &";

// Settings kept in both stores: the file line and the same nvram value.
TEST(SystemIdentityMessages, SettingsGoToFileAndNvram) {
  check_all({
      Case("[SUCCESS]Get Device Name To Rack-7").file({"TitleLabel=Rack-7"}).nv({{"TitleLabel", "Rack-7"}}),
      Case("[SUCCESS]Set Device Name To Lab PDU").file({"TitleLabel=Lab PDU"}).nv({{"TitleLabel", "Lab PDU"}}),
      Case("[SUCCESS]This Model Name Change To ZLT4AC2").file({"ChangeModel2=1"}).nv({{"ChangeModel2", "1"}}),
      Case("[SUCCESS]Set The System Standby Mode To All_Standby_Mode").file({"Standbymode=0"}).nv({{"Standbymode", "0"}}),
      Case("[SUCCESS]Set The System Standby Mode To Sleep_Mode").file({"Standbymode=1"}).nv({{"Standbymode", "1"}}),
      Case("[SUCCESS]Set VOLTAGE SELECT ON").file({"selectkey=1"}).nv({{"selectkey", "1"}}),
      Case("[SUCCESS]Set VOLTAGE SELECT OFF").file({"selectkey=0"}).nv({{"selectkey", "0"}}),
      Case("[SUCCESS]Set 7-Segment Display ON").file({"SEG7=1"}).nv({{"SEG7", "1"}}),
      Case("[SUCCESS]Set 7-Segment Display OFF").file({"SEG7=0"}).nv({{"SEG7", "0"}}),
      Case("[SUCCESS]Set Power LED To On").file({"LED=0"}).nv({{"LED", "0"}}),
      Case("[SUCCESS]Set Power LED To OFF").file({"LED=1"}).nv({{"LED", "1"}}),
      Case("[SUCCESS]Set Power LED To Blink"),
      Case("[SUCCESS]Set The System Retry Number To 5").file({"Reteriesvalue=5"}).nv({{"Reteriesvalue", "5"}}),
      Case("[SUCCESS]Set The System Retry Delay Time To 30").file({"Secmin=30"}).nv({{"Secmin", "30"}}),
      Case("[SUCCESS]Set Relay ON").file({"relaypower=1"}).nv({{"relaypower", "1"}}),
      Case("xx[SUCCESS]Set Relay OFF").file({"relaypower=0"}).nv({{"relaypower", "0"}}),
      Case("[SUCCESS]Set The Relay Mode To Dry_Contact").file({"relaymode=0"}).nv({{"relaymode", "0"}}),
      Case("[SUCCESS]Set The Relay Mode To Push_Button").file({"relaymode=1"}).nv({{"relaymode", "1"}}),
      Case("[SUCCESS]Set The Relay Mode To Latch"),
      Case("[SUCCESS]Set The Relay Toggle Voltage To Low_Voltage").file({"ralayvoltage=0"}).nv({{"ralayvoltage", "0"}}),
      Case("[SUCCESS]Set The Relay Toggle Voltage To High_Voltage").file({"ralayvoltage=1"}).nv({{"ralayvoltage", "1"}}),
      Case("[SUCCESS]Set The Relay Toggle Voltage To Mid_Voltage"),
      Case("[SUCCESS]Set The System Current Threshold To 12.5").file({"Thresholdcurrent=12.5"}).nv({{"Thresholdcurrent", "12.5"}}),
      Case("[SUCCESS]Set Power Limit To 8x30W").file({"PowerMode5v=0"}).nv({{"PowerMode5v", "0"}}),
      Case("[SUCCESS]Set Power Limit To 4x36W & 4x30W").file({"PowerMode5v=1"}).nv({{"PowerMode5v", "1"}}),
      Case("[SUCCESS]Set Power Limit To 8x36W & USB OFF")
          .file({"PowerMode5v=2", "Outletusb=00000000"})
          .nv({{"PowerMode5v", "2"}, {"Outletusb", "00000000"}}),
      // A changed setting replaces its old line and moves to the end.
      Case("[SUCCESS]Set Relay ON").file_before({"relaypower=0", "SEG7=1"}).file({"SEG7=1", "relaypower=1"})
          .nv({{"relaypower", "1"}}),
  });
}

TEST(SystemIdentityMessages, LedDisplayPairsAndBaudRates) {
  const std::pair<const char*, const char*> pairs[] = {
      {"Current and Voltage", "0"}, {"Voltage and Current", "1"}, {"Power and Voltage", "2"},
      {"Voltage and Power", "3"},   {"Current and Power", "4"},   {"Power and Current", "5"}};
  std::vector<Case> cases;
  for (const auto& [words, code] : pairs) {
    cases.push_back(Case(std::string("[SUCCESS]Set Led To Display ") + words)
                        .file({std::string("LEDDisplay=") + code}).nv({{"LEDDisplay", code}}));
  }
  cases.push_back(Case("[SUCCESS]Set Led To Display Energy and Power"));
  const char* const rates[] = {"2400", "4800", "9600", "19200", "38400", "57600", "115200"};
  for (int i = 0; i < 7; ++i) {
    std::string digit = std::to_string(i + 1);
    cases.push_back(Case(std::string("[SUCCESS]Set RS232 Baud Rate To ") + rates[i] + " bps")
                        .file({"localBaud=" + digit}).nv({{"localBaud", digit}}));
  }
  cases.push_back(Case("[SUCCESS]Set RS232 Baud Rate To 1200"));
  check_all(cases);
}

// Keys that live in nvram only must never reach the settings file.
TEST(SystemIdentityMessages, NvramOnlyKeysStayOutOfTheFile) {
  check_all({
      Case("[MCU]Wait").preset({{"SystemWaiting", "0"}}).nv({{"SystemWaiting", "1"}}),
      Case("[MCU]Wait").preset({{"SystemWaiting", "1"}}),
      Case("[MCU]Wait"),
      Case("Rebooted").nv({{"SystemWaiting", "0"}}),
      Case("[STATUS]System Recovery End").nv({{"AbnormalStatus", "0"}}),
      Case("[SUCCESS]Set The System UnderVoltage Threshold To 90").nv({{"UnderVoltage", "90"}}),
      Case("[SUCCESS]Set The System OverVoltage Threshold To 250").nv({{"VoltageThreshold", "250"}}),
      Case("[SUCCESS]Set The System Voltage Monitor Mode To All_Outlets_Shutdown").nv({{"VoltMonitorMode", "0"}}),
      Case("[SUCCESS]Set The System Voltage Monitor Mode To Auto_Retry").nv({{"VoltMonitorMode", "1"}}),
      Case("[SUCCESS]Set The System Voltage Monitor Mode To Ignore").nv({{"VoltMonitorMode", "0"}}),
      Case("[SUCCESS]Set The System Voltage Monitor Retry Delay Time To 5 mins").nv({{"VoltMonitorRetryTime", "5"}}),
      Case("[SUCCESS]Set The System Voltage Monitor Retry Delay Time To 7").nv({{"VoltMonitorRetryTime", "7"}}),
      Case("[SUCCESS]GUI The System Power Size Is American standard voltage").nv({{"Americanvoltage", "1"}}),
      Case("[SUCCESS]GUI The System Power Size Is Non-US standard voltage").nv({{"Americanvoltage", "0"}}),
      Case("Connected.").nv({{"CheckConnectionOK", "1"}}),
      Case("Electric Size:HIGH_VOLTAGE").nv({{"ovsize", "1"}}),
      Case("Electric Size:LOW_VOLTAGE").nv({{"ovsize", "2"}}),
      Case("Electric Size:NON_STANDARD_VOLTAGE").nv({{"ovsize", "3"}}),
      Case("Electric Size:STANDARD_VOLTAGE").nv({{"ovsize", "0"}}),
      Case("[SUCCESS]Get Current Model Name To ZLT8AC").preset({{"firstlogin", "1"}}).nv({{"ZLTMerge", "ZLT8AC"}}),
      Case("[SUCCESS]Get Current Model Name To ZLT8AC").nv({{"ZLTMerge", "ZLT8AC"}}),
  });
}

TEST(SystemIdentityMessages, ModelNameBeforeFirstLoginNamesTheHost) {
  check_all({
      Case("[SUCCESS]Get Current Model Name To ZLT4AC")
          .preset({{"firstlogin", "0"}})
          .file_before({"HostName=Old", "wan_dhcp_hn=Old", "TitleLabel=Old", "SEG7=1"})
          .file({"SEG7=1", "wan_dhcp_hn=ZLT4AC", "HostName=ZLT4AC", "TitleLabel=ZLT4AC"})
          .nv({{"ZLTMerge", "ZLT4AC"}, {"wan_dhcp_hn", "ZLT4AC"}, {"HostName", "ZLT4AC"}, {"TitleLabel", "ZLT4AC"}}),
  });
}

TEST(SystemIdentityMessages, AbnormalRetryWaitInSeconds) {
  const std::pair<const char*, const char*> cases[] = {
      {"[STATUS]Abnormal Retry Later 2 Minute And 5 Second", "125"},
      {"[STATUS]Abnormal Retry Later 3 Minutes", "180"},
      {"[STATUS]Abnormal Retry Later And 42 Second", "42"},
      {"[STATUS]Abnormal Retry Later soon", "0"},
      {"[STATUS]Abnormal Retry Later 0 Minute And 59 Seconds", "59"},
      // Far too large for the unit's int: held at its limit, never wrapped.
      {"[STATUS]Abnormal Retry Later 99999999999 Minute", "2147483647"},
  };
  for (const auto& [message, seconds] : cases) check(Case(message).nv({{"AbnormalStatus", seconds}}));
}

TEST(SystemIdentityMessages, LedAutoOffAcceptsThreeToSixtyMinutes) {
  check_all({
      Case("[SUCCESS]Set Power LED To Auto Turn OFF After 3").file({"LED=3"}).nv({{"LED", "3"}}),
      Case("[SUCCESS]Set Power LED To Auto Turn OFF After 60 Minutes").file({"LED=60"}).nv({{"LED", "60"}}),
      Case("[SUCCESS]Set Power LED To Auto Turn OFF After 2").file_before({"LED=5"}).file({"LED=5"})
          .prints("Error: Number 2 is out of range (3-60)\n"),
      Case("[SUCCESS]Set Power LED To Auto Turn OFF After 61").prints("Error: Number 61 is out of range (3-60)\n"),
      Case("[SUCCESS]Set Power LED To Auto Turn OFF After soon").prints("Error: Number 0 is out of range (3-60)\n"),
  });
}

TEST(SystemIdentityMessages, UsbPortSwitchesOneCharacter) {
  check_all({
      Case("[SUCCESS]Set USB 3 ON").preset({{"Outletusb", "10000000"}, {"Outletusbaction", "11111111"}})
          .nv({{"Outletusb", "10100000"}, {"Outletusbaction", "11011111"}, {"Ousb3", "1"}}),
      Case("[SUCCESS]GUI USB 1 OFF").preset({{"Outletusb", "11111111"}, {"Outletusbaction", "11111111"}})
          .nv({{"Outletusb", "01111111"}, {"Outletusbaction", "11111111"}, {"Ousb1", "0"}}),
      // Absent strings start from all ports off.
      Case("[SUCCESS]Set USB 8 ON").nv({{"Outletusb", "00000001"}, {"Outletusbaction", "00000000"}, {"Ousb8", "1"}}),
      // "ON" within the first two characters does not count.
      Case("[SUCCESS]Set USB ON2 OFF").preset({{"Outletusb", "11111111"}})
          .nv({{"Outletusb", "10111111"}, {"Outletusbaction", "00000000"}, {"Ousb2", "0"}}),
      // Ports are tested 1 first: "2 " and "5 " both occur, port 2 is changed.
      Case("[SUCCESS]Set USB 5 2 ON").nv({{"Outletusb", "01000000"}, {"Outletusbaction", "00000000"}, {"Ousb2", "1"}}),
      // A short string is padded, never written past its end.
      Case("[SUCCESS]Set USB 6 ON").preset({{"Outletusb", "11"}})
          .nv({{"Outletusb", "11000100"}, {"Outletusbaction", "00000000"}, {"Ousb6", "1"}}),
      Case("[SUCCESS]Set USB all ON").preset({{"Outletusb", "11111111"}}),
  });
}

TEST(SystemIdentityMessages, FirmwareChecksumAndVersion) {
  check_all({
      Case("Flash_Ok:08 ABCDE12").preset({{"CheckSum", "9F3C12"}}).nv({{"CheckFileReadOK", "1"}}),
      Case("Flash_Ok:08 ABCDE12 done").preset({{"CheckSum", "12"}}).nv({{"CheckFileReadOK", "1"}}),
      Case("Flash_Ok:08 ABCDE13").preset({{"CheckSum", "9F3C12"}}).nv({{"CheckFileReadOK", "3"}}),
      Case("Flash_Ok:08 AB").preset({{"CheckSum", "9F3C12"}}).nv({{"CheckFileReadOK", "3"}}),
      Case("Flash_Ok:08 ABCDE12").nv({{"CheckFileReadOK", "3"}}),
      Case("FW Version: V2.1.7").nv({{"HwVersion", "V2.1.7"}}),
      Case("FW Version: V2.1.7  telnet23 from 10.0.0.3").nv({{"HwVersion", "V2.1.7"}}),
      Case("FW Version: V2.1.7 Web Version: V1.0"),
      Case("FW Version:2.1.7"),
  });
}

TEST(SystemIdentityMessages, ClockReports) {
  const char* gui = "[SUCCESS]GUI Get The Time For The System: 2024-05-01 12:00:00";
  const char* when = "2024-05-01 12:00:00";
  check_all({
      Case("[SUCCESS]Set The Time For The System: 2024-05-01 12:00:00").file({std::string("EnergyMeasuredSince=") + when})
          .nv({{"Energymeasured", when}, {"EnergyMeasuredSince", when}}),
      Case("[SUCCESS]GUI Set The Time For The System: 2024-05-01 12:00:00").file({std::string("EnergyMeasuredSince=") + when})
          .nv({{"Energymeasured", when}, {"EnergyMeasuredSince", when}}),
      Case(gui).preset({{"Guiupsys", "1"}, {"EnergyMeasuredSince", "2020-01-01"}})
          .file({std::string("Mcuupsystime=") + when, "Guiupsys=0"})
          .nv({{"Mcuupsystime", when}, {"Guiupsys", "0"}, {"Energymeasured2", when}}).sleeps({1000}),
      Case(gui).preset({{"Guiupsys", "2"}, {"EnergyMeasuredSince", ""}})
          .file({std::string("Guiupgradsystime=") + when, "Guiupsys=0"})
          .nv({{"Guiupgradsystime", when}, {"Guiupsys", "0"}, {"Energymeasured2", when}, {"EnergyMeasuredSince", when}})
          .sleeps({1000}),
      Case(gui).preset({{"Guiupsys", "3"}, {"EnergyMeasuredSince", "2020-01-01"}})
          .file({std::string("CMDTIME=") + when, "Guiupsys=0"})
          .nv({{"CMDTIME", when}, {"Guiupsys", "0"}, {"Energymeasured2", when}}).sleeps({1000}),
      Case(gui).nv({{"Energymeasured2", when}, {"EnergyMeasuredSince", when}}),
      Case(gui).preset({{"Guiupsys", "0"}, {"EnergyMeasuredSince", "2020-01-01"}}).nv({{"Energymeasured2", when}}),
  });
}

TEST(SystemIdentityMessages, NetworkApplyCommitsOnceAndRestartsTheNetwork) {
  check_all({
      Case("[SUCCESS]Set Network Reboot And Apply New Config").cmds(kNetworkRestart).commits(1),
      Case("[SUCCESS]Set mDNS To ON").file({"mDNSOpenStatu=1"}).nv({{"mDNSOpenStatu", "1"}})
          .sleeps({2000}).cmds({kMdnsReload}),
      Case("[SUCCESS]Set mDNS To OFF").file({"mDNSOpenStatu=0"}).nv({{"mDNSOpenStatu", "0"}})
          .sleeps({2000}).cmds({kMdnsReload}),
  });
}

TEST(SystemIdentityTcpipEnable, EnablesOrAsksTheMcuForTheOtherInterface) {
  Lines tcpip2 = kNetworkRestart;
  tcpip2[3] = "/sbin/ifconfig br-lan1 down 2>/dev/null";
  tcpip2[4] = "/sbin/ifconfig br-lan2 down 2>/dev/null ";
  std::vector<Case> cases;
  for (const char* code : {"83818301", "87838703", "81808100"}) {
    cases.push_back(Case("[SUCCESS]Set The TCP/IP1 Enable").preset({{"wanlanVal", std::string("x") + code}})
                        .nv({{"Enabletcpip", "0"}}).cmds(kNetworkRestart));
  }
  for (const char* code : {"85828502", "87838703", "81808100"}) {
    cases.push_back(Case("[SUCCESS]Set The TCP/IP2 Enable").preset({{"wanlanVal", code}})
                        .nv({{"Enabletcpip", "1"}}).cmds(tcpip2));
  }
  // The fallbacks ask for the other interface.
  cases.push_back(Case("[SUCCESS]Set The TCP/IP1 Enable").preset({{"wanlanVal", "85828502"}})
                      .mcu("NET TCP/IP ENABLE 2\r\n"));
  cases.push_back(Case("[SUCCESS]Set The TCP/IP2 Enable").preset({{"wanlanVal", "83818301"}})
                      .mcu("NET TCP/IP ENABLE 1\r\n"));
  cases.push_back(Case("[SUCCESS]Set The TCP/IP1 Enable").mcu("NET TCP/IP ENABLE 2\r\n"));
  check_all(cases);
}

TEST(SystemIdentitySystemPower, OffResetsDcOutletsOnOnWakesTheGui) {
  Lines dc_file;
  Pairs dc_nv{{"Power", "0"}};
  for (int n = 1; n <= 8; ++n) {
    dc_file.push_back("Outlet" + std::to_string(n) + "=0");
    dc_nv.emplace_back("Outlet" + std::to_string(n), "0");
  }
  dc_file.insert(dc_file.begin(), "Power=0");
  dc_file.push_back("Outletusb=00000000");
  dc_nv.emplace_back("Outletusb", "00000000");
  check_all({
      Case("[SUCCESS]Set System Power OFF").model("ZLT8AC").file_before({"Outlet1=1"}).file({"Outlet1=1", "Power=0"})
          .nv({{"Power", "0"}}),
      Case("[SUCCESS]Set System Power OFF").model("ZLT8DC").file_before({"Outlet1=1", "XPower=1"}).file(dc_file).nv(dc_nv),
      Case("[SUCCESS]Set System Power ON").model("ZLT8DC").file({"Power=1"}).nv({{"Power", "1"}})
          .mcu("GUISTATUS\r\n").cmds({"/bin/update_ota_version.sh &"}),
  });
}

// A message that carries two phrases is taken by the one tested first.
TEST(SystemIdentityChainOrder, FirstPhraseInChainOrderWins) {
  check_all({
      Case("[MCU]Wait Rebooted").preset({{"SystemWaiting", "0"}}).nv({{"SystemWaiting", "1"}}),
      Case("Rebooted [MCU]Wait").preset({{"SystemWaiting", "1"}}),
      Case("[SUCCESS]Set Power LED To Auto Turn OFF After 10").file({"LED=10"}).nv({{"LED", "10"}}),
      Case("[SUCCESS]Set Device Name To [SUCCESS]Get Device Name To X").file({"TitleLabel=X"})
          .nv({{"TitleLabel", "X"}}),
      Case("[SUCCESS]Get Device Name To [SUCCESS]Set Device Name To X")
          .file({"TitleLabel=[SUCCESS]Set Device Name To X"}).nv({{"TitleLabel", "[SUCCESS]Set Device Name To X"}}),
      // Row 1's "Connected." comes before the outlet status words.
      Case("[SUCCESS]GUI Outlet 2 Current Status Is Connected.").nv({{"CheckConnectionOK", "1"}}),
      // Row 1 before the system power row.
      Case("[SUCCESS]Set System Power ON [SUCCESS]Set Relay OFF").file({"relaypower=0"}).nv({{"relaypower", "0"}}),
      // The network apply is the first phrase of the chain.
      Case("[SUCCESS]Set The TCP/IP1 Enable [SUCCESS]Set Network Reboot And Apply New Config")
          .preset({{"wanlanVal", "83818301"}}).cmds(kNetworkRestart).commits(1),
  });
}

TEST(SystemIdentityPassword, OnlyTheEncryptedFormIsStored) {
  testing_support::InterpreterHarness h;
  h.runner.captures.push_back({0, "ENC\n"});
  h.feed("[SUCCESS]Set Newpassword To s3cret");
  EXPECT_EQ(h.runner.argvs, (std::vector<Lines>{{h.scratch.path("/bin/aes.sh"), "-e", "s3cret"}}));
  EXPECT_EQ(h.settings_lines(), (Lines{"NEWloginpassword=ENC", "Passwordad=ENC"}));
  EXPECT_EQ(h.scratch.read("/user/newpassword.text"), "ENC\n");
  EXPECT_EQ(h.nvram.values, (std::map<std::string, std::string>{{"NEWloginpassword", "ENC"}, {"Password", "ENC"}}));
  EXPECT_EQ(h.nvram.set_order, (Lines{"NEWloginpassword", "Password"}));
  EXPECT_EQ(h.take_output(), "\n**RV470_InputData=[SUCCESS]Set Newpassword To s3cret\n");
}

TEST(SystemIdentityPassword, FailedCipherStoresNothing) {
  const board::Capture failures[] = {{1, "ENC\n"}, {0, ""}, {-1, ""}};
  for (const auto& failure : failures) {
    SCOPED_TRACE("status " + std::to_string(failure.status) + " output '" + failure.output + "'");
    testing_support::InterpreterHarness h;
    h.scratch.write("/user/newpassword.text", "OLD\n");
    h.runner.captures.push_back(failure);
    h.feed("[SUCCESS]Set Newpassword To s3cret");
    EXPECT_EQ(h.runner.argvs.size(), 1u);
    EXPECT_TRUE(h.settings_lines().empty());
    EXPECT_EQ(h.scratch.read("/user/newpassword.text"), "OLD\n");
    EXPECT_TRUE(h.nvram.values.empty());
    EXPECT_EQ(h.take_output(), "\n**RV470_InputData=[SUCCESS]Set Newpassword To s3cret\n"
                               "Newpassword: cipher script failed, password not stored\n");
  }
}

}  // namespace
