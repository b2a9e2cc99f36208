#pragma once
// Network settings confirmed by the MCU: IPv4, IPv6, DHCP.
#include "interpreter/common/recogniser.h"

namespace interp {

Row network_messages();
Row dhcp_off_message();

}  // namespace interp
