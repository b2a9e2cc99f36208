#pragma once
// A real trap receiver for the tests: net-snmp's snmptrapd on a free loopback
// UDP port, with a configuration, persistent directory and log of its own under
// the test's scratch directory. It accepts v1/v2c traps of any community and
// v3 noAuthNoPriv traps of one user.
//
// snmptrap, started by the code under test, inherits the environment set here:
// its configuration path (which gives it a fixed engine ID, the one the
// receiver knows the v3 user by), its persistent directory and no MIB files.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "board/files.h"

extern char** environ;

namespace records_testing {

inline constexpr const char* kSnmptrapd = "/usr/sbin/snmptrapd";
inline constexpr const char* kTrapUser = "pdudtrap";
inline constexpr const char* kEngineId = "0x80001f88047064756474657374";

class Snmptrapd {
 public:
  // dir: a scratch directory that the receiver may fill.
  explicit Snmptrapd(const std::string& dir) : dir_(dir + "/snmp") {
    board::make_parent_dirs(dir_ + "/persist/x");
    board::make_parent_dirs(dir_ + "/mibs/x");
    // snmptrap's engine ID: net-snmp's text form of "pdudtest".
    board::replace_file(dir_ + "/client/snmpapp.conf", "oldEngineID " + std::string(kEngineId) + "\n");
    board::replace_file(dir_ + "/snmptrapd.conf",
                        "disableAuthorization yes\n"
                        "createUser -e " + std::string(kEngineId) + " " + kTrapUser + "\n");
    set_env("SNMPCONFPATH", dir_ + "/client");
    set_env("SNMP_PERSISTENT_DIR", dir_ + "/persist");
    set_env("MIBDIRS", dir_ + "/mibs");
    set_env("MIBS", "");
    // The port is free when chosen; should another program take it first the
    // receiver exits, and another port is tried.
    for (int attempt = 0; attempt < 5 && pid_ < 0; ++attempt) start(free_udp_port());
  }

  ~Snmptrapd() {
    stop();
    for (const auto& [name, old] : saved_env_) {
      if (old)
        ::setenv(name.c_str(), old->c_str(), 1);
      else
        ::unsetenv(name.c_str());
    }
  }

  Snmptrapd(const Snmptrapd&) = delete;
  Snmptrapd& operator=(const Snmptrapd&) = delete;

  bool running() const { return pid_ > 0; }
  // The receiver text for snmptrap: host and port in net-snmp's syntax.
  std::string receiver() const { return "127.0.0.1:" + std::to_string(port_); }
  std::string log() const { return board::read_file(log_path()).value_or(""); }

  // Waits until the log holds text; the log as it is then (or at the deadline).
  std::string wait_for(const std::string& text,
                       std::chrono::milliseconds deadline = std::chrono::seconds(10)) const {
    auto until = std::chrono::steady_clock::now() + deadline;
    std::string now = log();
    while (now.find(text) == std::string::npos && std::chrono::steady_clock::now() < until) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      now = log();
    }
    return now;
  }

 private:
  std::string log_path() const { return dir_ + "/trapd.log"; }

  void set_env(const std::string& name, const std::string& value) {
    const char* old = std::getenv(name.c_str());
    if (!saved_env_.count(name))
      saved_env_[name] = old ? std::optional<std::string>(old) : std::nullopt;
    ::setenv(name.c_str(), value.c_str(), 1);
  }

  static int free_udp_port() {
    int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len) == 0)
      port = ntohs(addr.sin_port);
    ::close(fd);
    return port;
  }

  void start(int port) {
    if (port <= 0) return;
    ::unlink(log_path().c_str());
    std::vector<std::string> args = {kSnmptrapd, "-f", "-On", "-C", "-c", dir_ + "/snmptrapd.conf",
                                     "-Lf", log_path(), "udp:127.0.0.1:" + std::to_string(port)};
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const std::string out = dir_ + "/trapd.out";
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    pid_t pid = -1;
    int rc = ::posix_spawn(&pid, kSnmptrapd, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) return;
    pid_ = pid;
    port_ = port;
    // Ready once it has logged its start; gone when the port was taken.
    auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < until) {
      if (log().find("NET-SNMP version") != std::string::npos) return;
      int status = 0;
      if (::waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;  // exited (and reaped): nothing left to stop
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    stop();
  }

  void stop() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
  }

  std::string dir_;
  pid_t pid_ = -1;
  int port_ = 0;
  std::map<std::string, std::optional<std::string>> saved_env_;
};

}  // namespace records_testing
