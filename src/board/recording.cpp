#include "board/recording.h"

#include <algorithm>

namespace board {

std::optional<std::string> RecordingNvram::get(std::string_view key) {
  auto it = values.find(std::string(key));
  if (it == values.end()) return std::nullopt;
  return it->second;
}

void RecordingNvram::set(std::string_view key, std::string_view value) {
  values[std::string(key)] = std::string(value);
  sets.emplace_back(key, value);
}

int RecordingRunner::run(const std::string& line) {
  lines.push_back(line);
  return 0;
}

int RecordingRunner::spawn(const std::vector<std::string>& argv) {
  lines.push_back(shell_line(argv));
  return 0;
}

Capture RecordingRunner::capture(const std::vector<std::string>& argv) {
  lines.push_back(shell_line(argv));
  return Capture{};
}

ssize_t RecordingMcu::write(const char* data, size_t n) {
  writes.emplace_back(data, n);
  return static_cast<ssize_t>(n);
}

namespace {
// Each thread notes its own keys: the worker's list is never mixed with the
// reader's or a channel's.
thread_local std::vector<std::string> noted_keys;
}  // namespace

void KeyNotingNvram::set(std::string_view key, std::string_view value) {
  inner_.set(key, value);
  if (std::find(noted_keys.begin(), noted_keys.end(), key) == noted_keys.end())
    noted_keys.emplace_back(key);
}

std::vector<std::string> KeyNotingNvram::take_keys() {
  std::vector<std::string> keys;
  keys.swap(noted_keys);
  return keys;
}

}  // namespace board
