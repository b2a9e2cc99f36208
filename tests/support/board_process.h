#pragma once
// Starting the built programs (pdud, pdu-nvram) from tests. A cross-built test
// runs them under the emulator named by PDUD_TEST_EMULATOR, which is put in
// front of every program's argv.
#include <sys/types.h>

#include <string>
#include <vector>

namespace testing_support {

// The emulator's words from PDUD_TEST_EMULATOR (split at spaces), or nothing.
std::vector<std::string> emulator_prefix();

// argv that starts the built program PDUD_BINARY_DIR/<program> with args.
std::vector<std::string> built_program_argv(const std::string& program, const std::vector<std::string>& args);

// Starts argv with standard input from /dev/null and standard output and
// error on out_fd and err_fd (-1: the test's own), in a process group of its
// own when asked; the pid, or -1.
pid_t start_process(const std::vector<std::string>& argv, int out_fd, int err_fd, bool own_group = false);

struct ProcessResult {
  int status = -1;  // exit status; 128 + signal when killed; -1 when it could not start
  std::string out;
  std::string err;
};

// Runs argv (no shell) to its end, collecting both output streams.
ProcessResult run_process(const std::vector<std::string>& argv);

// run_process(built_program_argv(program, args)).
inline ProcessResult run_built_program(const std::string& program, const std::vector<std::string>& args) {
  return run_process(built_program_argv(program, args));
}

}  // namespace testing_support
