#include "support/fakes.h"

namespace testing_support {

std::optional<std::string> MemoryNvram::get(std::string_view key) {
  auto it = values.find(std::string(key));
  if (it == values.end()) return std::nullopt;
  return it->second;
}

void MemoryNvram::set(std::string_view key, std::string_view value) {
  values[std::string(key)] = std::string(value);
  set_order.emplace_back(key);
}

int RecordingRunner::run(const std::string& line) {
  lines.push_back(line);
  return 0;
}

int RecordingRunner::spawn(const std::vector<std::string>& argv) {
  lines.push_back(board::shell_line(argv));
  argvs.push_back(argv);
  return 0;
}

board::Capture RecordingRunner::capture(const std::vector<std::string>& argv) {
  lines.push_back(board::shell_line(argv));
  argvs.push_back(argv);
  if (captures.empty()) return board::Capture{};
  board::Capture c = captures.front();
  captures.pop_front();
  return c;
}

}  // namespace testing_support
