#pragma once
// Sensor event-rule confirmations and the event-word converters.
#include <string>

#include "interpreter/common/codes.h"
#include "interpreter/common/recogniser.h"

namespace interp {

Row event_rule_messages();

}  // namespace interp
