#include "interpreter/network_restart.h"

namespace interp {

void restart_network(Context& ctx, const char* lan1_down, const char* lan2_down) {
  const char* const lines[] = {
      "killall -9 udhcpc 2>/dev/null",
      "killall -9 odhcp6c 2>/dev/null",
      "killall -9 mDNSResponder 2>/dev/null",
      lan1_down,
      lan2_down,
      "/sbin/ifconfig br-lan1 up",
      "/sbin/ifconfig br-lan2 up",
      "/sbin/wan.sh &",
  };
  for (const char* line : lines) ctx.runner.run(line);
}

}  // namespace interp
