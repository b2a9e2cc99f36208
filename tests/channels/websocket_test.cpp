// The GUI channel: the codec on its own (what it encodes it decodes again, in
// every length form; the handshake answer), then the server over loopback with
// a WebSocket client of the test's own: handshake, origin, echo, control frames,
// feature flags, the live report to every client, limits.
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "channels/live_report.h"
#include "channels/origin.h"
#include "channels/websocket_codec.h"
#include "channels/websocket_server.h"
#include "support/channels_harness.h"

namespace {

using namespace channels;
using Bytes = std::vector<uint8_t>;
using namespace testing_support;

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
  struct Case {
    std::string request, response;
  } cases[] = {
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

TEST_F(WebSocketTest, EchoControlFramesAndFeatureFlags) {
  auto g = gui();
  auto echoed = [](const std::string& t) { return std::make_pair(frame(0x81, t), std::vector<Frame>{text(t)}); };
  struct Step {
    std::pair<std::string, std::vector<Frame>> bytes_replies;
    int reflesh, cable;  // after it
  } steps[] = {
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
  struct Case {
    const char* what;
    std::string bytes, reply;
    bool closed;
  } cases[] = {
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

}  // namespace
