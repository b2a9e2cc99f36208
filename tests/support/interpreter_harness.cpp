#include "support/interpreter_harness.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "interpreter/dispatcher.h"

namespace testing_support {

InterpreterHarness::InterpreterHarness()
    : out_(open_memstream(&out_buf_, &out_len_)),
      files(scratch.root()),
      settings(files),
      ctx(board::Board{files, nvram, settings, runner, clock, mcu, out_}, state) {}

InterpreterHarness::~InterpreterHarness() {
  std::fclose(out_);
  std::free(out_buf_);
}

int InterpreterHarness::feed(const std::string& message) {
  std::unique_ptr<char[]> buf(new char[4500]());
  std::strncpy(buf.get(), message.c_str(), 4499);
  board::SettingsFile::Transaction transaction(settings);
  return interp::MachineCommunication_RV470(ctx, buf.get());
}

std::string InterpreterHarness::take_output() {
  std::fflush(out_);
  std::string fresh(out_buf_ + taken_, out_len_ - taken_);
  taken_ = out_len_;
  return fresh;
}

}  // namespace testing_support
