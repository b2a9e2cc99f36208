// The sessions the MCU lines are forwarded to: descriptors handed over by the
// passthrough peer program receive the lines until their close hand-over (no
// carried descriptor that is not kept stays open), and SSH sessions through the
// session peer program.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "channels/fd_passing.h"
#include "channels/forwarding.h"
#include "support/channels_harness.h"

namespace {

using namespace testing_support;

size_t count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

TEST(FdPassing, SessionsReceiveLinesUntilTheirOwnCloseHandOver) {
  ChannelsHarness h;
  h.nvram.values = {{"EnableTelnet", "0"}, {"Telnetradio", "0000"}};
  for (auto& t : channels::start_descriptor_servers(*h.ch)) h.run(std::move(t));
  // The socket file appears at bind; each server says when it listens.
  ASSERT_TRUE(wait_until([&] { return count(h.printed(), "server: accept client!\n") == 2; }));
  auto peer = [&](int port, int slot, const std::string& how) {
    Child child({PDUD_BINARY_DIR "/passthrough-peer", "--root", h.scratch.dir(), "--port", std::to_string(port), "--slot",
                 std::to_string(slot), how == "close" ? "--close" : "--listen", how});
    std::unique_ptr<Client> far;
    if (how != "close" && child.wait_for_output("waiting for a client")) far = std::make_unique<Client>(std::stoi(how));
    EXPECT_TRUE(child.wait_exit() == 0 && child.output.find("handed over") != std::string::npos) << child.output;
    return far;
  };
  struct Session { int port, slot; std::unique_ptr<Client> far; } sessions[] = {
      {8000, 5, {}}, {23, 5, {}}, {23, 1023, {}}, {8000, 0, {}}};
  auto entry = [&](const Session& s) { return (s.port == 23 ? h.ch->rev_fd : h.ch->rev_fd8000)[s.slot].load(); };
  for (Session& s : sessions) {
    ASSERT_TRUE(s.far = peer(s.port, s.slot, std::to_string(free_port())));
    ASSERT_GE(entry(s), 0);
  }
  // Each close ends its own session only: port 8000's of slot 5 leaves port 23's.
  for (size_t closed = 0; closed <= 4; ++closed) {
    if (closed) peer(sessions[closed - 1].port, sessions[closed - 1].slot, "close");
    h.output->to_telnet_sessions("Outlet1 On\r\n", 12);
    for (size_t k = 0; k < 4; ++k) {
      Client& far = *sessions[k].far;
      EXPECT_EQ(entry(sessions[k]) < 0, k < closed) << k;
      EXPECT_TRUE(k < closed ? far.wait_closed() : far.wait_for("Outlet1 On\r\n")) << k;
      EXPECT_EQ(far.received, k < closed ? "" : "Outlet1 On\r\n") << k;
      far.received.clear();
    }
  }
}

// Every descriptor not kept is closed, whatever their count (253 is the most
// one message carries); a slot out of range keeps none; a message without
// descriptors, or none at all, is reported. A kept descriptor is closed by
// the row after it.
TEST(FdPassing, EveryCarriedDescriptorNotKeptIsClosed) {
  ChannelsHarness h;
  struct Case { int port, slot, flag, carried; size_t kept; } cases[] = {{23, 9, 1, 253, 1},  {23, 9, 0, 253, 0},  {23, 1024, 1, 1, 0}, {23, -1, 1, 1, 0},
               {23, 9, -1, 1, 0},   {8000, 9, -1, 1, 1}, {8000, 9, 0, 1, 0},  {23, 9, 1, 0, 0},
               {8000, 9, 1, 0, 0},  {23, 9, 1, -1, 0}};
  const std::set<int> before = unkept_descriptors(*h.ch);
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.port) + " slot " + std::to_string(c.slot) + " flag " + std::to_string(c.flag) +
                 " carrying " + std::to_string(c.carried));
    ASSERT_TRUE(hand_over(*h.ch, c.port, c.carried, c.slot, c.flag));
    EXPECT_EQ(unkept_descriptors(*h.ch), before);
    EXPECT_EQ(h.ch->rev_fd[9].load() >= 0 || h.ch->rev_fd8000[9].load() >= 0, c.kept == 1);
  }
  EXPECT_EQ(count(h.printed(), "No control message header found\n"), 3u);
  EXPECT_EQ(h.printed().find("recvmsg failed"), std::string::npos);
}

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
