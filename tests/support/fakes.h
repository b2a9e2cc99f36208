#pragma once
// Test doubles of the board: nvram in memory, a runner that records command
// lines and plays scripted outputs, a clock that records sleeps, an MCU line
// that records bytes.
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "board/clock.h"
#include "board/command_runner.h"
#include "board/mcu_line.h"
#include "board/nvram.h"

namespace testing_support {

class MemoryNvram : public board::Nvram {
 public:
  std::optional<std::string> get(std::string_view key) override;
  void set(std::string_view key, std::string_view value) override;
  void commit() override { ++commits; }

  void erase(const std::string& key) { values.erase(key); }
  std::map<std::string, std::string> values;
  std::vector<std::string> set_order;  // keys in the order they were set
  int commits = 0;
};

class RecordingRunner : public board::CommandRunner {
 public:
  int run(const std::string& line) override;
  int spawn(const std::vector<std::string>& argv) override;
  board::Capture capture(const std::vector<std::string>& argv) override;

  // Every command in order: run lines as given, argv commands as shell lines.
  std::vector<std::string> lines;
  std::vector<std::vector<std::string>> argvs;  // spawn and capture calls
  // Replies of capture(), taken in order; when none is left capture fails.
  std::deque<board::Capture> captures;
};

class RecordingClock : public board::Clock {
 public:
  void sleep_ms(long ms) override { sleeps.push_back(ms); }
  std::vector<long> sleeps;
};

class RecordingMcu : public board::McuLine {
 public:
  ssize_t write(const char* data, size_t n) override {
    bytes.append(data, n);
    writes.emplace_back(data, n);
    return static_cast<ssize_t>(n);
  }
  using board::McuLine::write;
  std::string bytes;
  std::vector<std::string> writes;
};

}  // namespace testing_support
