#pragma once
// The outlet table of the status dump: one row per outlet, closed by "SYS".
#include "interpreter/common/context.h"
#include "interpreter/status/model_layout.h"

namespace interp {

int parse_outlet_row(Context& ctx, Layout layout, const char* row);

}  // namespace interp
