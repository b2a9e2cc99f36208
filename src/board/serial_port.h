#pragma once
// The MCU's UART: opening and configuring it, and reading it.
#include <sys/types.h>

#include <cstdio>
#include <string>

namespace board {

inline constexpr const char* kMcuPort = "/dev/ttyS0";

// Opens path read-write, without a controlling terminal, non-blocking, then
// makes it blocking again. label is the name printed ("ttyS0"). -1 on failure.
int open_port(const std::string& path, const char* label, std::FILE* out);
// A fresh raw setting: speed, bits (7/8), parity 'N'/'O'/'E', stop 1/2;
// VMIN 0 and VTIME 1, so a read on a silent line returns 0 after 100 ms.
int set_opt(int fd, int speed, int bits, char parity, int stop, std::FILE* out);
// Opens the line again after a hang-up (quietly, blocking) with the unit's
// setting, 115200 8N1. -1 while it cannot be opened yet.
int reopen_port(const std::string& path, std::FILE* out);
// Drops whatever the line received and nobody read yet.
void flush_input(int fd);
void close_port(int fd);

// Where the reader's bytes come from.
class ByteSource {
 public:
  enum class Wait { Data, Silence, Failed };
  virtual ~ByteSource() = default;
  // Waits for data, at most timeout_ms (-1: for ever). Silence: nothing came
  // in time; Failed: the line hung up or broke.
  virtual Wait wait(int timeout_ms) = 0;
  // After Data: > 0 bytes read; <= 0 means the line failed.
  virtual ssize_t read(char* buf, size_t max) = 0;
  // Why the last wait or read failed ("POLLHUP", an errno text), "" when unknown.
  virtual std::string failure() const { return ""; }
};

class SerialSource : public ByteSource {
 public:
  explicit SerialSource(int fd) : fd_(fd) {}
  Wait wait(int timeout_ms) override;
  ssize_t read(char* buf, size_t max) override;
  std::string failure() const override { return failure_; }
  int fd() const { return fd_; }
  void set_fd(int fd) { fd_ = fd; }

 private:
  int fd_;
  std::string failure_;
  bool hung_up_ = false;  // the last poll reported POLLHUP
};

}  // namespace board
