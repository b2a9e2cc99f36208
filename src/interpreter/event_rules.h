#pragma once
// Sensor event-rule confirmations and the event-word converters.
#include "interpreter/recogniser.h"

namespace interp {

Row event_rule_messages();

}  // namespace interp
