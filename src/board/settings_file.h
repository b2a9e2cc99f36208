#pragma once
// The settings file "/user/argument.text": one key=value per line, the most
// recently changed settings at the end. Every change reads the file, drops the
// matching lines, appends the new line and renames a complete new file over
// the old one.
//
// Two ways of dropping lines, as the web pages and scripts expect:
//  - set: every line that contains "KEY=" anywhere (so "XPower=1" goes with Power);
//  - update_config: only the lines that begin with "KEY=".
// A value is stored as it stands, single quotes included, but cut at its first
// CR or LF so that MCU text can never forge a second line.
#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>

#include "board/files.h"

namespace board {

inline constexpr const char* kSettingsPath = "/user/argument.text";
inline constexpr const char* kFactorySettingsPath = "/etc_ro/argument.text";

class SettingsFile {
 public:
  explicit SettingsFile(const Files& files, std::string unit_path = kSettingsPath)
      : files_(files), unit_path_(std::move(unit_path)) {}

  // Plain form: drop lines containing KEY=, append KEY=VALUE.
  bool set(std::string_view key, std::string_view value);
  // Anchored form: drop lines beginning with KEY=, append KEY=VALUE. The unit
  // built both command lines in 128-byte buffers; a change whose command line
  // would not fit does not happen (result -1), as the cut command failed there.
  int update_config(std::string_view key, std::string_view value);
  // The per-outlet query replies' form: plain delete in a 64-byte command
  // buffer, the append in a 100-byte one; a part that does not fit is not done.
  bool set_formatted(std::string_view key, std::string_view value);
  // Drop lines containing DELETE_KEY=, append KEY=VALUE. For the one handler
  // whose delete pattern and stored key differ.
  bool set_mismatched(std::string_view delete_key, std::string_view key, std::string_view value);
  // The two halves on their own (the factory reset drops two keys before appending both).
  bool remove(std::string_view key);
  bool append(std::string_view key, std::string_view value);

  std::string path() const { return files_.path(unit_path_); }

  // Replacements of the file made, and those that failed (any thread may read).
  unsigned long commit_count() const { return commits_.load(); }
  unsigned long failed_commit_count() const { return failed_commits_.load(); }

 private:
  // Drop lines matching pattern (contains, or begins with when anchored) and
  // append the line, in one atomic replacement. Either half may be skipped.
  bool change(std::string_view pattern, bool anchored, bool do_delete,
              std::string_view key, std::string_view value, bool do_append);

  const Files& files_;
  std::string unit_path_;
  std::atomic<unsigned long> commits_{0};
  std::atomic<unsigned long> failed_commits_{0};
};

// "value" up to its first CR or LF.
std::string_view first_line(std::string_view value);

}  // namespace board
