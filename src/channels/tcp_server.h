#pragma once
// The raw TCP command server: every block a peer sends goes unchanged to the
// MCU; the MCU's reply goes back (through the reader) to the peer that spoke
// last, named by TcpClientNum.
#include <sys/types.h>

#include <string>
#include <thread>

#include "channels/channels.h"

namespace channels {

inline constexpr char kCommandPrompt[] = "Please Input Your Command :\r\n";

// Serves the port (atoi of the text, modulo 65536) until the channels stop;
// returns 0 then. Socket, bind or listen failures end the process (status 1).
int tcp_server(Channels& ch, const std::string& port);
// One block of a peer to the MCU line, in one write.
ssize_t process_client(Channels& ch, ClientEntry& entry, const char* buffer, size_t length);

// tcp_server on a thread of its own.
std::thread start_tcp_server(Channels& ch, std::string port);

}  // namespace channels
