// Interface queries against the kernel, and the default gateway from a route table.
#include <dirent.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "board/files.h"
#include "support/fakes.h"
#include "support/scratch_root.h"
#include "util/net.h"

namespace {

constexpr const char* kMissing = "pdudnoif0";

int open_descriptors() {
  int count = 0;
  DIR* dir = ::opendir("/proc/self/fd");
  if (!dir) return -1;
  while (dirent* e = ::readdir(dir)) {
    if (e->d_name[0] != '.') ++count;
  }
  ::closedir(dir);
  return count;
}

// Loopback answers; a missing interface fails with its message, clears an
// earlier result, and no query leaves a socket open.
TEST(InterfaceQuery, LoopbackAndAMissingInterface) {
  const int before = open_descriptors();
  ASSERT_GT(before, 0);
  EXPECT_STREQ(util::get_ipaddr("lo"), "127.0.0.1");
  EXPECT_STREQ(util::get_netmask("lo"), "255.0.0.0");
  ASSERT_NE(util::get_macaddr("lo"), nullptr);
  EXPECT_STREQ(util::get_macaddr("lo"), "00:00:00:00:00:00");
  char out[16] = "garbage";
  EXPECT_EQ(util::getIfIp("lo", out), 0);
  EXPECT_STREQ(out, "127.0.0.1");
  testing::internal::CaptureStderr();
  EXPECT_STREQ(util::get_ipaddr(kMissing), "");
  EXPECT_STREQ(util::get_netmask(kMissing), "");
  EXPECT_EQ(util::get_macaddr(kMissing), nullptr);
  std::strcpy(out, "untouched");
  EXPECT_EQ(util::getIfIp(kMissing, out), -1);
  EXPECT_EQ(util::getIfIp(std::string(64, 'x').c_str(), out), -1);
  EXPECT_STREQ(out, "untouched");
  EXPECT_STREQ(util::get_ipaddr(std::string(64, 'x').c_str()), "");
  for (int i = 0; i < 20; ++i) util::getWanIp(out);
  EXPECT_EQ(testing::internal::GetCapturedStderr().rfind(
                "get_ipaddr: ioctl SIOCGIFADDR error for pdudnoif0\n"
            "get_netmask: ioctl SIOCGIFNETMASK error for pdudnoif0\nget_macaddr: ioctl fail\n", 0),
            0u);
  EXPECT_EQ(open_descriptors(), before);
}

const std::string kHeader =
    "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\tWindow\tIRTT\n";

std::string route(const char* iface, const char* dest, const char* gw, const char* flags,
                  const char* mask) {
  return std::string(iface) + "\t" + dest + "\t" + gw + "\t" + flags + "\t0\t0\t0\t" + mask +
         "\t0\t0\t0\n";
}

TEST(GetGateway, RouteTables) {
  const std::string lan = route("br-lan", "0001A8C0", "00000000", "0001", "00FFFFFF");
  const std::string deflt = route("br-lan2", "00000000", "0101A8C0", "0003", "00000000");
  const std::string up_via = route("eth2", "0000000A", "FE00000A", "0003", "000000FF");
  const std::string down_via = route("eth3", "0000000B", "FE00000B", "0002", "000000FF");
  struct GatewayCase {
    const char* name;
    const char* mode;  // wanConnectionMode, null when absent
    std::string table;
    std::string returned;
    const char* stored;  // wan_gateway, null when nothing is stored
  } cases[] = {
      {"default route on a DHCP unit", "DHCP", kHeader + lan + deflt, "192.168.1.1", "192.168.1.1"},
      {"the first default route is taken", "DHCPv6", kHeader + deflt + up_via, "192.168.1.1", "192.168.1.1"},
      {"no default route: last route that was up", "DHCP", kHeader + up_via + down_via, "10.0.0.254",
       "10.0.0.254"},
      {"no default route, last up route has no gateway", "DHCP", kHeader + up_via + lan, "", ""},
      {"static unit stores nothing", "STATIC", kHeader + deflt, "192.168.1.1", nullptr},
      {"malformed line ends the search unstored", "DHCP", kHeader + lan + "eth0 not a route\n" + deflt, "",
       nullptr},
      {"spaces as separators", "DHCP", kHeader + "br-lan2 00000000 0101A8C0 0003 0 0 0 00000000\n",
       "192.168.1.1", "192.168.1.1"},
      {"a line longer than the read buffer goes on as another that does not parse", "DHCP",
       kHeader + "eth2\t0000000A\tFE00000A\t0003\t0\t0\t0\t000000FF" + std::string(300, ' ') + "x\n" + deflt,
       "10.0.0.254", nullptr},
      {"no route table", "DHCP", "", "", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing_support::ScratchRoot scratch;
    if (!c.table.empty()) scratch.write("/proc/net/route", c.table);
    board::Files files(scratch.root());
    testing_support::MemoryNvram nvram;
    if (c.mode) nvram.values["wanConnectionMode"] = c.mode;
    EXPECT_EQ(util::GetGateway(files, nvram), c.returned);
    auto stored = nvram.get("wan_gateway");
    if (c.stored) {
      ASSERT_TRUE(stored.has_value());
      EXPECT_EQ(*stored, c.stored);
    } else {
      EXPECT_FALSE(stored.has_value()) << *stored;
    }
    EXPECT_EQ(nvram.commits, 0);
  }
}

}  // namespace
