#pragma once
// System and identity messages: settings of the whole unit, identity, clock, network apply, system power.
#include "interpreter/common/recogniser.h"

namespace interp {

Row system_identity_messages();
Row tcpip_enable_messages();
Row system_power_messages();

}  // namespace interp
