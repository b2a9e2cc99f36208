// `pdud --explain` and `pdud --list-recognisers`, through their entry points.
#include <gtest/gtest.h>

#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "app/explain.h"

namespace {

// What run printed to its stream.
template <typename Run>
std::string printed(Run run) {
  std::FILE* out = std::tmpfile();
  EXPECT_EQ(run(out), 0);
  std::rewind(out);
  std::string text;
  for (int c; (c = std::fgetc(out)) != EOF;) text += static_cast<char>(c);
  std::fclose(out);
  return text;
}

std::string explained(const std::string& message, const std::string& model = "", long mode = 0) {
  app::Options o;
  o.explain_message = message;
  o.explain_model = model;
  o.explain_mode = mode;
  return printed([&](std::FILE* out) { return app::explain(o, out); });
}

TEST(Explain, NamesTheRowAndItsEffects) {
  const struct {
    const char* message;
    const char* model;
    long mode;
    const char* out;
  } cases[] = {
      {"[SUCCESS]Set Key ON", "", 0, "row: set-key-on\nsettings: powerlock=1\nnvram: powerlock=1\n"},
      {"<GetOutletPowerOnTime 3 5s", "", 0, "row: get-outlet-power-on-time-3\nnvram: Powerdelay3=5s\n"},
      {"Clue: hot", "", 0, "row: clue\nfile /user/ZLT.log:  hot.\nsleep: 150 ms\nsleep: 150 ms\n"},
      {"Outlet Status Tip PowerOnTime PowerOffTime PowerRestaTime EleReset Current OCDT", "ZLT8AC", 0,
       "row: table-header\nstatus table: 4\n"},
      {"ON OFF ON 1 9600 10 250 90 Device_Ground_Lost", "ZLT8AC", 3,
       "row: status-dump row, table 3\n"
       "settings: Power=1\nsettings: powerlock=0\nsettings: relaypower=1\nsettings: Enabletcpip=0\n"
       "settings: localBaud=3\nsettings: Thresholdcurrent=10\n"
       "nvram: Power=1\nnvram: powerlock=0\nnvram: relaypower=1\nnvram: Enabletcpip=0\nnvram: localBaud=3\n"
       "nvram: Thresholdcurrent=10\nnvram: VoltageThreshold=250\nnvram: UnderVoltage=90\n"
       "nvram: DashboardSense=Device Ground Lost\nnvram: Groundsen=1\nstatus table: 0\n"},
      {"[SUCCESS]Set Network Reboot And Apply New Config", "ZLT8AC", 0,
       "row: set-network-reboot-and-apply-new-config\nnvram: commit\n"
       "command: killall -9 udhcpc 2>/dev/null\ncommand: killall -9 odhcp6c 2>/dev/null\n"
       "command: killall -9 mDNSResponder 2>/dev/null\ncommand: /sbin/ifconfig br-lan1 down\n"
       "command: /sbin/ifconfig br-lan2 down\ncommand: /sbin/ifconfig br-lan1 up\n"
       "command: /sbin/ifconfig br-lan2 up\ncommand: /sbin/wan.sh &\n"},
      {"nothing takes this", "", 0, "row: no effect\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(explained(c.message, c.model, c.mode), c.out) << c.message;
}

// The list is the order the dispatcher tries: a row's own prefix is taken by
// that row or by one listed before it, and the chain ends with the TCP/IP1
// DHCP OFF confirmation, as the dispatcher cases expect.
TEST(ListRecognisers, IsTheChainInTheOrderItIsTried) {
  std::vector<std::string> rows;
  std::istringstream list(printed(app::list_recognisers));
  for (std::string row; std::getline(list, row);) rows.push_back(row);
  ASSERT_GT(rows.size(), 200u);
  EXPECT_EQ(rows.back(), "set-tcp-ip1-dhcp-off \"[SUCCESS]Set The TCP/IP1 DHCP OFF\"");
  auto index_of = [&](const std::string& name) {
    size_t i = 0;
    while (i < rows.size() && rows[i].compare(0, name.size() + 1, name + " ") != 0) ++i;
    return i;
  };
  for (size_t i = 0; i < rows.size(); ++i) {
    const size_t quote = rows[i].find(" \"");
    if (quote == std::string::npos) continue;  // a two-stage row
    const std::string out = explained(rows[i].substr(quote + 2, rows[i].size() - quote - 3), "ZLT8AC");
    const std::string taker = out.substr(5, out.find('\n') - 5);
    EXPECT_LE(index_of(taker), i) << rows[i] << " taken by " << taker;
  }
}

}  // namespace
