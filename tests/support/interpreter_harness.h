#pragma once
// Drives MachineCommunication_RV470 with the board replaced by test doubles:
// a real settings file in a scratch root, nvram in memory, recorded commands,
// sleeps and MCU bytes, and captured diagnostics.
#include <cstdio>
#include <string>
#include <vector>

#include "core/state.h"
#include "interpreter/common/context.h"
#include "support/fakes.h"
#include "support/scratch_root.h"

namespace testing_support {

class InterpreterHarness {
 public:
  InterpreterHarness();
  ~InterpreterHarness();

  // Interprets one message as the worker would (in a 4500-byte buffer, in a
  // settings transaction of its own).
  int feed(const std::string& message);
  // The settings file's lines, in order.
  std::vector<std::string> settings_lines() const { return scratch.lines("/user/argument.text"); }
  // What handlers printed since the last call.
  std::string take_output();

  ScratchRoot scratch;
  MemoryNvram nvram;
  RecordingRunner runner;
  RecordingClock clock;
  RecordingMcu mcu;
  core::SharedState state;

 private:
  char* out_buf_ = nullptr;
  size_t out_len_ = 0, taken_ = 0;
  std::FILE* out_ = nullptr;

 public:
  board::Files files;
  board::SettingsFile settings;
  interp::Context ctx;
};

}  // namespace testing_support
