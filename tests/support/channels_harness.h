#pragma once
// The client channels on a scratch root, with the board replaced by test
// doubles, plus the helpers of tests that talk to them over real sockets and
// real peer programs: loopback clients, child processes with captured
// output, and waiting for an effect with a deadline.
#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "board/board.h"
#include "channels/channels.h"
#include "channels/forwarding.h"
#include "core/state.h"
#include "support/fakes.h"
#include "support/scratch_root.h"
#include "support/wait.h"

namespace testing_support {

inline constexpr std::chrono::seconds kDeadline{20};

// An MCU line that several threads may write and a test may wait on.
class LockedMcu : public board::McuLine {
 public:
  ssize_t write(const char* data, size_t n) override;
  using board::McuLine::write;
  std::string bytes() const;
  // Waits until the bytes contain text.
  bool wait_for(const std::string& text);
  // Forgets everything written so far.
  void clear();

 private:
  mutable std::mutex lock_;
  std::condition_variable changed_;
  std::string bytes_;
};

class ChannelsHarness {
 public:
  ChannelsHarness();
  ~ChannelsHarness();  // stops and joins the servers

  // Starts a server on a thread the harness joins at the end.
  void run(std::thread t) { threads_.push_back(std::move(t)); }
  void stop();
  // What the channels printed so far.
  std::string printed() const { return scratch.read("/printed.txt"); }

  ScratchRoot scratch;
  MemoryNvram nvram;
  RecordingRunner runner;
  RecordingClock clock;
  LockedMcu mcu;
  core::SharedState state;
  board::Files files;
  board::SettingsFile settings;

 private:
  std::FILE* out_;

 public:
  board::Board board;
  std::unique_ptr<channels::Segments> segments;
  std::unique_ptr<channels::Channels> ch;
  std::unique_ptr<channels::ChannelOutput> output;

 private:
  std::vector<std::thread> threads_;
};

// A loopback TCP client.
class Client {
 public:
  explicit Client(int port);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  bool connected() const { return fd_ >= 0; }
  int fd() const { return fd_; }
  bool send(const std::string& bytes);
  // Reads until the received bytes contain text (or the deadline passes).
  bool wait_for(const std::string& text);
  // Reads until at least n bytes were received.
  bool wait_bytes(size_t n);
  // True when the peer closed the connection before the deadline.
  bool wait_closed();
  std::string received;

 private:
  bool read_some();
  bool read_until(const std::function<bool()>& done);
  int fd_ = -1;
  bool closed_ = false;
};

// A TCP listener on a loopback ephemeral port.
class Listener {
 public:
  Listener();
  ~Listener();
  int port() const { return port_; }
  int accept_one();  // waits with the deadline; -1 when nobody came
 private:
  int fd_ = -1;
  int port_ = 0;
};

// A child process with its standard output captured.
class Child {
 public:
  explicit Child(const std::vector<std::string>& argv);
  ~Child();  // ends it (SIGTERM) if still running
  bool started() const { return pid_ > 0; }
  // Waits until the output contains text.
  bool wait_for_output(const std::string& text);
  // Waits for the exit; the exit status, or -1.
  int wait_exit();
  std::string output;

 private:
  pid_t pid_ = -1;
  int out_ = -1;
};

// A built program of this project.
std::string program(const std::string& name);

}  // namespace testing_support
