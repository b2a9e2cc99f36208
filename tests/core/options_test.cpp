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
  const struct { std::vector<std::string> args; bool ok; int status; } cases[] = {
      {{"--root", "/tmp/x", "--host", "--serial", "/dev/pts/3", "--settle-ms", "0"}, true, 0},
      {{"--tcp-server", "--websocket", "--http", "[::1]:8080"}, true, 0},
      {{"--host"}, false, 2},          {{"--settle-ms", "soon"}, false, 2}, {{"--ws-port", "70000"}, false, 2},
      {{"--bogus"}, false, 2},         {{"extra"}, false, 2},               {{"--help"}, false, 0},
      {{"--http", "0.0.0.0:"}, false, 2}, {{"--http", "99999"}, false, 2}, {{"--http", "::1:80"}, false, 2},
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
    EXPECT_EQ(ok, c.ok) << c.args[0];
    EXPECT_EQ(ok && o.tcp_server && o.websocket, c.args[0] == "--tcp-server") << c.args[0];
    EXPECT_EQ(ok ? c.status : status, c.status) << c.args[0];
    EXPECT_EQ(ok || c.status != 2 || err.find("pdud") != std::string::npos, true) << c.args[0] << ": " << err;
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
