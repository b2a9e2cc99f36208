// Descriptor passing with the passthrough peer program: a handed-over TCP
// session receives the forwarded MCU lines until its close hand-over.
#include "channels/fd_passing.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "support/channels_harness.h"

namespace {

using testing_support::ChannelsHarness;
using testing_support::Child;
using testing_support::Listener;
using testing_support::program;
using testing_support::wait_until;

size_t count(const std::string& text, const std::string& what) {
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

class FdPassingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    h.nvram.values["EnableTelnet"] = "0";
    h.nvram.values["Telnetradio"] = "0000";
    auto servers = channels::start_descriptor_servers(*h.ch);
    for (auto& t : servers) h.run(std::move(t));
    // The socket file appears at bind; each server says when it listens.
    ASSERT_TRUE(wait_until([&] { return count(h.printed(), "server: accept client!\n") == 2; }));
    ASSERT_TRUE(h.scratch.exists(channels::file_server_socket));
    ASSERT_TRUE(h.scratch.exists(channels::file_server_socket8000));
  }

  // Runs the peer; true when it reports the hand-over.
  bool peer(int port, int slot, const std::string& how) {
    std::vector<std::string> argv{program("passthrough-peer"), "--root", h.scratch.dir(), "--port",
                                  std::to_string(port), "--slot", std::to_string(slot)};
    if (how == "close") {
      argv.push_back("--close");
    } else {
      argv.push_back("--connect");
      argv.push_back(how);
    }
    Child child(argv);
    return child.wait_exit() == 0 && child.output.find("handed over") != std::string::npos;
  }

  // Opens a session of slot on port; the far end's socket.
  int open_session(int port, int slot) {
    int far = -1;
    std::thread accepting([&] { far = listener.accept_one(); });
    bool ok = peer(port, slot, "127.0.0.1:" + std::to_string(listener.port()));
    accepting.join();
    EXPECT_TRUE(ok);
    return far;
  }

  std::string read_some(int fd) {
    char buf[4096];
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, 20000) <= 0) return "<nothing>";
    ssize_t r = ::recv(fd, buf, sizeof buf, 0);
    return r <= 0 ? "<closed>" : std::string(buf, static_cast<size_t>(r));
  }

  ChannelsHarness h;
  Listener listener;
};

TEST_F(FdPassingTest, SessionsReceiveLinesUntilTheirCloseHandOver) {
  struct Case {
    int port;
    int slot;
    channels::DescriptorTable channels::Channels::*table;
  } cases[] = {{23, 3, &channels::Channels::rev_fd}, {8000, 3, &channels::Channels::rev_fd8000},
               {23, 1023, &channels::Channels::rev_fd}, {8000, 0, &channels::Channels::rev_fd8000}};
  for (const auto& c : cases) {
    SCOPED_TRACE("port " + std::to_string(c.port) + " slot " + std::to_string(c.slot));
    int far = open_session(c.port, c.slot);
    ASSERT_GE(far, 0);
    ASSERT_GE(((*h.ch).*c.table)[c.slot].load(), 0);
    h.output->to_telnet_sessions("Outlet1 On\r\n", 12);
    EXPECT_EQ(read_some(far), "Outlet1 On\r\n");

    ASSERT_TRUE(peer(c.port, c.slot, "close"));
    EXPECT_EQ(((*h.ch).*c.table)[c.slot].load(), -1);
    h.output->to_telnet_sessions("gone\r\n", 6);
    EXPECT_EQ(read_some(far), "<closed>");  // the daemon's copy was closed
    ::close(far);
  }
}

TEST_F(FdPassingTest, Port8000CloseLeavesThePort23SessionOfTheSameSlot) {
  int far23 = open_session(23, 5);
  int far8000 = open_session(8000, 5);
  ASSERT_GE(far23, 0);
  ASSERT_GE(far8000, 0);
  ASSERT_TRUE(peer(8000, 5, "close"));
  h.output->to_telnet_sessions("still here\r\n", 12);
  EXPECT_EQ(read_some(far23), "still here\r\n");
  EXPECT_EQ(read_some(far8000), "<closed>");
  ::close(far23);
  ::close(far8000);
}

TEST_F(FdPassingTest, Port23SessionsNeedTelnetEnabled) {
  int far = open_session(23, 2);
  ASSERT_GE(far, 0);
  struct Case {
    const char* enable;  // nullptr: absent
    const char* radio;
    bool sent;
  } cases[] = {{nullptr, "0000", false}, {"1", "0000", false}, {"0", "000", false},
               {"0", "0001", false},     {"0", "1110", true},   {"0", "0010", true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.enable ? c.enable : "(absent)") + " " + c.radio);
    if (c.enable) h.nvram.values["EnableTelnet"] = c.enable; else h.nvram.erase("EnableTelnet");
    h.nvram.values["Telnetradio"] = c.radio;
    h.output->telnet_send(2, "x\r\n", 3);
    // A marker line that always goes tells a skipped send from a slow one.
    h.nvram.values["EnableTelnet"] = "0";
    h.nvram.values["Telnetradio"] = "0000";
    h.output->telnet_send(2, "mark\r\n", 6);
    std::string got;
    while (got.find("mark\r\n") == std::string::npos) {
      std::string more = read_some(far);
      ASSERT_EQ(more.find('<'), std::string::npos) << more;
      got += more;
    }
    EXPECT_EQ(got, c.sent ? "x\r\nmark\r\n" : "mark\r\n");
  }
  ::close(far);
}

size_t open_descriptors() {
  size_t n = 0;
  for (auto& e : std::filesystem::directory_iterator("/proc/self/fd")) n += e.path().filename() != ".";
  return n;
}

// Hand-overs written by hand: every descriptor not kept is closed, whatever
// their count (253 is the most one message carries), a slot out of range
// keeps none, a message without descriptors is reported. A kept descriptor
// is closed by the row after it.
TEST_F(FdPassingTest, EveryCarriedDescriptorNotKeptIsClosed) {
  struct Case {
    const char* path;
    int slot, flag;
    size_t carried, kept;
  } cases[] = {
      {channels::file_server_socket, 9, 1, 253, 1},      {channels::file_server_socket, 9, 0, 253, 0},
      {channels::file_server_socket, 1024, 1, 1, 0},     {channels::file_server_socket, -1, 1, 1, 0},
      {channels::file_server_socket, 9, -1, 1, 0},       {channels::file_server_socket8000, 9, -1, 1, 1},
      {channels::file_server_socket8000, 9, 0, 1, 0},    {channels::file_server_socket, 9, 1, 0, 0},
      {channels::file_server_socket8000, 9, 1, 0, 0},
  };
  const size_t before = open_descriptors();
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.path) + " slot " + std::to_string(c.slot) + " flag " + std::to_string(c.flag) +
                 " carrying " + std::to_string(c.carried));
    bool port8000 = c.path == channels::file_server_socket8000;
    channels::SlotSegment* seg = port8000 ? h.segments->_Telnet8000 : h.segments->_Telnet23;
    channels::store(seg->announced, c.slot);
    if (c.slot >= 0 && c.slot < channels::kSessionSlots) channels::store(seg->slot[c.slot], c.flag);
    int u = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, h.scratch.path(c.path).c_str(), sizeof a.sun_path - 1);
    ASSERT_EQ(::connect(u, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    std::vector<int> fds(c.carried);
    for (int& fd : fds) fd = ::dup(u);
    alignas(cmsghdr) char control[CMSG_SPACE(253 * sizeof(int))] = {};
    char x = 'x';
    iovec iov{&x, 1};
    msghdr msg{};
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    if (!fds.empty()) {
      msg.msg_control = control;
      msg.msg_controllen = CMSG_SPACE(fds.size() * sizeof(int));
      cmsghdr* cm = CMSG_FIRSTHDR(&msg);
      cm->cmsg_level = SOL_SOCKET;
      cm->cmsg_type = SCM_RIGHTS;
      cm->cmsg_len = CMSG_LEN(fds.size() * sizeof(int));
      std::memcpy(CMSG_DATA(cm), fds.data(), fds.size() * sizeof(int));
    }
    ASSERT_EQ(::sendmsg(u, &msg, 0), 1) << std::strerror(errno);
    for (int fd : fds) ::close(fd);
    EXPECT_EQ(read_some(u), "<closed>");  // the hand-over was handled
    ::close(u);
    EXPECT_TRUE(wait_until([&] { return open_descriptors() == before + c.kept; }))
        << open_descriptors() << " open, " << before << " before";
  }
  EXPECT_EQ(count(h.printed(), "No control message header found\n"), 2u);
}

}  // namespace
