#pragma once
// Outlet state and power control: switching, key lock, GUI outlet status, energy clean-ups.
#include "interpreter/common/recogniser.h"

namespace interp {

Row energy_cleanup_messages();
Row all_outlets_and_key_messages();
Row gui_outlet_status_messages();
Row outlet_switch_messages();

}  // namespace interp
