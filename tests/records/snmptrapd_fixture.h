#pragma once
// A real trap receiver for the tests: net-snmp's snmptrapd (Debian package
// snmptrapd) on a free loopback UDP port, with its configuration, persistent
// directory and log under the test's scratch directory. It accepts v1/v2c
// traps of any community. snmptrap, started by the code under test, inherits
// the environment set here: no MIB files, persistent data in the scratch
// directory.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "board/files.h"
#include "support/wait.h"

extern char** environ;

namespace records_testing {

class Snmptrapd {
 public:
  explicit Snmptrapd(const std::string& dir) : dir_(dir + "/snmp") {
    board::make_parent_dirs(dir_ + "/persist/x");
    board::make_parent_dirs(dir_ + "/mibs/x");
    board::replace_file(dir_ + "/snmptrapd.conf", "disableAuthorization yes\n");
    ::setenv("SNMPCONFPATH", dir_.c_str(), 1);
    ::setenv("SNMP_PERSISTENT_DIR", (dir_ + "/persist").c_str(), 1);
    ::setenv("MIBDIRS", (dir_ + "/mibs").c_str(), 1);
    ::setenv("MIBS", "", 1);
    // Should another program take the free port first the receiver exits: try another.
    for (int attempt = 0; attempt < 5 && pid_ < 0; ++attempt) start(free_udp_port());
  }
  ~Snmptrapd() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  Snmptrapd(const Snmptrapd&) = delete;
  Snmptrapd& operator=(const Snmptrapd&) = delete;

  bool running() const { return pid_ > 0; }
  std::string receiver() const { return "127.0.0.1:" + std::to_string(port_); }
  std::string log() const { return board::read_file(dir_ + "/trapd.log").value_or(""); }
  // The log once it holds text (or as it is at the deadline).
  std::string wait_for(const std::string& text) const {
    testing_support::wait_until([&] { return log().find(text) != std::string::npos; }, std::chrono::seconds(10));
    return log();
  }

 private:
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
    std::vector<std::string> args = {"/usr/sbin/snmptrapd", "-f", "-On", "-C", "-c", dir_ + "/snmptrapd.conf",
                                     "-p", dir_ + "/trapd.pid", "-Lf", dir_ + "/trapd.log",
                                     "udp:127.0.0.1:" + std::to_string(port)};
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    if (port <= 0 || ::posix_spawn(&pid_, argv[0], nullptr, nullptr, argv.data(), environ) != 0) {
      pid_ = -1;
      return;
    }
    port_ = port;
    // Ready once it has logged its start; gone (and reaped) when the port was taken.
    bool exited = false;
    testing_support::wait_until([&] {
      exited = ::waitpid(pid_, nullptr, WNOHANG) == pid_;
      return exited || log().find("NET-SNMP version") != std::string::npos;
    }, std::chrono::seconds(10));
    if (exited) pid_ = -1;
  }

  std::string dir_;
  pid_t pid_ = -1;
  int port_ = 0;
};

}  // namespace records_testing
