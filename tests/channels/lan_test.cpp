// The channels on an office LAN: which browser pages may open the GUI
// channel, browser requests on the command port, the GUI channel over TLS
// with openssl and headless Chromium as its peers.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <unistd.h>

#include "channels/http_guard.h"
#include "channels/origin.h"
#include "channels/tls.h"
#include "channels/websocket_server.h"
#include "support/channels_harness.h"

namespace {

using namespace testing_support;
using channels::LineKind;
using channels::OriginVerdict;

TEST(CommandPortGuard, ClassifiesRequestLinesAndHostHeaders) {
  const LineKind kReq = LineKind::kHttpRequest, kHost = LineKind::kHostHeader, kCmd = LineKind::kCommand;
  struct Case {
    const char* line;
    LineKind kind;
  } cases[] = {
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
  struct Case {
    std::vector<std::string> blocks;
    std::vector<std::string> forwarded;  // after each block
    bool dropped;                        // by the last block
  } cases[] = {
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
  struct Case {
    std::optional<std::string> origin, host;
    OriginVerdict verdict;
  } cases[] = {
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

  const std::string upgrade =
      "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";
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
