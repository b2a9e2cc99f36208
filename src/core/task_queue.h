#pragma once
// The task queue between the serial reader and the one worker: a ring of 500
// messages. When it is full, the oldest half of the waiting messages is
// dropped, so the unit follows what the MCU says now rather than a backlog.
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "core/state.h"

namespace core {

inline constexpr int kQueueCapacity = 500;
inline constexpr size_t kMessageSize = 4500;

using Message = std::unique_ptr<char[]>;
Message new_message();  // 4500 zeroed bytes

class ThreadPool {
 public:
  // interpret runs on the worker for every non-empty message.
  ThreadPool(SharedState& state, std::function<void(char*)> interpret, std::FILE* out = stdout,
             int capacity = kQueueCapacity);
  ~ThreadPool();  // lets the worker finish what is queued, then joins it

  // Starts the worker. False (after a message) when it cannot be started.
  bool start();
  // 1 when added (the queue owns message), 0 when refused.
  int add(Message& message);
  void get_status(int* count, int* free_slots);
  // Waits until the worker has nothing queued or in hand (tests, shutdown).
  void drain();

 private:
  int remove_half_tasks();  // with the lock held
  void worker_thread();

  SharedState& state_;
  std::function<void(char*)> interpret_;
  std::FILE* out_;
  std::thread worker_;
  std::vector<Message> entries_;  // a ring from head_, oldest first
  int count_ = 0;
  int capacity_;
  int head_ = 0;
  int tail_ = 0;
  bool busy_ = false;
  std::mutex lock_;
  std::condition_variable not_empty_;
  std::condition_variable idle_;
  bool shutdown_ = false;
};

// The unit's names for the queue operations.
int thread_pool_add_task(ThreadPool* pool, Message& message);
void thread_pool_get_status(ThreadPool* pool, int* count, int* free_slots);

}  // namespace core
