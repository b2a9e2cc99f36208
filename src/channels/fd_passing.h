#pragma once
// The descriptor-passing servers of the telnet passthrough. The passthrough
// processes ("telnetPassthrougth23", "telnetPassthrougth8000") accept the
// remote user's TCP connection themselves and hand the connected socket over
// a unix socket: they write the slot s into word 0 of their segment and the
// slot's flag into word 1 + s, connect, and send one message carrying the
// socket (SOL_SOCKET / SCM_RIGHTS). Flag > 0 opens the session (port 8000: any
// non-zero flag), 0 closes it. Each hand-over is a connection of its own.
#include <array>
#include <thread>

#include "channels/channels.h"

namespace channels {

inline constexpr char file_server_socket[] = "/var/run/msghdr_tmp";
inline constexpr char file_server_socket8000[] = "/var/run/msghdr_tmp_8000";

// Serve hand-overs until the channels stop (0) or a fatal error (-1, or the
// failing recvmsg result).
int McuTcpUpgradeServer(Channels& ch);      // port-23 sessions into rev_fd
int McuTcpUpgradeServer8000(Channels& ch);  // port-8000 sessions into rev_fd8000

// One hand-over from an accepted unix connection conn, as the server of port
// (23 or 8000) takes it: the session's descriptor is kept, every other one
// that came along is closed. The recvmsg result when it failed, else 0.
int receive_hand_over(Channels& ch, int port, int conn);

// Both servers on threads of their own, as start-up runs them.
std::array<std::thread, 2> start_descriptor_servers(Channels& ch);

}  // namespace channels
