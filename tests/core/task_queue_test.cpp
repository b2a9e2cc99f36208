#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "core/task_queue.h"
#include "support/interpreter_harness.h"

namespace {

using core::Message;
using core::ThreadPool;

Message text(const std::string& s) {
  Message m = core::new_message();
  std::strncpy(m.get(), s.c_str(), core::kMessageSize - 1);
  return m;
}

class TaskQueue : public ::testing::Test {
 protected:
  std::function<void(char*)> record() {
    return [this](char* m) { std::lock_guard<std::mutex> hold(lock); seen.emplace_back(m); };
  }
  std::string printed() { return h.take_output(); }
  testing_support::InterpreterHarness h;
  core::SharedState& state = h.state;
  std::FILE* out_ = h.ctx.out;
  std::mutex lock;
  std::vector<std::string> seen;
};

TEST_F(TaskQueue, MessagesAreInterpretedInArrivalOrder) {
  ThreadPool pool(state, record(), out_);
  ASSERT_TRUE(pool.start());
  for (int i = 0; i < 20; ++i) {
    Message m = text("m" + std::to_string(i));
    ASSERT_EQ(core::thread_pool_add_task(&pool, m), 1);
  }
  pool.drain();
  ASSERT_EQ(seen.size(), 20u);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(seen[i], "m" + std::to_string(i));
}

TEST_F(TaskQueue, TheMessageAfterAFullQueueDropsTheOldestHalf) {
  ThreadPool pool(state, record(), out_);  // worker not started yet: the queue fills
  for (int i = 0; i < 500; ++i) {
    Message m = text("m" + std::to_string(i));
    ASSERT_EQ(pool.add(m), 1);
  }
  state.CheckStatusMode = 7;
  Message last = text("m500");
  ASSERT_EQ(pool.add(last), 1);
  int count = 0, free_slots = 0;
  core::thread_pool_get_status(&pool, &count, &free_slots);
  EXPECT_EQ(count, 251);
  EXPECT_EQ(free_slots, 249);
  EXPECT_EQ(state.CheckStatusMode.load(), 0u);
  EXPECT_EQ(printed(), "队列已满，开始移除 250 个任务（当前大小: 500）\n移除完成，队列新大小: 250\n");

  ASSERT_TRUE(pool.start());
  pool.drain();
  ASSERT_EQ(seen.size(), 251u);
  EXPECT_EQ(seen.front(), "m250");
  EXPECT_EQ(seen.back(), "m500");
}

TEST_F(TaskQueue, TrimmingOneWaitingMessageDropsOne) {
  ThreadPool pool(state, record(), out_, /*capacity=*/1);
  Message a = text("a"), b = text("b");
  ASSERT_EQ(pool.add(a), 1);
  ASSERT_EQ(pool.add(b), 1);
  EXPECT_NE(printed().find("开始移除 1 个任务（当前大小: 1）"), std::string::npos);
  ASSERT_TRUE(pool.start());
  pool.drain();
  EXPECT_EQ(seen, std::vector<std::string>{"b"});
}

TEST_F(TaskQueue, EmptyMessagesAreFreedUninterpretedAndNullIsRefused) {
  ThreadPool pool(state, record(), out_);
  ASSERT_TRUE(pool.start());
  Message empty = core::new_message();
  EXPECT_EQ(pool.add(empty), 1);
  Message none;
  EXPECT_EQ(core::thread_pool_add_task(&pool, none), 0);
  Message m = text("x");
  EXPECT_EQ(core::thread_pool_add_task(nullptr, m), 0);
  EXPECT_TRUE(m) << "a refused message stays with its owner";
  pool.drain();
  EXPECT_TRUE(seen.empty());
}

}  // namespace
