// The GUI channel with a real browser: headless Chromium loads the project's
// own page (tests/channels/data/gui.html), which opens two connections, sends
// "StartAudioMic" and a report request, closes the first and posts back what
// it showed.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <sstream>

#include "board/files.h"
#include "channels/live_report.h"
#include "channels/websocket_server.h"
#include "support/channels_harness.h"

namespace {

using testing_support::ChannelsHarness;
using testing_support::Child;
using testing_support::wait_until;

constexpr char kChromium[] = "/usr/bin/chromium";

// Serves gui.html and takes the page's POST /result, on loopback.
class PageServer {
 public:
  explicit PageServer(std::string page) : page_(std::move(page)) {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof a;
    ::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
    ::listen(fd_, 16);
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~PageServer() {
    stop_ = true;
    thread_.join();
    ::close(fd_);
  }
  int port() const { return port_; }
  bool has_result() const { return done_.load(); }
  std::string result() const { return result_; }  // read after has_result()

 private:
  void serve() {
    while (!stop_) {
      pollfd p{fd_, POLLIN, 0};
      if (::poll(&p, 1, 50) <= 0) continue;
      int c = ::accept(fd_, nullptr, nullptr);
      if (c >= 0) handle(c);
    }
  }
  void handle(int c) {
    std::string req;
    char buf[8192];
    size_t body_at = std::string::npos, want = 0;
    while (body_at == std::string::npos || req.size() < body_at + want) {
      pollfd p{c, POLLIN, 0};
      if (::poll(&p, 1, 5000) <= 0) break;
      ssize_t r = ::read(c, buf, sizeof buf);
      if (r <= 0) break;
      req.append(buf, static_cast<size_t>(r));
      if (body_at == std::string::npos && (body_at = req.find("\r\n\r\n")) != std::string::npos) {
        body_at += 4;
        auto cl = req.find("Content-Length: ");
        if (cl != std::string::npos && cl < body_at) want = std::stoul(req.substr(cl + 16));
      }
    }
    std::string reply;
    if (req.rfind("GET /gui.html", 0) == 0) {
      reply = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " + std::to_string(page_.size()) +
              "\r\nConnection: close\r\n\r\n" + page_;
    } else if (req.rfind("POST /result", 0) == 0 && body_at != std::string::npos) {
      result_ = req.substr(body_at, want);
      done_ = true;
      reply = "HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n";
    } else {
      reply = "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    }
    (void)!::write(c, reply.data(), reply.size());
    ::close(c);
  }

  std::string page_;
  int fd_ = -1;
  int port_ = 0;
  std::atomic<bool> stop_{false};
  std::atomic<bool> done_{false};
  std::string result_;
  std::thread thread_;
};

std::vector<std::string> messages_of(const std::string& result, char who) {
  std::vector<std::string> out;
  std::istringstream in(result);
  std::string line;
  while (std::getline(in, line))
    if (line.size() >= 2 && line[0] == who && line[1] == ' ') out.push_back(line.substr(2));
  return out;
}

TEST(Browser, GuiPageGetsTheEchoAndTheWholeReportOnBothConnections) {
  ASSERT_TRUE(std::filesystem::exists(kChromium))
      << kChromium << " is missing: install the Debian package chromium (scripts/install-deps.sh)";
  ChannelsHarness h;
  h.ch->macaddr = [](const char*) { return std::string("00:11:22:33:44:55"); };
  h.nvram.values = {{"Inputstatus", "1"}, {"IRLabel3", "TV"}, {"IRValue3", "0x30"}, {"ChargingMode", "slow"}};
  h.run(channels::start_websocket_server(*h.ch, 0));
  ASSERT_TRUE(wait_until([&] { return h.ch->websocket_port.load() != 0; }));

  auto page = board::read_file(std::string(PDUD_TEST_DATA) + "/channels/data/gui.html");
  ASSERT_TRUE(page);
  PageServer server(*page);
  std::string url = "http://127.0.0.1:" + std::to_string(server.port()) +
                    "/gui.html?report=1&ws=" + std::to_string(h.ch->websocket_port.load());
  std::string profile = h.scratch.path("/chromium-profile");
  std::filesystem::create_directories(profile);
  {
    Child browser({kChromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                   "--disable-background-networking",
                   "--disable-component-update", "--disable-sync", "--no-first-run",
                   "--user-data-dir=" + profile, url});
    ASSERT_TRUE(browser.started());
    ASSERT_TRUE(wait_until([&] { return server.has_result(); }, std::chrono::seconds(60)))
        << "the page posted nothing back";
  }  // the browser is ended here
  // The page closed its first connection: the close frame was answered (a
  // clean close, code 1000) and the features ended with it.
  EXPECT_NE(server.result().find("\nclosed 1000 clean"), std::string::npos) << server.result();
  EXPECT_EQ(h.state._checkWebSocketReflesh.load(), 0);

  std::vector<std::string> report;
  for (const auto& [k, v] : channels::live_report(*h.ch)) report.push_back(k + v);
  ASSERT_EQ(report.front(), "Videostatus=1");
  ASSERT_EQ(report.back(), "ChargingMode=slow");

  std::vector<std::string> first = {"StartAudioMic", "GetAll"};
  first.insert(first.end(), report.begin(), report.end());
  EXPECT_EQ(messages_of(server.result(), 'a'), first);
  EXPECT_EQ(messages_of(server.result(), 'b'), report);
}

}  // namespace
