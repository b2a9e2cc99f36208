#pragma once
// The status dump's table headers: they arm CheckStatusMode.
#include "interpreter/common/recogniser.h"

namespace interp {

Row status_header_messages();

}  // namespace interp
