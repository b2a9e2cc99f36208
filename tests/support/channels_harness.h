#pragma once
// The client channels on a scratch root, with the board replaced by test
// doubles, plus what tests need to talk to them over real sockets and real
// peer programs: loopback clients, child processes with captured output.
#include <sys/types.h>

#include <condition_variable>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "board/board.h"
#include "channels/channels.h"
#include "channels/forwarding.h"
#include "support/fakes.h"
#include "support/wait.h"

namespace testing_support {

// An MCU line that several threads may write and a test may wait on.
class LockedMcu : public board::McuLine {
 public:
  ssize_t write(const char* data, size_t n) override;
  using board::McuLine::write;
  std::string bytes() const;
  bool wait_for(const std::string& text);  // until the bytes contain text
 private:
  mutable std::mutex lock_;
  std::condition_variable changed_;
  std::string bytes_;
};

struct ChannelsHarness : UnitDoubles<RecordingRunner, LockedMcu> {
  ChannelsHarness();
  ~ChannelsHarness();  // stops and joins the servers
  // Starts a server on a thread joined at the end.
  void run(std::thread t) { threads.push_back(std::move(t)); }
  std::string printed() const { return scratch.read("/printed.txt"); }  // by the channels so far

  std::unique_ptr<std::FILE, int (*)(std::FILE*)> out{std::fopen(scratch.path("/printed.txt").c_str(), "w"),
                                                      std::fclose};
  board::Board board{files, nvram, settings, runner, clock, mcu, out.get()};
  std::unique_ptr<channels::Segments> segments;
  std::unique_ptr<channels::Channels> ch;
  std::unique_ptr<channels::ChannelOutput> output;
  std::vector<std::thread> threads;
};

// Reads fd into `into` until done() holds: false when the deadline passed or
// the stream ended first (*ended tells which).
bool read_until(int fd, std::string& into, const std::function<bool()>& done, bool* ended = nullptr);

// A loopback TCP client.
class Client {
 public:
  explicit Client(int port, const char* address = "127.0.0.1");
  ~Client();
  Client(const Client&) = delete;
  bool connected() const { return fd_ >= 0; }
  int fd() const { return fd_; }
  bool send(const std::string& bytes);
  bool wait_for(const std::string& text) { return read_until(fd_, received, [&] { return has(text); }); }
  bool wait_bytes(size_t n) { return read_until(fd_, received, [&] { return received.size() >= n; }); }
  // True when the peer closed the connection before the deadline.
  bool wait_closed();
  bool has(const std::string& text) const { return received.find(text) != std::string::npos; }
  std::string received;

 private:
  int fd_ = -1;
};

// A loopback port nobody listens on (just now).
int free_port();

// A child process in a process group of its own, its standard output captured.
class Child {
 public:
  explicit Child(const std::vector<std::string>& argv);
  ~Child();  // ends it (SIGTERM) if still running
  bool wait_for_output(const std::string& text) {
    return read_until(out_, output, [&] { return output.find(text) != std::string::npos; });
  }
  int wait_exit();  // the exit status, or -1
  std::string output;

 private:
  pid_t pid_ = -1;
  int out_ = -1;
};

// Hands count descriptors (of /dev/null; -1: the connection ends without a
// message) to the descriptor server of port 23 or 8000 as a passthrough
// process would, announcing slot with flag; false when it was not taken.
bool hand_over(channels::Channels& ch, int port, int count, int slot, int32_t flag);
// The descriptors open in this process, less those the passthrough tables hold.
std::set<int> unkept_descriptors(channels::Channels& ch);

}  // namespace testing_support
