#pragma once
// Critical and warning events of the system log also go out as SNMP traps,
// through the net-snmp snmptrap tool.
#include <string>
#include <vector>

#include "board/board.h"

namespace records {

// The trap for one receiver: the snmptrap argument list and the command line
// that the unit prints for it. Both empty when no trap goes out (traps off,
// or a message that is neither critical nor a warning).
struct TrapCommand {
  std::vector<std::string> argv;
  std::string line;
};

TrapCommand snmp_trap_command(board::Nvram& nvram, const std::string& receiver,
                              const std::string& message);

// Sends the message to the receiver as a trap, waiting for snmptrap to end.
void send_snmp_trap(board::Board& b, const char* receiver, const char* message);

}  // namespace records
