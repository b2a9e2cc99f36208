#include "support/daemon_harness.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

#include "board/files.h"

namespace testing_support {

DaemonHarness::DaemonHarness() : line_path_(scratch.path("/dev/mcu")) {
  board::make_parent_dirs(line_path_);
  replace_line();
}

DaemonHarness::~DaemonHarness() {
  if (running()) stop(SIGKILL);
  if (master_ >= 0) ::close(master_);
  if (out_) std::fclose(out_);
}

void DaemonHarness::replace_line() {
  int m = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (m < 0 || ::grantpt(m) != 0 || ::unlockpt(m) != 0) throw std::runtime_error("no pseudo-terminal");
  std::string tmp = line_path_ + ".new";
  ::unlink(tmp.c_str());
  if (::symlink(::ptsname(m), tmp.c_str()) != 0 || ::rename(tmp.c_str(), line_path_.c_str()) != 0)
    throw std::runtime_error("cannot link the MCU line");
  if (master_ >= 0) ::close(master_);
  master_ = m;
  mcu_.clear();
}

void DaemonHarness::start(const std::vector<std::string>& extra_args) {
  if (out_) std::fclose(out_);
  out_ = std::tmpfile();
  output_.clear();
  std::vector<std::string> args = {"--host", "--root", scratch.dir(), "--serial", line_path_, "--settle-ms", "0"};
  args.insert(args.end(), extra_args.begin(), extra_args.end());
  pid_ = out_ ? start_process(built_program_argv("pdud", args), fileno(out_), fileno(out_)) : -1;
  if (pid_ < 0) throw std::runtime_error("cannot start pdud");
  if (!wait_output("pdud: reading the MCU line")) throw std::runtime_error("pdud did not start:\n" + output());
}

bool DaemonHarness::running() { return pid_ > 0 && ::waitpid(pid_, nullptr, WNOHANG) == 0; }

int DaemonHarness::stop(int signo) {
  if (pid_ <= 0) return -1;  // never kill(-1, ...)
  ::kill(pid_, signo);
  int status = 0;
  if (!wait_until([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, 10s)) return -1;
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void DaemonHarness::mcu_send(const std::string& bytes) {
  for (size_t done = 0; done < bytes.size();) {
    ssize_t n = ::write(master_, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno != EINTR) throw std::runtime_error("write to the MCU line failed");
    done += n > 0 ? static_cast<size_t>(n) : 0;
  }
}

bool DaemonHarness::wait_mcu(const std::string& text, std::chrono::milliseconds deadline) {
  return wait_until([&] {
    char buf[4096];
    for (pollfd p{master_, POLLIN, 0}; ::poll(&p, 1, 0) > 0 && (p.revents & POLLIN);) {
      ssize_t n = ::read(master_, buf, sizeof buf);
      if (n <= 0) break;
      mcu_.append(buf, static_cast<size_t>(n));
    }
    return mcu_.find(text) != std::string::npos;
  }, deadline);
}

std::string DaemonHarness::output() {
  char buf[4096];
  for (ssize_t n; out_ && (n = ::pread(fileno(out_), buf, sizeof buf, static_cast<off_t>(output_.size()))) > 0;)
    output_.append(buf, static_cast<size_t>(n));
  return output_;
}

}  // namespace testing_support
