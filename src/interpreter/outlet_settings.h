#pragma once
// Outlet setting confirmations: thresholds, delays, initial states, OCDT, voltages, runtime, safe mode.
#include <string>

#include "interpreter/common/codes.h"
#include "interpreter/common/recogniser.h"

namespace interp {

Row outlet_threshold_messages();
Row initialization_status_messages();
Row mqtt_detection_messages();
Row all_outlet_timing_messages();
Row per_outlet_setting_messages();
Row all_outlet_voltage_messages();
Row runtime_messages();
Row safe_mode_messages();

}  // namespace interp
