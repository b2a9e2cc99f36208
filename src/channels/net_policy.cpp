#include "channels/net_policy.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cstdio>

namespace channels {

void set_keepalive(int fd, const Keepalive& k) {
  int on = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &k.idle_s, sizeof k.idle_s);
  ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &k.interval_s, sizeof k.interval_s);
  ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &k.count, sizeof k.count);
}

bool parse_keepalive(const std::string& text, Keepalive& out) {
  Keepalive k;
  char tail = 0;
  if (std::sscanf(text.c_str(), "%d,%d,%d%c", &k.idle_s, &k.interval_s, &k.count, &tail) != 3) return false;
  for (int v : {k.idle_s, k.interval_s, k.count})
    if (v < 1 || v > 3600) return false;
  out = k;
  return true;
}

bool valid_ipv4(const std::string& text) {
  in_addr a{};
  return ::inet_pton(AF_INET, text.c_str(), &a) == 1;
}

}  // namespace channels
