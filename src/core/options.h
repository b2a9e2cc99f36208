#pragma once
#include <string>

namespace core {

struct Options {
  std::string root = "/";
  bool host = false;
  std::string serial = "/dev/ttyS0";
  long settle_ms = 4000;
  bool tcp_server = false;
  bool websocket = false;
  int ws_port = 45678;
  std::string http;  // --http [ADDR:]PORT; empty: no HTTP server
};

// Parses the command line. On --help/--version or a bad option it prints
// what it has to and returns false with the exit status in *status.
bool parse_options(int argc, char** argv, Options& out, int* status);

}  // namespace core
