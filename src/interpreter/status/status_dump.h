#pragma once
// A message that no recogniser took: a value row of the status dump, parsed
// by the table that the last header armed.
#include "interpreter/common/context.h"

namespace interp {

int status_dump(Context& ctx, char* message);

}  // namespace interp
