#include "util/net.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace util {

namespace {

// One interface request on a fresh IPv4 datagram socket, closed on every path.
// Returns -1 when the socket could not be opened, -2 when the request failed.
int interface_request(const char* ifname, unsigned long request, ifreq* ifr) {
  std::memset(ifr, 0, sizeof *ifr);
  std::snprintf(ifr->ifr_name, IFNAMSIZ, "%s", ifname ? ifname : "");
  int fd = ::socket(AF_INET, SOCK_DGRAM, 0);
  if (fd < 0) return -1;
  int rc = ::ioctl(fd, request, ifr);
  ::close(fd);
  return rc < 0 ? -2 : 0;
}

void dotted(const sockaddr& sa, char* out, size_t size) {
  const auto* sin = reinterpret_cast<const sockaddr_in*>(&sa);
  if (!::inet_ntop(AF_INET, &sin->sin_addr, out, static_cast<socklen_t>(size))) out[0] = '\0';
}

// The address query of get_ipaddr and get_netmask: dotted text, "" on failure.
const char* address_query(const char* caller, const char* request_name, unsigned long request,
                          const char* ifname, char* buf, size_t size) {
  ifreq ifr;
  buf[0] = '\0';
  int rc = interface_request(ifname, request, &ifr);
  if (rc == -1) {
    std::fprintf(stderr, "%s: open socket error\n", caller);
    return buf;
  }
  if (rc == -2) {
    std::fprintf(stderr, "%s: ioctl %s error for %s\n", caller, request_name, ifname ? ifname : "");
    return buf;
  }
  dotted(request == SIOCGIFNETMASK ? ifr.ifr_netmask : ifr.ifr_addr, buf, size);
  return buf;
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

const char* get_ipaddr(const char* ifname) {
  static char buf[16];
  return address_query("get_ipaddr", "SIOCGIFADDR", SIOCGIFADDR, ifname, buf, sizeof buf);
}

const char* get_netmask(const char* ifname) {
  static char buf[16];
  return address_query("get_netmask", "SIOCGIFNETMASK", SIOCGIFNETMASK, ifname, buf, sizeof buf);
}

const char* get_macaddr(const char* ifname) {
  static char buf[18];
  ifreq ifr;
  int rc = interface_request(ifname, SIOCGIFHWADDR, &ifr);
  if (rc == -1) {
    std::fprintf(stderr, "%s: open socket error\n", "get_macaddr");
    return nullptr;
  }
  if (rc == -2) {
    std::fprintf(stderr, "%s: ioctl fail\n", "get_macaddr");
    return nullptr;
  }
  const auto* hw = reinterpret_cast<const unsigned char*>(ifr.ifr_hwaddr.sa_data);
  std::snprintf(buf, sizeof buf, "%02X:%02X:%02X:%02X:%02X:%02X", hw[0], hw[1], hw[2], hw[3], hw[4],
                hw[5]);
  return buf;
}

int getIfIp(const char* ifname, char* out) {
  ifreq ifr;
  if (interface_request(ifname, SIOCGIFADDR, &ifr) != 0) return -1;
  dotted(ifr.ifr_addr, out, 16);
  return 0;
}

char* getWanIp(char* out) { return getIfIp("br-lan2", out) == 0 ? out : nullptr; }

std::string GetGateway(const board::Files& files, board::Nvram& nvram) {
  auto table = files.read("/proc/net/route");
  if (!table) return "";
  std::FILE* in = ::fmemopen(table->data(), table->size(), "r");
  if (!in) return "";
  std::string gateway;
  char line[256];
  bool header = true;
  while (std::fgets(line, sizeof line, in)) {
    if (header) {
      header = false;
      continue;
    }
    // The interface name runs to the first space or tab; the numbers follow.
    const char* rest = line + std::strcspn(line, " \t");
    unsigned long destination = 0, gw = 0, mask = 0;
    unsigned int flags = 0;
    int refcnt = 0, use = 0, metric = 0;
    if (std::sscanf(rest, "%lx%lx%X%d%d%d%lx", &destination, &gw, &flags, &refcnt, &use, &metric,
                    &mask) != 7) {
      std::fclose(in);
      return gateway;
    }
    if (flags & 1) {
      if (gw == 0) {
        gateway.clear();
      } else {
        // The kernel prints the address as it lies in memory, so it converts back unchanged.
        in_addr a;
        a.s_addr = static_cast<uint32_t>(gw);
        char text[INET_ADDRSTRLEN];
        gateway = ::inet_ntop(AF_INET, &a, text, sizeof text) ? text : "";
      }
      if (destination == 0) break;
    }
  }
  std::fclose(in);
  if (nvram.get_or("wanConnectionMode", "").rfind("DHCP", 0) == 0) nvram.set("wan_gateway", gateway);
  return gateway;
}

int IP_Formet(const char* text, IpFields* out) {
  if (!text || !*text) return -1;
  if (text[0] == '.') return -2;
  char groups[4][5] = {};
  int group = 0, length = 0;
  bool after_dot = false;
  for (const char* p = text; *p; ++p) {
    if (*p == '.') {
      after_dot = true;
      continue;
    }
    if (!is_digit(*p)) return -3;
    // A new group starts only where a digit follows one or more dots.
    if (after_dot) {
      ++group;
      length = 0;
      after_dot = false;
    }
    if (length >= 4) return -4;
    if (group < 4) groups[group][length] = *p;
    ++length;
  }
  if (group != 3) return -5;
  int values[4];
  for (int i = 0; i < 4; ++i) {
    if (char_to_int(&values[i], groups[i]) != 0) return -6;
    if (values[i] > 255) return -7;
  }
  if (out) {
    for (int i = 0; i < 4; ++i) {
      std::memcpy(out->text[i], groups[i], 4);
      out->value[i] = values[i];
    }
  }
  return 0;
}

int SB_Formet(const char* text) {
  if (!text || !*text) return -1;
  IpFields f;
  if (IP_Formet(text, &f) != 0) return -2;
  if (f.value[0] < 128) return -3;
  int ones = 0;
  bool zero_seen = false;
  for (int octet = 0; octet < 4; ++octet) {
    for (int bit = 7; bit >= 0; --bit) {
      if (f.value[octet] & (1 << bit)) {
        if (zero_seen) return -4;
        ++ones;
      } else {
        zero_seen = true;
      }
    }
  }
  if (ones >= 31) return -5;
  return 0;
}

int IP_SB_Calculate(const char* address, const char* mask) {
  IpFields a, m;
  if (IP_Formet(address, &a) != 0) return -1;
  if (IP_Formet(mask, &m) != 0) return -2;
  int first[4], last[4];
  for (int i = 0; i < 4; ++i) {
    first[i] = a.value[i] & m.value[i];
    last[i] = a.value[i] | (~m.value[i] & 0xFF);
  }
  // Host range of the last octet only: no carry into the others.
  first[3] += 1;
  last[3] -= 1;
  for (int i = 0; i < 4; ++i) {
    if (a.value[i] < first[i] || a.value[i] > last[i]) return -3;
  }
  return 0;
}

int char_to_int(int* out, const char* text) {
  if (!text || !*text) return -1;
  bool negative = text[0] == '-';
  const char* digits = negative ? text + 1 : text;
  if (!*digits) return -2;
  char limit[20];
  if (int_to_char(INT_MAX, limit) != 0) return -3;
  size_t length = std::strlen(digits);
  if (length >= std::strlen(limit)) {
    // Beyond the text comparison, a long digit string is also measured by its
    // value, so that nothing past the largest value is ever accumulated.
    const char* first = digits;
    while (*first == '0' && first[1]) ++first;
    bool all_digits = std::strspn(digits, "0123456789") == length;
    size_t significant = std::strlen(first);
    bool too_big = all_digits && (significant > std::strlen(limit) ||
                                  (significant == std::strlen(limit) && std::strcmp(first, limit) > 0));
    if (std::strcmp(digits, limit) > 0 || too_big) return -4;
  }
  int64_t value = 0;
  for (size_t i = 0; i < length; ++i) {
    if (!is_digit(digits[i])) return -5;
    int digit = digits[i] - '0';
    if (digit != 0) value += static_cast<int64_t>(digit) * pow(10, static_cast<int>(length - 1 - i));
  }
  if (out) *out = static_cast<int>(negative ? -value : value);
  return 0;
}

int int_to_char(int value, char* out) {
  if (!out) return -1;
  std::memset(out, 0, 20);
  std::snprintf(out, 20, "%d", value);
  out[19] = '\0';
  return 0;
}

int pow(int base, int exponent) {
  if (base < 0 || exponent < 0) return 0;
  // Repeated multiplication that wraps like the unit's 32-bit arithmetic.
  uint32_t result = 1;
  for (int i = 0; i < exponent; ++i) result *= static_cast<uint32_t>(base);
  return static_cast<int>(result);
}

}  // namespace util
