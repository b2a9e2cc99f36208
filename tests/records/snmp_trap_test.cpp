#include "records/snmp_trap.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "records/snmptrapd_fixture.h"
#include "support/interpreter_harness.h"

namespace {

using Settings = std::map<std::string, std::string>;
using Argv = std::vector<std::string>;

void preset(testing_support::InterpreterHarness& h, const Settings& values) {
  for (const auto& [k, v] : values) h.nvram.values[k] = v;
}

TEST(SnmpTrap, ArgumentListsAndPrintedLineFollowTheMode) {
  struct Case {
    const char* name;
    Settings settings;
    std::string message;
    Argv argv;  // empty: no trap
    std::string printed;
  };
  const Settings base = {{"EnableSnmpV2public", "public"}, {"SnmpV3Username", "ops"},
                         {"wan_ipaddr", "192.0.2.7"}, {"lan_ipaddr", "10.0.0.9"}};
  auto with = [&](Settings extra) {
    Settings s = base;
    for (auto& [k, v] : extra) s[k] = v;
    return s;
  };
  const Argv v2c = {"snmptrap", "-v", "2c", "-c", "public", "rx", "", "1.3.6.1.2.1.1", "1.3.6.1.2.1.1.6",
                    "s", "Outlet 2 Critical"};
  const std::string v2c_line =
      "Executing: snmptrap -v 2c -c public rx '' 1.3.6.1.2.1.1 1.3.6.1.2.1.1.6 s 'Outlet 2 Critical'\n";
  auto v1 = [](const char* agent) {
    return Argv{"snmptrap", "-v", "1", "-c", "public", "rx", "1.3.6.1.2.1.1", agent, "6", "0", "",
                "1.3.6.1.2.1.1.6", "s", "Warning: hot"};
  };
  const Case cases[] = {
      {"v2c", with({{"EnableSnmpTrap", "1"}}), "Outlet 2 Critical", v2c, v2c_line},
      {"mode 7 is v2c", with({{"EnableSnmpTrap", "7"}}), "Outlet 2 Critical", v2c, v2c_line},
      {"v1 wan address", with({{"EnableSnmpTrap", "0"}, {"Enabletcpip", "00"}}), "Warning: hot", v1("192.0.2.7"),
       "Executing: snmptrap -v 1 -c public rx 1.3.6.1.2.1.1 192.0.2.7 6 0 '' 1.3.6.1.2.1.1.6 s 'Warning: hot'\n"},
      {"v1 lan address", with({{"EnableSnmpTrap", "0"}, {"Enabletcpip", "01"}}), "Warning: hot", v1("10.0.0.9"),
       "Executing: snmptrap -v 1 -c public rx 1.3.6.1.2.1.1 10.0.0.9 6 0 '' 1.3.6.1.2.1.1.6 s 'Warning: hot'\n"},
      {"v3 user only", with({{"EnableSnmpTrap", "2"}, {"SnmpV3AuthPassword", "secret1"}}), "Critical: it's off",
       {"snmptrap", "-v", "3", "-l", "noAuthNoPriv", "-u", "ops", "rx", "", "1.3.6.1.2.1.1",
        "1.3.6.1.2.1.1.6", "s", "Critical: it's off"},
       "Executing: snmptrap -v 3 -l noAuthNoPriv -u ops rx '' 1.3.6.1.2.1.1 1.3.6.1.2.1.1.6 s 'Critical: it's off'\n"},
      {"traps off", with({{"EnableSnmpTrap", "3"}}), "Critical", {}, ""},
      {"case as written", with({{"EnableSnmpTrap", "1"}}), "CRITICAL warning", {}, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing_support::InterpreterHarness h;
    preset(h, c.settings);
    records::send_snmp_trap(h.ctx, "rx", c.message.c_str());
    EXPECT_EQ(h.runner.argvs, c.argv.empty() ? std::vector<Argv>{} : std::vector<Argv>{c.argv});
    EXPECT_EQ(h.runner.lines.size(), h.runner.argvs.size());
    EXPECT_EQ(h.take_output(), c.printed);
  }
}

TEST(SnmpTrap, LongMessageIsCutToTheCommandBuffer) {
  testing_support::InterpreterHarness h;
  const std::string message = "Critical " + std::string(600, 'x');
  records::send_snmp_trap(h.ctx, "rx", message.c_str());
  ASSERT_EQ(h.runner.argvs.size(), 1u);
  const std::string printed = h.take_output();
  // "Executing: " + a command of 511 characters + "\n".
  EXPECT_EQ(printed.size(), 11u + 511u + 1u);
  EXPECT_EQ(printed.substr(printed.size() - 3), "x'\n");
  EXPECT_EQ(h.runner.argvs[0].back(), message.substr(0, h.runner.argvs[0].back().size()));
  EXPECT_LT(h.runner.argvs[0].back().size(), message.size());
  records::send_snmp_trap(h.ctx, nullptr, "Critical");
  records::send_snmp_trap(h.ctx, "rx", nullptr);
  EXPECT_EQ(h.runner.argvs.size(), 1u) << "null arguments send nothing";
}

// The v2c and v1 trap forms reach a real receiver; the message is one argument,
// quotes and shell words included, and nothing of it runs.
TEST(SnmpTrap, RealReceiverLogsEachVersion) {
  testing_support::InterpreterHarness h;
  records_testing::Snmptrapd trapd(h.scratch.dir());
  ASSERT_TRUE(trapd.running()) << "snmptrapd did not start: it comes with the Debian packages snmptrapd and snmp";
  const std::string marker = h.scratch.path("/ran");

  struct Case {
    const char* mode;
    std::string message;
    std::vector<std::string> expected;  // texts of the receiver's log
  };
  const Case cases[] = {
      {"1", "Outlet 1 Critical: it's $(touch " + marker + ")",
       {".1.3.6.1.6.3.1.1.4.1.0 = OID: .1.3.6.1.2.1.1",
        ".1.3.6.1.2.1.1.6 = STRING: \"Outlet 1 Critical: it's $(touch " + marker + ")\""}},
      {"0", "Warning: v1 trap",
       {"10.20.30.40 [10.20.30.40]", "TRAP, SNMP v1, community pdudpub",
        ".1.3.6.1.2.1.1 Enterprise Specific Trap (0)", ".1.3.6.1.2.1.1.6 = STRING: \"Warning: v1 trap\""}},
  };
  board::SystemRunner runner;
  board::Board b{h.files, h.nvram, h.settings, runner, h.clock, h.mcu, h.ctx.out};
  preset(h, {{"EnableSnmpV2public", "pdudpub"}, {"Enabletcpip", "1"}, {"lan_ipaddr", "10.20.30.40"}});
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string("mode ") + c.mode);
    h.nvram.values["EnableSnmpTrap"] = c.mode;
    records::send_snmp_trap(b, trapd.receiver().c_str(), c.message.c_str());
    const std::string log = trapd.wait_for(c.expected.back());
    for (const auto& text : c.expected) EXPECT_NE(log.find(text), std::string::npos) << text << "\n" << log;
  }
  EXPECT_FALSE(h.scratch.exists("/ran"));
}

}  // namespace
