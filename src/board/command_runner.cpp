#include "board/command_runner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "board/files.h"

extern char** environ;

namespace board {

namespace {

int exit_status(int wstatus) {
  if (WIFEXITED(wstatus)) return WEXITSTATUS(wstatus);
  if (WIFSIGNALED(wstatus)) return 128 + WTERMSIG(wstatus);
  return -1;
}

int wait_for(pid_t pid) {
  int wstatus = 0;
  while (::waitpid(pid, &wstatus, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return exit_status(wstatus);
}

std::vector<char*> c_argv(const std::vector<std::string>& argv) {
  std::vector<char*> out;
  for (const auto& a : argv) out.push_back(const_cast<char*>(a.c_str()));
  out.push_back(nullptr);
  return out;
}

}  // namespace

std::string shell_quote(const std::string& arg) {
  if (arg.empty()) return "''";
  bool plain = true;
  for (unsigned char c : arg) {
    if (!(std::isalnum(c) || std::string_view("_./-=:,@%+").find(static_cast<char>(c)) !=
                                 std::string_view::npos)) {
      plain = false;
      break;
    }
  }
  if (plain) return arg;
  std::string out = "'";
  for (char c : arg) {
    if (c == '\'')
      out += "'\\''";
    else
      out += c;
  }
  return out + "'";
}

std::string shell_line(const std::vector<std::string>& argv) {
  std::string out;
  for (const auto& a : argv) {
    if (!out.empty()) out += ' ';
    out += shell_quote(a);
  }
  return out;
}

int SystemRunner::run(const std::string& line) {
  int r = std::system(line.c_str());
  return r < 0 ? -1 : exit_status(r);
}

int SystemRunner::spawn(const std::vector<std::string>& argv) {
  if (argv.empty()) return -1;
  auto args = c_argv(argv);
  pid_t pid;
  if (::posix_spawnp(&pid, args[0], nullptr, nullptr, args.data(), environ) != 0) return -1;
  return wait_for(pid);
}

Capture SystemRunner::capture(const std::vector<std::string>& argv) {
  Capture out;
  if (argv.empty()) return out;
  int pipefd[2];
  if (::pipe2(pipefd, O_CLOEXEC) != 0) return out;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipefd[1], STDOUT_FILENO);
  auto args = c_argv(argv);
  pid_t pid;
  int rc = ::posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipefd[1]);
  if (rc != 0) {
    ::close(pipefd[0]);
    return out;
  }
  char buf[4096];
  for (;;) {
    ssize_t n = ::read(pipefd[0], buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    out.output.append(buf, static_cast<size_t>(n));
  }
  ::close(pipefd[0]);
  out.status = wait_for(pid);
  return out;
}

JournalRunner::JournalRunner(const Root& root) : journal_(root.path(kJournal)) {}

int JournalRunner::run(const std::string& line) {
  append_file(journal_, line + "\n");
  return 0;
}

int JournalRunner::spawn(const std::vector<std::string>& argv) {
  append_file(journal_, shell_line(argv) + "\n");
  return 0;
}

Capture JournalRunner::capture(const std::vector<std::string>& argv) {
  append_file(journal_, shell_line(argv) + "\n");
  return Capture{};
}

}  // namespace board
