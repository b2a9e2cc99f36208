#include "support/wait.h"

#include <thread>

namespace testing_support {

bool wait_until(const std::function<bool()>& cond, std::chrono::milliseconds deadline) {
  auto end = std::chrono::steady_clock::now() + deadline;
  for (;;) {
    if (cond()) return true;
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(5ms);
  }
}

}  // namespace testing_support
