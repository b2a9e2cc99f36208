#pragma once
// Sensor port settings and readings.
#include "interpreter/common/recogniser.h"

namespace interp {

Row sensor_messages_a();
Row sensor_messages_b();

}  // namespace interp
