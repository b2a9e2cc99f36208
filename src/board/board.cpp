#include "board/board.h"

#include <cstdarg>

namespace board {

void Board::print(const char* fmt, ...) {
  va_list ap;
  va_start(ap, fmt);
  std::vfprintf(out, fmt, ap);
  va_end(ap);
  std::fflush(out);
}

}  // namespace board
