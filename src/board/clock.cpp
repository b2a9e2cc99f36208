#include "board/clock.h"

#include <thread>

namespace board {

void SystemClock::sleep_ms(long ms) {
  if (ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

}  // namespace board
