#pragma once
// The single-row tables of the status dump: system, voltage monitor, system
// mode and initialisation. Each row closes its table.
#include "interpreter/common/context.h"
#include "interpreter/common/model.h"

namespace interp {

int parse_system_row(Context& ctx, Layout layout, const char* row);
int parse_voltage_monitor_row(Context& ctx, Layout layout, const char* row);
int parse_system_mode_row(Context& ctx, Layout layout, const char* row);
int parse_initialisation_row(Context& ctx, Layout layout, const char* row);

}  // namespace interp
