#include <gtest/gtest.h>

#include "app/daemon.h"
#include "app/options.h"
#include "channels/http_server.h"

namespace {

TEST(ValidPort, FallsBackTo4001) {
  const struct { std::optional<std::string> in; const char* out; } cases[] = {
      {"23", "23"}, {"123456", "123456"}, {"1234567", "4001"}, {"80a", "4001"}, {std::nullopt, "4001"}, {"", ""}};
  for (const auto& c : cases) EXPECT_EQ(app::valid_port(c.in), c.out) << c.in.value_or("<absent>");
}

// Bad options end the start with status 2 and a message naming the program.
TEST(Options, ParsesTheCommandLine) {
  const struct { std::vector<std::string> args; int status; const char* parsed; } cases[] = {
      {{"--root", "/tmp/x", "--host", "--serial", "/dev/pts/3", "--settle-ms", "0"}, -1, "/tmp/x /dev/pts/3 0"},
      {{"--tcp-server", "--websocket", "--ws-bind", "127.0.0.2", "--tcp-bind", "10.0.0.1", "--http", "[::1]:80"}, -1,
       "1 1 127.0.0.2 10.0.0.1"},
      {{"--host"}, 2, ""},          {{"--settle-ms", "soon"}, 2, ""}, {{"--ws-port", "70000"}, 2, ""},
      {{"--bogus"}, 2, ""},         {{"extra"}, 2, ""},               {{"--help"}, 0, ""},
      {{"--ws-bind", "lan"}, 2, ""}, {{"--http", "0.0.0.0:"}, 2, ""}, {{"--http", "99999"}, 2, ""},
      {{"--http", "::1:80"}, 2, ""},
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
    EXPECT_EQ(ok, c.status < 0) << c.args[0];
    EXPECT_EQ(status, c.status) << c.args[0];
    EXPECT_TRUE(c.status != 2 || err.find("pdud") != std::string::npos) << c.args[0] << ": " << err;
    EXPECT_EQ(!ok ? "" : o.host ? o.root + " " + o.serial + " " + std::to_string(o.settle_ms)
                              : std::to_string(o.tcp_server) + " " + std::to_string(o.websocket) + " " + o.ws_bind +
                                    " " + o.tcp_bind,
              c.parsed);
  }
}

TEST(Options, HttpListensOnLoopbackOnADevelopmentMachineAndEverywhereOnTheUnit) {
  const struct { const char* text; bool host_mode; const char* host; int port; } cases[] = {
      {"9100", true, "127.0.0.1", 9100}, {"9100", false, "0.0.0.0", 9100},
      {"192.168.1.5:80", false, "192.168.1.5", 80}, {"[::1]:0", true, "::1", 0}};
  for (const auto& c : cases) {
    channels::HttpAddress a;
    ASSERT_TRUE(channels::parse_http_address(c.text, c.host_mode, a)) << c.text;
    EXPECT_EQ(a.host + ":" + std::to_string(a.port), std::string(c.host) + ":" + std::to_string(c.port));
  }
}

}  // namespace
