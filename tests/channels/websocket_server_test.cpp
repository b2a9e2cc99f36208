// The GUI channel over loopback with a WebSocket client of the test's own:
// handshake, echo, feature flags, the live report to every client.
#include "channels/websocket_server.h"

#include <gtest/gtest.h>

#include "channels/live_report.h"
#include "support/channels_harness.h"

namespace {

using testing_support::ChannelsHarness;
using testing_support::Client;
using testing_support::wait_until;

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
  // The next server message (unmasked text frame); "<none>" when none came.
  std::string next() {
    if (!wait_bytes(2)) return "<none>";
    auto b = [&](size_t i) { return static_cast<uint8_t>(received[i]); };
    if (b(0) != 0x81 || (b(1) & 0x80)) return "<bad head>";
    uint64_t len = b(1) & 0x7f;
    size_t head = 2;
    if (len == 126) {
      if (!wait_bytes(4)) return "<none>";
      len = (uint64_t{b(2)} << 8) | b(3);
      head = 4;
    } else if (len == 127) {
      if (!wait_bytes(10)) return "<none>";
      len = 0;
      for (int i = 2; i < 10; ++i) len = (len << 8) | b(i);
      head = 10;
    }
    if (!wait_bytes(head + len)) return "<none>";
    std::string text = received.substr(head, len);
    received.erase(0, head + len);
    return text;
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

}  // namespace
