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
  std::string text(1 << 16, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), out));
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

// The row, then each kind of effect; a long answer is checked as far as it is given.
TEST(Explain, NamesTheRowAndItsEffects) {
  const struct { const char* message; const char* model; long mode; std::string out; } cases[] = {
      {"[SUCCESS]Set System Power ON", "", 0,
       "row: set-system-power-on\nsettings: Power=1\nnvram: Power=1\ncommand: /bin/update_ota_version.sh &\n"
       "mcu: \"GUISTATUS\\r\\n\"\n"},
      {"Clue: hot", "", 0, "row: clue\nfile /user/ZLT.log:  hot.\nsleep: 150 ms\nsleep: 150 ms\n"},
      {"Outlet Status Tip PowerOnTime PowerOffTime PowerRestaTime EleReset Current OCDT", "ZLT8AC", 0,
       "row: table-header\nstatus table: 4\n"},
      {"ON OFF", "ZLT8AC", 3, "row: status-dump row, table 3\nsettings: Power=1\nsettings: powerlock=0\n"},
      {"[SUCCESS]Set Network Reboot And Apply New Config", "ZLT8AC", 0,
       "row: set-network-reboot-and-apply-new-config\nnvram: commit\ncommand: killall -9 udhcpc 2>/dev/null\n"},
      {"nothing takes this", "", 0, "row: no effect\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(explained(c.message, c.model, c.mode).substr(0, c.out.size()), c.out);
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
