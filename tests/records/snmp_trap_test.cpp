#include "records/snmp_trap.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "support/board_process.h"
#include "support/interpreter_harness.h"
#include "support/wait.h"

namespace {

using Argv = std::vector<std::string>;

// The line the unit prints for a trap: the arguments, the empty uptime as ''
// and the message between single quotes.
std::string printed(const Argv& argv) {
  std::string line = "Executing:";
  for (size_t i = 0; i + 1 < argv.size(); ++i) line += " " + (argv[i].empty() ? "''" : argv[i]);
  return line + " '" + argv.back() + "'\n";
}

TEST(SnmpTrap, ArgumentListsAndPrintedLineFollowTheMode) {
  const Argv v2c = {"snmptrap", "-v", "2c", "-c", "public", "rx", "", "1.3.6.1.2.1.1", "1.3.6.1.2.1.1.6", "s",
                    "Outlet 2 Critical"};
  auto v1 = [](const char* agent) {
    return Argv{"snmptrap", "-v", "1", "-c", "public", "rx", "1.3.6.1.2.1.1", agent, "6", "0", "",
                "1.3.6.1.2.1.1.6", "s", "Warning: hot"};
  };
  const struct { const char *mode, *tcpip, *message; Argv argv; } cases[] = {  // empty argv: no trap
      {"1", "1", "Outlet 2 Critical", v2c}, {"7", "1", "Outlet 2 Critical", v2c},
      {"0", "00", "Warning: hot", v1("192.0.2.7")}, {"0", "01", "Warning: hot", v1("10.0.0.9")},
      {"2", "1", "Critical: it's off", {"snmptrap", "-v", "3", "-l", "noAuthNoPriv", "-u", "ops", "rx", "",
                                        "1.3.6.1.2.1.1", "1.3.6.1.2.1.1.6", "s", "Critical: it's off"}},
      {"3", "1", "Critical", {}}, {"1", "1", "CRITICAL warning", {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.message) + " mode " + c.mode + " Enabletcpip " + c.tcpip);
    testing_support::InterpreterHarness h;
    h.nvram.values.insert({{"EnableSnmpTrap", c.mode}, {"Enabletcpip", c.tcpip}, {"EnableSnmpV2public", "public"},
                           {"SnmpV3Username", "ops"}, {"SnmpV3AuthPassword", "secret1"},
                           {"wan_ipaddr", "192.0.2.7"}, {"lan_ipaddr", "10.0.0.9"}});
    records::send_snmp_trap(h.ctx, "rx", c.message);
    EXPECT_EQ(h.runner.argvs, c.argv.empty() ? std::vector<Argv>{} : std::vector<Argv>{c.argv});
    EXPECT_EQ(h.take_output(), c.argv.empty() ? "" : printed(c.argv));
  }
}

TEST(SnmpTrap, LongMessageIsCutToTheCommandBufferAndNullSendsNothing) {
  testing_support::InterpreterHarness h;
  h.nvram.values["EnableSnmpV2public"] = "public";
  const std::string message = "Critical " + std::string(600, 'x');
  records::send_snmp_trap(h.ctx, "rx", message.c_str());
  records::send_snmp_trap(h.ctx, nullptr, "Critical");
  records::send_snmp_trap(h.ctx, "rx", nullptr);
  ASSERT_EQ(h.runner.argvs.size(), 1u);
  const std::string sent = h.runner.argvs[0].back();
  EXPECT_EQ(sent, message.substr(0, sent.size()));
  // "Executing: " + a command of 511 characters + "\n".
  EXPECT_EQ(h.take_output(), printed(h.runner.argvs[0]));
  EXPECT_EQ(printed(h.runner.argvs[0]).size(), 11u + 511u + 1u);
}

// A real receiver: net-snmp's snmptrapd on a free loopback UDP port, its files
// (and snmptrap's: no MIBs, persistent data) under the scratch directory.
struct Snmptrapd {
  explicit Snmptrapd(const std::string& dir) : dir(dir) {
    board::replace_file(dir + "/snmptrapd.conf", "disableAuthorization yes\n");
    for (const auto& [name, value] : {std::pair<const char*, std::string>{"SNMPCONFPATH", dir},
                                      {"SNMP_PERSISTENT_DIR", dir + "/persist"}, {"MIBDIRS", dir}, {"MIBS", ""}})
      ::setenv(name, value.c_str(), 1);
    // Should another program take the free port first, snmptrapd exits: try another.
    for (int attempt = 0; attempt < 5 && pid <= 0; ++attempt) {
      sockaddr_in a{};
      a.sin_family = AF_INET;
      a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      socklen_t len = sizeof a;
      const int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
      ::bind(fd, reinterpret_cast<sockaddr*>(&a), len);
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
      ::close(fd);
      receiver = "127.0.0.1:" + std::to_string(ntohs(a.sin_port));
      pid = testing_support::start_process({"/usr/sbin/snmptrapd", "-f", "-On", "-C", "-c", dir + "/snmptrapd.conf",
                                            "-Lf", dir + "/trapd.log", "udp:" + receiver}, -1, -1);
      bool gone = false;
      testing_support::wait_until([&] {
        gone = pid <= 0 || ::waitpid(pid, nullptr, WNOHANG) == pid;
        return gone || log().find("NET-SNMP version") != std::string::npos;
      });
      if (gone) pid = -1;
    }
  }
  ~Snmptrapd() {
    if (pid > 0 && ::kill(pid, SIGTERM) == 0) ::waitpid(pid, nullptr, 0);
  }
  std::string log() const { return board::read_file(dir + "/trapd.log").value_or(""); }

  std::string dir, receiver;
  pid_t pid = -1;
};

// The message is one argument, quotes and shell words included, and nothing of it runs.
TEST(SnmpTrap, RealReceiverLogsEachVersion) {
  testing_support::InterpreterHarness h;
  Snmptrapd trapd(h.scratch.path("/snmp"));
  ASSERT_GT(trapd.pid, 0) << "snmptrapd did not start: it comes with the Debian packages snmptrapd and snmp";
  const std::string marker = h.scratch.path("/ran");
  const struct { const char* mode; std::string message; Argv logged; } cases[] = {
      {"1", "Outlet 1 Critical: it's $(touch " + marker + ")",
       {".1.3.6.1.6.3.1.1.4.1.0 = OID: .1.3.6.1.2.1.1",
        ".1.3.6.1.2.1.1.6 = STRING: \"Outlet 1 Critical: it's $(touch " + marker + ")\""}},
      {"0", "Warning: v1 trap",
       {"10.20.30.40 [10.20.30.40]", "TRAP, SNMP v1, community pdudpub",
        ".1.3.6.1.2.1.1 Enterprise Specific Trap (0)", ".1.3.6.1.2.1.1.6 = STRING: \"Warning: v1 trap\""}},
  };
  board::SystemRunner runner;
  board::Board b{h.files, h.nvram, h.settings, runner, h.clock, h.mcu, h.ctx.out};
  h.nvram.values.insert({{"EnableSnmpV2public", "pdudpub"}, {"Enabletcpip", "1"}, {"lan_ipaddr", "10.20.30.40"}});
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string("mode ") + c.mode);
    h.nvram.values["EnableSnmpTrap"] = c.mode;
    records::send_snmp_trap(b, trapd.receiver.c_str(), c.message.c_str());
    testing_support::wait_until([&] { return trapd.log().find(c.logged.back()) != std::string::npos; });
    for (const auto& text : c.logged) EXPECT_NE(trapd.log().find(text), std::string::npos) << text << "\n" << trapd.log();
  }
  EXPECT_FALSE(h.scratch.exists("/ran"));
}

}  // namespace
