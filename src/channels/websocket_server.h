#pragma once
// The web GUI's WebSocket channel: every message the GUI sends is echoed back
// as a text frame and then switches a live feature or asks for the report.
#include <string>
#include <thread>

#include "channels/channels.h"
#include "channels/websocket_codec.h"

namespace channels {

inline constexpr int kWebSocketPort = 45678;
inline constexpr uint64_t kFrameMax = 65536;  // larger frames close the connection

// The listening socket on every local address; bind or listen failures end
// the process (status 1).
int passive_server(int port, int backlog, const std::string& bind_addr = "");
// Serves until the channels stop (returns 0).
int telnet_server(Channels& ch, int port = kWebSocketPort);
// What one GUI message does after its echo.
void act_on_message(Channels& ch, const std::string& text);

std::thread start_websocket_server(Channels& ch, int port = kWebSocketPort);

}  // namespace channels
