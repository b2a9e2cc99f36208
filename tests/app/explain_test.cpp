// `pdud --explain` and `pdud --list-recognisers`, through their entry points.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "app/explain.h"

namespace {

std::string captured(int (*run)(const app::Options&, std::FILE*), const app::Options& o) {
  std::FILE* out = std::tmpfile();
  EXPECT_EQ(run(o, out), 0);
  std::rewind(out);
  std::string text;
  for (int c; (c = std::fgetc(out)) != EOF;) text += static_cast<char>(c);
  std::fclose(out);
  return text;
}

std::string explained(const std::string& message, const std::string& model = "", long mode = 0) {
  app::Options o;
  o.explain = true;
  o.explain_message = message;
  o.explain_model = model;
  o.explain_mode = mode;
  return captured(app::explain, o);
}

std::vector<std::string> chain() {
  std::string text = captured([](const app::Options&, std::FILE* out) { return app::list_recognisers(out); },
                              app::Options{});
  std::vector<std::string> rows;
  for (size_t start = 0, end; start < text.size(); start = end + 1) {
    end = text.find('\n', start);
    rows.push_back(text.substr(start, end - start));
  }
  return rows;
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
// that row or by one listed before it (two prefixes in one message go to the
// earlier row), and the chain ends with the TCP/IP1 DHCP OFF confirmation.
TEST(ListRecognisers, IsTheChainInTheOrderItIsTried) {
  const std::vector<std::string> rows = chain();
  ASSERT_GT(rows.size(), 200u);
  EXPECT_EQ(rows.back(), "set-tcp-ip1-dhcp-off \"[SUCCESS]Set The TCP/IP1 DHCP OFF\"");
  auto index_of = [&](const std::string& name) {
    for (size_t i = 0; i < rows.size(); ++i)
      if (rows[i].compare(0, name.size() + 1, name + " ") == 0) return i;
    return rows.size();
  };
  size_t prefix_rows = 0;
  for (size_t i = 0; i < rows.size(); ++i) {
    const size_t quote = rows[i].find(" \"");
    if (quote == std::string::npos) continue;  // a two-stage row
    ++prefix_rows;
    const std::string prefix = rows[i].substr(quote + 2, rows[i].size() - quote - 3);
    const std::string out = explained(prefix, "ZLT8AC");
    const std::string taker = out.substr(5, out.find('\n') - 5);
    EXPECT_LE(index_of(taker), i) << rows[i] << " taken by " << taker;
  }
  EXPECT_GT(prefix_rows, 200u);
  // Orders the dispatcher tests already rely on.
  EXPECT_LT(index_of("gui-outlet-status"), index_of("set-outlet"));
  EXPECT_LT(index_of("set-outlet-1-current-threshold"), index_of("set-outlet"));
}

}  // namespace
