#include "channels/outbox.h"

#include <cerrno>

namespace channels {

Outbox::State Outbox::write_pending(const Writer& write, Clock::time_point now) {
  while (!empty()) {
    ssize_t w = write(pending_.data() + head_, size());
    if (w < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) break;
      state_ = State::Broken;
      break;
    }
    if (w == 0) break;
    head_ += static_cast<size_t>(w);
    since_ = now;
  }
  if (empty() || state_ != State::Open) {
    pending_.clear();
    head_ = 0;
  } else if (head_ > pending_.size() / 2) {
    pending_.erase(0, head_);
    head_ = 0;
  }
  return state_;
}

Outbox::State Outbox::put(const Writer& write, const char* data, size_t n, Clock::time_point now) {
  if (state_ != State::Open) return state_;
  if (size() + n > limit) {
    state_ = State::Full;
    pending_.clear();
    head_ = 0;
    return state_;
  }
  if (empty()) since_ = now;
  pending_.append(data, n);
  return write_pending(write, now);
}

Outbox::State Outbox::flush(const Writer& write, Clock::time_point now) {
  if (state_ != State::Open) return state_;
  return write_pending(write, now);
}

void Outbox::reset() {
  pending_.clear();
  head_ = 0;
  state_ = State::Open;
}

int poll_timeout(std::chrono::steady_clock::time_point t, std::chrono::steady_clock::time_point now) {
  if (t == std::chrono::steady_clock::time_point::max()) return -1;
  if (t <= now) return 0;
  auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(t - now).count() + 1;
  return ms > 60000 ? 60000 : static_cast<int>(ms);
}

}  // namespace channels
