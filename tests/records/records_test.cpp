// The system log, the outlet logs, the SNMP traps they raise, and the
// interval energy records.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>

#include "records/event_log.h"
#include "records/interval_energy.h"
#include "records/snmp_trap.h"
#include "support/board_process.h"
#include "support/interpreter_harness.h"
#include "support/wait.h"

namespace {

using Lines = std::vector<std::string>;

// One line with one full stop in the log of its kind, 150 ms after; only the
// system log raises traps, to the receivers that are set, for critical events
// and warnings that are not about sensors, while traps are not off.
TEST(SystemLog, EachKindWritesItsOwnLogAndTheSystemLogRaisesTraps) {
  const char *zlt = "/user/ZLT.log", *none = nullptr;
  // line: null when it is the text and a full stop.
  const struct { int kind; const char *text, *file, *line, *mode, *r1, *r2; Lines receivers; } cases[] = {
      {0, "Outlet 4 Critical: overload", zlt, none, "1", "r1", "r2", {"r1", "r2"}},
      {1, "Critical: ended.", "/user/Outlet1.log", "Critical: ended..\n", "1", "r1", "r2", {}},
      {8, "Critical\nsecond line", "/user/Outlet8.log", "Critical.\n", "1", "r1", none, {}},
      {2, "", "/user/Outlet2.log", ".\n", "1", "r1", none, {}},
      {9, "Critical", none, none, "1", "r1", none, {}}, {-1, "Critical", none, none, "1", "r1", none, {}},
      {0, "Warning: hot", zlt, none, "1", "r1", none, {"r1"}}, {0, "Critical", zlt, none, "1", none, "r2", {"r2"}},
      {0, "Critical", zlt, none, none, "r1", none, {"r1"}}, {0, "Critical", zlt, none, "30", "r1", "r2", {}},
      {0, "Sensor1 Critical", zlt, none, "1", "r1", none, {}}, {0, "Outlet 1 On", zlt, none, "1", "r1", none, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.text) + " kind " + std::to_string(c.kind) + " mode " + (c.mode ? c.mode : "absent"));
    testing_support::InterpreterHarness h;
    for (auto [key, value] : {std::pair{"EnableSnmpTrap", c.mode}, {"SnmpTrapreceiver1", c.r1}, {"SnmpTrapreceiver2", c.r2}})
      if (value) h.nvram.values[key] = value;
    records::systemlog(h.ctx, c.kind, c.text);
    for (int n = 0; n <= 8; ++n) {
      const std::string file = n ? "/user/Outlet" + std::to_string(n) + ".log" : zlt;
      EXPECT_EQ(h.scratch.exists(file), c.file && file == c.file) << file;
    }
    if (c.file) { EXPECT_EQ(h.scratch.read(c.file), c.line ? c.line : std::string(c.text) + ".\n"); }
    EXPECT_EQ(h.clock.sleeps, c.file ? std::vector<long>{150} : std::vector<long>{});
    Lines sent;
    for (const auto& argv : h.runner.argvs) sent.push_back(argv.at(5));  // v2c: the receiver
    EXPECT_EQ(sent, c.receivers);
  }
}

TEST(SystemLog, SizeLimitKeepsTheLineCountOfTheSystemLogOnly) {
  testing_support::InterpreterHarness h;
  h.scratch.write("/user/ZLT.log", "a.\nb.\n");
  h.scratch.write("/user/Outlet1.log", "x.\n");
  h.nvram.values["logfilesize"] = "0";
  for (const char* text : {"c", "d"}) records::systemlog(h.ctx, 0, text);
  records::systemlog(h.ctx, 1, "y");
  h.nvram.values["logfilesize"] = "1";
  records::systemlog(h.ctx, 0, "e");
  EXPECT_EQ(h.scratch.lines("/user/ZLT.log"), (Lines{"c.", "d.", "e."}));
  EXPECT_EQ(h.scratch.lines("/user/Outlet1.log"), (Lines{"x.", "y."}));
  EXPECT_EQ(h.clock.sleeps, std::vector<long>(6, 150));
  // The oldest line goes by replacing the file: when that fails the log stays whole.
  h.nvram.values["logfilesize"] = "0";
  h.files.inject_fault(1, ENOSPC, true);
  records::systemlog(h.ctx, 0, "f");
  EXPECT_EQ(h.scratch.lines("/user/ZLT.log"), (Lines{"c.", "d.", "e."}));
}

// The line the unit prints for a trap: the arguments, the empty uptime as ''
// and the message between single quotes.
std::string printed(const Lines& argv) {
  std::string line = "Executing:";
  for (size_t i = 0; i + 1 < argv.size(); ++i) line += " " + (argv[i].empty() ? "''" : argv[i]);
  return line + " '" + argv.back() + "'\n";
}

// A message longer than the unit's 512-byte command buffer is cut to fit
// (a command line of 511 characters); null arguments send nothing.
TEST(SnmpTrap, ArgumentListsAndPrintedLineFollowTheMode) {
  auto v2c = [](const std::string& message) {
    return Lines{"snmptrap", "-v", "2c", "-c", "public", "rx", "", "1.3.6.1.2.1.1", "1.3.6.1.2.1.1.6", "s", message};
  };
  const std::string longest = "Critical " + std::string(600, 'x');
  const struct { const char *mode, *tcpip; std::string message; Lines argv; } cases[] = {  // empty argv: no trap
      {"1", "1", "Outlet 2 Critical", v2c("Outlet 2 Critical")}, {"7", "1", "Outlet 2 Critical", v2c("Outlet 2 Critical")},
      {"0", "00", "Warning: hot", {"snmptrap", "-v", "1", "-c", "public", "rx", "1.3.6.1.2.1.1", "192.0.2.7", "6", "0",
                                   "", "1.3.6.1.2.1.1.6", "s", "Warning: hot"}},  // the real receiver sees the other
      {"2", "1", "Critical: it's off", {"snmptrap", "-v", "3", "-l", "noAuthNoPriv", "-u", "ops", "rx", "",
                                        "1.3.6.1.2.1.1", "1.3.6.1.2.1.1.6", "s", "Critical: it's off"}},
      {"3", "1", "Critical", {}}, {"1", "1", "CRITICAL warning", {}},
      {"1", "1", longest, v2c(longest.substr(0, 446))},  // 64 characters before the message, 1 after
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message + " mode " + c.mode + " Enabletcpip " + c.tcpip);
    testing_support::InterpreterHarness h;
    h.nvram.values.insert({{"EnableSnmpTrap", c.mode}, {"Enabletcpip", c.tcpip}, {"EnableSnmpV2public", "public"},
                           {"SnmpV3Username", "ops"}, {"SnmpV3AuthPassword", "secret1"},
                           {"wan_ipaddr", "192.0.2.7"}, {"lan_ipaddr", "10.0.0.9"}});
    records::send_snmp_trap(h.ctx, "rx", c.message.c_str());
    records::send_snmp_trap(h.ctx, nullptr, "Critical");
    records::send_snmp_trap(h.ctx, "rx", nullptr);
    EXPECT_EQ(h.runner.argvs, c.argv.empty() ? std::vector<Lines>{} : std::vector<Lines>{c.argv});
    EXPECT_EQ(h.take_output(), c.argv.empty() ? "" : printed(c.argv));
  }
}

// A real receiver: net-snmp's snmptrapd on a local socket, its files (and
// snmptrap's: no MIBs, persistent data) under the scratch directory. The
// message is one argument, quotes and shell words included, and nothing of it runs.
TEST(SnmpTrap, RealReceiverLogsEachVersion) {
  testing_support::InterpreterHarness h;
  const std::string dir = h.scratch.path("/snmp"), receiver = "unix:" + dir + "/trapd.sock";
  h.scratch.write("/snmp/snmptrapd.conf", "disableAuthorization yes\n");
  for (const auto& [name, value] : {std::pair<const char*, std::string>{"SNMPCONFPATH", dir},
                                    {"SNMP_PERSISTENT_DIR", dir + "/persist"}, {"MIBDIRS", dir}, {"MIBS", ""}})
    ::setenv(name, value.c_str(), 1);
  struct Stop { pid_t pid; ~Stop() { if (pid > 0 && ::kill(pid, SIGTERM) == 0) ::waitpid(pid, nullptr, 0); } } trapd{
      testing_support::start_process({"/usr/sbin/snmptrapd", "-f", "-On", "-C", "-c", dir + "/snmptrapd.conf", "-Lf",
                                      dir + "/trapd.log", receiver}, -1, -1)};
  auto log = [&] { return h.scratch.read("/snmp/trapd.log"); };
  ASSERT_TRUE(testing_support::wait_until([&] { return log().find("NET-SNMP version") != std::string::npos; },
                                          std::chrono::seconds(10)))
      << "snmptrapd did not start: it comes with the Debian packages snmptrapd and snmp";
  board::SystemRunner runner;
  board::Board b{h.files, h.nvram, h.settings, runner, h.clock, h.mcu, h.ctx.out};
  h.nvram.values.insert({{"EnableSnmpV2public", "pdudpub"}, {"Enabletcpip", "1"}, {"lan_ipaddr", "10.20.30.40"}});
  const std::string message = "Warning: it's $(touch " + h.scratch.path("/ran") + ")";
  for (const char* mode : {"1", "0"}) {
    h.nvram.values["EnableSnmpTrap"] = mode;
    records::send_snmp_trap(b, receiver.c_str(), message.c_str());
  }
  // v2c: the trap OID and the text; v1: the agent address, the community, the trap and the text.
  const std::string text = ".1.3.6.1.2.1.1.6 = STRING: \"" + message + "\"";
  for (const std::string& logged : Lines{".1.3.6.1.6.3.1.1.4.1.0 = OID: .1.3.6.1.2.1.1\t" + text, "10.20.30.40 [10.20.30.40]",
                                         "TRAP, SNMP v1, community pdudpub",
                                         ".1.3.6.1.2.1.1 Enterprise Specific Trap (0)", "\n\t" + text})
    EXPECT_TRUE(testing_support::wait_until([&] { return log().find(logged) != std::string::npos; })) << logged << "\n" << log();
  EXPECT_FALSE(h.scratch.exists("/ran"));
}

// No file is nothing to do; a file that cannot be rewritten (-1) stays as it was.
TEST(IntervalEnergy, RemovesTheRecordsOfOneOutletOrOfAll) {
  const std::string three = "1 0.5\n2 0.25\n1 0.75\n";
  auto numbered = [](int count, std::string text = "") {  // records of outlet 4
    for (int i = 1; i <= count; ++i) text += "4 " + std::to_string(i) + ".500000\n";
    return text;
  };
  const struct { std::string before; unsigned outlet; std::string after, printed; int result = 0; } cases[] = {
      {three, 3, "1 0.500000\n2 0.250000\n1 0.750000\n", "No record found for outlet 3.\n"},
      // Any white space between the fields; a line that does not parse ends the reading.
      {"1\t0.5 2   0.25\n\n3 1e1\n", 2, "1 0.500000\n3 10.000000\n", "Cleaned 1 record(s) for outlet 2.\n"},
      {"1 0.5\n2 x\n3 0.25\n", 1, "", "Cleaned 1 record(s) for outlet 1.\n"},
      // At most twenty records are kept; the twenty-first is not counted.
      {numbered(25), 5, numbered(20), "No record found for outlet 5.\n"},
      {numbered(21), 4, "", "Cleaned 20 record(s) for outlet 4.\n"},
      {"-", 1, "-", ""}, {"1 0.5\n", 1, "1 0.5\n", "", -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.before);
    testing_support::InterpreterHarness h;
    if (c.before != "-") h.scratch.write("/user/intervalenergy", c.before);
    if (c.result == -1) h.files.inject_fault(1, EIO);
    testing::internal::CaptureStderr();
    EXPECT_EQ(records::clean_interval_energy(h.ctx, c.outlet), c.result);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), c.result ? "Error: cannot write to /user/intervalenergy\n" : "");
    EXPECT_EQ(h.scratch.exists("/user/intervalenergy") ? h.scratch.read("/user/intervalenergy") : "-", c.after);
    EXPECT_EQ(h.take_output(), c.printed);
  }
}

}  // namespace
