#pragma once
// The MCU's clue, tip and sensor-warning notices.
#include "interpreter/common/recogniser.h"

namespace interp {

Row notification_messages();

}  // namespace interp
