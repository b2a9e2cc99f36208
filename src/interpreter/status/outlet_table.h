#pragma once
// The outlet table of the status dump: one row per outlet, closed by "SYS".
#include "interpreter/context.h"

namespace interp {

int parse_outlet_row(Context& ctx, const char* row);

}  // namespace interp
