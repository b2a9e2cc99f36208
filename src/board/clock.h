#pragma once
// Every sleep of the daemon goes through a clock, so that tests record the
// requested sleeps instead of waiting.
#include <chrono>

namespace board {

class Clock {
 public:
  virtual ~Clock() = default;
  virtual void sleep_ms(long ms) = 0;
  void sleep_s(long s) { sleep_ms(s * 1000); }
};

class SystemClock : public Clock {
 public:
  void sleep_ms(long ms) override;
};

}  // namespace board
