#include "core/task_queue.h"

namespace core {

Message new_message() { return Message(new char[kMessageSize]()); }

ThreadPool::ThreadPool(SharedState& state, std::function<void(char*)> interpret, std::FILE* out,
                       int capacity)
    : state_(state),
      interpret_(std::move(interpret)),
      out_(out),
      entries_(static_cast<size_t>(capacity)),
      capacity_(capacity) {}

ThreadPool::~ThreadPool() {
  {
    std::lock_guard<std::mutex> hold(lock_);
    shutdown_ = true;
  }
  not_empty_.notify_all();
  if (worker_.joinable()) worker_.join();
}

bool ThreadPool::start() {
  try {
    worker_ = std::thread(&ThreadPool::worker_thread, this);
  } catch (const std::system_error&) {
    std::perror("Failed to create thread");
    return false;
  }
  return true;
}

int ThreadPool::add(Message& message) {
  if (!message) return 0;
  std::lock_guard<std::mutex> hold(lock_);
  if (count_ == capacity_ && !remove_half_tasks()) {
    message.reset();
    return 0;
  }
  entries_[tail_] = std::move(message);
  tail_ = (tail_ + 1) % capacity_;
  ++count_;
  not_empty_.notify_one();
  return 1;
}

void ThreadPool::get_status(int* count, int* free_slots) {
  std::lock_guard<std::mutex> hold(lock_);
  if (count) *count = count_;
  if (free_slots) *free_slots = capacity_ - count_;
}

void ThreadPool::drain() {
  std::unique_lock<std::mutex> hold(lock_);
  idle_.wait(hold, [this] { return count_ == 0 && !busy_; });
}

// Waiting entries are kept oldest first from head, so the k oldest are the
// first k from head; the survivors move to the front of the ring.
int ThreadPool::remove_half_tasks() {
  if (count_ == 0) return 0;
  int k = count_ / 2;
  if (k < 1) k = 1;
  state_.dropped_by_queue.fetch_add(static_cast<uint32_t>(k));
  std::fprintf(out_, "队列已满，开始移除 %d 个任务（当前大小: %d）\n", k, count_);
  std::vector<Message> fresh(capacity_);
  int kept = 0;
  for (int i = 0; i < count_; ++i) {
    Message& e = entries_[(head_ + i) % capacity_];
    if (i < k)
      e.reset();
    else
      fresh[kept++] = std::move(e);
  }
  entries_.swap(fresh);
  head_ = 0;
  tail_ = count_ = kept;
  std::fprintf(out_, "移除完成，队列新大小: %d\n", count_);
  std::fflush(out_);
  state_.CheckStatusMode.store(0);
  return 1;
}

void ThreadPool::worker_thread() {
  for (;;) {
    Message message;
    {
      std::unique_lock<std::mutex> hold(lock_);
      not_empty_.wait(hold, [this] { return count_ > 0 || shutdown_; });
      if (count_ == 0) {
        idle_.notify_all();
        return;
      }
      message = std::move(entries_[head_]);
      head_ = (head_ + 1) % capacity_;
      --count_;
      busy_ = true;
    }
    if (message[0] != '\0') {
      interpret_(message.get());
      state_.messages_interpreted.fetch_add(1);
    }
    message.reset();
    {
      std::lock_guard<std::mutex> hold(lock_);
      busy_ = false;
      if (count_ == 0) idle_.notify_all();
    }
  }
}

int thread_pool_add_task(ThreadPool* pool, Message& message) {
  if (!pool || !message) return 0;
  return pool->add(message);
}

void thread_pool_get_status(ThreadPool* pool, int* count, int* free_slots) {
  if (pool) pool->get_status(count, free_slots);
}

}  // namespace core
