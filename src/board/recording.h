#pragma once
// Board pieces that record instead of acting, for `pdud --explain` (which
// runs one message against a scratch root and says what it would do) and for
// the trace (which notes the nvram keys each message changed).
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "board/clock.h"
#include "board/command_runner.h"
#include "board/mcu_line.h"
#include "board/nvram.h"

namespace board {

// nvram in memory; every set is also noted in order.
class RecordingNvram : public Nvram {
 public:
  std::optional<std::string> get(std::string_view key) override;
  void set(std::string_view key, std::string_view value) override;
  void commit() override { ++commits; }

  std::map<std::string, std::string> values;
  std::vector<std::pair<std::string, std::string>> sets;
  int commits = 0;
};

// Notes the commands; runs nothing. A capture fails, as a missing program would.
class RecordingRunner : public CommandRunner {
 public:
  int run(const std::string& line) override;
  int spawn(const std::vector<std::string>& argv) override;
  Capture capture(const std::vector<std::string>& argv) override;
  std::vector<std::string> lines;
};

class RecordingClock : public Clock {
 public:
  void sleep_ms(long ms) override { sleeps.push_back(ms); }
  std::vector<long> sleeps;
};

class RecordingMcu : public McuLine {
 public:
  ssize_t write(const char* data, size_t n) override;
  using McuLine::write;
  std::vector<std::string> writes;
};

// Passes everything to the real nvram and notes the keys that the calling
// thread set, so that the worker can say which keys one message changed.
class KeyNotingNvram : public Nvram {
 public:
  explicit KeyNotingNvram(Nvram& inner) : inner_(inner) {}
  std::optional<std::string> get(std::string_view key) override { return inner_.get(key); }
  std::optional<std::string> get_direct(std::string_view key) override {
    return inner_.get_direct(key);
  }
  void set(std::string_view key, std::string_view value) override;
  void commit() override { inner_.commit(); }
  // The keys this thread set since its last call, in order, each once.
  std::vector<std::string> take_keys();

 private:
  Nvram& inner_;
};

}  // namespace board
