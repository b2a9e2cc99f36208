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
  // One settings transaction per message, as the worker has it.
  board::SettingsFile::Transaction transaction(settings);
  return interp::MachineCommunication_RV470(ctx, buf.get());
}

void InterpreterHarness::feed_all(const std::vector<std::string>& messages) {
  for (const auto& m : messages) feed(m);
}

std::string InterpreterHarness::nv(const std::string& key) const {
  auto it = nvram.values.find(key);
  return it == nvram.values.end() ? "<absent>" : it->second;
}

std::string InterpreterHarness::take_output() {
  std::fflush(out_);
  std::string all(out_buf_ ? out_buf_ : "", out_len_);
  std::string fresh = all.substr(taken_);
  taken_ = all.size();
  return fresh;
}

}  // namespace testing_support
