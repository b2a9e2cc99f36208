// The raw TCP command server with real loopback clients: prompt, bytes to the
// MCU line, the reply to the client that spoke last, the telnet IAC rule.
#include "channels/tcp_server.h"

#include <gtest/gtest.h>

#include <sys/socket.h>

#include <atomic>
#include <memory>
#include <vector>

#include "support/channels_harness.h"

namespace {

using testing_support::ChannelsHarness;
using testing_support::Client;
using testing_support::wait_until;

const std::string kPrompt = "Please Input Your Command :\r\n";

int count(const std::string& text, const std::string& what) {
  int n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
  return n;
}

class TcpServerTest : public ::testing::Test {
 protected:
  void start(const char* machine_type = nullptr) {
    if (machine_type) h.state.MachineType = machine_type;
    h.run(channels::start_tcp_server(*h.ch, "0"));
    ASSERT_TRUE(wait_until([&] { return h.ch->tcp_port.load() != 0; }));
  }
  std::unique_ptr<Client> connect() { return std::make_unique<Client>(h.ch->tcp_port.load()); }
  ChannelsHarness h;
};

TEST_F(TcpServerTest, NoPromptWhenMachineTypeIsFour) {
  start("4");  // the other machine types are prompted in every other test
  // With no client yet a reply is dropped rather than sent to descriptor 0.
  h.output->to_tcp_client("nobody.", 7);
  // Without a prompt the first thing the client sees is the MCU's reply.
  Client client(h.ch->tcp_port.load());
  ASSERT_TRUE(client.send("x"));
  ASSERT_TRUE(h.mcu.wait_for("x"));
  h.output->to_tcp_client("reply.", 6);
  EXPECT_TRUE(client.wait_for("reply."));
  EXPECT_EQ(client.received, "reply.");
}

TEST_F(TcpServerTest, BytesGoUnchangedToTheMcuAndTheReplyToTheLastSpeaker) {
  start();
  auto a = connect();
  auto b = connect();
  ASSERT_TRUE(a->wait_for(kPrompt));
  ASSERT_TRUE(b->wait_for(kPrompt));

  ASSERT_TRUE(a->send("GetOutlet1\r\n"));
  ASSERT_TRUE(h.mcu.wait_for("GetOutlet1\r\n"));
  h.output->to_tcp_client("Outlet1 On.", 11);
  EXPECT_TRUE(a->wait_for("Outlet1 On."));

  ASSERT_TRUE(b->send("raw\rbytes\n\x01"));
  ASSERT_TRUE(h.mcu.wait_for("raw\rbytes\n\x01"));
  // The server names the speaker right after its bytes went to the line.
  ASSERT_TRUE(wait_until([&] { return h.ch->clients.TcpClientNum.load() == 1; }));
  h.output->to_tcp_client("Second.", 7);
  EXPECT_TRUE(b->wait_for("Second."));
  EXPECT_EQ(a->received, kPrompt + "Outlet1 On.");
  EXPECT_EQ(h.mcu.bytes(), "GetOutlet1\r\nraw\rbytes\n\x01");
}

TEST_F(TcpServerTest, TelnetNegotiationIsDroppedUntilTheFirstRealInput) {
  start();
  // b takes slot 0 and stays silent; a (slot 1) negotiates, so a dropped
  // block shows as TcpClientNum turning to 1.
  auto b = connect();
  ASSERT_TRUE(b->wait_for(kPrompt));
  auto a = connect();
  ASSERT_TRUE(a->wait_for(kPrompt));
  ASSERT_TRUE(a->send("\xFF\xFD\x01"));
  ASSERT_TRUE(wait_until([&] { return h.ch->clients.TcpClientNum.load() == 1; }));
  EXPECT_EQ(h.mcu.bytes(), "");

  struct Step {
    std::string block;
  } forwarded[] = {
      {"\xFF\xFB\x03"},  // one dropped block is all the rule takes
      {"plain\r\n"},
      {"\xFF late"},       // inspection is over until the next accept
  };
  std::string expected;
  for (const auto& s : forwarded) {
    SCOPED_TRACE(s.block);
    ASSERT_TRUE(a->send(s.block));
    expected += s.block;
    ASSERT_TRUE(h.mcu.wait_for(expected));
  }
  EXPECT_EQ(h.mcu.bytes(), expected);
  h.output->to_tcp_client("ok.", 3);
  EXPECT_TRUE(a->wait_for("ok."));

  // A new accept resets the rule for every peer: b's IAC block is dropped.
  auto c = connect();
  ASSERT_TRUE(c->wait_for(kPrompt));
  ASSERT_TRUE(b->send("\xFF\xFE\x01"));
  ASSERT_TRUE(wait_until([&] { return h.ch->clients.TcpClientNum.load() == 0; }));
  ASSERT_TRUE(b->send("after\r\n"));
  ASSERT_TRUE(h.mcu.wait_for(expected + "after\r\n"));
  EXPECT_EQ(h.mcu.bytes(), expected + "after\r\n");
}

TEST_F(TcpServerTest, EverySlotIsServedAndAFullTableClosesTheNewcomer) {
  start();
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < channels::kClientSlots; ++i) {
    clients.push_back(connect());
    // One at a time: the listen backlog is short.
    ASSERT_TRUE(clients.back()->wait_for(kPrompt)) << i;
  }
  Client extra(h.ch->tcp_port.load());
  EXPECT_TRUE(extra.wait_closed());
  EXPECT_EQ(extra.received, "");

  // Slots above 255 are named exactly: each reply goes to its own client.
  for (int slot : {300, 1023, 44}) {
    SCOPED_TRACE(slot);
    std::string cmd = "from " + std::to_string(slot) + "\r\n";
    ASSERT_TRUE(clients[slot]->send(cmd));
    ASSERT_TRUE(h.mcu.wait_for(cmd));
    ASSERT_TRUE(wait_until([&] { return h.ch->clients.TcpClientNum.load() == slot; }));
    std::string reply = "reply " + std::to_string(slot) + ".";
    h.output->to_tcp_client(reply.data(), reply.size());
    EXPECT_TRUE(clients[slot]->wait_for(reply));
  }
  // Slot 300 keeps its own number: slot 44 (300 modulo 256) got only its own reply.
  EXPECT_EQ(clients[44]->received, kPrompt + "reply 44.");

  // A peer that leaves frees its slot for the next one.
  clients[5].reset();
  ASSERT_TRUE(wait_until([&] { return h.ch->clients.TcpClient[5].fd.load() == -1; }));
  Client again(h.ch->tcp_port.load());
  EXPECT_TRUE(again.wait_for(kPrompt));
  EXPECT_TRUE(wait_until([&] { return h.ch->clients.TcpClient[5].fd.load() >= 0; }));
  EXPECT_EQ(std::string(h.ch->clients.TcpClient[5].name, 20), "Client[05]0000000000");
  EXPECT_EQ(std::string(h.ch->clients.TcpClient[1023].name, 20), "Client[1023]00000000");
}

TEST_F(TcpServerTest, AClientThatTakesNothingIsClosedWhileTheReaderAndOthersGoOn) {
  h.ch->accepted_sndbuf = 4096;  // a small board's socket buffer
  h.ch->stall_limit = std::chrono::milliseconds(300);
  start();
  auto other = connect();  // slot 0
  ASSERT_TRUE(other->wait_for(kPrompt));
  struct Case {
    size_t bytes;  // '.'-ended MCU output for the silent client
    std::string line;
  } cases[] = {
      {1500 * 1000, "TCP client 1 closed: its output queue is full\n"},
      {100 * 1000, "TCP client 1 closed: it took no output in time\n"},
  };
  int closed = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    auto silent = connect();  // slot 1: speaks once, never reads again
    ASSERT_TRUE(silent->wait_for(kPrompt));
    int small = 4096;
    ::setsockopt(silent->fd(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    ASSERT_TRUE(silent->send("status\r\n"));
    ASSERT_TRUE(wait_until([&] { return h.ch->clients.TcpClientNum.load() == 1; }));

    // The reader's side: no call may wait for the silent client.
    std::atomic<bool> done{false};
    std::thread reader([&] {
      std::string message = std::string(4499, 'v') + ".";
      for (size_t sent = 0; sent < c.bytes; sent += message.size())
        h.output->to_tcp_client(message.data(), message.size());
      done = true;
    });
    EXPECT_TRUE(wait_until([&] { return done.load(); }, std::chrono::seconds(10)));
    if (!done) silent.reset();  // unblocks a reader stuck in a send
    reader.join();

    EXPECT_TRUE(wait_until([&] { return count(h.printed(), "TCP client") == closed + 1; })) << h.printed();
    EXPECT_NE(h.printed().find(c.line), std::string::npos) << h.printed();
    ++closed;
    EXPECT_TRUE(wait_until([&] { return h.ch->clients.TcpClient[1].fd.load() == -1; }));
    // The other client is served as before.
    ASSERT_TRUE(other->send("next\r\n"));
    ASSERT_TRUE(wait_until([&] { return h.ch->clients.TcpClientNum.load() == 0; }));
    h.output->to_tcp_client("ok.", 3);
    EXPECT_TRUE(other->wait_for("ok."));
    other->received.clear();
  }
}

}  // namespace
