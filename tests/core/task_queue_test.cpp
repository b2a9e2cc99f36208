#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "core/task_queue.h"
#include "support/interpreter_harness.h"

namespace {

using core::Message;

Message text(const std::string& s) {
  Message m = core::new_message();
  std::strncpy(m.get(), s.c_str(), core::kMessageSize - 1);
  return m;
}

struct TaskQueue : ::testing::Test {
  testing_support::InterpreterHarness h;
  std::mutex lock;
  std::vector<std::string> seen;
  std::function<void(char*)> record = [this](char* m) { std::lock_guard<std::mutex> hold(lock); seen.emplace_back(m); };
};

// In arrival order; empty messages are freed uninterpreted, null ones refused.
TEST_F(TaskQueue, MessagesAreInterpretedInArrivalOrder) {
  core::ThreadPool pool(h.state, record, h.ctx.out);
  ASSERT_TRUE(pool.start());
  for (int i = 0; i < 20; ++i) {
    Message m = i % 5 ? text("m" + std::to_string(i)) : core::new_message();
    ASSERT_EQ(core::thread_pool_add_task(&pool, m), 1);
  }
  Message none, m = text("x");
  EXPECT_EQ(core::thread_pool_add_task(&pool, none), 0);
  EXPECT_EQ(core::thread_pool_add_task(nullptr, m), 0);
  EXPECT_TRUE(m) << "a refused message stays with its owner";
  pool.drain();
  std::vector<std::string> expected;
  for (int i = 0; i < 20; ++i)
    if (i % 5) expected.push_back("m" + std::to_string(i));
  EXPECT_EQ(seen, expected);
}

// The message after a full queue drops the oldest half (at least one).
TEST_F(TaskQueue, TheMessageAfterAFullQueueDropsTheOldestHalf) {
  for (int capacity : {500, 7, 1}) {
    SCOPED_TRACE(capacity);
    seen.clear();
    core::ThreadPool pool(h.state, record, h.ctx.out, capacity);  // worker not started yet: the queue fills
    h.state.CheckStatusMode = 7;
    for (int i = 0; i <= capacity; ++i) {
      Message m = text("m" + std::to_string(i));
      ASSERT_EQ(pool.add(m), 1);
    }
    const int dropped = capacity > 1 ? capacity / 2 : 1;
    int count = 0, free_slots = 0;
    core::thread_pool_get_status(&pool, &count, &free_slots);
    EXPECT_EQ(count, capacity - dropped + 1);
    EXPECT_EQ(free_slots, dropped - 1);
    EXPECT_EQ(h.state.CheckStatusMode.load(), 0u);
    EXPECT_EQ(h.take_output(), "队列已满，开始移除 " + std::to_string(dropped) + " 个任务（当前大小: " +
                                   std::to_string(capacity) + "）\n移除完成，队列新大小: " +
                                   std::to_string(capacity - dropped) + "\n");
    ASSERT_TRUE(pool.start());
    pool.drain();
    ASSERT_EQ(seen.size(), static_cast<size_t>(count));
    EXPECT_EQ(seen.front(), "m" + std::to_string(dropped));
    EXPECT_EQ(seen.back(), "m" + std::to_string(capacity));
  }
}

}  // namespace
