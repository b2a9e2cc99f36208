#pragma once
// The measurement table of the status dump: live values, nvram only.
#include "interpreter/context.h"

namespace interp {

int parse_measurement_row(Context& ctx, const char* row);

}  // namespace interp
