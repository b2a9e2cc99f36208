#pragma once
// The sensor-port table and the three sensor rule tables of the status dump.
#include "interpreter/common/context.h"
#include "interpreter/common/model.h"

namespace interp {

int parse_sensor_port_row(Context& ctx, Layout layout, const char* row);
// response_set: 1, 2 or 3.
int parse_sensor_rule_row(Context& ctx, const char* row, int response_set);

}  // namespace interp
