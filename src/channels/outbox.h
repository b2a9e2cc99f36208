#pragma once
// What a client has not taken yet. A sender never waits for a peer: bytes go
// out with a non-blocking write and the rest waits here, bounded, until the
// server loop sees the socket writable again. A client whose queue would
// overflow, or that takes nothing for the stall limit, is to be closed.
#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace channels {

inline constexpr size_t kOutboxLimit = 256 * 1024;
inline constexpr std::chrono::seconds kStallLimit{30};

class Outbox {
 public:
  using Clock = std::chrono::steady_clock;
  // Writes without waiting: the count the peer took, or -1 with errno
  // (EAGAIN / EWOULDBLOCK / EINTR: it takes nothing now).
  using Writer = std::function<ssize_t(const char* data, size_t n)>;

  enum class State { Open, Full, Broken };

  // Sends data after what already waits, keeps what the peer does not take.
  // Once the box is Full or Broken it takes nothing more.
  State put(const Writer& write, const char* data, size_t n, Clock::time_point now);
  // Sends what waits.
  State flush(const Writer& write, Clock::time_point now);
  // For a new client: empty and Open.
  void reset();

  State state() const { return state_; }
  bool empty() const { return head_ == pending_.size(); }
  size_t size() const { return pending_.size() - head_; }
  // When the waiting bytes count as stalled: limit after the peer last took
  // some (or after they began to wait). Only meaningful when not empty.
  Clock::time_point stall_deadline(Clock::duration limit) const { return since_ + limit; }

  size_t limit = kOutboxLimit;

 private:
  State write_pending(const Writer& write, Clock::time_point now);

  std::string pending_;
  size_t head_ = 0;  // bytes of pending_ already sent
  Clock::time_point since_{};
  State state_ = State::Open;
};

// Milliseconds from now until t for poll (0 when past), or -1 when t is max().
int poll_timeout(std::chrono::steady_clock::time_point t, std::chrono::steady_clock::time_point now);

}  // namespace channels
