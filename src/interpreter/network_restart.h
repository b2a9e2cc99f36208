#pragma once
// The board's network restart, shared by the handlers that apply new network
// settings: stop the DHCP clients and mDNS, bounce both LAN bridges, start the
// WAN script again.
#include "interpreter/common/context.h"

namespace interp {

inline constexpr const char* kMdnsReload = "/log/www/cgi-bin/ReloadmDNSRepons.cgi restart &";

// lan1_down/lan2_down: the two "down" lines, which one handler writes with
// its output sent to /dev/null.
void restart_network(Context& ctx, const char* lan1_down = "/sbin/ifconfig br-lan1 down",
                     const char* lan2_down = "/sbin/ifconfig br-lan2 down");

}  // namespace interp
