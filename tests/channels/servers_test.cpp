// The command port and the GUI channel over loopback, with clients of the test's
// own and real peer programs: the prompt, bytes to the MCU line, the reply to the
// client that spoke last, the telnet IAC rule, browsers' requests, bind address,
// keepalive and slow peers; the WebSocket codec, handshake, origin, echo, control
// frames, feature flags, the live report to every client and limits; and the GUI
// channel over TLS with openssl and headless Chromium as its peers.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "channels/http_guard.h"
#include "channels/live_report.h"
#include "channels/origin.h"
#include "channels/tcp_server.h"
#include "channels/tls.h"
#include "channels/websocket_codec.h"
#include "channels/websocket_server.h"
#include "support/channels_harness.h"

namespace {

using namespace testing_support;
using namespace channels;
using Bytes = std::vector<uint8_t>;

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
  struct Step { Client* who; int slot; std::string bytes, reply; } steps[] = {
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

TEST(WebSocketCodec, DecodesWhatItEncodesInEveryLengthForm) {
  for (size_t length : {0, 125, 126, 65534, 65535, 65536, 70000})
    for (bool masked : {false, true})
      for (uint8_t type : {WDT_TXTDATA, WDT_BINDATA, WDT_PING}) {
        SCOPED_TRACE(std::to_string(length) + (masked ? " masked " : " ") + std::to_string(type));
        Bytes payload(length), frame(length + 14);
        for (size_t i = 0; i < length; ++i) payload[i] = static_cast<uint8_t>(i * 7);
        const int head_size = (length < 126 ? 2 : length < 65536 ? 4 : 10) + (masked ? 4 : 0);
        const size_t n = head_size + length;  // output of exactly the frame's size is enough, a byte less is not
        ASSERT_EQ(webSocket_enPackage(payload.data(), length, frame.data(), n - 1, masked, type), -1);
        ASSERT_EQ(webSocket_enPackage(payload.data(), length, frame.data(), n, masked, type), static_cast<int>(n));
        FrameHead head;
        for (int part = 0; part < head_size; ++part)  // nothing until the head is complete
          ASSERT_EQ(parse_frame_head(frame.data(), static_cast<size_t>(part), head), 0) << part;
        ASSERT_EQ(parse_frame_head(frame.data(), n, head), head_size);
        EXPECT_EQ(head.fin, 1);
        EXPECT_EQ(head.opcode, type & 0x0F);
        EXPECT_EQ(head.mask, masked ? 1 : 0);
        EXPECT_EQ(head.payload_length, length);
        Bytes got(frame.begin() + head_size, frame.begin() + n);
        if (masked) umaskTest(got.data(), got.size(), head.masking_key);
        EXPECT_EQ(got, payload);
        if (masked || type != WDT_TXTDATA) continue;
        // The server's own text head is the codec's, but takes 8 length bytes from 65535 on.
        uint8_t out[10];
        Bytes want(frame.begin(), frame.begin() + head_size);
        if (length == 65535) want = {0x81, 127, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
        EXPECT_EQ(Bytes(out, out + frame_head_bytes(length, out)), want);
      }
}

TEST(WebSocketCodec, HandshakeAnswers) {
  const std::string key = "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n";
  const std::string answer = handshake_response("GET / HTTP/1.1\r\nHost: x\r\n" + key + "\r\n");
  EXPECT_NE(answer.find("\r\nSec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n"), std::string::npos);
  struct Case { std::string request, response; } cases[] = {
      {"GET / HTTP/1.1\r\nX-Long: " + std::string(300, 'h') + "\r\n" + key + "\r\n", answer},
      {"GET / HTTP/1.1\r\nHost: x\r\n\r\n" + key, ""},  // after the end
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(handshake_response(c.request), c.response) << c.request;
  char line[8];
  EXPECT_EQ(_readline("0123456789ABC\r\nx", 0, line, sizeof line), 15);
  EXPECT_STREQ(line, "0123456");  // bounded by the buffer
  EXPECT_EQ(_readline("abc", 0, line, sizeof line), -1);
  uint8_t out[16];
  EXPECT_EQ(webSocket_enPackage(out, 1, out, sizeof out, false, 0x83), -1);  // no such frame type
  EXPECT_EQ(init_ssl("/nonexistent/server.pem", "/nonexistent/privkey.pem"), nullptr);
}

std::string request(const std::string& origin = "") {
  return "GET / HTTP/1.1\r\nHost: 127.0.0.1:45678\r\n" + (origin.empty() ? "" : "Origin: " + origin + "\r\n") +
         "Upgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
         "Sec-WebSocket-Version: 13\r\n\r\n";
}
const std::string kAnswer =
    "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n";

// A masked client frame with the given first byte (FIN and opcode).
std::string frame(uint8_t first, const std::string& payload) {
  std::vector<uint8_t> f(payload.size() + 14);
  int n = channels::webSocket_enPackage(reinterpret_cast<const uint8_t*>(payload.data()), payload.size(), f.data(),
                                        f.size(), true, channels::WDT_TXTDATA);
  f[0] = first;
  return std::string(f.begin(), f.begin() + n);
}

using Frame = std::pair<int, std::string>;  // first byte, payload
Frame text(const std::string& t) { return {0x81, t}; }

class WsClient : public Client {
 public:
  using Client::Client;
  // The opening request in two pieces, the key line in the second.
  bool handshake() {
    const std::string r = request();
    if (!send(r.substr(0, 90)) || !send(r.substr(90)) || !wait_bytes(kAnswer.size()) ||
        received.compare(0, kAnswer.size(), kAnswer) != 0)
      return false;
    received.erase(0, kAnswer.size());
    return true;
  }
  // The next server frame (unmasked); {0, "<none>"} when none came.
  Frame next_frame() {
    channels::FrameHead head;
    int n;
    while ((n = channels::parse_frame_head(reinterpret_cast<const uint8_t*>(received.data()), received.size(),
                                           head)) == 0)
      if (!wait_bytes(received.size() + 1)) return {0, "<none>"};
    if (head.mask || !wait_bytes(n + head.payload_length)) return {0, "<none or masked>"};
    Frame f{static_cast<uint8_t>(received[0]), received.substr(n, head.payload_length)};
    received.erase(0, n + head.payload_length);
    return f;
  }
};

class WebSocketTest : public ::testing::Test {
 protected:
  void SetUp() override {
    h.ch->macaddr = [](const char*) { return std::string("00:11:22:33:44:55"); };
    h.nvram.values = {{"Inputstatus", "1"}, {"CheckUpgrateStatus", "2"}, {"ChargingMode", "fast"}};
    h.ch->handshake_limit = std::chrono::seconds(3);
    h.ch->frame_limit = std::chrono::seconds(4);
    h.ch->policy.ws_bind = "127.0.0.1";
    h.run(channels::start_websocket_server(*h.ch, 0));
    ASSERT_TRUE(wait_until([&] { return h.ch->websocket_port.load() != 0; }));
  }
  std::unique_ptr<WsClient> gui() {
    auto c = std::make_unique<WsClient>(h.ch->websocket_port.load());
    EXPECT_TRUE(c->handshake());
    return c;
  }
  void expect_report(WsClient& g) {
    for (const auto& [k, v] : channels::live_report(*h.ch)) ASSERT_EQ(g.next_frame(), text(k + v));
  }
  ChannelsHarness h;
};

TEST_F(WebSocketTest, EachReportValueComesFromItsOwnNvramKey) {
  // Every nvram key the report may read holds its own name: a row that reads
  // a wrong key shows it.
  const std::map<std::string, std::string> renamed = {{"Videostatus", "Inputstatus"}, {"DHCPType", "wanConnectionMode"}};
  for (const auto& [k, v] : channels::live_report(*h.ch)) {
    std::string key = k.substr(0, k.size() - 1);
    h.nvram.values[renamed.count(key) ? renamed.at(key) : key] = "v-" + key;
  }
  for (const char* key : {"wan_ipaddr", "wan_netmask", "wan_gateway"}) h.nvram.values[key] = key;
  h.nvram.values.insert({{"Password", std::string(60, 'p')}, {"IRLabel2", "TV"}, {"IRValue2", "0x20"},
                         {"IRLabel7", ""}, {"IRValue7", "0x70"}});
  auto report = channels::live_report(*h.ch);
  ASSERT_EQ(report.size(), 82u);
  for (const auto& [k, v] : report) {
    std::string key = k.substr(0, k.size() - 1);
    if (key == "network")
      EXPECT_EQ(v, "v-DHCPType,wan_ipaddr,wan_netmask,wan_gateway,00:11:22:33:44:55");
    else if (key == "password")
      EXPECT_EQ(v, std::string(47, 'p'));
    else if (k.rfind("IRCodec=", 0) == 0)
      EXPECT_EQ(k + v, "IRCodec=TV,0x20");  // only labelled codes
    else
      EXPECT_EQ(v, "v-" + key) << k;
  }
}

TEST_F(WebSocketTest, EchoControlFramesAndFeatureFlags) {
  auto g = gui();
  auto echoed = [](const std::string& t) { return std::make_pair(frame(0x81, t), std::vector<Frame>{text(t)}); };
  // The bytes sent, the frames they get back, and the feature flags after them.
  struct Step { std::pair<std::string, std::vector<Frame>> bytes_replies; int reflesh, cable; } steps[] = {
      {echoed("StartAudioMic"), 1, 0},
      {echoed("StartAdditionalCableQuality"), 1, 1},
      {echoed("StopAudioMicNow"), 0, 1},  // a prefix is enough
      {{frame(0x81, "checkUpgrade"), {text("checkUpgrade"), text("CheckUpgrateStatus=2")}}, 0, 0},
      {echoed("StartAdditionalCableQuality"), 0, 1},
      {echoed("StopAdditionalCableQuality"), 0, 0},
      {echoed("StartAdditionalCableQuality"), 0, 1},
      // Fragments are joined; a ping between them is answered at once; a pong gets nothing.
      {{frame(0x01, "Start") + frame(0x89, "") + frame(0x00, "Audio") + frame(0x80, "Mic"),
        {{0x8A, ""}, text("StartAudioMic")}}, 1, 1},
      {{frame(0x8A, "x") + frame(0x89, "beat"), {{0x8A, "beat"}}}, 1, 1},
      // A close frame is answered with its code and ends the connection and the features.
      {{frame(0x88, "\x03\xE8"), {{0x88, "\x03\xE8"}}}, 0, 0},
  };
  for (const auto& s : steps) {
    const auto& [bytes, replies] = s.bytes_replies;
    SCOPED_TRACE(replies[0].second);
    ASSERT_TRUE(g->send(bytes));
    for (const Frame& r : replies) EXPECT_EQ(g->next_frame(), r);
    // The echo goes out before the server acts on the message.
    EXPECT_TRUE(wait_until([&] {
      return h.state._checkWebSocketReflesh.load() == s.reflesh &&
             h.state._checkWebSocketCableLinkQuality.load() == s.cable;
    }));
  }
  EXPECT_TRUE(g->wait_closed());
  EXPECT_EQ(g->received, "");
}

TEST_F(WebSocketTest, TheRequestEndsAtItsEmptyLineAndAForeignPageGetsOnly403) {
  const std::string stop = frame(0x81, "StopAudioMic"), echo = std::string("\x81\x0cStopAudioMic");
  struct Case { const char* what; std::string bytes, reply; bool closed; } cases[] = {
      {"no key", "GET / HTTP/1.1\r\nHost: x\r\n\r\n", "", true},
      {"a frame in the same packet", request() + stop, kAnswer + echo, false},
      {"a body that is no frame", request() + "X=1&Y=" + std::string(12000, 'y'), kAnswer, true},
      {"an unmasked frame", request() + "\x81\x02hi", kAnswer, true},
      {"an unknown opcode", request() + frame(0x83, "hi"), kAnswer, true},
      {"a request that never ends within 8 KiB", "GET / HTTP/1.1\r\nX: " + std::string(8200, 'x'), "", true},
      {"a page of its own host", request("http://127.0.0.1:8080") + stop, kAnswer + echo, false},
      {"a foreign page: its first frame is never read", request("http://127.0.0.2:8080") + stop,
       channels::kOriginRefused, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Client raw(h.ch->websocket_port.load());
    ASSERT_TRUE(raw.send(c.bytes));
    EXPECT_TRUE(c.closed ? raw.wait_closed() : raw.wait_for(c.reply));
    EXPECT_EQ(raw.received, c.reply);
  }
  EXPECT_NE(h.printed().find("WebSocket: refused a page of http://127.0.0.2:8080 "), std::string::npos);
  EXPECT_FALSE(Client(h.ch->websocket_port.load(), "127.0.0.2").connected());  // bound to 127.0.0.1 only
  EXPECT_EQ(h.printed().find("its request took too long"), std::string::npos);  // each ended at once
}

TEST_F(WebSocketTest, EveryGuiGetsTheReportAndStalledOrOversizedPeersDelayNobody) {
  // One peer stalls in the middle of a frame, one trickles its request.
  auto stalled = gui();
  ASSERT_TRUE(stalled->send(frame(0x81, std::string(100, 's')).substr(0, 20)));
  Client trickler(h.ch->websocket_port.load());
  std::atomic<bool> stop{false};
  std::thread trickle([&] {
    for (char c : request()) {
      if (stop || !trickler.send(std::string(1, c))) break;
      wait_until([&] { return stop.load(); }, std::chrono::milliseconds(100));
    }
  });

  // Meanwhile two GUIs are answered and served, before either limit ends: a
  // text of the largest frame, not a command, is echoed whole, then the
  // report goes to everyone.
  auto a = gui();
  auto b = gui();
  std::string big(65536, 'a');
  big[0] = 'Z';
  ASSERT_TRUE(a->send(frame(0x81, big)));
  EXPECT_EQ(a->next_frame(), text(big));
  expect_report(*a);
  expect_report(*b);
  EXPECT_EQ(h.printed().find("closed"), std::string::npos) << h.printed();

  // A frame past the largest closes its GUI. Each peer past its limit is
  // closed with one line: the request's (3 s) first, then the frame's (4 s),
  // which ends the features.
  ASSERT_TRUE(a->send(frame(0x81, std::string(65537, 'b'))));
  EXPECT_TRUE(a->wait_closed());
  EXPECT_TRUE(trickler.wait_closed());
  stop = true;
  trickle.join();
  ASSERT_TRUE(b->send(frame(0x81, "StartAudioMic")));
  EXPECT_EQ(b->next_frame(), text("StartAudioMic"));
  ASSERT_TRUE(wait_until([&] { return h.state._checkWebSocketReflesh.load() == 1; }));
  EXPECT_TRUE(stalled->wait_closed());
  EXPECT_TRUE(wait_until([&] { return h.state._checkWebSocketReflesh.load() == 0; }));
  EXPECT_NE(h.printed().find("WebSocket client 0 closed: its frame took too long\n"), std::string::npos);
  EXPECT_NE(h.printed().find("WebSocket client 1 closed: its request took too long\n"), std::string::npos);
  ASSERT_TRUE(b->send(frame(0x81, "again")));
  EXPECT_EQ(b->next_frame(), text("again"));
  expect_report(*b);
  // A GUI that leaves in the middle of a frame ends the features too.
  ASSERT_TRUE(b->send(frame(0x81, "StartAudioMic")));
  ASSERT_TRUE(wait_until([&] { return h.state._checkWebSocketReflesh.load() == 1; }));
  ASSERT_TRUE(b->send(frame(0x81, "StartAudioMic").substr(0, 4)));
  b.reset();
  EXPECT_TRUE(wait_until([&] { return h.state._checkWebSocketReflesh.load() == 0; }));
}

TEST(CommandPortGuard, ClassifiesRequestLinesAndHostHeaders) {
  const LineKind kReq = LineKind::kHttpRequest, kHost = LineKind::kHostHeader, kCmd = LineKind::kCommand;
  struct Case { const char* line; LineKind kind; } cases[] = {
      {"GET / HTTP/1.1", kReq},          {"POST /api?x=1 HTTP/1.0\r", kReq}, {"PUT /x HTTP/1.1", kReq},
      {"DELETE /x HTTP/1.1\r", kReq},    {"HEAD / HTTP/1.0", kReq},          {"OPTIONS * HTTP/1.1", kReq},
      {"PATCH /a%20b HTTP/1.1", kReq},   {"Host:", kHost},                   {"host: 10.0.0.5:4001\r", kHost},
      {"GET status", kCmd},              {"POST", kCmd},                     {"GET / HTTP/2", kCmd},
      {"GET / HTTP/1.1 now", kCmd},      {"GET  / HTTP/1.1", kCmd},          {"GET / HTTP/1.12", kCmd},
      {"GET / HTTP/1.1\r\r", kCmd},      {"Hostname: x", kCmd},              {" Host: x", kCmd},
      {"Off 1", kCmd},                   {"", kCmd},
  };
  for (const auto& c : cases) EXPECT_EQ(channels::classify_line(c.line), c.kind) << c.line;
}

TEST(CommandPortGuard, HoldsOnlyWhatMayStillBeARequestAndForwardsTheRestUnchanged) {
  // What is forwarded after each block, and whether the last block drops the peer.
  struct Case { std::vector<std::string> blocks, forwarded; bool dropped; } cases[] = {
      {{"GET sta", "tus\r\n"}, {"", "GET status\r\n"}, false},
      {{"x", "Off 1", "\r\n"}, {"x", "Off 1", "\r\n"}, false},
      {{"FOO / HTTP/1.1\r\nOff 2\r\n"}, {""}, true},
      {{"Off 1\r\nPOST /x HT", "TP/1.1\r\nOff 2\r\n"}, {"Off 1\r\n", ""}, true},
      {{"Ho", "st: x\r\n"}, {"", ""}, true},
  };
  for (const auto& c : cases) {
    channels::HttpGuard g;
    bool ok = true;
    for (size_t i = 0; i < c.blocks.size(); ++i) {
      std::string forward;
      ok = g.feed(c.blocks[i].data(), c.blocks[i].size(), forward);
      EXPECT_EQ(forward, c.forwarded[i]) << c.blocks[0] << " block " << i;
    }
    EXPECT_EQ(!ok, c.dropped) << c.blocks[0];
  }
  // The start of a request line in any usual method is held, not sent on.
  for (std::string start : {"GET", "POST", "PUT", "DELETE", "HEAD", "OPTIONS", "PATCH", "CONNECT", "TRACE"}) {
    std::string forward;
    start += " /x HT";
    EXPECT_TRUE(channels::HttpGuard().feed(start.data(), start.size(), forward) && forward.empty()) << start;
  }
}

TEST(GuiOrigin, OwnHostAnyPortOrListedOrigin) {
  const std::vector<std::string> allowed = {"https://GUI.example:8443/"};
  struct Case { std::optional<std::string> origin, host; OriginVerdict verdict; } cases[] = {
      {std::nullopt, "10.0.0.5:45678", OriginVerdict::kNoOrigin},
      {"http://10.0.0.5", "10.0.0.5:45678", OriginVerdict::kSameHost},
      {"https://PDU.local:8443", "pdu.local:45678", OriginVerdict::kSameHost},
      {"http://[fe80::1]:80", "[fe80::1]:45678", OriginVerdict::kSameHost},
      {"https://gui.example:8443", "10.0.0.5:45678", OriginVerdict::kListed},
      {"https://gui.example", "10.0.0.5:45678", OriginVerdict::kRefused},
      {"http://evil.example", "10.0.0.5:45678", OriginVerdict::kRefused},
      {"http://10.0.0.5.evil.example", "10.0.0.5", OriginVerdict::kRefused},
      {"null", "10.0.0.5:45678", OriginVerdict::kRefused},
      {"http://10.0.0.5", std::nullopt, OriginVerdict::kRefused},
  };
  for (const auto& c : cases)
    EXPECT_EQ(channels::check_origin(c.origin, c.host, allowed), c.verdict) << c.origin.value_or("(none)");
}

TEST(LanTls, TheGuiChannelOverTlsServesOpensslAndChromiumButNoPlainClient) {
  ChannelsHarness h;
  h.nvram.values = {{"Inputstatus", "1"}, {"ChargingMode", "slow"}};
  std::string cert = h.scratch.path("/cert.pem"), key = h.scratch.path("/key.pem");
  Child make({"/usr/bin/openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
              "-nodes", "-days", "1", "-subj", "/CN=127.0.0.1", "-keyout", key, "-out", cert});
  ASSERT_EQ(make.wait_exit(), 0) << "install the Debian package openssl";
  std::string error;
  ASSERT_FALSE(channels::TlsContext::load(cert + ".missing", key, &error));
  EXPECT_EQ(error.rfind("cannot read " + cert + ".missing: ", 0), 0u) << error;
  ASSERT_FALSE(channels::TlsContext::load(cert, cert, &error));
  EXPECT_NE(error.find("not a usable PEM certificate and its key"), std::string::npos) << error;
  h.ch->policy.ws_tls = channels::TlsContext::load(cert, key, &error);
  ASSERT_TRUE(h.ch->policy.ws_tls) << error;
  h.ch->policy.ws_allow_origins = {"null"};  // the origin of a data: page
  h.run(channels::start_websocket_server(*h.ch, 0));
  ASSERT_TRUE(wait_until([&] { return h.ch->websocket_port.load() != 0; }));
  const std::string port = std::to_string(h.ch->websocket_port.load());

  const std::string upgrade = request();
  Client plain(h.ch->websocket_port.load());
  plain.send(upgrade);
  EXPECT_TRUE(plain.wait_closed());
  EXPECT_EQ(plain.received.find("101"), std::string::npos);

  // openssl s_client types the upgrade and "GetAll" in a masked frame at
  // once; a zero key leaves the bytes as they are.
  std::string input = h.scratch.path("/s_client.in");
  ASSERT_EQ(::mkfifo(input.c_str(), 0600), 0);
  Child client({"/bin/sh", "-c", "exec /usr/bin/openssl s_client -quiet -ign_eof -connect 127.0.0.1:" + port + " < " + input});
  int to_client = ::open(input.c_str(), O_WRONLY | O_CLOEXEC);
  const std::string typed = upgrade + std::string("\x81\x86\0\0\0\0GetAll", 12);
  ASSERT_EQ(::write(to_client, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
  EXPECT_TRUE(client.wait_for_output("ChargingMode=slow")) << client.output;
  EXPECT_NE(client.output.find("HTTP/1.1 101 Switching Protocols"), std::string::npos);
  ::close(to_client);

  // A page in Chromium asks for the report and, once it has it whole, for the
  // cable quality. A data: page is of no site: it may reach a loopback address
  // once the local network access checks are off.
  ASSERT_TRUE(std::filesystem::exists("/usr/bin/chromium")) << "install the Debian package chromium";
  Child browser({"/usr/bin/chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                 "--no-first-run", "--disable-background-networking", "--disable-component-update",
                 "--disable-sync", "--ignore-certificate-errors",
                 "--disable-features=LocalNetworkAccessChecks", "--user-data-dir=" + h.scratch.path("/profile"),
                 "data:text/html,<script>const ws = new WebSocket('wss://127.0.0.1:" + port + "/');"
                 "ws.onopen = () => ws.send('GetAll');"
                 "ws.onmessage = (e) => e.data.startsWith('ChargingMode=slow') && "
                 "ws.send('StartAdditionalCableQuality');</script>"});
  EXPECT_TRUE(wait_until([&] { return h.state._checkWebSocketCableLinkQuality.load() == 1; }, 60s)) << h.printed();
}

}  // namespace
