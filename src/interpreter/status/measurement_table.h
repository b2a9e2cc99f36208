#pragma once
// The measurement table of the status dump: live values, nvram only.
#include "interpreter/common/context.h"
#include "interpreter/common/model.h"

namespace interp {

int parse_measurement_row(Context& ctx, Layout layout, const char* row);

}  // namespace interp
