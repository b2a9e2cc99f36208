#pragma once
// How the network-facing servers meet the LAN: the addresses they listen on,
// the browser pages that may open the GUI channel, TLS on the GUI channel and
// the keepalive that closes connections of peers that vanished.
#include <memory>
#include <string>
#include <vector>

namespace channels {

class TlsContext;

struct Keepalive {
  int idle_s = 60;     // silence before the first probe
  int interval_s = 10;  // between probes
  int count = 5;       // unanswered probes before the connection is closed
};

struct NetworkPolicy {
  std::string tcp_bind;  // IPv4 address of the command port; "" for every address
  std::string ws_bind;   // the same for the GUI channel
  std::vector<std::string> ws_allow_origins;  // pages of other sites that may open the GUI channel
  std::shared_ptr<TlsContext> ws_tls;          // wss instead of ws when set
  Keepalive keepalive;
};

// Turns keepalive on for an accepted client socket.
void set_keepalive(int fd, const Keepalive& k);
// "IDLE,INTERVAL,COUNT" (seconds, seconds, probes, each 1..3600).
bool parse_keepalive(const std::string& text, Keepalive& out);
// True for a dotted IPv4 address.
bool valid_ipv4(const std::string& text);

}  // namespace channels
