#pragma once
// The MCU serial reader: echoes every byte, cuts the stream into messages
// (CR LF, or '.' followed by silence), forwards finished lines to the
// sessions, and queues each message for the worker.
#include <array>
#include <atomic>
#include <cstdio>
#include <functional>

#include "board/board.h"
#include "core/mcu_output.h"
#include "board/serial_port.h"
#include "core/state.h"
#include "core/task_queue.h"

namespace core {

inline constexpr size_t kReceiveBuffer = 4500;
inline constexpr size_t kOverflowAt = 4491;  // bytes without an end
inline constexpr size_t kCrLfLimit = 4490;   // a CR LF ends a message only below this
inline constexpr int kSilentReads = 10;      // empty reads after a '.' before the flush

class SerialReader {
 public:
  SerialReader(board::Board& board, SharedState& state, ThreadPool& pool, McuOutput& output);

  // One byte as it arrives from the line.
  void on_byte(char c);
  // A read that stayed empty for about 100 ms.
  void on_silence();

  // Reads the line until stop is set. On a read error (a hung-up line) it
  // says so, waits, and calls reopen for a new source; reopen returns false
  // while the line cannot be opened yet.
  void run(board::ByteSource& source, const std::atomic<bool>& stop,
           const std::function<bool()>& reopen = {});

  size_t fill() const { return n_; }

  // Called when the MCU announces "[SUCCESS]Doing Reset, Please Wait A
  // Moment", before that message is queued; the wiring installs the
  // factory reset here.
  std::function<void()> on_reset_announcement;
  // Sees every run of bytes read from the line (the trace).
  std::function<void(const char*, size_t)> on_bytes;

 private:
  void reset();
  void end_by_crlf();
  void flush_by_silence();
  void queue_copy(const char* text);

  board::Board& board_;
  SharedState& state_;
  ThreadPool& pool_;
  McuOutput& output_;
  std::array<char, kReceiveBuffer + 1> buf_{};  // + 1: always terminated
  size_t n_ = 0;
  bool polling_ = false;  // a '.' came: silence may end the message
  bool flushed_ = false;  // the message was flushed; waiting for the next byte
  int empty_reads_ = 0;
};

// Texts whose lines are the MCU's answers to the GUI and to queries: they go
// to their own channels, never to the telnet and SSH sessions.
bool is_forward_filtered(const char* message);

}  // namespace core
