#pragma once
// Waiting for an effect in tests: poll a condition until it holds or a
// deadline passes, never a fixed sleep.
#include <chrono>
#include <functional>

namespace testing_support {

using namespace std::chrono_literals;

// True when cond held before the deadline.
bool wait_until(const std::function<bool()>& cond, std::chrono::milliseconds deadline = 20s);

}  // namespace testing_support
