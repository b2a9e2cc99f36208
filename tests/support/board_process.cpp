#include "support/board_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>

extern char** environ;

namespace testing_support {

std::vector<std::string> emulator_prefix() {
  std::vector<std::string> words;
  const char* emulator = std::getenv("PDUD_TEST_EMULATOR");
  if (!emulator) return words;
  std::istringstream in(emulator);
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

std::vector<std::string> built_program_argv(const std::string& program,
                                            const std::vector<std::string>& args) {
  std::vector<std::string> argv = emulator_prefix();
  argv.push_back(std::string(PDUD_BINARY_DIR) + "/" + program);
  argv.insert(argv.end(), args.begin(), args.end());
  return argv;
}

namespace {
std::string take_file(int fd) {
  std::string text;
  char buf[4096];
  ::lseek(fd, 0, SEEK_SET);
  for (ssize_t n; (n = ::read(fd, buf, sizeof buf)) > 0;) text.append(buf, static_cast<size_t>(n));
  ::close(fd);
  return text;
}
}  // namespace

pid_t start_process(const std::vector<std::string>& argv, int out_fd, int err_fd, bool own_group) {
  if (argv.empty()) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  if (out_fd >= 0) posix_spawn_file_actions_adddup2(&actions, out_fd, STDOUT_FILENO);
  if (err_fd >= 0) posix_spawn_file_actions_adddup2(&actions, err_fd, STDERR_FILENO);
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  if (own_group) {
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP);
    posix_spawnattr_setpgroup(&attr, 0);
  }
  std::vector<char*> args;
  for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  pid_t pid = -1;
  if (::posix_spawnp(&pid, args[0], &actions, &attr, args.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attr);
  return pid;
}

// Both streams go to unlinked temporary files, read once the program has ended.
ProcessResult run_process(const std::vector<std::string>& argv) {
  ProcessResult result;
  char out_name[] = "/tmp/pdud-test-out-XXXXXX", err_name[] = "/tmp/pdud-test-err-XXXXXX";
  int out = ::mkstemp(out_name), err = ::mkstemp(err_name);
  ::unlink(out_name);
  ::unlink(err_name);
  int wstatus = 0;
  pid_t pid = out >= 0 && err >= 0 ? start_process(argv, out, err) : -1;
  if (pid > 0) {
    while (::waitpid(pid, &wstatus, 0) < 0 && errno == EINTR) {
    }
    result.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
  }
  result.out = take_file(out);
  result.err = take_file(err);
  return result;
}

ProcessResult run_built_program(const std::string& program, const std::vector<std::string>& args) {
  return run_process(built_program_argv(program, args));
}

}  // namespace testing_support
