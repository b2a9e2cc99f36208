#pragma once
// Writing command lines to the MCU. Any thread may write; one lock keeps two
// writers from interleaving their lines.
#include <sys/types.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string_view>

namespace board {

class McuLine {
 public:
  virtual ~McuLine() = default;
  virtual ssize_t write(const char* data, size_t n) = 0;
  ssize_t write(std::string_view s) { return write(s.data(), s.size()); }
};

// The serial descriptor, shared with the reader.
class SerialMcuLine : public McuLine {
 public:
  ssize_t write(const char* data, size_t n) override;
  void set_fd(int fd) { fd_.store(fd); }
  int fd() const { return fd_.load(); }
  // Sees every line before it is written (the trace). Set before the
  // threads start.
  std::function<void(const char*, size_t)> observer;

 private:
  std::mutex lock_;
  std::atomic<int> fd_{-1};
};

}  // namespace board
