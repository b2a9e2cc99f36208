// The GUI channel over loopback with a WebSocket client of the test's own:
// handshake, echo, feature flags, the live report to every client.
#include "channels/websocket_server.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
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
    if (!send(kRequest.substr(0, 90)) || !send(kRequest.substr(90)) || !wait_bytes(kAnswer.size()) ||
        received.compare(0, kAnswer.size(), kAnswer) != 0)
      return false;
    received.erase(0, kAnswer.size());
    return true;
  }
  bool send_frame(const std::string& text, uint8_t first = channels::WDT_TXTDATA) { return send(frame(first, text)); }
  // A masked client frame with the given first byte (FIN and opcode).
  static std::string frame(uint8_t first, const std::string& payload) {
    std::vector<uint8_t> f(payload.size() + 14);
    int n = channels::webSocket_enPackage(reinterpret_cast<const uint8_t*>(payload.data()), payload.size(), f.data(),
                                          f.size(), true, channels::WDT_TXTDATA);
    f[0] = first;
    return std::string(f.begin(), f.begin() + n);
  }
  // The next server frame (unmasked): its first byte and payload; {0,
  // "<none>"} when none came.
  std::pair<int, std::string> next_frame() {
    channels::FrameHead head;
    int n;
    while ((n = channels::parse_frame_head(reinterpret_cast<const uint8_t*>(received.data()), received.size(),
                                           head)) == 0)
      if (!wait_bytes(received.size() + 1)) return {0, "<none>"};
    if (head.mask) return {0, "<masked>"};
    if (!wait_bytes(n + head.payload_length)) return {0, "<none>"};
    std::pair<int, std::string> f{static_cast<uint8_t>(received[0]), received.substr(n, head.payload_length)};
    received.erase(0, n + head.payload_length);
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

TEST_F(WebSocketTest, EachReportValueComesFromItsOwnNvramKey) {
  // Every nvram key the report may read holds its own name: a row that reads
  // a wrong key shows it.
  const std::map<std::string, std::string> renamed = {{"Videostatus", "Inputstatus"}, {"DHCPType", "wanConnectionMode"}};
  for (const auto& [k, v] : channels::live_report(*h.ch)) {
    std::string key = k.substr(0, k.size() - 1);
    h.nvram.values[renamed.count(key) ? renamed.at(key) : key] = "v-" + key;
  }
  for (const char* key : {"wan_ipaddr", "wan_netmask", "wan_gateway"}) h.nvram.values[key] = key;
  auto report = channels::live_report(*h.ch);
  ASSERT_EQ(report.size(), 82u);
  EXPECT_EQ(report[0].first, "Videostatus=");
  EXPECT_EQ(report[81].first, "ChargingMode=");
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

TEST_F(WebSocketTest, EveryGuiReceivesTheWholeReportInOrder) {
  auto a = gui();
  auto b = gui();
  auto expected = channels::live_report(*h.ch);
  // A text of the largest frame, not a command: echoed whole, then the report to everyone.
  std::string text(65536, 'a');
  text[0] = 'Z';
  ASSERT_TRUE(a->send_frame(text));
  EXPECT_EQ(a->next(), text);
  for (auto* g : {a.get(), b.get()})
    for (const auto& [k, v] : expected) ASSERT_EQ(g->next(), k + v);

  ASSERT_TRUE(b->send_frame("checkUpgrade"));
  EXPECT_EQ(b->next(), "checkUpgrade");
  EXPECT_EQ(b->next(), "CheckUpgrateStatus=2");
  EXPECT_EQ(a->next(), "CheckUpgrateStatus=2");

  // A frame past the limit closes its GUI; the others are still served.
  ASSERT_TRUE(a->send_frame(std::string(65537, 'b')));
  EXPECT_TRUE(a->wait_closed());
  ASSERT_TRUE(b->send_frame("again"));
  EXPECT_EQ(b->next(), "again");
  for (const auto& [k, v] : expected) ASSERT_EQ(b->next(), k + v);
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
      {"no key", "", ""},
      {"a frame in the same packet", WsClient::frame(0x81, "StopAudioMic"), std::string("\x81\x0cStopAudioMic")},
      {"a body that is no frame", "X=1&Y=" + std::string(12000, 'y'), ""},
      {"an unmasked frame", "\x81\x02hi", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Client raw(h.ch->websocket_port.load());
    const bool keyless = c.after.empty();
    ASSERT_TRUE(raw.send(keyless ? "GET / HTTP/1.1\r\nHost: x\r\n\r\n" : kRequest + c.after));
    if (c.reply.empty()) {
      EXPECT_TRUE(raw.wait_closed());
      EXPECT_EQ(raw.received, keyless ? "" : kAnswer);
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
