#include "app/options.h"

#include <arpa/inet.h>
#include <getopt.h>

#include <cstdio>
#include <cstdlib>

#include "channels/http_server.h"

namespace app {

namespace {

void usage(std::FILE* to) {
  std::fprintf(to,
               "usage: pdud [--root DIR] [--host] [--serial PATH] [--settle-ms N]\n"
               "            [--tcp-server] [--websocket] [--ws-port N] [--http [ADDR:]PORT]\n"
               "            [--tcp-bind ADDR] [--ws-bind ADDR] [--ws-allow-origin ORIGIN]...\n"
               "            [--ws-tls CERT KEY] [--trace FILE]\n"
               "  --root DIR     resolve every file of the unit under DIR (default /)\n"
               "  --host         development machine: nvram in files under the root, board\n"
               "                 programs journaled to ROOT/var/log/commands.log (needs --root)\n"
               "  --serial PATH  the MCU line (default /dev/ttyS0)\n"
               "  --settle-ms N  wait N ms after opening the line (default 4000)\n"
               "  --tcp-server   serve the raw TCP command port (nvram TCPPORT)\n"
               "  --websocket    serve the web GUI's WebSocket channel\n"
               "  --ws-port N    its port (default 45678)\n"
               "  --tcp-bind ADDR, --ws-bind ADDR\n"
               "                 listen on this IPv4 address only (default every address)\n"
               "  --ws-allow-origin ORIGIN\n"
               "                 let pages of ORIGIN (e.g. https://gui.example:8443) open the\n"
               "                 GUI channel besides the unit's own pages (repeatable)\n"
               "  --ws-tls CERT KEY\n"
               "                 serve the GUI channel over TLS (wss) with these PEM files\n"
               "                 (on the unit /user/local/server.pem /user/local/privkey.pem)\n"
               "  --http [ADDR:]PORT  serve /metrics, /api/state and the dashboard (ADDR:\n"
               "                 127.0.0.1 with --host, every address otherwise)\n"

               "  --trace FILE   record MCU bytes, the rows that took them and the keys\n"
               "                 they changed in FILE (rotated to FILE.1 at 1 MiB)\n"
               "       pdud --explain MESSAGE [--model CODE] [--mode N]\n"
               "                 which row takes MESSAGE and what it does, on a scratch root\n"
               "       pdud --list-recognisers\n"
               "                 the recogniser chain, in the order it is tried\n");
}

bool number(const char* text, long lo, long hi, long* out) {
  char* end = nullptr;
  long v = std::strtol(text, &end, 10);
  if (!*text || *end || v < lo || v > hi) return false;
  *out = v;
  return true;
}

}  // namespace

bool parse_options(int argc, char** argv, Options& out, int* status) {
  enum { kRoot = 1, kHost, kSerial, kSettle, kTcp, kWs, kWsPort, kHelp, kVersion,
         kTcpBind, kWsBind, kWsAllowOrigin, kWsTls, kHttp,
         kList, kExplain, kModel, kMode, kTrace };
  static const option longopts[] = {
      {"root", required_argument, nullptr, kRoot},   {"host", no_argument, nullptr, kHost},
      {"serial", required_argument, nullptr, kSerial}, {"settle-ms", required_argument, nullptr, kSettle},
      {"tcp-server", no_argument, nullptr, kTcp},      {"websocket", no_argument, nullptr, kWs},
      {"ws-port", required_argument, nullptr, kWsPort}, {"help", no_argument, nullptr, kHelp},
      {"version", no_argument, nullptr, kVersion},
      {"tcp-bind", required_argument, nullptr, kTcpBind}, {"ws-bind", required_argument, nullptr, kWsBind},
      {"ws-allow-origin", required_argument, nullptr, kWsAllowOrigin},
      {"ws-tls", required_argument, nullptr, kWsTls},  {"http", required_argument, nullptr, kHttp},
      {"list-recognisers", no_argument, nullptr, kList}, {"explain", required_argument, nullptr, kExplain},
      {"model", required_argument, nullptr, kModel},     {"mode", required_argument, nullptr, kMode},
      {"trace", required_argument, nullptr, kTrace},     {nullptr, 0, nullptr, 0}};
  bool root_given = false;
  optind = 1;
  int c;
  long v;
  while ((c = getopt_long(argc, argv, "", longopts, nullptr)) != -1) {
    switch (c) {
      case kRoot: out.root = optarg; root_given = true; break;
      case kHost: out.host = true; break;
      case kSerial: out.serial = optarg; break;
      case kSettle:
        if (!number(optarg, 0, 600000, &v)) {
          std::fprintf(stderr, "pdud: --settle-ms wants a number of milliseconds, not '%s'\n", optarg);
          *status = 2;
          return false;
        }
        out.settle_ms = v;
        break;
      case kTcp: out.tcp_server = true; break;
      case kWs: out.websocket = true; break;
      case kWsPort:
        if (!number(optarg, 1, 65535, &v)) {
          std::fprintf(stderr, "pdud: --ws-port wants a port number, not '%s'\n", optarg);
          *status = 2;
          return false;
        }
        out.ws_port = static_cast<int>(v);
        break;
      case kTcpBind:
      case kWsBind: {
        in_addr a{};
        if (::inet_pton(AF_INET, optarg, &a) != 1) {
          std::fprintf(stderr, "pdud: --%s wants an IPv4 address, not '%s'\n",
                       c == kTcpBind ? "tcp-bind" : "ws-bind", optarg);
          *status = 2;
          return false;
        }
        (c == kTcpBind ? out.tcp_bind : out.ws_bind) = optarg;
        break;
      }
      case kWsAllowOrigin: out.ws_allow_origins.push_back(optarg); break;
      case kWsTls:
        if (optind >= argc) {
          std::fprintf(stderr, "pdud: --ws-tls wants a certificate file and a key file\n");
          *status = 2;
          return false;
        }
        out.ws_tls_cert = optarg;
        out.ws_tls_key = argv[optind++];
        break;
      case kHttp: out.http = optarg; break;
      case kList: out.list_recognisers = true; break;
      case kExplain: out.explain = true; out.explain_message = optarg; break;
      case kModel: out.explain_model = optarg; break;
      case kMode:
        if (!number(optarg, 0, 99, &v)) {
          std::fprintf(stderr, "pdud: --mode wants a status table number, not '%s'\n", optarg);
          *status = 2;
          return false;
        }
        out.explain_mode = v;
        break;
      case kTrace: out.trace = optarg; break;
      case kHelp: usage(stdout); *status = 0; return false;
      case kVersion: std::printf("pdud %s\n", PDUD_VERSION); *status = 0; return false;
      default: usage(stderr); *status = 2; return false;
    }
  }
  if (optind < argc) {
    std::fprintf(stderr, "pdud: unexpected argument '%s'\n", argv[optind]);
    *status = 2;
    return false;
  }
  channels::HttpAddress address;
  if (!out.http.empty() && !channels::parse_http_address(out.http, out.host, address)) {
    std::fprintf(stderr, "pdud: --http wants [ADDR:]PORT, not '%s'\n", out.http.c_str());
    *status = 2;
    return false;
  }
  if (out.host && !root_given) {
    std::fprintf(stderr, "pdud: --host needs --root DIR\n");
    *status = 2;
    return false;
  }
  return true;
}

}  // namespace app
