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
  std::istringstream in(std::getenv("PDUD_TEST_EMULATOR") ? std::getenv("PDUD_TEST_EMULATOR") : "");
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

std::vector<std::string> built_program_argv(const std::string& program, const std::vector<std::string>& args) {
  std::vector<std::string> argv = emulator_prefix();
  argv.push_back(std::string(PDUD_BINARY_DIR) + "/" + program);
  argv.insert(argv.end(), args.begin(), args.end());
  return argv;
}

pid_t start_process(const std::vector<std::string>& argv, int out_fd, int err_fd, bool own_group) {
  if (argv.empty()) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  if (out_fd >= 0) posix_spawn_file_actions_adddup2(&actions, out_fd, STDOUT_FILENO);
  if (err_fd >= 0) posix_spawn_file_actions_adddup2(&actions, err_fd, STDERR_FILENO);
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  posix_spawnattr_setflags(&attr, own_group ? POSIX_SPAWN_SETPGROUP : 0);  // the group: its own pid
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
  std::FILE* files[2] = {std::tmpfile(), std::tmpfile()};
  pid_t pid = files[0] && files[1] ? start_process(argv, fileno(files[0]), fileno(files[1])) : -1;
  int wstatus = 0;
  while (pid > 0 && ::waitpid(pid, &wstatus, 0) < 0 && errno == EINTR) {
  }
  if (pid > 0) result.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
  std::string* texts[2] = {&result.out, &result.err};
  for (int i = 0; i < 2 && files[i]; ++i) {
    std::rewind(files[i]);
    for (int c; (c = std::fgetc(files[i])) != EOF;) *texts[i] += static_cast<char>(c);
    std::fclose(files[i]);
  }
  return result;
}

}  // namespace testing_support
