#include "system/netinit.h"

#include <csignal>
#include <string>

#include "util/net.h"

namespace system_actions {

void netinit(board::Board& b, int signo) {
  // Read as the unit always has; the values are not used.
  b.nvram.get("MachineType");
  b.nvram.get("DHCP_F");
  b.nvram.get("wan_ipaddr");
  b.print("sign_no%d\n", signo);
  if (signo != SIGUSR1) return;

  b.nvram.get("uart_shell");
  b.runner.run("/sbin/internet.sh");
  b.clock.sleep_s(10);
  b.nvram.set("CheckNetworkType", "1");

  std::string mode = b.nvram.get_or("wanConnectionMode", "");
  if (mode.compare(0, 6, "STATIC") != 0) return;

  // Tell the MCU (and its front panel) the unit's static address.
  std::string address = util::get_ipaddr("br-lan2");
  util::get_netmask("br-lan2");
  util::GetGateway(b.files, b.nvram);
  b.nvram.get("wan_gateway");
  b.nvram.get("wanConnectionMode");
  std::string line = ">SetGuiIP " + address + "\r\n";
  b.mcu.write(line);
  b.clock.sleep_s(1);
}

}  // namespace system_actions
