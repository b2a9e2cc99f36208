#include "interpreter/network_settings.h"

#include <cctype>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "interpreter/network_restart.h"

namespace interp {

namespace {

// --- value forms ---------------------------------------------------------

// An IPv6 address as the web pages show it: lower case, at most 127 characters.
std::string ipv6_text(const char* rest) {
  constexpr size_t kMax = 127;
  std::string text;
  for (size_t i = 0; rest[i] != '\0' && i < kMax; ++i)
    text += static_cast<char>(std::tolower(static_cast<unsigned char>(rest[i])));
  return text;
}

// A dotted IPv4 value checked and written without leading zeros: exactly four
// tokens between dots (empty tokens skipped), each shorter than four characters
// and, read as a decimal number from its leading digits, from 0 to 255.
// Anything else is no value.
std::optional<std::string> ipv4_text(std::string_view rest) {
  std::vector<std::string_view> tokens;
  size_t pos = 0;
  while (pos <= rest.size()) {
    size_t dot = rest.find('.', pos);
    size_t end = dot == std::string_view::npos ? rest.size() : dot;
    if (end > pos) {
      if (tokens.size() == 4) return std::nullopt;  // a fifth token
      tokens.push_back(rest.substr(pos, end - pos));
    }
    if (dot == std::string_view::npos) break;
    pos = dot + 1;
  }
  if (tokens.size() != 4) return std::nullopt;

  std::string text;
  for (std::string_view token : tokens) {
    if (token.size() >= 4) return std::nullopt;
    int value = std::atoi(std::string(token).c_str());
    if (value < 0 || value > 255) return std::nullopt;
    if (!text.empty()) text += '.';
    text += std::to_string(value);
  }
  return text;
}

// --- handlers ------------------------------------------------------------

// The settings that the MCU confirms as IPv4 values go to both stores.
int ipv4_setting(Context& ctx, const Recogniser& r, char* rest) {
  if (auto value = ipv4_text(rest)) ctx.store(r.key, *value);
  return 0;
}

int ipv6_setting(Context& ctx, const Recogniser& r, char* rest) {
  ctx.nvram.set(r.key, ipv6_text(rest));
  return 0;
}

// The older firmware's "IPv61"/"IPv62" address form: stored as it came.
int raw_setting(Context& ctx, const Recogniser& r, char* rest) {
  ctx.nvram.set(r.key, rest);
  return 0;
}

int dhcp_on(Context& ctx, const Recogniser& r, char*) {
  ctx.store(r.key, "DHCP");
  return 0;
}

// Going static restarts the mDNS responder so that it announces the new address.
int dhcp_off(Context& ctx, const Recogniser& r, char*) {
  ctx.store(r.key, "STATIC");
  ctx.runner.run(kMdnsReload);
  return 0;
}

// The MCU lists the addresses after a change from the front panel: bring
// both bridges down and up and start the address clients again.
int list_current_addresses(Context& ctx, char*) {
  restart_network(ctx);
  return 0;
}

// Keys, as template arguments of the handlers.

// After the sensor warnings; both firmware forms of each IPv6 message.
constexpr Recogniser kNetwork[] = {
    data_row("set-tcp-ipv62-ip-address", "[SUCCESS]Set TCP/IPv62 IP Address To ", raw_setting, "IPv6IPAddr"),
    data_row("set-tcp-ipv62-gateway-address1", "[SUCCESS]Set TCP/IPv62 Gateway Address1 To ", ipv6_setting, "Ipv62Gateadd1"),
    data_row("set-tcp-ipv62-gateway-address2", "[SUCCESS]Set TCP/IPv62 Gateway Address2 To ", ipv6_setting, "Ipv62Gateadd2"),
    data_row("set-tcp-ipv6-2-ip-address", "[SUCCESS]Set TCP/IPv6 2 IP Address To ", ipv6_setting, "IPv6IPAddr"),
    data_row("set-tcp-ipv6-2-gateway-address1", "[SUCCESS]Set TCP/IPv6 2 Gateway Address1 To ", ipv6_setting, "Ipv62Gateadd1"),
    data_row("set-tcp-ipv6-2-gateway-address2", "[SUCCESS]Set TCP/IPv6 2 Gateway Address2 To ", ipv6_setting, "Ipv62Gateadd2"),
    prefix("list-current-tcp-ip-address", "[SUCCESS]List Current TCP/IP Address", list_current_addresses),
    data_row("set-tcp-ipv61-ip-address", "[SUCCESS]Set TCP/IPv61 IP Address To ", raw_setting, "Ipv6Address1"),
    data_row("set-tcp-ipv61-gateway-address1", "[SUCCESS]Set TCP/IPv61 Gateway Address1 To ", ipv6_setting, "Ipv6Gateadd1"),
    data_row("set-tcp-ipv61-gateway-address2", "[SUCCESS]Set TCP/IPv61 Gateway Address2 To ", ipv6_setting, "Ipv6Gateadd2"),
    data_row("set-tcp-ipv6-1-ip-address", "[SUCCESS]Set TCP/IPv6 1 IP Address To ", ipv6_setting, "Ipv6Address1"),
    data_row("set-tcp-ipv6-1-gateway-address1", "[SUCCESS]Set TCP/IPv6 1 Gateway Address1 To ", ipv6_setting, "Ipv6Gateadd1"),
    data_row("set-tcp-ipv6-1-gateway-address2", "[SUCCESS]Set TCP/IPv6 1 Gateway Address2 To ", ipv6_setting, "Ipv6Gateadd2"),
    data_row("set-tcp-ip2-dhcp-on", "[SUCCESS]Set The TCP/IP2 DHCP ON", dhcp_on, "connectionType"),
    data_row("set-tcp-ip2-dhcp-off", "[SUCCESS]Set The TCP/IP2 DHCP OFF", dhcp_off, "connectionType"),
    data_row("set-tcp-ip2-ip-address", "[SUCCESS]Set TCP/IP2 IP Address To ", ipv4_setting, "lan_ipaddr"),
    data_row("set-tcp-ip2-gateway-address", "[SUCCESS]Set TCP/IP2 Gateway Address To ", ipv4_setting, "lan_gateway"),
    data_row("set-tcp-ip2-subnet-mask", "[SUCCESS]Set TCP/IP2 Subnet Mask To ", ipv4_setting, "lan_netmask"),
    data_row("set-tcp-ip1-ip-address", "[SUCCESS]Set TCP/IP1 IP Address To ", ipv4_setting, "wan_ipaddr"),
    data_row("set-tcp-ip1-gateway-address", "[SUCCESS]Set TCP/IP1 Gateway Address To ", ipv4_setting, "wan_gateway"),
    data_row("set-tcp-ip1-subnet-mask", "[SUCCESS]Set TCP/IP1 Subnet Mask To ", ipv4_setting, "wan_netmask"),
    data_row("set-tcp-ip1-dhcp-on", "[SUCCESS]Set The TCP/IP1 DHCP ON", dhcp_on, "wanConnectionMode"),
};

// Tested after every query reply: the last recogniser of the chain.
constexpr Recogniser kDhcpOff[] = {
    data_row("set-tcp-ip1-dhcp-off", "[SUCCESS]Set The TCP/IP1 DHCP OFF", dhcp_off, "wanConnectionMode"),
};

}  // namespace

Row network_messages() { return row_of(kNetwork); }
Row dhcp_off_message() { return row_of(kDhcpOff); }

}  // namespace interp
