#pragma once
// Replies to the GUI's and clients' Get queries.
#include "interpreter/common/recogniser.h"

namespace interp {

Row query_reply_messages();

}  // namespace interp
