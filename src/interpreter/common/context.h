#pragma once
// What a handler works with: the board, the shared state and the message.
#include "board/board.h"
#include "core/state.h"

namespace interp {

struct Context : board::Board {
  Context(board::Board b, core::SharedState& s) : board::Board(b), state(s) {}

  core::SharedState& state;
  char* message = nullptr;  // the whole message (after the telnet23 cut)

  std::string model() { return nvram.model(); }
};

}  // namespace interp
