#pragma once
// The raw TCP command server: every block a peer sends goes unchanged to the
// MCU; the MCU's reply goes back (through the reader) to the peer that spoke
// last, named by TcpClientNum. Nothing here waits for a peer: sockets are
// non-blocking, and what a peer does not take waits in its bounded outbox
// (Channels::tcp_out), which this server's loop drains.
#include <sys/types.h>

#include <string>
#include <thread>

#include "channels/channels.h"

namespace channels {

inline constexpr char kCommandPrompt[] = "Please Input Your Command :\r\n";

// The first-input rule of the server, apart from the sockets: a telnet
// client opens with its option negotiation (IAC, byte 255), and until the
// first real input such a block is not for the MCU. One flag for the whole
// server, reset by every accept.
class CommandInput {
 public:
  void accepted() { firstInput_ = 0; }
  // A block a peer sent: true when it goes to the MCU.
  bool forward(const char* data, size_t n);

 private:
  int firstInput_ = 0;
};

// Serves the port (atoi of the text, modulo 65536) until the channels stop;
// returns 0 then. Socket, bind or listen failures end the process (status 1).
int tcp_server(Channels& ch, const std::string& port);
// One block of a peer to the MCU line, in one write.
ssize_t process_client(Channels& ch, ClientEntry& entry, const char* buffer, size_t length);
// Queues data for command client slot (sent now as far as the peer takes it)
// and wakes the server when some waits. The caller holds ch.send_lock.
void tcp_client_send_locked(Channels& ch, int slot, const char* data, size_t n);

// tcp_server on a thread of its own.
std::thread start_tcp_server(Channels& ch, std::string port);

}  // namespace channels
