#include "records/snmp_trap.h"

#include <cstdlib>
#include <string_view>

namespace records {

namespace {

// The MIB-2 system group is the trap OID; sysLocation carries the text.
constexpr const char* kTrapOid = "1.3.6.1.2.1.1";
constexpr const char* kLocationOid = "1.3.6.1.2.1.1.6";
// The unit composes the command in a 512-byte buffer; a longer command is cut.
constexpr size_t kCommandLimit = 511;

bool contains(std::string_view text, std::string_view word) {
  return text.find(word) != std::string_view::npos;
}

// v1 traps name the unit's own address: the LAN address when TCP/IP1 is
// enabled, otherwise the WAN address.
std::string agent_address(board::Nvram& nvram) {
  if (contains(nvram.get_or("Enabletcpip", ""), "1")) return nvram.get_or("lan_ipaddr", "");
  return nvram.get_or("wan_ipaddr", "");
}

}  // namespace

TrapCommand snmp_trap_command(board::Nvram& nvram, const std::string& receiver,
                              const std::string& message) {
  TrapCommand cmd;
  const std::string mode = nvram.get_or("EnableSnmpTrap", "1");
  const std::string community = nvram.get_or("EnableSnmpV2public", "");
  if (mode == "3") return cmd;
  if (!contains(message, "Critical") && !contains(message, "Warning")) return cmd;

  // The empty uptime argument lets snmptrap fill in the uptime.
  size_t uptime_at = 0;
  switch (std::atoi(mode.c_str())) {
    case 0:
      uptime_at = 10;
      cmd.argv = {"snmptrap", "-v", "1", "-c", community, receiver, kTrapOid, agent_address(nvram),
                  "6", "0", "", kLocationOid, "s"};
      break;
    case 2:
      uptime_at = 8;
      // Only the user name goes on the command line: the trap is always sent
      // noAuthNoPriv and the passwords never appear in a process list.
      cmd.argv = {"snmptrap", "-v", "3", "-l", "noAuthNoPriv", "-u", nvram.get_or("SnmpV3Username", ""),
                  receiver, "", kTrapOid, kLocationOid, "s"};
      break;
    default:
      uptime_at = 6;
      cmd.argv = {"snmptrap", "-v", "2c", "-c", community, receiver, "", kTrapOid, kLocationOid, "s"};
      break;
  }

  // The line as the unit prints it: the arguments as they stand, the uptime
  // as '' and the message between single quotes.
  std::string head;
  for (size_t i = 0; i < cmd.argv.size(); ++i) head += (i == uptime_at ? "''" : cmd.argv[i]) + " ";
  head += "'";
  // A command that would not fit the unit's buffer keeps as much of the
  // message as fits; one whose fixed part alone does not fit is not sent.
  if (head.size() + 1 > kCommandLimit) return TrapCommand{};
  std::string text = message.substr(0, kCommandLimit - head.size() - 1);
  cmd.line = head + text + "'";
  cmd.argv.push_back(std::move(text));
  return cmd;
}

void send_snmp_trap(board::Board& b, const char* receiver, const char* message) {
  if (!receiver || !message) return;
  TrapCommand cmd = snmp_trap_command(b.nvram, receiver, message);
  if (cmd.argv.empty()) return;
  b.print("Executing: %s\n", cmd.line.c_str());
  // An argument list, no shell: the event text is one argument whatever it holds.
  b.runner.spawn(cmd.argv);
}

}  // namespace records
