#pragma once
// The outlet table of the status dump: one row per outlet, closed by "SYS".
#include "interpreter/common/context.h"
#include "interpreter/common/model.h"

namespace interp {

int parse_outlet_row(Context& ctx, Layout layout, const char* row);

}  // namespace interp
