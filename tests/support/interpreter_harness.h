#pragma once
// Drives MachineCommunication_RV470 with the board replaced by test doubles:
// a real settings file in a scratch root, nvram in memory, recorded commands,
// sleeps and MCU bytes, and captured diagnostics.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "interpreter/common/context.h"
#include "interpreter/dispatcher.h"
#include "support/fakes.h"

namespace testing_support {

struct InterpreterHarness : UnitDoubles<> {
  ~InterpreterHarness() { std::fclose(out_), std::free(out_buf_); }

  // Interprets one message as the worker would: in a 4500-byte buffer, in a
  // settings transaction of its own.
  int feed(const std::string& message) {
    std::unique_ptr<char[]> buf(new char[4500]());
    std::strncpy(buf.get(), message.c_str(), 4499);
    board::SettingsFile::Transaction transaction(settings);
    return interp::MachineCommunication_RV470(ctx, buf.get());
  }
  void set_model(const std::string& code) { nvram.values["ZLTMerge"] = code; }
  std::string nv(const std::string& key) const {  // nvram value or "<absent>"
    auto it = nvram.values.find(key);
    return it == nvram.values.end() ? "<absent>" : it->second;
  }
  // The settings file's lines, in order.
  std::vector<std::string> settings_lines() const { return scratch.lines("/user/argument.text"); }
  // What handlers printed since the last call.
  std::string take_output() {
    std::fflush(out_);
    std::string fresh(out_buf_ + taken_, out_len_ - taken_);
    taken_ = out_len_;
    return fresh;
  }

  char* out_buf_ = nullptr;  // what handlers print
  size_t out_len_ = 0, taken_ = 0;
  std::FILE* out_ = open_memstream(&out_buf_, &out_len_);
  interp::Context ctx{board::Board{files, nvram, settings, runner, clock, mcu, out_}, state};
};

}  // namespace testing_support
