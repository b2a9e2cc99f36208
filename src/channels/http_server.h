#pragma once
// The read-only HTTP server (off unless --http is given):
//   GET /metrics     Prometheus text exposition of the outlets, totals, sensors
//                    and the daemon's health
//   GET /api/state   the same as one JSON document
//   GET /            the dashboard, whose files are built into the binary
// It runs on threads of its own and reads only nvram and atomics, so a slow or
// hostile client never holds up the MCU reader or the worker. Requests are
// bounded in size, in time (between bytes and in all), and in how many are
// served at once.
#include <cstddef>
#include <string>
#include <thread>

namespace channels {

class Channels;

struct HttpAddress {
  std::string host;
  int port = 0;  // 0: any free port (tests)
};

// "[ADDR:]PORT" ("8080", "127.0.0.1:8080", "[::1]:8080"). Without an address:
// 127.0.0.1 on a development machine, every address (0.0.0.0) on the unit.
// False when the text is not of that form.
bool parse_http_address(const std::string& text, bool host_mode, HttpAddress& out);

inline constexpr int kHttpWorkers = 4;       // requests served at once
inline constexpr int kHttpQueued = 8;        // accepted connections waiting for a worker
inline constexpr int kHttpTimeoutSeconds = 3;  // the most a peer may stay silent mid-request
inline constexpr int kHttpRequestSeconds = 5;  // the most one request may take, answer included

// Binds, prints "pdud: serving HTTP on http://ADDR:PORT/" and returns the
// thread that serves until the channels stop. An empty thread when the address
// cannot be bound (after a message on standard error).
std::thread start_http_server(Channels& ch, const HttpAddress& address);

// The dashboard files built into the binary (generated at build time).
struct EmbeddedFile {
  const char* name;  // "index.html", "dashboard.js", ...
  const char* content_type;
  const unsigned char* data;
  size_t size;
};
extern const EmbeddedFile kDashboardFiles[];
extern const size_t kDashboardFileCount;

}  // namespace channels
