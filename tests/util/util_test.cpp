// Interface queries against the kernel, the default gateway from a route
// table, dotted-quad, mask and host-range checks, the integer helpers, the
// board's cipher script.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <optional>

#include "support/fakes.h"
#include "support/scratch_root.h"
#include "util/cipher.h"
#include "util/net.h"

namespace {

// Loopback answers; a missing interface fails with its message, clears an
// earlier result, and no query leaves a socket open.
TEST(InterfaceQuery, LoopbackAndAMissingInterface) {
  using std::filesystem::directory_iterator;
  auto open_descriptors = [] { return std::distance(directory_iterator("/proc/self/fd"), directory_iterator{}); };
  const long before = open_descriptors();
  const struct { const char* (*query)(const char*); const char *lo, *missing; } queries[] = {
      {util::get_ipaddr, "127.0.0.1", ""}, {util::get_netmask, "255.0.0.0", ""},
      {util::get_macaddr, "00:00:00:00:00:00", nullptr}};
  testing::internal::CaptureStderr();
  for (const auto& q : queries) {
    EXPECT_STREQ(q.query("lo"), q.lo);
    EXPECT_STREQ(q.query("pdudnoif0"), q.missing);
  }
  char out[16] = "garbage";
  EXPECT_EQ(util::getIfIp("lo", out), 0);
  EXPECT_STREQ(out, "127.0.0.1");
  std::strcpy(out, "untouched");
  EXPECT_EQ(util::getIfIp("pdudnoif0", out), -1);
  EXPECT_EQ(util::getIfIp(std::string(64, 'x').c_str(), out), -1);
  EXPECT_STREQ(out, "untouched");
  EXPECT_STREQ(util::get_ipaddr(std::string(64, 'x').c_str()), "");
  for (int i = 0; i < 20; ++i) util::getWanIp(out);
  EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("get_ipaddr: ioctl SIOCGIFADDR error for pdudnoif0\n"
            "get_netmask: ioctl SIOCGIFNETMASK error for pdudnoif0\nget_macaddr: ioctl fail\n", 0), 0u);
  EXPECT_EQ(open_descriptors(), before);
}

TEST(GetGateway, RouteTables) {
  const std::string head = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
  const std::string lan = "br-lan\t0001A8C0\t00000000\t0001\t0\t0\t0\t00FFFFFF\t0\t0\t0\n";
  const std::string deflt = "br-lan2\t00000000\t0101A8C0\t0003\t0\t0\t0\t00000000\t0\t0\t0\n";
  const std::string up_via = "eth2\t0000000A\tFE00000A\t0003\t0\t0\t0\t000000FF\t0\t0\t0\n";
  const std::string down_via = "eth3\t0000000B\tFE00000B\t0002\t0\t0\t0\t000000FF\t0\t0\t0\n";
  // mode: wanConnectionMode, null when absent; stored: wan_gateway, "-" when nothing is stored.
  const struct { const char* mode; std::string table, returned, stored; } cases[] = {
      {"DHCP", head + lan + deflt, "192.168.1.1", "192.168.1.1"},  // the default route
      {"DHCPv6", head + deflt + up_via, "192.168.1.1", "192.168.1.1"},  // the first one
      {"DHCP", head + up_via + down_via, "10.0.0.254", "10.0.0.254"},  // else the last route that was up
      {"DHCP", head + up_via + lan, "", ""},  // ... which may have no gateway
      {"STATIC", head + deflt, "192.168.1.1", "-"}, {nullptr, head + deflt, "192.168.1.1", "-"},
      {"DHCP", head + lan + "eth0 not a route\n" + deflt, "", "-"},  // a malformed line ends the search
      {"DHCP", head + "br-lan2 00000000 0101A8C0 0003 0 0 0 00000000\n", "192.168.1.1", "192.168.1.1"},
      // A line longer than the read buffer goes on as another that does not parse.
      {"DHCP", head + up_via.substr(0, up_via.size() - 7) + std::string(300, ' ') + "x\n" + deflt, "10.0.0.254", "-"},
      {"DHCP", "", "", "-"},  // no route table
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.table);
    testing_support::ScratchRoot scratch;
    if (!c.table.empty()) scratch.write("/proc/net/route", c.table);
    board::Files files(scratch.root());
    testing_support::MemoryNvram nvram;
    if (c.mode) nvram.values["wanConnectionMode"] = c.mode;
    EXPECT_EQ(util::GetGateway(files, nvram), c.returned);
    EXPECT_EQ(nvram.get_or("wan_gateway", "-"), c.stored);
    EXPECT_EQ(nvram.commits, 0);
  }
}

int ip(const char* text) { return util::IP_Formet(text, nullptr); }

TEST(AddressChecks, ResultCodesGroupsAndHosts) {
  const struct { int (*check)(const char*); const char* text; int expected; } cases[] = {
      {ip, "255.255.255.255", 0}, {ip, "1..2.3.4", 0},  {ip, "", -1},           {ip, ".1.2.3", -2},
      {ip, "1 .2.3.4", -3},       {ip, "01234.1.1.1", -4}, {ip, "192.168.1", -5}, {ip, "1.2.3.4.5", -5},
      {ip, "192.168.1.256", -7},  {ip, "9999.1.1.1", -7}, {ip, "0255.1.1.1", 0},
      {util::SB_Formet, "128.0.0.0", 0},   {util::SB_Formet, "255.255.255.252", 0}, {util::SB_Formet, "", -1},
      {util::SB_Formet, "255.255.255.x", -2}, {util::SB_Formet, "127.255.255.0", -3}, {util::SB_Formet, "0.0.0.0", -3},
      {util::SB_Formet, "255.0.255.0", -4}, {util::SB_Formet, "255.255.255.1", -4}, {util::SB_Formet, "255.255.255.254", -5},
  };
  for (const auto& c : cases) EXPECT_EQ(c.check(c.text), c.expected) << c.text;
  EXPECT_EQ(util::IP_Formet(nullptr, nullptr), -1);
  util::IpFields f;
  std::memset(&f, 'x', sizeof f);
  ASSERT_EQ(util::IP_Formet("10..0200.3.0040", &f), 0);
  // A four-digit group fills its four bytes with no terminator.
  EXPECT_EQ(std::string(f.text[0]) + "," + f.text[2] + "," + std::string(f.text[1], 4) + std::string(f.text[3], 4),
            "10,3,02000040");
  EXPECT_EQ(std::vector<int>(f.value, f.value + 4), (std::vector<int>{10, 200, 3, 40}));
  // A host of its subnet.
  const struct { const char *address, *mask; int expected; } hosts[] = {
      {"192.168.1.254", "255.255.255.0", 0}, {"10.1.2.3", "255.0.0.0", 0}, {"192.168.1.0", "255.255.255.0", -3},
      {"192.168.1.255", "255.255.255.0", -3}, {"192.168.1", "255.255.255.0", -1}, {"192.168.1.1", "255.255.255", -2},
      {"172.16.1.0", "255.255.0.0", -3},  // octet by octet with no carry: refused although it is a host
  };
  for (const auto& c : hosts) EXPECT_EQ(util::IP_SB_Calculate(c.address, c.mask), c.expected) << c.address;
}

// Text to int and back: a rejected text leaves the output alone.
TEST(Integers, ConvertBothWaysAndPower) {
  const struct { const char* text; int expected; int value; } cases[] = {
      {"-5", 0, -5}, {"2147483647", 0, INT_MAX}, {"-2147483647", 0, -INT_MAX}, {"00000000001", 0, 1}, {"", -1, 12345},
      {"-", -2, 12345}, {"2147483648", -4, 12345}, {"-2147483648", -4, 12345}, {"12a", -5, 12345}, {"+1", -5, 12345},
      {"02147483648", -4, 12345},  // leading zeros do not hide a value past the largest
  };
  for (const auto& c : cases) {
    int value = 12345;
    EXPECT_EQ(util::char_to_int(&value, c.text), c.expected) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
  }
  char out[20];
  for (int value : {0, -42, INT_MAX, INT_MIN})
    EXPECT_TRUE(util::int_to_char(value, out) == 0 && out == std::to_string(value)) << value << " " << out;
  EXPECT_EQ(util::int_to_char(1, nullptr), -1);
  const struct { int base, exponent, expected; } powers[] = {
      {2, 10, 1024}, {0, 0, 1}, {-2, 3, 0}, {-1, 0, 0}, {10, 9, 1000000000}, {2, -1, 0}, {10, 10, 1410065408}, {2, 32, 0}};
  for (const auto& p : powers) EXPECT_EQ(util::pow(p.base, p.exponent), p.expected) << p.base << "^" << p.exponent;
}

using Argv = std::vector<std::string>;

TEST(Aes, ScriptArgumentsResultsAndRefusals) {
  testing_support::ScratchRoot scratch;
  const std::string script = scratch.path("/bin/aes.sh");
  // "/bin/aes.sh -e '' 2>/dev/null" and the text must fit the unit's 1024-byte buffer.
  const std::string fits(1023 - 29, 'a');
  const struct { std::string text; board::Capture reply; std::optional<std::string> expected; } cases[] = {
      {"it's $(id) \"q\"", {0, "out\n"}, "out"}, {"x", {0, "two\n\n"}, "two\n"}, {"x", {0, "as is"}, "as is"},
      {"x", {3, "partial\n"}, std::nullopt}, {"x", {0, ""}, std::nullopt}, {"x", {-1, ""}, std::nullopt},
      {fits, {0, "ok\n"}, "ok"}, {fits + "a", {0, "ok\n"}, std::nullopt},
  };
  for (const auto& c : cases) {
    testing_support::RecordingRunner runner;
    runner.captures.push_back(c.reply);
    EXPECT_EQ(util::aes_encrypt(runner, scratch.root(), c.text), c.expected) << c.text.substr(0, 20) << c.reply.output;
    // A command line that would not fit is not run.
    EXPECT_EQ(runner.argvs, std::vector<Argv>(c.text.size() <= fits.size(), Argv{script, "-e", c.text}));
  }
  testing_support::RecordingRunner runner;  // no reply: the script failed
  EXPECT_EQ(util::aes_decrypt(runner, scratch.root(), "pw"), std::nullopt);
  EXPECT_EQ(runner.argvs, (std::vector<Argv>{{script, "-d", "pw"}}));
}

}  // namespace
