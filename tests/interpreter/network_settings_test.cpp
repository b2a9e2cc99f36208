#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/sensornet_cases.h"

namespace {

using testing_support::check_store_case;
using testing_support::check_store_cases;
using testing_support::StoreCase;

const char* const kReloadMdns = "/log/www/cgi-bin/ReloadmDNSRepons.cgi restart &";

const std::vector<std::string> kRestart = {
    "killall -9 udhcpc 2>/dev/null", "killall -9 odhcp6c 2>/dev/null", "killall -9 mDNSResponder 2>/dev/null",
    "/sbin/ifconfig br-lan1 down",   "/sbin/ifconfig br-lan2 down",    "/sbin/ifconfig br-lan1 up",
    "/sbin/ifconfig br-lan2 up",     "/sbin/wan.sh &",
};

// A confirmation of key = value through the settings file and nvram.
StoreCase stored(const char* name, const std::string& message, const std::string& key, const std::string& value) {
  return StoreCase{name, {message}, {}, "", {key + "=" + value}, {{key, value}}};
}

StoreCase nothing_stored(const char* name, const std::string& message) {
  return StoreCase{name, {message}, {}, "", {}, {}};
}

TEST(NetworkSettings, Ipv4ValuesAreCheckedAndWrittenWithoutLeadingZeros) {
  struct Case {
    const char* value;
    const char* stored;  // null: nothing is stored
  };
  const Case cases[] = {
      {"192.168.1.10", "192.168.1.10"},
      {"010.001.002.003", "10.1.2.3"},
      {"0.0.0.0", "0.0.0.0"},
      {"255.255.255.0", "255.255.255.0"},
      {"1..2.3.4", "1.2.3.4"},      // empty tokens are skipped
      {".1.2.3.4.", "1.2.3.4"},
      {"1a.2.3.4", "1.2.3.4"},      // a token's value is its leading digits
      {"1.2.3.4 ", "1.2.3.4"},
      {"192.168.1.256", nullptr},
      {"1.2.3.4.5", nullptr},       // a fifth token
      {"1.2.3", nullptr},           // a missing fourth token
      {"", nullptr},
      {"...", nullptr},
      {"1000.1.1.1", nullptr},
      {"0001.1.1.1", nullptr},      // four characters, although the value is 1
      {"-1.2.3.4", nullptr},
      {"1.2.3.4abc", nullptr},
  };
  for (const Case& c : cases) {
    std::string message = std::string("[SUCCESS]Set TCP/IP1 IP Address To ") + c.value;
    check_store_case(c.stored ? stored(c.value, message, "wan_ipaddr", c.stored) : nothing_stored(c.value, message));
  }
}

TEST(NetworkSettings, EachAddressConfirmationHasItsOwnKey) {
  const StoreCase cases[] = {
      stored("lan ip", "[SUCCESS]Set TCP/IP2 IP Address To 192.168.2.1", "lan_ipaddr", "192.168.2.1"),
      stored("lan gateway", "[SUCCESS]Set TCP/IP2 Gateway Address To 192.168.2.254", "lan_gateway",
             "192.168.2.254"),
      stored("lan mask", "[SUCCESS]Set TCP/IP2 Subnet Mask To 255.255.0.0", "lan_netmask", "255.255.0.0"),
      stored("wan ip", "[SUCCESS]Set TCP/IP1 IP Address To 10.0.0.2", "wan_ipaddr", "10.0.0.2"),
      stored("wan gateway", "[SUCCESS]Set TCP/IP1 Gateway Address To 10.0.0.1", "wan_gateway", "10.0.0.1"),
      stored("wan mask", "[SUCCESS]Set TCP/IP1 Subnet Mask To 255.255.255.000", "wan_netmask", "255.255.255.0"),
      {"replaces the old line", {"[SUCCESS]Set TCP/IP2 IP Address To 1.2.3.4"}, {{"lan_ipaddr", "9.9.9.9"}},
       "lan_ipaddr=9.9.9.9\nwan_ipaddr=5.5.5.5\n", {"wan_ipaddr=5.5.5.5", "lan_ipaddr=1.2.3.4"},
       {{"lan_ipaddr", "1.2.3.4"}}},
      {"an invalid value keeps the old one", {"[SUCCESS]Set TCP/IP2 Subnet Mask To 255.255.255.300"},
       {{"lan_netmask", "255.255.255.0"}}, "lan_netmask=255.255.255.0\n", {"lan_netmask=255.255.255.0"},
       {{"lan_netmask", "255.255.255.0"}}},
  };
  check_store_cases(cases);
}

TEST(NetworkSettings, Ipv6ValuesGoToNvramLowerCasedExceptTheOldIpAddressForm) {
  struct Case {
    const char* prefix;
    const char* key;
    bool lower;
  };
  const Case cases[] = {
      {"[SUCCESS]Set TCP/IPv62 IP Address To ", "IPv6IPAddr", false},
      {"[SUCCESS]Set TCP/IPv62 Gateway Address1 To ", "Ipv62Gateadd1", true},
      {"[SUCCESS]Set TCP/IPv62 Gateway Address2 To ", "Ipv62Gateadd2", true},
      {"[SUCCESS]Set TCP/IPv6 2 IP Address To ", "IPv6IPAddr", true},
      {"[SUCCESS]Set TCP/IPv6 2 Gateway Address1 To ", "Ipv62Gateadd1", true},
      {"[SUCCESS]Set TCP/IPv6 2 Gateway Address2 To ", "Ipv62Gateadd2", true},
      {"[SUCCESS]Set TCP/IPv61 IP Address To ", "Ipv6Address1", false},
      {"[SUCCESS]Set TCP/IPv61 Gateway Address1 To ", "Ipv6Gateadd1", true},
      {"[SUCCESS]Set TCP/IPv61 Gateway Address2 To ", "Ipv6Gateadd2", true},
      {"[SUCCESS]Set TCP/IPv6 1 IP Address To ", "Ipv6Address1", true},
      {"[SUCCESS]Set TCP/IPv6 1 Gateway Address1 To ", "Ipv6Gateadd1", true},
      {"[SUCCESS]Set TCP/IPv6 1 Gateway Address2 To ", "Ipv6Gateadd2", true},
  };
  const std::string long_value(200, 'A');
  for (const Case& c : cases) {
    std::string short_expected = c.lower ? "fe80::1/64" : "FE80::1/64";
    std::string long_expected = c.lower ? std::string(127, 'a') : long_value;
    check_store_case({c.prefix, {std::string(c.prefix) + "FE80::1/64"}, {}, "", {}, {{c.key, short_expected}}});
    check_store_case({c.prefix, {std::string(c.prefix) + long_value}, {}, "", {}, {{c.key, long_expected}}});
  }
}

TEST(NetworkSettings, DhcpModesAndOnlyOffReloadsMdns) {
  const StoreCase cases[] = {
      {"lan on", {"[SUCCESS]Set The TCP/IP2 DHCP ON"}, {}, "connectionType=STATIC\n", {"connectionType=DHCP"},
       {{"connectionType", "DHCP"}}},
      {"lan off", {"[SUCCESS]Set The TCP/IP2 DHCP OFF"}, {}, "", {"connectionType=STATIC"},
       {{"connectionType", "STATIC"}}, {kReloadMdns}},
      {"wan on", {"[SUCCESS]Set The TCP/IP1 DHCP ON"}, {}, "", {"wanConnectionMode=DHCP"},
       {{"wanConnectionMode", "DHCP"}}},
      {"wan off, the last recogniser", {"[SUCCESS]Set The TCP/IP1 DHCP OFF"}, {}, "wanConnectionMode=DHCP\n",
       {"wanConnectionMode=STATIC"}, {{"wanConnectionMode", "STATIC"}}, {kReloadMdns}},
  };
  check_store_cases(cases);
}

TEST(NetworkSettings, ListingTheAddressesRestartsTheNetwork) {
  const StoreCase cases[] = {
      {"list", {"[SUCCESS]List Current TCP/IP Address"}, {}, "", {}, {}, kRestart},
      {"list with the address table after it",
       {"[SUCCESS]List Current TCP/IP Address IP1: 10.0.0.2 ; rm -rf /"}, {}, "", {}, {}, kRestart},
  };
  check_store_cases(cases);
}

TEST(NetworkSettings, MessageWithTwoPrefixesIsTakenByTheEarlierRecogniser) {
  const StoreCase cases[] = {
      {"the list before an address", {"[SUCCESS]Set TCP/IP1 IP Address To 10.0.0.2 [SUCCESS]List Current TCP/IP Address"},
       {}, "", {}, {}, kRestart},
      {"the old IPv62 form before the IPv6 1 form",
       {"[SUCCESS]Set TCP/IPv6 1 IP Address To ABC [SUCCESS]Set TCP/IPv62 IP Address To DEF"}, {}, "", {},
       {{"IPv6IPAddr", "DEF"}}},
      {"an address before the wan DHCP OFF at the end of the chain",
       {"[SUCCESS]Set The TCP/IP1 DHCP OFF [SUCCESS]Set TCP/IP2 Subnet Mask To 255.255.255.0"}, {}, "",
       {"lan_netmask=255.255.255.0"}, {{"lan_netmask", "255.255.255.0"}}},
      {"wan DHCP ON before the query replies", {"<GetPowerStatus On [SUCCESS]Set The TCP/IP1 DHCP ON"}, {}, "",
       {"wanConnectionMode=DHCP"}, {{"wanConnectionMode", "DHCP"}}},
      {"a sensor unit before the network rows",
       {"[SUCCESS]Set TCP/IP1 Gateway Address To 10.0.0.1 [SUCCESS]Set Sensor1 Unit To 2"}, {}, "",
       {"sensor1unit=2"}, {{"sensor1unit", "2"}}},
  };
  check_store_cases(cases);
}

}  // namespace
