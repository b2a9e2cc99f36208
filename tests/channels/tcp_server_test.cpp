// The raw TCP command server with real loopback clients: prompt, bytes to the
// MCU line, the reply to the client that spoke last, the telnet IAC rule,
// browsers' requests, bind address, keepalive and slow peers.
#include "channels/tcp_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <vector>

#include "support/channels_harness.h"

namespace {

using namespace testing_support;
using channels::kCommandPrompt;

class TcpServerTest : public ::testing::Test {
 protected:
  void start() {
    h.run(channels::start_tcp_server(*h.ch, "0"));
    ASSERT_TRUE(wait_until([&] { return h.ch->tcp_port.load() != 0; }));
  }
  std::unique_ptr<Client> connect() {
    auto c = std::make_unique<Client>(h.ch->tcp_port.load());
    EXPECT_TRUE(c->wait_for(kCommandPrompt));
    return c;
  }
  bool speaker_is(int slot) {
    return wait_until([&] { return h.ch->clients.TcpClientNum.load() == slot; });
  }
  void reply(const std::string& text) { h.output->to_tcp_client(text.data(), text.size()); }
  ChannelsHarness h;
};

TEST_F(TcpServerTest, BytesGoUnchangedAndTheReplyToTheLastSpeakerAfterTelnetNegotiation) {
  // No client yet: replies and session lines are dropped, never sent to descriptor 0.
  int p[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, p), 0);
  const int saved = ::dup(0);
  ::dup2(p[1], 0);
  reply("nobody.");
  h.output->to_telnet_sessions("nobody.", 7);
  ::dup2(saved, 0);
  ::close(saved);
  ::close(p[1]);
  char byte;
  EXPECT_EQ(::recv(p[0], &byte, 1, MSG_DONTWAIT), 0);
  ::close(p[0]);
  start();
  auto a = connect();  // slot 0
  auto b = connect();  // slot 1
  // b negotiates: the block is not for the MCU, yet names b as the speaker.
  ASSERT_TRUE(b->send("\xFF\xFD\x01"));
  ASSERT_TRUE(speaker_is(1));
  struct Step {
    Client* who;
    int slot;
    std::string bytes, reply;
  } steps[] = {
      {b.get(), 1, "\xFF\xFB\x03", "ok."},  // one dropped block is all the rule takes
      {a.get(), 0, "GetOutlet1\r\n", "Outlet1 On."},
      {b.get(), 1, "raw\rbytes\n\x01\xFF late", "Second."},  // no more inspection until the next accept
  };
  std::string mcu;
  for (const auto& s : steps) {
    ASSERT_TRUE(s.who->send(s.bytes));
    ASSERT_TRUE(h.mcu.wait_for(mcu += s.bytes));
    ASSERT_TRUE(speaker_is(s.slot));
    reply(s.reply);
    EXPECT_TRUE(s.who->wait_for(s.reply));
  }
  EXPECT_EQ(a->received, kCommandPrompt + std::string("Outlet1 On."));
  // A new accept resets the rule for every peer: a's IAC block is dropped.
  auto c = connect();
  ASSERT_TRUE(a->send("\xFF\xFE\x01"));
  ASSERT_TRUE(speaker_is(0));
  ASSERT_TRUE(a->send("after\r\n"));
  ASSERT_TRUE(h.mcu.wait_for(mcu + "after\r\n"));
  EXPECT_EQ(h.mcu.bytes(), mcu + "after\r\n");
}

TEST_F(TcpServerTest, EverySlotIsServedAndAFullTableClosesTheNewcomer) {
  start();
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < channels::kClientSlots; ++i) clients.push_back(connect());  // one at a time: a short backlog
  Client extra(h.ch->tcp_port.load());
  EXPECT_TRUE(extra.wait_closed());
  EXPECT_EQ(extra.received, "");
  // Slots above 255 are named exactly: slot 44 (300 modulo 256) gets only its own reply.
  for (int slot : {300, 1023, 44}) {
    std::string cmd = "from " + std::to_string(slot) + "\r\n";
    ASSERT_TRUE(clients[slot]->send(cmd));
    ASSERT_TRUE(h.mcu.wait_for(cmd));
    ASSERT_TRUE(speaker_is(slot));
    reply("reply " + std::to_string(slot) + ".");
    EXPECT_TRUE(clients[slot]->wait_for("reply " + std::to_string(slot) + "."));
  }
  EXPECT_EQ(clients[44]->received, kCommandPrompt + std::string("reply 44."));
  // A peer that leaves frees its slot for the next one.
  clients[5].reset();
  ASSERT_TRUE(wait_until([&] { return h.ch->clients.TcpClient[5].fd.load() == -1; }));
  auto again = connect();
  EXPECT_TRUE(wait_until([&] { return h.ch->clients.TcpClient[5].fd.load() >= 0; }));
  EXPECT_EQ(std::string(h.ch->clients.TcpClient[5].name, 20), "Client[05]0000000000");
  EXPECT_EQ(std::string(h.ch->clients.TcpClient[1023].name, 20), "Client[1023]00000000");
}

TEST_F(TcpServerTest, BrowserRequestsAreDroppedAndCommandLinesPass) {
  start();
  // Each method's request line is classified in the guard's own table.
  for (const std::string r : {"Host: 127.0.0.1\r\nOff 1\r\n", "PATCH /x HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\nOff 1\r\n"}) {
    auto c = connect();
    c->send(r);
    EXPECT_TRUE(c->wait_closed()) << r;
  }
  const std::string commands = "GET status\r\nPOST 1 on\r\nGETALL\r\nOff 2\r\n";
  connect()->send(commands);
  ASSERT_TRUE(h.mcu.wait_for(commands));
  EXPECT_EQ(h.mcu.bytes(), commands);  // nothing of the requests
  EXPECT_NE(h.printed().find("TCP Client[00] sent an HTTP Host: header, connection closed\n"), std::string::npos);
  EXPECT_NE(h.printed().find("TCP Client[00] sent an HTTP request line, connection closed\n"), std::string::npos);
}

TEST_F(TcpServerTest, BoundAddressOnlyAndAVanishedPeerFreesItsSlot) {
  h.ch->policy.tcp_bind = "127.0.0.1";
  h.ch->policy.keepalive = {1, 1, 1};
  start();
  EXPECT_FALSE(Client(h.ch->tcp_port.load(), "127.0.0.2").connected());
  auto c = std::make_unique<Client>(h.ch->tcp_port.load(), "127.0.0.1");
  ASSERT_TRUE(c->connected());
  ASSERT_TRUE(wait_until([&] { return h.ch->clients.TcpClient[0].fd.load() >= 0; }));
  // A close in repair mode sends nothing: to the server the peer just vanished.
  int on = 1;
  ASSERT_EQ(::setsockopt(c->fd(), IPPROTO_TCP, TCP_REPAIR, &on, sizeof on), 0) << "TCP_REPAIR needs CAP_NET_ADMIN";
  c.reset();
  EXPECT_TRUE(wait_until([&] { return h.ch->clients.TcpClient[0].fd.load() < 0; }));
}

TEST_F(TcpServerTest, AClientThatTakesNothingIsClosedWhileTheReaderAndOthersGoOn) {
  h.ch->accepted_sndbuf = 4096;  // a small board's socket buffer
  h.ch->stall_limit = std::chrono::milliseconds(300);
  start();
  auto other = connect();  // slot 0
  for (auto [bytes, line] : {std::pair<size_t, const char*>{1500 * 1000, "its output queue is full"},
                             {100 * 1000, "it took no output in time"}}) {
    SCOPED_TRACE(line);
    auto silent = connect();  // slot 1: speaks once, never reads again
    int small = 4096;
    ::setsockopt(silent->fd(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    ASSERT_TRUE(silent->send("status\r\n"));
    ASSERT_TRUE(speaker_is(1));
    // The reader's side: no call may wait for the silent client.
    std::atomic<bool> done{false};
    std::thread reader([&] {
      for (size_t sent = 0; sent < bytes; sent += 4500) reply(std::string(4499, 'v') + ".");
      done = true;
    });
    EXPECT_TRUE(wait_until([&] { return done.load(); }, std::chrono::seconds(10)));
    if (!done) silent.reset();  // unblocks a reader stuck in a send
    reader.join();
    EXPECT_TRUE(wait_until([&] { return h.printed().find(line) != std::string::npos; })) << h.printed();
    EXPECT_NE(h.printed().find("TCP client 1 closed: " + std::string(line) + "\n"), std::string::npos);
    EXPECT_TRUE(wait_until([&] { return h.ch->clients.TcpClient[1].fd.load() == -1; }));
    // The other client is served as before.
    ASSERT_TRUE(other->send("next\r\n"));
    ASSERT_TRUE(speaker_is(0));
    reply("ok.");
    EXPECT_TRUE(other->wait_for("ok."));
    other->received.clear();
  }
}

}  // namespace
