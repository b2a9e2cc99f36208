// The entry point's tools: the options, `pdud --explain` and `pdud --list-recognisers`.
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "app/daemon.h"
#include "app/explain.h"
#include "app/options.h"
#include "channels/http_server.h"

namespace {

TEST(ValidPort, FallsBackTo4001) {
  const struct { std::optional<std::string> in; const char* out; } cases[] = {
      {"23", "23"}, {"123456", "123456"}, {"1234567", "4001"}, {"80a", "4001"}, {std::nullopt, "4001"}, {"", ""}};
  for (const auto& c : cases) EXPECT_EQ(app::valid_port(c.in), c.out) << c.in.value_or("<absent>");
}

// The values parsed, or the exit status (bad options: 2, with a message naming the program).
TEST(Options, ParsesTheCommandLine) {
  const struct { std::vector<std::string> args; const char* parsed; } cases[] = {
      {{"--root", "/tmp/x", "--host", "--serial", "/dev/pts/3", "--settle-ms", "0"}, "/tmp/x /dev/pts/3 0"},
      {{"--tcp-server", "--websocket", "--ws-bind", "127.0.0.2", "--tcp-bind", "10.0.0.1", "--http", "[::1]:80"},
       "1 1 127.0.0.2 10.0.0.1"},
      {{"--host"}, "2 pdud"},          {{"--settle-ms", "soon"}, "2 pdud"}, {{"--ws-port", "70000"}, "2 pdud"},
      {{"--bogus"}, "2 pdud"},         {{"extra"}, "2 pdud"},               {{"--help"}, "0"},
      {{"--ws-bind", "lan"}, "2 pdud"}, {{"--http", "0.0.0.0:"}, "2 pdud"}, {{"--http", "99999"}, "2 pdud"},
      {{"--http", "::1:80"}, "2 pdud"},
  };
  for (const auto& c : cases) {
    std::vector<char*> argv{const_cast<char*>("pdud")};
    for (const auto& a : c.args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    app::Options o;
    int status = -1;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    bool ok = app::parse_options(static_cast<int>(argv.size() - 1), argv.data(), o, &status);
    testing::internal::GetCapturedStdout();
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(!ok ? std::to_string(status) + (err.find("pdud") != std::string::npos ? " pdud" : "")
                  : o.host ? o.root + " " + o.serial + " " + std::to_string(o.settle_ms)
                           : std::to_string(o.tcp_server) + " " + std::to_string(o.websocket) + " " + o.ws_bind + " " +
                                 o.tcp_bind,
              c.parsed) << c.args[0] << ": " << err;
  }
}

TEST(Options, HttpListensOnLoopbackOnADevelopmentMachineAndEverywhereOnTheUnit) {
  const struct { const char* text; bool host_mode; const char* address; } cases[] = {
      {"9100", true, "127.0.0.1:9100"}, {"9100", false, "0.0.0.0:9100"}, {"192.168.1.5:80", false, "192.168.1.5:80"},
      {"[::1]:0", true, "::1:0"}};
  for (const auto& c : cases) {
    channels::HttpAddress a;
    EXPECT_TRUE(channels::parse_http_address(c.text, c.host_mode, a) && a.host + ":" + std::to_string(a.port) == c.address)
        << c.text;
  }
}

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
      {"ON OFF", "ZLT8AC", 3, "row: status-dump row, table 3\nsettings: Power=1\nsettings: powerlock=0\n"},
      {"nothing takes this", "", 0, "row: no effect\n"},
  };
  for (const auto& c : cases) EXPECT_EQ(explained(c.message, c.model, c.mode).substr(0, c.out.size()), c.out);
}

// The list is the order the dispatcher tries: a row's own prefix is taken by
// that row or by one listed before it, and the chain ends with the TCP/IP1
// DHCP OFF confirmation, as the dispatcher cases expect.
TEST(ListRecognisers, IsTheChainInTheOrderItIsTried) {
  std::istringstream list(printed(app::list_recognisers));
  std::set<std::string> listed;  // the rows up to here
  std::string row, last;
  while (std::getline(list, row)) {
    last = row;
    listed.insert(row.substr(0, row.find(' ')));
    const size_t quote = row.find(" \"");
    if (quote == std::string::npos) continue;  // a two-stage row
    const std::string out = explained(row.substr(quote + 2, row.size() - quote - 3), "ZLT8AC");
    EXPECT_TRUE(listed.count(out.substr(5, out.find('\n') - 5))) << row << " taken by " << out;
  }
  EXPECT_GT(listed.size(), 200u);
  EXPECT_EQ(last, "set-tcp-ip1-dhcp-off \"[SUCCESS]Set The TCP/IP1 DHCP OFF\"");
}

}  // namespace
