#pragma once
// Everything the client channels share: the board, the daemon's flags, the
// client tables, the passthrough descriptor tables and the session segments.
// One object lives for the whole run; every server thread gets it.
#include <poll.h>
#include <sys/types.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "board/board.h"
#include "board/root.h"
#include "channels/client_tables.h"
#include "channels/net_policy.h"
#include "channels/outbox.h"
#include "channels/segments.h"
#include "core/state.h"

namespace channels {

// A pipe that wakes a server loop from another thread.
class Waker {
 public:
  Waker();
  ~Waker();
  Waker(const Waker&) = delete;
  Waker& operator=(const Waker&) = delete;
  void notify();
  void drain();
  int fd() const { return pipe_[0]; }

 private:
  int pipe_[2] = {-1, -1};
};

class Channels {
 public:
  Channels(board::Board& board, core::SharedState& state, Segments& segments);
  ~Channels();
  Channels(const Channels&) = delete;
  Channels& operator=(const Channels&) = delete;

  board::Board& board;
  core::SharedState& state;
  Segments& segments;
  ClientTables clients;
  DescriptorTable rev_fd;      // port-23 passthrough sessions
  DescriptorTable rev_fd8000;  // port-8000 passthrough sessions

  // Held while the reader sends on a session's descriptor and while a server
  // closes one, so that a send never reaches a descriptor number that was
  // closed and given to something else meanwhile.
  std::mutex send_lock;

  // What each command client has not taken yet (guarded by send_lock; the
  // reader fills them, the command server drains and closes), and how the
  // reader wakes the server when a box needs watching.
  std::array<Outbox, kClientSlots> tcp_out;
  Waker tcp_wake;
  // Limits, set before the servers start (tests shorten them). A command or
  // GUI client whose waiting output makes no progress for stall_limit is
  // closed.
  std::chrono::milliseconds stall_limit{kStallLimit};
  // A GUI's whole opening request, and each of its frames from the first byte
  // to the last, must arrive within these.
  std::chrono::milliseconds handshake_limit{5000};
  std::chrono::milliseconds frame_limit{10000};
  // SO_SNDBUF of accepted command and GUI sockets when above 0 (tests use a
  // small one to stand for a small board; 0 keeps the system's).
  std::atomic<int> accepted_sndbuf{0};

  // Sends one text frame to every GUI client; set by the WebSocket server
  // while it runs and called on its thread only (empty: no GUI clients).
  std::function<void(const std::string& text)> gui_send;

  // The MAC address of an interface for the GUI report ("" when unknown). The
  // daemon sets util::get_macaddr here.
  std::function<std::string(const char* ifname)> macaddr;

  // Bind addresses, allowed origins, TLS and keepalive; set before the servers start.
  NetworkPolicy policy;

  // The ports the servers bound, once they listen (0 before).
  std::atomic<int> tcp_port{0};
  std::atomic<int> websocket_port{0};

  // Asks every server loop to end; they return soon after.
  void stop();
  bool stopping() const { return stopping_.load(); }
  // Readable once stop() was called: servers wait on it beside their sockets.
  int stop_fd() const { return stop_pipe_[0]; }
  // A path of the unit resolved under the board's root.
  std::string path(const char* unit_path) const { return board.files.path(unit_path); }

 private:
  std::atomic<bool> stopping_{false};
  int stop_pipe_[2] = {-1, -1};
};

// Small socket helpers shared by the channels.
// A writer that never waits: send with MSG_DONTWAIT and MSG_NOSIGNAL.
Outbox::Writer nonblocking_writer(int fd);
// Sets SO_SNDBUF of an accepted socket when the channels ask for one.
void apply_send_buffer(const Channels& ch, int fd);
// Waits until fd is readable or the channels stop; false when stopping.
bool wait_readable(const Channels& ch, int fd);
// The local port of a bound socket.
int bound_port(int fd);
// An IPv4 listening socket on bind_addr, "" for every local address
// (SO_REUSEADDR on). A failed step ends the process with status 1 after
// perror of its text.
int listen_tcp_or_exit(int port, int backlog, const char* socket_error, const char* bind_error,
                       const char* listen_error, const std::string& bind_addr = "");

}  // namespace channels
