#pragma once
#include "board/board.h"

namespace system_actions {

// The MCU announced "[SUCCESS]Doing Reset, Please Wait A Moment": stop the
// board's services, restore the factory settings under the root, keep the
// model code as host name and title, and hand over to the board's restore.
void factory_reset(board::Board& b);

}  // namespace system_actions
