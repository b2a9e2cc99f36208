// The channels on an office LAN: which browser pages may open the GUI channel,
// the GUI channel over TLS, browser requests on the command port, bind
// addresses and keepalive. Real peers on loopback: sockets, headless Chromium
// and openssl.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <mutex>
#include <sstream>

#include "board/files.h"
#include "channels/http_guard.h"
#include "channels/live_report.h"
#include "channels/origin.h"
#include "channels/tcp_server.h"
#include "channels/tls.h"
#include "channels/websocket_server.h"
#include "support/channels_harness.h"

namespace {

using namespace testing_support;
using channels::LineKind;
using channels::OriginVerdict;

int connect_to(const char* addr, int port) {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_port = htons(static_cast<uint16_t>(port));
  ::inet_pton(AF_INET, addr, &a.sin_addr);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0) return fd;
  ::close(fd);
  return -1;
}

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

class LanTcp : public ::testing::Test {
 protected:
  int start() {
    h.run(channels::start_tcp_server(*h.ch, "0"));
    EXPECT_TRUE(wait_until([&] { return h.ch->tcp_port.load() != 0; }));
    return h.ch->tcp_port.load();
  }
  ChannelsHarness h;
};

TEST_F(LanTcp, BrowserRequestsAreDroppedAndCommandLinesPass) {
  int port = start();
  std::vector<std::string> requests;
  for (const char* method : {"GET", "POST", "PUT", "DELETE", "HEAD", "OPTIONS", "PATCH"})
    requests.push_back(std::string(method) + " /x HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\nOff 1\r\n");
  requests.push_back("Host: 127.0.0.1\r\nOff 1\r\n");
  for (const std::string& r : requests) {
    Client c(port);
    ASSERT_TRUE(c.wait_for(channels::kCommandPrompt));
    c.send(r);
    EXPECT_TRUE(c.wait_closed()) << r;
  }
  const std::string commands = "GET status\r\nPOST 1 on\r\nGETALL\r\nOff 2\r\n";
  Client c(port);
  c.send(commands);
  ASSERT_TRUE(h.mcu.wait_for(commands));
  EXPECT_EQ(h.mcu.bytes(), commands);  // nothing of the requests
  EXPECT_NE(h.printed().find("TCP Client[00] sent an HTTP request line, connection closed"), std::string::npos);
  EXPECT_NE(h.printed().find("sent an HTTP Host: header"), std::string::npos);
}

TEST_F(LanTcp, BoundAddressOnlyAndAVanishedPeerFreesItsSlot) {
  h.ch->policy.tcp_bind = "127.0.0.1";
  h.ch->policy.keepalive = {1, 1, 1};
  int port = start();
  EXPECT_EQ(connect_to("127.0.0.2", port), -1);
  int fd = connect_to("127.0.0.1", port);
  ASSERT_GE(fd, 0);
  ASSERT_TRUE(wait_until([&] { return h.ch->clients.TcpClient[0].fd.load() >= 0; }));
  // A close in repair mode sends nothing: to the server the peer just vanished.
  int on = 1;
  ASSERT_EQ(::setsockopt(fd, IPPROTO_TCP, TCP_REPAIR, &on, sizeof on), 0) << "TCP_REPAIR needs CAP_NET_ADMIN";
  ::close(fd);
  EXPECT_TRUE(wait_until([&] { return h.ch->clients.TcpClient[0].fd.load() < 0; }));
}

TEST(LanGui, AForeignPageGetsOnly403AndItsFirstFrameIsNeverRead) {
  ChannelsHarness h;
  h.run(channels::start_websocket_server(*h.ch, 0));
  ASSERT_TRUE(wait_until([&] { return h.ch->websocket_port.load() != 0; }));
  const std::string frame("\x81\x86\0\0\0\0GetAll", 12);
  struct Case {
    const char* origin;
    bool refused;
  } cases[] = {{"http://127.0.0.2:8080", true}, {"http://127.0.0.1:8080", false}};
  for (const auto& [origin, refused] : cases) {
    Client c(h.ch->websocket_port.load());
    c.send("GET / HTTP/1.1\r\nHost: 127.0.0.1:45678\r\nOrigin: " + std::string(origin) +
           "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n"
           "Sec-WebSocket-Version: 13\r\n\r\n" + frame);
    if (refused) {
      EXPECT_TRUE(c.wait_closed());
      EXPECT_EQ(c.received, channels::kOriginRefused);
      EXPECT_NE(h.printed().find("WebSocket: refused a page of http://127.0.0.2:8080 "), std::string::npos);
    } else {
      EXPECT_TRUE(c.wait_for("\x81\x06GetAll")) << c.received;
    }
  }
}

// Serves the pages of tests/channels/data on 127.0.0.1 and on 127.0.0.2
// (another origin) and keeps what a page posts to /result.
class PageServer {
 public:
  PageServer() {
    for (const char* addr : {"127.0.0.1", "127.0.0.2"}) {
      int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
      sockaddr_in a{};
      a.sin_family = AF_INET;
      ::inet_pton(AF_INET, addr, &a.sin_addr);
      socklen_t len = sizeof a;
      ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
      ::listen(fd, 16);
      ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
      fds_.push_back({fd, POLLIN, 0});
      urls_.push_back("http://" + std::string(addr) + ":" + std::to_string(ntohs(a.sin_port)) + "/");
    }
    thread_ = std::thread([this] {
      while (!stop_)
        if (::poll(fds_.data(), fds_.size(), 50) > 0)
          for (pollfd& p : fds_)
            if (p.revents) handle(::accept(p.fd, nullptr, nullptr));
    });
  }
  ~PageServer() {
    stop_ = true;
    thread_.join();
    for (pollfd& p : fds_) ::close(p.fd);
  }
  std::string own_url() const { return urls_[0]; }
  std::string foreign_url() const { return urls_[1]; }
  // Opens url in headless Chromium and returns what the page posted.
  std::string browse(const std::string& url, const std::string& profile, const char* extra = "--no-first-run") {
    EXPECT_TRUE(std::filesystem::exists("/usr/bin/chromium")) << "install the Debian package chromium";
    std::filesystem::create_directories(profile);
    size_t before = results();
    Child browser({"/usr/bin/chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                   "--no-first-run", "--disable-background-networking", "--disable-component-update",
                   "--disable-sync", extra, "--user-data-dir=" + profile, url});
    EXPECT_TRUE(wait_until([&] { return results() > before; }, 60s)) << "the page posted nothing: " << url;
    std::lock_guard<std::mutex> hold(lock_);
    return results_.empty() ? "" : results_.back();
  }

 private:
  size_t results() {
    std::lock_guard<std::mutex> hold(lock_);
    return results_.size();
  }
  void handle(int c) {
    std::string req;
    char buf[8192];
    size_t body = std::string::npos, want = 0;
    while ((body == std::string::npos || req.size() < body + want) && c >= 0) {
      pollfd p{c, POLLIN, 0};
      ssize_t r = ::poll(&p, 1, 5000) > 0 ? ::read(c, buf, sizeof buf) : 0;
      if (r <= 0) break;
      req.append(buf, static_cast<size_t>(r));
      if (body == std::string::npos && (body = req.find("\r\n\r\n")) != std::string::npos) {
        body += 4;
        size_t cl = req.find("Content-Length: ");
        if (cl != std::string::npos && cl < body) want = std::stoul(req.substr(cl + 16));
      }
    }
    std::string reply = "HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n";
    if (req.rfind("GET /", 0) == 0) {
      std::string page = board::read_file(std::string(PDUD_TEST_DATA) + "/channels/data/" +
                                          req.substr(5, req.find_first_of("? ", 5) - 5)).value_or("");
      reply = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " + std::to_string(page.size()) +
              "\r\nConnection: close\r\n\r\n" + page;
    }
    else if (req.rfind("POST /result", 0) == 0 && body != std::string::npos) {
      std::lock_guard<std::mutex> hold(lock_);
      results_.push_back(req.substr(body, want));
    }
    (void)!::write(c, reply.data(), reply.size());
    ::close(c);
  }

  std::vector<pollfd> fds_;
  std::vector<std::string> urls_;
  std::atomic<bool> stop_{false};
  std::mutex lock_;
  std::vector<std::string> results_;
  std::thread thread_;
};

class LanBrowser : public ::testing::Test {
 protected:
  LanBrowser() {
    h.ch->macaddr = [](const char*) { return std::string("00:11:22:33:44:55"); };
    h.nvram.values = {{"Inputstatus", "1"}, {"Password", "secret"}, {"ChargingMode", "slow"}};
  }
  int start_gui() {
    h.run(channels::start_websocket_server(*h.ch, 0));
    EXPECT_TRUE(wait_until([&] { return h.ch->websocket_port.load() != 0; }));
    return h.ch->websocket_port.load();
  }
  ChannelsHarness h;
  PageServer pages;
};

TEST_F(LanBrowser, OnlyTheUnitsOwnPagesReadTheReportAndNoPagePutsTextOnTheMcuLine) {
  h.run(channels::start_tcp_server(*h.ch, "0"));
  std::string ws = "ws://127.0.0.1:" + std::to_string(start_gui()) + "/";
  ASSERT_TRUE(wait_until([&] { return h.ch->tcp_port.load() != 0; }));

  std::string foreign = pages.browse(pages.foreign_url() + "lan.html?ws=" + ws + "&tcp=" + std::to_string(h.ch->tcp_port.load()),
                                     h.scratch.path("/profile-foreign"));
  EXPECT_EQ(foreign, "closed");
  EXPECT_NE(h.printed().find("WebSocket: refused a page of http://127.0.0.2:"), std::string::npos);
  EXPECT_NE(h.printed().find("sent an HTTP request line, connection closed"), std::string::npos);
  EXPECT_EQ(h.mcu.bytes(), "");

  std::string own = pages.browse(pages.own_url() + "lan.html?ws=" + ws, h.scratch.path("/profile-own"));
  EXPECT_EQ(own.rfind("report\nGetAll\nVideostatus=1\n", 0), 0u) << own;
  EXPECT_NE(own.find("\npassword=secret\n"), std::string::npos);
}

TEST_F(LanBrowser, WssForChromiumAndOpensslAndNoPlainClient) {
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
  int port = start_gui();

  const std::string upgrade =
      "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n";
  Client plain(port);
  plain.send(upgrade);
  EXPECT_TRUE(plain.wait_closed());
  EXPECT_EQ(plain.received.find("101"), std::string::npos);

  // openssl s_client types the upgrade and "GetAll" in a masked frame at
  // once; a zero key leaves the bytes as they are.
  std::string input = h.scratch.path("/s_client.in");
  ASSERT_EQ(::mkfifo(input.c_str(), 0600), 0);
  Child client({"/bin/sh", "-c", "exec /usr/bin/openssl s_client -quiet -ign_eof -connect 127.0.0.1:" +
                                     std::to_string(port) + " < " + input});
  int to_client = ::open(input.c_str(), O_WRONLY | O_CLOEXEC);
  const std::string typed = upgrade + std::string("\x81\x86\0\0\0\0GetAll", 12);
  ASSERT_EQ(::write(to_client, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
  EXPECT_TRUE(client.wait_for_output("ChargingMode=slow")) << client.output;
  EXPECT_NE(client.output.find("HTTP/1.1 101 Switching Protocols"), std::string::npos);
  ::close(to_client);

  std::string own = pages.browse(pages.own_url() + "lan.html?ws=wss://127.0.0.1:" + std::to_string(port) + "/",
                                 h.scratch.path("/profile-wss"), "--ignore-certificate-errors");
  EXPECT_EQ(own.rfind("report\nGetAll\nVideostatus=1\n", 0), 0u) << own;
}

// The project's own page (data/gui.html) opens two connections, sends
// "StartAudioMic" and a report request, closes the first and posts back what
// it showed.
TEST_F(LanBrowser, GuiPageGetsTheEchoAndTheWholeReportOnBothConnections) {
  h.nvram.values = {{"Inputstatus", "1"}, {"IRLabel3", "TV"}, {"IRValue3", "0x30"}, {"ChargingMode", "slow"}};
  std::string result = pages.browse(pages.own_url() + "gui.html?report=1&ws=" + std::to_string(start_gui()),
                                    h.scratch.path("/profile-gui"));
  // The close frame was answered (a clean close, code 1000) and the features ended with it.
  EXPECT_NE(result.find("\nclosed 1000 clean"), std::string::npos) << result;
  EXPECT_EQ(h.state._checkWebSocketReflesh.load(), 0);
  std::string report;
  for (const auto& [k, v] : channels::live_report(*h.ch)) report += k + v + "\n";
  std::string shown[2];  // what each connection showed
  std::istringstream in(result);
  for (std::string line; std::getline(in, line);)
    if (line.size() >= 2 && (line[0] == 'a' || line[0] == 'b') && line[1] == ' ') shown[line[0] - 'a'] += line.substr(2) + "\n";
  EXPECT_EQ(shown[0], "StartAudioMic\nGetAll\n" + report);
  EXPECT_EQ(shown[1], report);
}

}  // namespace
