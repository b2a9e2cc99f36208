#pragma once
#include <string>
#include <vector>

namespace app {

struct Options {
  std::string root = "/";
  bool host = false;
  std::string serial = "/dev/ttyS0";
  long settle_ms = 4000;
  bool tcp_server = false;
  bool websocket = false;
  int ws_port = 45678;
  // The network channels on a LAN (every one off by default).
  std::string tcp_bind;                       // --tcp-bind ADDR
  std::string ws_bind;                        // --ws-bind ADDR
  std::vector<std::string> ws_allow_origins;  // --ws-allow-origin ORIGIN, repeatable
  std::string ws_tls_cert, ws_tls_key;        // --ws-tls CERT KEY
  std::string http;  // --http [ADDR:]PORT; empty: no HTTP server
  // Tools for the firmware engineer; the daemon does not start with these.
  bool list_recognisers = false;
  bool explain = false;
  std::string explain_message;
  std::string explain_model;  // ZLTMerge for the explanation; empty: none
  long explain_mode = 0;      // CheckStatusMode for the explanation
  // The MCU trace file; empty: no trace.
  std::string trace;
};

// Parses the command line. On --help/--version or a bad option it prints
// what it has to and returns false with the exit status in *status.
bool parse_options(int argc, char** argv, Options& out, int* status);

}  // namespace app
