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

TEST(InterfaceQuery, Loopback) {
  EXPECT_STREQ(util::get_ipaddr("lo"), "127.0.0.1");
  EXPECT_STREQ(util::get_netmask("lo"), "255.0.0.0");
  const char* mac = util::get_macaddr("lo");
  ASSERT_NE(mac, nullptr);
  EXPECT_STREQ(mac, "00:00:00:00:00:00");
  char out[16] = "garbage";
  EXPECT_EQ(util::getIfIp("lo", out), 0);
  EXPECT_STREQ(out, "127.0.0.1");
}

TEST(InterfaceQuery, MissingInterfaceFailsWithItsMessage) {
  struct QueryCase {
    const char* name;
    std::string (*query)();
    std::string result;
    std::string message;
  } cases[] = {
      {"get_ipaddr", [] { return std::string(util::get_ipaddr(kMissing)); }, "",
       "get_ipaddr: ioctl SIOCGIFADDR error for pdudnoif0\n"},
      {"get_netmask", [] { return std::string(util::get_netmask(kMissing)); }, "",
       "get_netmask: ioctl SIOCGIFNETMASK error for pdudnoif0\n"},
      {"get_macaddr",
       [] {
         const char* m = util::get_macaddr(kMissing);
         return std::string(m ? m : "<null>");
       },
       "<null>", "get_macaddr: ioctl fail\n"},
      {"getIfIp",
       [] {
         char out[16] = "untouched";
         return std::to_string(util::getIfIp(kMissing, out)) + " " + out;
       },
       "-1 untouched", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::internal::CaptureStderr();
    std::string result = c.query();
    std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result, c.result);
    EXPECT_EQ(printed, c.message);
  }
}

TEST(InterfaceQuery, FailureClearsTheSharedBufferOfAnEarlierResult) {
  EXPECT_STREQ(util::get_ipaddr("lo"), "127.0.0.1");
  testing::internal::CaptureStderr();
  const char* failed = util::get_ipaddr(kMissing);
  testing::internal::GetCapturedStderr();
  EXPECT_STREQ(failed, "");
}

TEST(InterfaceQuery, OverlongNameIsBoundedAndFails) {
  std::string name(64, 'x');
  char out[16] = "untouched";
  EXPECT_EQ(util::getIfIp(name.c_str(), out), -1);
  testing::internal::CaptureStderr();
  EXPECT_STREQ(util::get_ipaddr(name.c_str()), "");
  EXPECT_NE(testing::internal::GetCapturedStderr().find("SIOCGIFADDR"), std::string::npos);
}

TEST(InterfaceQuery, QueriesCloseTheirSockets) {
  int before = open_descriptors();
  ASSERT_GT(before, 0);
  char out[16];
  testing::internal::CaptureStderr();
  for (int i = 0; i < 50; ++i) {
    util::getIfIp(kMissing, out);
    util::getIfIp("lo", out);
    util::get_ipaddr(kMissing);
    util::get_macaddr(kMissing);
    util::getWanIp(out);
  }
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(open_descriptors(), before);
}

TEST(InterfaceQuery, WanAddressComesFromTheWanBridge) {
  char out[16] = "";
  char* r = util::getWanIp(out);
  char direct[16] = "";
  if (util::getIfIp("br-lan2", direct) == 0) {
    EXPECT_EQ(r, out);
    EXPECT_STREQ(out, direct);
  } else {
    EXPECT_EQ(r, nullptr);
  }
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
  const std::string second_default = route("eth4", "00000000", "FE0000AC", "0003", "00000000");
  struct GatewayCase {
    const char* name;
    const char* mode;  // wanConnectionMode, null when absent
    std::string table;
    std::string returned;
    const char* stored;  // wan_gateway, null when nothing is stored
  } cases[] = {
      {"default route on a DHCP unit", "DHCP", kHeader + lan + deflt, "192.168.1.1", "192.168.1.1"},
      {"search stops at the first default route", "DHCP", kHeader + deflt + second_default,
       "192.168.1.1", "192.168.1.1"},
      {"no default route: last route that was up", "DHCP", kHeader + up_via + down_via,
       "10.0.0.254", "10.0.0.254"},
      {"no default route, last up route has no gateway", "DHCP", kHeader + up_via + lan, "", ""},
      {"only the header", "DHCP", kHeader, "", ""},
      {"mode beginning with DHCP", "DHCPv6", kHeader + deflt, "192.168.1.1", "192.168.1.1"},
      {"static unit stores nothing", "STATIC", kHeader + deflt, "192.168.1.1", nullptr},
      {"no mode stores nothing", nullptr, kHeader + deflt, "192.168.1.1", nullptr},
      {"lower-case mode stores nothing", "dhcp", kHeader + deflt, "192.168.1.1", nullptr},
      {"malformed line ends the search unstored", "DHCP",
       kHeader + lan + "eth0 not a route\n" + deflt, "", nullptr},
      {"short line ends the search unstored", "DHCP", kHeader + "eth0\t00000000\t0101A8C0\n" + deflt,
       "", nullptr},
      {"malformed line after the default route is never read", "DHCP",
       kHeader + deflt + "garbage\n", "192.168.1.1", "192.168.1.1"},
      {"spaces as separators", "DHCP", kHeader + "br-lan2 00000000 0101A8C0 0003 0 0 0 00000000\n",
       "192.168.1.1", "192.168.1.1"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing_support::ScratchRoot scratch;
    scratch.write("/proc/net/route", c.table);
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

TEST(GetGateway, MissingRouteTableStoresNothing) {
  testing_support::ScratchRoot scratch;
  board::Files files(scratch.root());
  testing_support::MemoryNvram nvram;
  nvram.values["wanConnectionMode"] = "DHCP";
  EXPECT_EQ(util::GetGateway(files, nvram), "");
  EXPECT_FALSE(nvram.get("wan_gateway").has_value());
}

TEST(GetGateway, OverlongLineIsReadInPieces) {
  // A line longer than the 256-byte read buffer goes on as another "line"
  // that does not parse, which ends the search before the default route.
  testing_support::ScratchRoot scratch;
  std::string longline =
      "eth2\t0000000A\tFE00000A\t0003\t0\t0\t0\t000000FF" + std::string(300, ' ') + "x\n";
  scratch.write("/proc/net/route",
                kHeader + longline + route("br-lan2", "00000000", "0101A8C0", "0003", "00000000"));
  board::Files files(scratch.root());
  testing_support::MemoryNvram nvram;
  nvram.values["wanConnectionMode"] = "DHCP";
  EXPECT_EQ(util::GetGateway(files, nvram), "10.0.0.254");
  EXPECT_FALSE(nvram.get("wan_gateway").has_value());
}

}  // namespace
