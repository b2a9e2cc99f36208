// Interface queries against the kernel, and the default gateway from a route table.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>

#include "board/files.h"
#include "support/fakes.h"
#include "support/scratch_root.h"
#include "util/net.h"

namespace {

long open_descriptors() {
  using std::filesystem::directory_iterator;
  return std::distance(directory_iterator("/proc/self/fd"), directory_iterator{});
}

// Loopback answers; a missing interface fails with its message, clears an
// earlier result, and no query leaves a socket open.
TEST(InterfaceQuery, LoopbackAndAMissingInterface) {
  const long before = open_descriptors();
  EXPECT_STREQ(util::get_ipaddr("lo"), "127.0.0.1");
  EXPECT_STREQ(util::get_netmask("lo"), "255.0.0.0");
  ASSERT_NE(util::get_macaddr("lo"), nullptr);
  EXPECT_STREQ(util::get_macaddr("lo"), "00:00:00:00:00:00");
  char out[16] = "garbage";
  EXPECT_EQ(util::getIfIp("lo", out), 0);
  EXPECT_STREQ(out, "127.0.0.1");
  testing::internal::CaptureStderr();
  EXPECT_STREQ(util::get_ipaddr("pdudnoif0"), "");
  EXPECT_STREQ(util::get_netmask("pdudnoif0"), "");
  EXPECT_EQ(util::get_macaddr("pdudnoif0"), nullptr);
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

std::string route(const char* iface, const char* dest, const char* gw, const char* flags, const char* mask) {
  return std::string(iface) + "\t" + dest + "\t" + gw + "\t" + flags + "\t0\t0\t0\t" + mask + "\t0\t0\t0\n";
}

TEST(GetGateway, RouteTables) {
  const std::string head = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";
  const std::string lan = route("br-lan", "0001A8C0", "00000000", "0001", "00FFFFFF");
  const std::string deflt = route("br-lan2", "00000000", "0101A8C0", "0003", "00000000");
  const std::string up_via = route("eth2", "0000000A", "FE00000A", "0003", "000000FF");
  const std::string down_via = route("eth3", "0000000B", "FE00000B", "0002", "000000FF");
  const struct {
    const char* mode;  // wanConnectionMode, null when absent
    std::string table, returned, stored;  // stored: wan_gateway, "-" when nothing is stored
  } cases[] = {
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

}  // namespace
