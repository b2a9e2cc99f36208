#pragma once
// Runs the real daemon against a pseudo-terminal that stands in for the MCU
// line: a scratch root, nvram seeded through the host store, and
//   pdud --host --root R --serial R/dev/mcu --settle-ms 0
// The test writes MCU bytes on the master side, reads what the daemon writes
// to the MCU, and looks at the files under the root, nvram and the daemon's
// standard output (kept in an unnamed file, so the daemon never blocks on it).
#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "board/nvram.h"
#include "support/board_process.h"
#include "support/scratch_root.h"
#include "support/wait.h"

namespace testing_support {

class DaemonHarness {
 public:
  DaemonHarness();
  ~DaemonHarness();

  void nvram_set(const std::string& key, const std::string& value) { board::HostNvram(scratch.root()).set(key, value); }
  std::string nvram(const std::string& key) { return board::HostNvram(scratch.root()).get(key).value_or("<absent>"); }

  // Starts pdud and waits until it reads the MCU line.
  void start(const std::vector<std::string>& extra_args = {});
  // Sends signo (SIGKILL: a crash or a power cut; start() may follow), and
  // the exit status (-1 when it did not end in time).
  int stop(int signo = SIGTERM);
  bool running();
  pid_t pid() const { return pid_; }

  // The MCU side.
  void mcu_send(const std::string& bytes);
  // Waits until what the daemon wrote to the MCU so far contains text.
  bool wait_mcu(const std::string& text, std::chrono::milliseconds deadline = 20s);
  // A new pseudo-terminal behind the same path; the old one hangs up.
  void replace_line();

  // What the daemon printed since its last start.
  std::string output();
  bool wait_output(const std::string& text, std::chrono::milliseconds deadline = 20s) {
    return wait_until([&] { return output().find(text) != std::string::npos; }, deadline);
  }

  ScratchRoot scratch;

 private:
  int master_ = -1;
  std::string line_path_;
  pid_t pid_ = -1;
  std::FILE* out_ = nullptr;
  std::string output_;
  std::string mcu_;
};

}  // namespace testing_support
