#include "support/daemon_harness.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "board/files.h"

namespace testing_support {

namespace {

int wait_exit(pid_t pid, std::chrono::milliseconds deadline) {
  int status = 0;
  bool done = wait_until([&] { return ::waitpid(pid, &status, WNOHANG) == pid; }, deadline);
  if (!done) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

DaemonHarness::DaemonHarness() : line_path_(scratch.path("/dev/mcu")) {
  board::make_parent_dirs(line_path_);
  open_line();
}

DaemonHarness::~DaemonHarness() {
  if (pid_ > 0 && running()) {
    ::kill(pid_, SIGKILL);
    wait_exit(pid_, 10s);
  }
  if (out_thread_.joinable()) out_thread_.join();
  if (master_ >= 0) ::close(master_);
}

void DaemonHarness::open_line() {
  int m = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (m < 0 || ::grantpt(m) != 0 || ::unlockpt(m) != 0) throw std::runtime_error("no pseudo-terminal");
  const char* slave = ::ptsname(m);
  // Raw from the start, so nothing the test writes is translated.
  int s = ::open(slave, O_RDWR | O_NOCTTY);
  if (s >= 0) {
    struct termios t;
    ::tcgetattr(s, &t);
    ::cfmakeraw(&t);
    ::tcsetattr(s, TCSANOW, &t);
    ::close(s);
  }
  std::string tmp = line_path_ + ".new";
  ::unlink(tmp.c_str());
  if (::symlink(slave, tmp.c_str()) != 0 || ::rename(tmp.c_str(), line_path_.c_str()) != 0)
    throw std::runtime_error("cannot link the MCU line");
  int old = master_;
  master_ = m;
  if (old >= 0) ::close(old);
}

void DaemonHarness::replace_line() {
  open_line();
  std::lock_guard<std::mutex> hold(lock_);
  mcu_.clear();
}

void DaemonHarness::nvram_set(const std::string& key, const std::string& value) {
  if (run_built_program("pdu-nvram", {"--root", scratch.dir(), "set", key, value}).status != 0)
    throw std::runtime_error("pdu-nvram set " + key);
}

std::string DaemonHarness::nvram(const std::string& key) {
  ProcessResult r = run_built_program("pdu-nvram", {"--root", scratch.dir(), "get", key});
  if (r.status != 0) return "<absent>";
  if (!r.out.empty() && r.out.back() == '\n') r.out.pop_back();
  return r.out;
}

void DaemonHarness::start(const std::vector<std::string>& extra_args) {
  {
    std::lock_guard<std::mutex> hold(lock_);
    output_.clear();  // a restart prints its own lines
  }
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
  std::vector<std::string> args = {"--host", "--root", scratch.dir(), "--serial", line_path_, "--settle-ms", "0"};
  args.insert(args.end(), extra_args.begin(), extra_args.end());
  pid_ = start_process(built_program_argv("pdud", args), fds[1], fds[1]);
  if (pid_ < 0) throw std::runtime_error("cannot start pdud");
  ::close(fds[1]);
  out_pipe_ = fds[0];
  out_thread_ = std::thread(&DaemonHarness::pump_output, this);
  if (!wait_output("pdud: reading the MCU line")) throw std::runtime_error("pdud did not start:\n" + output());
}

void DaemonHarness::pump_output() {
  char buf[4096];
  for (;;) {
    ssize_t n = ::read(out_pipe_, buf, sizeof buf);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    std::lock_guard<std::mutex> hold(lock_);
    output_.append(buf, static_cast<size_t>(n));
  }
  ::close(out_pipe_);
}

bool DaemonHarness::running() { return pid_ > 0 && ::waitpid(pid_, nullptr, WNOHANG) == 0; }

int DaemonHarness::stop() {
  ::kill(pid_, SIGTERM);
  int status = wait_exit(pid_, 10s);
  if (status >= 0) pid_ = -1;
  if (out_thread_.joinable()) out_thread_.join();
  return status;
}

void DaemonHarness::kill() {
  ::kill(pid_, SIGKILL);
  if (wait_exit(pid_, 10s) >= 0) pid_ = -1;
  if (out_thread_.joinable()) out_thread_.join();
}

void DaemonHarness::mcu_send(const std::string& bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    ssize_t n = ::write(master_, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) throw std::runtime_error("write to the MCU line failed");
    done += static_cast<size_t>(n);
  }
}

std::string DaemonHarness::mcu_received() {
  char buf[4096];
  for (;;) {
    pollfd p{master_, POLLIN, 0};
    if (::poll(&p, 1, 0) <= 0 || !(p.revents & POLLIN)) break;
    ssize_t n = ::read(master_, buf, sizeof buf);
    if (n <= 0) break;
    std::lock_guard<std::mutex> hold(lock_);
    mcu_.append(buf, static_cast<size_t>(n));
  }
  std::lock_guard<std::mutex> hold(lock_);
  return mcu_;
}

bool DaemonHarness::wait_mcu(const std::string& text, std::chrono::milliseconds deadline) {
  return wait_until([&] { return mcu_received().find(text) != std::string::npos; }, deadline);
}

std::string DaemonHarness::output() {
  std::lock_guard<std::mutex> hold(lock_);
  return output_;
}

bool DaemonHarness::wait_output(const std::string& text, std::chrono::milliseconds deadline) {
  return wait_until([&] { return output().find(text) != std::string::npos; }, deadline);
}

bool DaemonHarness::wait_interpreted(const std::string& message, std::chrono::milliseconds deadline) {
  return wait_output("\n**RV470_InputData=" + message + "\n", deadline);
}

}  // namespace testing_support
