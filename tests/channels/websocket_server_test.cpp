// The GUI channel over loopback with a WebSocket client of the test's own:
// handshake, echo, feature flags, the live report to every client.
#include "channels/websocket_server.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>

#include "channels/live_report.h"
#include "support/channels_harness.h"

namespace {

using testing_support::ChannelsHarness;
using testing_support::Client;
using testing_support::wait_until;

const std::string kRequest =
    "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";
const std::string kAnswer =
    "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n";

class WsClient : public Client {
 public:
  using Client::Client;
  // The opening request in two pieces, the key line in the second.
  bool handshake() {
    std::string head = "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nX-Pad: " +
                       std::string(200, 'p') + "\r\n";
    if (!send(head)) return false;
    if (!send("Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n")) return false;
    const std::string answer =
        "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
        "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n";
    if (!wait_bytes(answer.size()) || received.substr(0, answer.size()) != answer) return false;
    received.erase(0, answer.size());
    return true;
  }
  bool send_frame(const std::string& text, uint8_t type = channels::WDT_TXTDATA) {
    std::vector<uint8_t> frame(text.size() + 14);
    int n = channels::webSocket_enPackage(reinterpret_cast<const uint8_t*>(text.data()), text.size(),
                                          frame.data(), frame.size(), true, type);
    return n > 0 && send(std::string(frame.begin(), frame.begin() + n));
  }
  // A masked client frame with the given first byte (FIN and opcode).
  static std::string frame(uint8_t first, const std::string& payload) {
    std::string f(1, static_cast<char>(first));
    size_t n = payload.size();
    if (n < 126) {
      f += static_cast<char>(0x80 | n);
    } else {
      f += static_cast<char>(0x80 | 126);
      f += static_cast<char>(n >> 8);
      f += static_cast<char>(n & 0xff);
    }
    const char key[4] = {0x11, 0x22, 0x33, 0x44};
    f.append(key, 4);
    for (size_t i = 0; i < n; ++i) f += static_cast<char>(payload[i] ^ key[i % 4]);
    return f;
  }
  // The next server frame (unmasked): its first byte and payload; {0,
  // "<none>"} when none came.
  std::pair<int, std::string> next_frame() {
    if (!wait_bytes(2)) return {0, "<none>"};
    auto b = [&](size_t i) { return static_cast<uint8_t>(received[i]); };
    if (b(1) & 0x80) return {b(0), "<masked>"};
    uint64_t len = b(1) & 0x7f;
    size_t head = 2;
    if (len == 126) {
      if (!wait_bytes(4)) return {0, "<none>"};
      len = (uint64_t{b(2)} << 8) | b(3);
      head = 4;
    } else if (len == 127) {
      if (!wait_bytes(10)) return {0, "<none>"};
      len = 0;
      for (int i = 2; i < 10; ++i) len = (len << 8) | b(i);
      head = 10;
    }
    if (!wait_bytes(head + len)) return {0, "<none>"};
    std::pair<int, std::string> f{b(0), received.substr(head, len)};
    received.erase(0, head + len);
    return f;
  }
  // The next server message (a text frame); "<none>" when none came.
  std::string next() {
    auto f = next_frame();
    return f.first == 0x81 || f.first == 0 ? f.second : "<bad head>";
  }
};

class WebSocketTest : public ::testing::Test {
 protected:
  void SetUp() override {
    h.ch->macaddr = [](const char*) { return std::string("00:11:22:33:44:55"); };
    h.nvram.values = {{"Inputstatus", "1"}, {"wanConnectionMode", "DHCP"}, {"wan_ipaddr", "10.0.0.5"},
                      {"wan_netmask", "255.0.0.0"}, {"Password", std::string(60, 'p')},
                      {"IRLabel2", "TV"}, {"IRValue2", "0x20"}, {"IRLabel7", ""}, {"IRValue7", "0x70"},
                      {"CheckUpgrateStatus", "2"}, {"ChargingMode", "fast"}};
    h.ch->handshake_limit = h.ch->frame_limit = std::chrono::seconds(3);
    h.run(channels::start_websocket_server(*h.ch, 0));
    ASSERT_TRUE(wait_until([&] { return h.ch->websocket_port.load() != 0; }));
  }
  std::unique_ptr<WsClient> gui() {
    auto c = std::make_unique<WsClient>(h.ch->websocket_port.load());
    EXPECT_TRUE(c->handshake());
    return c;
  }
  ChannelsHarness h;
};

TEST_F(WebSocketTest, ReportOrderAndValues) {
  auto report = channels::live_report(h.ch.get()[0]);
  ASSERT_EQ(report.size(), 82u);
  std::vector<std::string> keys;
  for (auto& [k, v] : report) keys.push_back(k);
  struct Case {
    size_t index;
    std::string key, value;
  } cases[] = {
      {0, "Videostatus=", "1"},
      {1, "AutoSwitch=", ""},  // absent: empty
      {5, "DHCPType=", "DHCP"},
      {6, "network=", "DHCP,10.0.0.5,255.0.0.0,,00:11:22:33:44:55"},
      {9, "Connectionencrytion=", ""},
      {17, "Outlet1=", ""},
      {22, "password=", std::string(47, 'p')},
      {28, "Outlabel1=", ""},
      {32, "TitleLabel=", ""},
      {41, "Voltageout1=", ""},
      {45, "Carrent1=", ""},
      {49, "TimeZone=", ""},
      {78, "cookievalue=", ""},
      {79, "IRCodec=TV,0x20", ""},
      {80, "PowerMode=", ""},
      {81, "ChargingMode=", "fast"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.key);
    EXPECT_EQ(report[c.index].first, c.key);
    EXPECT_EQ(report[c.index].second, c.value);
  }
}

TEST_F(WebSocketTest, EchoAndFeatureFlags) {
  auto g = gui();
  struct Case {
    std::string message;
    int reflesh, cable;
  } cases[] = {
      {"StartAudioMic", 1, 0},
      {"StartAdditionalCableQuality", 1, 1},
      {"StopAudioMicNow", 0, 1},  // a prefix is enough
      {"StopAdditionalCableQuality", 0, 0},
      {"StartAudioMic", 1, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    ASSERT_TRUE(g->send_frame(c.message));
    EXPECT_EQ(g->next(), c.message);
    // The echo goes out before the server acts on the message.
    EXPECT_TRUE(wait_until([&] {
      return h.state._checkWebSocketReflesh.load() == c.reflesh &&
             h.state._checkWebSocketCableLinkQuality.load() == c.cable;
    })) << h.state._checkWebSocketReflesh.load() << " " << h.state._checkWebSocketCableLinkQuality.load();
  }
  // A close frame ends the connection and the features.
  h.state._checkWebSocketCableLinkQuality.store(1);
  ASSERT_TRUE(g->send_frame("", channels::WDT_DISCONN));
  EXPECT_TRUE(g->wait_closed());
  EXPECT_TRUE(wait_until([&] { return h.state._checkWebSocketReflesh.load() == 0; }));
  EXPECT_EQ(h.state._checkWebSocketCableLinkQuality.load(), 0);
}

TEST_F(WebSocketTest, LongFramesAreEchoedWholeAndOversizedOnesClose) {
  auto g = gui();
  for (size_t len : {200u, 5000u, 65536u}) {
    SCOPED_TRACE(len);
    std::string text(len, 'a');
    text[0] = 'Z';  // not a command: the report follows the echo
    ASSERT_TRUE(g->send_frame(text));
    EXPECT_EQ(g->next(), text);
    EXPECT_EQ(g->next(), "Videostatus=1");
    for (int i = 1; i < 82; ++i) ASSERT_NE(g->next(), "<none>");
  }
  ASSERT_TRUE(g->send_frame(std::string(65537, 'b')));
  EXPECT_TRUE(g->wait_closed());
}

TEST_F(WebSocketTest, EveryGuiReceivesTheWholeReportInOrder) {
  auto a = gui();
  auto b = gui();
  auto expected = channels::live_report(*h.ch);
  ASSERT_TRUE(a->send_frame("GetAll"));
  EXPECT_EQ(a->next(), "GetAll");
  for (auto* g : {a.get(), b.get()})
    for (const auto& [k, v] : expected) ASSERT_EQ(g->next(), k + v);

  ASSERT_TRUE(b->send_frame("checkUpgrade"));
  EXPECT_EQ(b->next(), "checkUpgrade");
  EXPECT_EQ(b->next(), "CheckUpgrateStatus=2");
  EXPECT_EQ(a->next(), "CheckUpgrateStatus=2");

  // A GUI that went away is dropped; the others are still served.
  a.reset();
  ASSERT_TRUE(b->send_frame("again"));
  EXPECT_EQ(b->next(), "again");
  for (const auto& [k, v] : expected) ASSERT_EQ(b->next(), k + v);
}

TEST_F(WebSocketTest, RequestWithoutKeyIsNotAnswered) {
  Client c(h.ch->websocket_port.load());
  ASSERT_TRUE(c.send("GET / HTTP/1.1\r\nHost: x\r\n\r\n"));
  EXPECT_TRUE(c.wait_closed());
  EXPECT_EQ(c.received, "");
}

TEST_F(WebSocketTest, ControlFramesAndFragments) {
  auto g = gui();
  using Reply = std::pair<int, std::string>;
  struct Step {
    const char* what;
    std::string bytes;
    std::vector<Reply> replies;
  } steps[] = {
      {"ping", WsClient::frame(0x89, "beat"), {{0x8A, "beat"}}},
      {"a pong gets nothing", WsClient::frame(0x8A, "x") + WsClient::frame(0x89, "y"), {{0x8A, "y"}}},
      {"fragments joined, a ping between them answered at once",
       WsClient::frame(0x01, "Start") + WsClient::frame(0x89, "") + WsClient::frame(0x00, "Audio") +
           WsClient::frame(0x80, "Mic"),
       {{0x8A, ""}, {0x81, "StartAudioMic"}}},
      {"close", WsClient::frame(0x88, "\x03\xE8"), {{0x88, "\x03\xE8"}}},
  };
  for (const auto& s : steps) {
    SCOPED_TRACE(s.what);
    ASSERT_TRUE(g->send(s.bytes));
    for (const Reply& r : s.replies) EXPECT_EQ(g->next_frame(), r);
  }
  EXPECT_TRUE(g->wait_closed());
  EXPECT_EQ(g->received, "");
  EXPECT_TRUE(wait_until([&] { return h.state._checkWebSocketReflesh.load() == 0; }));  // set, then closed
}

TEST_F(WebSocketTest, TheRequestEndsAtItsEmptyLine) {
  struct Case {
    const char* what;
    std::string after;
    std::string reply;  // after the answer; "" = closed without a word
  } cases[] = {
      {"a frame in the same packet", WsClient::frame(0x81, "StopAudioMic"), std::string("\x81\x0cStopAudioMic")},
      {"a body that is no frame", "X=1&Y=" + std::string(12000, 'y'), ""},
      {"an unmasked frame", "\x81\x02hi", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Client raw(h.ch->websocket_port.load());
    ASSERT_TRUE(raw.send(kRequest + c.after));
    if (c.reply.empty()) {
      EXPECT_TRUE(raw.wait_closed());
      EXPECT_EQ(raw.received, kAnswer);
    } else {
      EXPECT_TRUE(raw.wait_for(kAnswer + c.reply));
      EXPECT_EQ(raw.received, kAnswer + c.reply);
    }
  }
}

TEST_F(WebSocketTest, StalledPeersDelayNobody) {
  // One peer stalls in the middle of a frame, one trickles its request.
  auto stalled = gui();
  ASSERT_TRUE(stalled->send(WsClient::frame(0x81, std::string(100, 's')).substr(0, 20)));
  Client trickler(h.ch->websocket_port.load());
  std::atomic<bool> stop{false};
  std::thread trickle([&] {
    for (char c : kRequest) {
      if (stop || !trickler.send(std::string(1, c))) break;
      wait_until([&] { return stop.load(); }, std::chrono::milliseconds(100));
    }
  });

  // A third GUI is answered and served meanwhile, before either limit ends.
  auto expected = channels::live_report(*h.ch);
  auto third = gui();
  ASSERT_TRUE(third->send_frame("GetAll"));
  EXPECT_EQ(third->next(), "GetAll");
  for (const auto& [k, v] : expected) ASSERT_EQ(third->next(), k + v);
  EXPECT_EQ(h.printed().find("closed"), std::string::npos) << h.printed();

  // Each peer past its limit is closed with one line.
  EXPECT_TRUE(stalled->wait_closed());
  EXPECT_TRUE(trickler.wait_closed());
  stop = true;
  trickle.join();
  EXPECT_NE(h.printed().find("WebSocket client 0 closed: its frame took too long\n"), std::string::npos);
  EXPECT_NE(h.printed().find("WebSocket client 1 closed: its request took too long\n"), std::string::npos);
  ASSERT_TRUE(third->send_frame("StartAudioMic"));
  EXPECT_EQ(third->next(), "StartAudioMic");
}

}  // namespace
