// SSH forwarding with the session peer program.
#include "channels/forwarding.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "support/channels_harness.h"

namespace {

using namespace testing_support;

class SshTest : public ::testing::Test {
 protected:
  void SetUp() override { h.nvram.values["sshPushMsg"] = "1"; }
  std::unique_ptr<Child> session(const std::string& path, int count) {
    auto c = std::make_unique<Child>(std::vector<std::string>{PDUD_BINARY_DIR "/ssh-session-peer", "--root", h.scratch.dir(),
                                                              "--path", path, "--count", std::to_string(count)});
    EXPECT_TRUE(c->wait_for_output("registered " + path));
    return c;
  }
  channels::SshSegment& list() { return *h.segments->_ssh; }
  ChannelsHarness h;
};

TEST_F(SshTest, EachSessionGetsTheLineWithCrOnlyWhilePushIsOn) {
  auto one = session("/var/run/ssh_a", 3);
  auto two = session("/var/run/ssh_b", 3);
  ASSERT_EQ(channels::load(list().count), 2);
  h.nvram.values["sshPushMsg"] = "0";
  h.output->to_ssh_sessions("no\r\n", 4);
  h.nvram.values["sshPushMsg"] = "1";
  for (std::string line : {std::string("Outlet1 On\r\n"), std::string("xx MQTT payload\r\n"), std::string(4488, 'L') + "\r\n"})
    h.output->to_ssh_sessions(line.c_str(), line.size());
  for (auto* peer : {one.get(), two.get()}) {
    EXPECT_EQ(peer->wait_exit(), 0);
    // The message's length goes with the shorter copy: one NUL per CR LF;
    // an MQTT line goes from its marker on, as it is.
    for (std::string got : {std::string("\nOutlet1 On\\r\\0\n"), std::string("\nMQTT payload\\r\\n\n"), std::string(4488, 'L') + "\\r\\0\n"})
      EXPECT_NE(peer->output.find(got), std::string::npos) << got << " in " << peer->output;
  }
}

TEST_F(SshTest, DeadEntriesGoTheRestMoveUpAndABusySessionLosesTheLineOnly) {
  // A session whose listen queue is full: the reader must not wait for it.
  std::string path = h.scratch.path("/var/run/ssh_busy");
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un a{AF_UNIX, {}};
  std::strncpy(a.sun_path, path.c_str(), sizeof a.sun_path - 1);
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
  ASSERT_EQ(::listen(listener, 0), 0);
  std::vector<int> queued;
  for (bool full = false; !full && queued.size() < 16;) {
    queued.push_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    full = ::connect(queued.back(), reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 && errno == EAGAIN;
  }
  auto live = session("/var/run/ssh_live", 1);
  std::memset(list().entry, 0, sizeof list().entry);
  const char* paths[] = {"/var/run/dead0", "/var/run/ssh_busy", "/var/run/dead2", "/var/run/ssh_live"};
  for (int i = 0; i < 4; ++i) std::strcpy(list().entry[i], paths[i]);
  channels::store(list().count, 4);
  const std::set<int> open_before = unkept_descriptors(*h.ch);
  // Each dead entry goes and the next moves into its place (and is skipped this time).
  h.output->to_ssh_sessions("first\r\n", 7);
  EXPECT_EQ(unkept_descriptors(*h.ch), open_before);  // the failed sockets are closed
  ASSERT_EQ(channels::load(list().count), 2);
  EXPECT_STREQ(list().entry[0], "/var/run/ssh_busy");
  EXPECT_STREQ(list().entry[1], "/var/run/ssh_live");
  EXPECT_EQ(list().entry[2][0], '\0');
  h.output->to_ssh_sessions("second\r\n", 8);
  EXPECT_EQ(channels::load(list().count), 2);
  EXPECT_EQ(live->wait_exit(), 0);
  EXPECT_EQ(live->output.find("first"), std::string::npos);
  EXPECT_NE(live->output.find("second\\r\\0"), std::string::npos) << live->output;
  for (int c : queued) ::close(c);
  ::close(listener);
}

}  // namespace
