#include <gtest/gtest.h>

#include "core/daemon.h"
#include "core/options.h"

namespace {

TEST(ValidPort, FallsBackTo4001) {
  struct Case {
    std::optional<std::string> in;
    const char* out;
  };
  const Case cases[] = {{"4001", "4001"}, {"23", "23"},       {"123456", "123456"}, {"1234567", "4001"},
                        {"80a", "4001"},  {"abc", "4001"},   {std::nullopt, "4001"}, {"", ""}};
  for (const auto& c : cases) EXPECT_EQ(core::valid_port(c.in), c.out) << c.in.value_or("<absent>");
}

TEST(Options, ParsesTheCommandLine) {
  struct Case {
    std::vector<std::string> args;
    bool ok;
    int status;
  };
  const Case cases[] = {
      {{}, true, 0},
      {{"--root", "/tmp/x", "--host", "--serial", "/dev/pts/3", "--settle-ms", "0"}, true, 0},
      {{"--host"}, false, 2},
      {{"--settle-ms", "soon"}, false, 2},
      {{"--ws-port", "70000"}, false, 2},
      {{"--bogus"}, false, 2},
      {{"extra"}, false, 2},
      {{"--help"}, false, 0},
  };
  for (const auto& c : cases) {
    std::vector<char*> argv{const_cast<char*>("pdud")};
    for (const auto& a : c.args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    core::Options o;
    int status = -1;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    bool ok = core::parse_options(static_cast<int>(argv.size() - 1), argv.data(), o, &status);
    testing::internal::GetCapturedStdout();
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(ok, c.ok) << (c.args.empty() ? "" : c.args[0]);
    if (!ok) {
      EXPECT_EQ(status, c.status) << c.args[0];
    }
    if (!ok && c.status == 2) {
      EXPECT_NE(err.find("pdud"), std::string::npos) << "a clear message";
    }
  }
}

TEST(Options, TurnsTheNewServicesOn) {
  char* argv[] = {const_cast<char*>("pdud"), const_cast<char*>("--tcp-server"), const_cast<char*>("--websocket"),
                  nullptr};
  core::Options o;
  int status = -1;
  ASSERT_TRUE(core::parse_options(3, argv, o, &status));
  EXPECT_TRUE(o.tcp_server);
  EXPECT_TRUE(o.websocket);
}

TEST(Options, DefaultsAreTheUnitsBehaviour) {
  core::Options o;
  EXPECT_EQ(o.root, "/");
  EXPECT_FALSE(o.host);
  EXPECT_EQ(o.serial, "/dev/ttyS0");
  EXPECT_EQ(o.settle_ms, 4000);
  EXPECT_FALSE(o.tcp_server);
  EXPECT_FALSE(o.websocket);
}

}  // namespace
