#pragma once
#include "board/board.h"

namespace system_actions {

// The network was changed by another program (SIGUSR1) or SIGUSR2 came: runs
// on the daemon's signal thread, never in the signal handler.
void netinit(board::Board& b, int signo);

}  // namespace system_actions
