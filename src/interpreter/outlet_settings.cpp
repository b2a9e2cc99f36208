#include "interpreter/outlet_settings.h"

namespace interp {

Row outlet_threshold_messages() { return {}; }
Row initialization_status_messages() { return {}; }
Row mqtt_detection_messages() { return {}; }
Row all_outlet_timing_messages() { return {}; }
Row per_outlet_setting_messages() { return {}; }
Row all_outlet_voltage_messages() { return {}; }
Row runtime_messages() { return {}; }
Row safe_mode_messages() { return {}; }

}  // namespace interp
