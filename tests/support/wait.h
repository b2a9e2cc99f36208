#pragma once
// Waiting for an effect in tests: poll a condition until it holds or a
// deadline passes, never a fixed sleep.
#include <chrono>
#include <functional>
#include <thread>

namespace testing_support {

using namespace std::chrono_literals;

// True when cond held before the deadline.
inline bool wait_until(const std::function<bool()>& cond, std::chrono::milliseconds deadline = 20s) {
  for (auto end = std::chrono::steady_clock::now() + deadline; !cond(); std::this_thread::sleep_for(5ms))
    if (std::chrono::steady_clock::now() > end) return false;
  return true;
}

}  // namespace testing_support
