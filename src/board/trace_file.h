#pragma once
// The MCU trace (`pdud --trace FILE`, off by default): one line per event,
// "<wall clock> <monotonic ms> <kind> <text>", with the wall clock as
// "YYYY-MM-DD HH:MM:SS.mmm" UTC. Bounded: when FILE would grow past its
// limit it becomes FILE.1 (replacing the older one) and a new FILE starts.
// Several threads write; one lock keeps their lines whole.
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

namespace board {

class TraceFile {
 public:
  static constexpr long kDefaultLimit = 1024 * 1024;

  explicit TraceFile(std::string path, long limit = kDefaultLimit);
  ~TraceFile();
  TraceFile(const TraceFile&) = delete;
  TraceFile& operator=(const TraceFile&) = delete;

  bool ok() const { return file_ != nullptr; }
  // kind: "rx" bytes from the MCU, "tx" bytes to it, "row" what took a message.
  void line(std::string_view kind, std::string_view text);
  // Bytes as a C string literal: printable ASCII as is, the rest escaped.
  static std::string quoted(std::string_view bytes);

 private:
  void rotate();

  std::mutex lock_;
  std::string path_;
  long limit_;
  long size_ = 0;
  std::FILE* file_ = nullptr;
};

}  // namespace board
