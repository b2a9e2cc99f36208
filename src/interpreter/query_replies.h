#pragma once
// Replies to the GUI's and clients' Get queries.
#include "interpreter/recogniser.h"

namespace interp {

Row query_reply_messages();

}  // namespace interp
