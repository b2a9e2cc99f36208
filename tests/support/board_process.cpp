#include "support/board_process.h"

#include <fcntl.h>
#include <poll.h>
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

ProcessResult run_process(const std::vector<std::string>& argv) {
  ProcessResult result;
  if (argv.empty()) return result;
  int out_pipe[2], err_pipe[2];
  if (::pipe2(out_pipe, O_CLOEXEC) != 0) return result;
  if (::pipe2(err_pipe, O_CLOEXEC) != 0) {
    ::close(out_pipe[0]);
    ::close(out_pipe[1]);
    return result;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out_pipe[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err_pipe[1], STDERR_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  std::vector<char*> args;
  for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  pid_t pid;
  int rc = ::posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(out_pipe[1]);
  ::close(err_pipe[1]);
  if (rc != 0) {
    ::close(out_pipe[0]);
    ::close(err_pipe[0]);
    return result;
  }
  pollfd fds[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
  std::string* sinks[2] = {&result.out, &result.err};
  int open_streams = 2;
  while (open_streams > 0) {
    if (::poll(fds, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      char buf[4096];
      ssize_t n = ::read(fds[i].fd, buf, sizeof buf);
      if (n > 0) {
        sinks[i]->append(buf, static_cast<size_t>(n));
      } else if (n == 0 || errno != EINTR) {
        ::close(fds[i].fd);
        fds[i].fd = -1;
        --open_streams;
      }
    }
  }
  for (auto& f : fds) {
    if (f.fd >= 0) ::close(f.fd);
  }
  int wstatus = 0;
  while (::waitpid(pid, &wstatus, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(wstatus)) result.status = WEXITSTATUS(wstatus);
  else if (WIFSIGNALED(wstatus)) result.status = 128 + WTERMSIG(wstatus);
  return result;
}

ProcessResult run_built_program(const std::string& program, const std::vector<std::string>& args) {
  return run_process(built_program_argv(program, args));
}

}  // namespace testing_support
