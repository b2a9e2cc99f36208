#pragma once
// Runs the real daemon against a pseudo-terminal that stands in for the MCU
// line: a scratch root, nvram seeded with pdu-nvram, and
//   pdud --host --root R --serial R/dev/mcu --settle-ms 0
// The test writes MCU bytes on the master side, reads what the daemon writes
// to the MCU, and looks at the settings file, nvram, the command journal and
// the daemon's standard output.
#include <sys/types.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/board_process.h"
#include "support/scratch_root.h"
#include "support/wait.h"

namespace testing_support {

class DaemonHarness {
 public:
  DaemonHarness();
  ~DaemonHarness();

  // Before start(): seed nvram through pdu-nvram, and settings-file lines.
  void nvram_set(const std::string& key, const std::string& value);
  void settings(const std::string& contents) { scratch.write("/user/argument.text", contents); }

  // Starts pdud and waits until it reads the MCU line.
  void start(const std::vector<std::string>& extra_args = {});
  // SIGTERM, and the exit status (-1 when it did not end in time).
  int stop();
  // SIGKILL, as a crash or a power cut; start() may follow.
  void kill();
  bool running();
  pid_t pid() const { return pid_; }

  // The MCU side.
  void mcu_send(const std::string& bytes);
  // Everything the daemon wrote to the MCU so far.
  std::string mcu_received();
  bool wait_mcu(const std::string& text, std::chrono::milliseconds deadline = 20s);
  // A new pseudo-terminal behind the same path; the old one hangs up.
  void replace_line();

  // The daemon's side.
  std::string output();
  bool wait_output(const std::string& text, std::chrono::milliseconds deadline = 20s);
  // Waits until the worker has interpreted the message (its input print).
  bool wait_interpreted(const std::string& message, std::chrono::milliseconds deadline = 20s);
  std::string nvram(const std::string& key);  // "<absent>" when missing
  std::vector<std::string> journal() const { return scratch.lines("/var/log/commands.log"); }
  std::vector<std::string> settings_lines() const { return scratch.lines("/user/argument.text"); }

  ScratchRoot scratch;

 private:
  void open_line();
  void pump_output();

  int master_ = -1;
  std::string line_path_;
  pid_t pid_ = -1;
  int out_pipe_ = -1;
  std::thread out_thread_;
  std::mutex lock_;
  std::string output_;
  std::string mcu_;
};

}  // namespace testing_support
