#include "interpreter/network_settings.h"

namespace interp {

Row network_messages() { return {}; }
Row dhcp_off_message() { return {}; }

}  // namespace interp
