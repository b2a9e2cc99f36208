#pragma once
// What a handler works with: the board, the shared state and the message.
#include <cstdint>
#include <string>

#include "board/board.h"
#include "core/state.h"
#include "interpreter/common/model.h"

namespace interp {

struct Recogniser;

struct Context : board::Board {
  Context(board::Board b, core::SharedState& s) : board::Board(b), state(s) {}

  core::SharedState& state;
  char* message = nullptr;  // the whole message (after the telnet23 cut)
  // What took the last message: a row of the chain, or (null) the status
  // dump, which records the table that parsed the row (0: none did).
  const Recogniser* taken = nullptr;
  uint32_t status_table = 0;

  // The model code, decoded when the message came (see Model).
  Model model;
};

}  // namespace interp
