#pragma once
// Test doubles of the board, on top of the board's own recording pieces:
// nvram in memory that notes the order of its sets, a runner that also keeps
// the argv commands and plays scripted capture outputs, a clock that records
// sleeps, an MCU line that records bytes; and a unit made of them.
#include <deque>
#include <string>
#include <vector>

#include "board/recording.h"
#include "board/settings_file.h"
#include "core/state.h"
#include "support/scratch_root.h"

namespace testing_support {

class MemoryNvram : public board::RecordingNvram {
 public:
  void set(std::string_view key, std::string_view value) override {
    RecordingNvram::set(key, value);
    set_order.emplace_back(key);
  }
  void erase(const std::string& key) { values.erase(key); }
  std::vector<std::string> set_order;  // keys in the order they were set
};

class RecordingRunner : public board::RecordingRunner {
 public:
  // lines: every command in order, argv commands as shell lines.
  int spawn(const std::vector<std::string>& argv) override {
    argvs.push_back(argv);
    return board::RecordingRunner::spawn(argv);
  }
  // The replies in captures, taken in order; when none is left capture fails.
  board::Capture capture(const std::vector<std::string>& argv) override {
    argvs.push_back(argv);
    board::Capture c = board::RecordingRunner::capture(argv);
    if (!captures.empty()) c = captures.front(), captures.pop_front();
    return c;
  }
  std::vector<std::vector<std::string>> argvs;  // spawn and capture calls
  std::deque<board::Capture> captures;
};

using RecordingClock = board::RecordingClock;

class RecordingMcu : public board::RecordingMcu {
 public:
  ssize_t write(const char* data, size_t n) override {
    bytes.append(data, n);
    return board::RecordingMcu::write(data, n);
  }
  using board::McuLine::write;
  std::string bytes;  // writes: each write on its own
};

// A unit on a scratch root: its settings file, and the doubles for the rest
// of the board (the runner and the MCU line as the test needs them).
template <class Runner = RecordingRunner, class Mcu = RecordingMcu>
struct UnitDoubles {
  ScratchRoot scratch;
  MemoryNvram nvram;
  Runner runner;
  RecordingClock clock;
  Mcu mcu;
  core::SharedState state;
  board::Files files{scratch.root()};
  board::SettingsFile settings{files};
};

}  // namespace testing_support
