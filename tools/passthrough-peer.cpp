// passthrough-peer: hands a telnet session to pdud the way the passthrough
// processes do: it writes the slot words of the session segment, connects to
// the daemon's unix socket and passes the session's TCP socket (SCM_RIGHTS).
//   passthrough-peer [--root DIR] [--port 23|8000] --slot S --connect HOST:PORT
//       connect to HOST:PORT and hand that connection over as slot S
//   passthrough-peer [--root DIR] [--port 23|8000] --slot S --listen PORT
//       wait for one TCP client on PORT (try: telnet 127.0.0.1 PORT) and hand it over
//   passthrough-peer [--root DIR] [--port 23|8000] --slot S --close
//       announce that slot S has closed
#include <arpa/inet.h>
#include <fcntl.h>
#include <getopt.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "board/root.h"
#include "channels/fd_passing.h"
#include "channels/segments.h"

namespace {

int usage(std::FILE* to, int status) {
  std::fprintf(to,
               "usage: passthrough-peer [--root DIR] [--port 23|8000] --slot S --connect HOST:PORT\n"
               "       passthrough-peer [--root DIR] [--port 23|8000] --slot S --listen PORT\n"
               "       passthrough-peer [--root DIR] [--port 23|8000] --slot S --close\n");
  return status;
}

int connect_tcp(const std::string& where) {
  auto colon = where.rfind(':');
  if (colon == std::string::npos) return -1;
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(std::atoi(where.c_str() + colon + 1)));
  if (inet_pton(AF_INET, where.substr(0, colon).c_str(), &a.sin_addr) != 1) return -1;
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

int accept_tcp(int port) {
  int l = socket(AF_INET, SOCK_STREAM, 0);
  int on = 1;
  setsockopt(l, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  a.sin_port = htons(static_cast<uint16_t>(port));
  if (bind(l, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || listen(l, 1) != 0) return -1;
  std::printf("waiting for a client on port %d\n", port);
  std::fflush(stdout);
  int fd = accept(l, nullptr, nullptr);
  close(l);
  return fd;
}

bool hand_over(const std::string& path, int session_fd) {
  int u = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un a{};
  a.sun_family = AF_UNIX;
  std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
  if (u < 0 || connect(u, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
    std::perror(path.c_str());
    return false;
  }
  char data = 0;
  iovec iov{&data, 1};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr msg{};
  msg.msg_iov = &iov;
  msg.msg_iovlen = 1;
  msg.msg_control = control;
  msg.msg_controllen = sizeof control;
  cmsghdr* c = CMSG_FIRSTHDR(&msg);
  c->cmsg_level = SOL_SOCKET;
  c->cmsg_type = SCM_RIGHTS;
  c->cmsg_len = CMSG_LEN(sizeof(int));
  std::memcpy(CMSG_DATA(c), &session_fd, sizeof(int));
  bool ok = sendmsg(u, &msg, 0) >= 0;
  if (!ok) std::perror("sendmsg");
  // Wait until the daemon has taken it (it closes its end).
  char sink;
  while (ok && read(u, &sink, 1) > 0) {
  }
  close(u);
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  std::string root_dir = "/", target;
  int port = 23, slot = -1, listen_port = -1;
  bool closing = false;
  static const option longopts[] = {{"root", required_argument, nullptr, 'r'},
                                     {"port", required_argument, nullptr, 'p'},
                                     {"slot", required_argument, nullptr, 's'},
                                     {"connect", required_argument, nullptr, 'c'},
                                     {"listen", required_argument, nullptr, 'l'},
                                     {"close", no_argument, nullptr, 'x'},
                                     {"help", no_argument, nullptr, 'h'},
                                     {nullptr, 0, nullptr, 0}};
  int c;
  while ((c = getopt_long(argc, argv, "r:p:s:c:l:xh", longopts, nullptr)) != -1) {
    switch (c) {
      case 'r': root_dir = optarg; break;
      case 'p': port = std::atoi(optarg); break;
      case 's': slot = std::atoi(optarg); break;
      case 'c': target = optarg; break;
      case 'l': listen_port = std::atoi(optarg); break;
      case 'x': closing = true; break;
      case 'h': return usage(stdout, 0);
      default: return usage(stderr, 2);
    }
  }
  if ((port != 23 && port != 8000) || slot < 0 || slot >= channels::kSessionSlots ||
      (closing + !target.empty() + (listen_port >= 0)) != 1)
    return usage(stderr, 2);

  board::Root root(root_dir);
  auto* seg = static_cast<channels::SlotSegment*>(channels::attach_segment(
      channels::segment_key(root, port == 23 ? channels::kTelnet23Key : channels::kTelnet8000Key),
      sizeof(channels::SlotSegment)));
  if (!seg) return 1;

  int session = closing ? open("/dev/null", O_RDONLY) : !target.empty() ? connect_tcp(target) : accept_tcp(listen_port);
  if (session < 0) {
    std::fprintf(stderr, "passthrough-peer: no session socket\n");
    return 1;
  }
  channels::store(seg->announced, slot);
  channels::store(seg->slot[slot], closing ? 0 : 1);
  std::string path = root.path(port == 23 ? channels::file_server_socket : channels::file_server_socket8000);
  bool ok = hand_over(path, session);
  close(session);
  std::printf("%s slot %d on port %d: %s\n", closing ? "closed" : "opened", slot, port, ok ? "handed over" : "failed");
  return ok ? 0 : 1;
}
