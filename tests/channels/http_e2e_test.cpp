// The client channels inside the real daemon, fed through a pseudo-terminal
// as the MCU line: start-up and shutdown, the command port, and the --http
// server with its real consumers (promtool and a Prometheus server scrape
// /metrics, headless Chromium renders the dashboard) and hostile peers.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/shm.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <regex>
#include <thread>

#include "channels/segments.h"
#include "support/board_process.h"
#include "support/channels_harness.h"
#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

// A real component of the test: absent, the test fails and names its package.
#define REQUIRE_PROGRAM(path, package) \
  ASSERT_TRUE(std::filesystem::exists(path)) << path << " is missing: install the Debian package " << package

// The daemon with --http on a free loopback port, fed MCU messages.
struct HttpDaemon : DaemonHarness {
  void start_http(const std::string& model, std::vector<std::string> args = {}) {
    nvram_set("ZLTMerge", model);
    args.insert(args.end(), {"--http", "127.0.0.1:0"});
    start(args);
    std::smatch m;
    std::string out = output();
    if (std::regex_search(out, m, std::regex("serving HTTP on http://127\\.0\\.0\\.1:([0-9]+)/")))
      port = std::stoi(m[1]);
    ASSERT_NE(port, 0) << out;
  }
  // The measurement table of the status dump, one row per outlet (outlet n
  // draws n * 100.5 W), the unit's totals, and outlet 2 switched off.
  void feed(int outlets) {
    mcu_send("Outlet Voltage Current Power Consumed PowerFactor Frequency\r\n");
    for (int n = 1; n <= outlets; ++n)
      mcu_send(std::to_string(n) + " 230.1V " + std::to_string(n) + ".250A " + std::to_string(n * 100) +
               ".5W " + std::to_string(n) + ".5kWh 0.98 x\r\n");
    mcu_send("SYS 230.1V 4.5A 1005.3W 28.75kWh 0.97 50.0Hz\r\n");
    mcu_send("[SUCCESS]Set Outlet 2 OFF\r\n");
    mcu_send("[SUCCESS]GUI Get Sensor1 Current Temperature Value 23.5C\r\n");
  }
  std::string get(const std::string& path, int at = 0) {
    Client c(at ? at : port);
    if (!c.send("GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n") || !c.wait_closed())
      return "";
    size_t body = c.received.find("\r\n\r\n");
    return body == std::string::npos ? "" : c.received.substr(body + 4);
  }
  int port = 0;
};

TEST(HttpE2e, MetricsPassPromtoolAndPrometheusStoresAnOutletsPower) {
  REQUIRE_PROGRAM("/usr/bin/promtool", "prometheus");
  REQUIRE_PROGRAM("/usr/bin/prometheus", "prometheus");
  HttpDaemon h;
  const char* secrets[] = {"hunter2", "c00kie", "mailpass"};
  h.nvram_set("Password", secrets[0]);
  h.nvram_set("cookievalue", secrets[1]);
  h.nvram_set("EmailPassword", secrets[2]);
  h.start_http("ZLT4AC");
  h.feed(4);
  std::string metrics;
  ASSERT_TRUE(wait_until([&] {
    metrics = h.get("/metrics");
    return metrics.find("pdu_sensor_value{port=\"1\"} 23.5") != std::string::npos;
  })) << metrics;

  // What a scraper needs to find, in base units; nothing beyond the model's outlets.
  for (const char* line : {"pdu_outlets 4\n", "pdu_outlet_on{outlet=\"2\"} 0\n",
                           "pdu_outlet_power_watts{outlet=\"3\"} 300.5\n",
                           "pdu_outlet_current_amperes{outlet=\"3\"} 3.25\n",
                           "pdu_outlet_energy_joules_total{outlet=\"1\"} 5400000\n",
                           "pdu_power_watts 1005.3\n", "pdu_frequency_hertz 50\n",
                           "pdud_mcu_messages_dropped_total{stage=\"queue\"} 0\n"})
    EXPECT_NE(metrics.find(line), std::string::npos) << line << metrics;
  EXPECT_EQ(metrics.find("outlet=\"5\""), std::string::npos);
  std::smatch m;
  ASSERT_TRUE(std::regex_search(metrics, m, std::regex("pdud_mcu_messages_interpreted_total ([0-9]+)")));
  EXPECT_GE(std::stoi(m[1]), 8);  // header, 5 rows, the switch, the sensor
  ASSERT_TRUE(std::regex_search(metrics, m, std::regex("pdud_settings_commits_total ([0-9]+)")));
  EXPECT_GE(std::stoi(m[1]), 1);  // the switch rewrote Outlet2 in the settings file
  h.scratch.write("/metrics.txt", metrics);
  ProcessResult lint = run_process({"/bin/sh", "-c", "promtool check metrics < '" + h.scratch.path("/metrics.txt") + "'"});
  EXPECT_EQ(lint.status, 0) << lint.out << lint.err;

  std::string state = h.get("/api/state");
  for (const char* part : {"\"outlet\":2,\"on\":false", "\"totals\":{\"current_amperes\":4.5,\"power_watts\":1005.3",
                           "\"daemon\":{\"mcu_messages_interpreted\":"})
    EXPECT_NE(state.find(part), std::string::npos) << part << " in " << state;
  for (const std::string& body : {metrics, state, h.get("/"), h.get("/dashboard.js")}) {
    ASSERT_FALSE(body.empty());
    for (const char* secret : secrets) EXPECT_EQ(body.find(secret), std::string::npos) << secret;
  }

  // A Prometheus server scrapes the daemon and answers for outlet 3's power.
  int prom_port = free_port();
  h.scratch.write("/prometheus.yml", "global:\n  scrape_interval: 1s\nscrape_configs:\n  - job_name: pdu\n"
                                     "    static_configs:\n      - targets: ['127.0.0.1:" + std::to_string(h.port) + "']\n");
  Child prometheus({"/usr/bin/prometheus", "--config.file=" + h.scratch.path("/prometheus.yml"),
                    "--storage.tsdb.path=" + h.scratch.path("/tsdb"),
                    "--web.listen-address=127.0.0.1:" + std::to_string(prom_port)});
  std::string answer;
  EXPECT_TRUE(wait_until([&] {
    answer = h.get("/api/v1/query?query=pdu_outlet_power_watts%7Boutlet%3D%223%22%7D", prom_port);
    return answer.find(",\"300.5\"]") != std::string::npos;
  }, 60s)) << answer;
}

TEST(HttpE2e, DashboardShowsTheModelsOutletsAndWarnsWhenTheMcuGoesQuiet) {
  const std::string chromium = "/usr/bin/chromium";
  REQUIRE_PROGRAM(chromium, "chromium");
  HttpDaemon h;
  h.nvram_set("TitleLabel", "Rack A3");
  h.nvram_set("Tipoutlet", "22122232");
  const char* labels[] = {"Core switch", "Backup NAS", "Router", "Hypervisor 1", "Hypervisor 2", "KVM", "Fan tray", "Lab bench"};
  for (int n = 1; n <= 8; ++n) {
    h.nvram_set("Outlet" + std::to_string(n), "1");
    h.nvram_set("Outlabel" + std::to_string(n), labels[n - 1]);
  }
  h.start_http("ZLT8AC");
  h.feed(8);
  ASSERT_TRUE(wait_until([&] { return h.get("/api/state").find("23.5C") != std::string::npos; }));

  // The page polls once a second of virtual time; 20 s of it fill the chart.
  auto render = [&](int silent_after, const std::vector<std::string>& extra) {
    std::vector<std::string> argv = {chromium, "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                                     "--no-first-run", "--disable-background-networking",
                                     "--disable-component-update", "--disable-sync",
                                     "--user-data-dir=" + h.scratch.path("/chromium-profile"),
                                     "--virtual-time-budget=20000", "--dump-dom"};
    argv.insert(argv.end(), extra.begin(), extra.end());
    argv.push_back("http://127.0.0.1:" + std::to_string(h.port) + "/?silent_after=" + std::to_string(silent_after));
    std::string dom = run_process(argv).out;
    int tiles = 0;
    for (size_t at = 0; (at = dom.find("<div class=\"tile ", at)) != std::string::npos; ++at) ++tiles;
    return std::make_pair(tiles, dom);
  };

  // Live: eight tiles, outlet 2 off, no warning. The screenshot is the README's.
  std::string shot = std::string(PDUD_BINARY_DIR) + "/dashboard.png";
  std::filesystem::remove(shot);
  auto [tiles, dom] = render(600, {"--window-size=1100,860", "--screenshot=" + shot});
  EXPECT_EQ(tiles, 8) << dom;
  EXPECT_NE(dom.find("<div class=\"tile off\" data-outlet=\"2\">"), std::string::npos) << dom;
  EXPECT_NE(dom.find("Hypervisor 2"), std::string::npos);
  EXPECT_EQ(dom.find("MCU silent"), std::string::npos);
  EXPECT_GT(std::filesystem::exists(shot) ? std::filesystem::file_size(shot) : 0, 10000u);

  // The model code decides the tiles; a quiet line raises the warning.
  h.nvram_set("ZLTMerge", "ZLT2AC");
  ASSERT_TRUE(wait_until([&] {
    std::string state = h.get("/api/state");
    std::smatch m;
    return std::regex_search(state, m, std::regex("\"seconds_since_mcu_message\":([0-9.]+)")) && std::stod(m[1]) >= 1;
  }));
  std::tie(tiles, dom) = render(1, {});
  EXPECT_EQ(tiles, 2) << dom;
  EXPECT_NE(dom.find("MCU silent for "), std::string::npos) << dom;
}

// One daemon with the command port and the HTTP server: start-up clears the
// SSH list, a command client talks to the MCU, bad HTTP requests are answered
// or closed while others are served, and SIGTERM ends the daemon and removes
// the segments.
TEST(DaemonChannels, CommandClientsAndBadHttpPeersFromStartToStop) {
  HttpDaemon d;
  key_t key = channels::segment_key(d.scratch.root(), channels::kSshKey);
  auto* ssh = static_cast<channels::SshSegment*>(channels::attach_segment(key, sizeof(channels::SshSegment)));
  ASSERT_NE(ssh, nullptr);
  ssh->count = 3;
  std::strcpy(ssh->entry[0], "/var/run/stale");
  int tcp_port = free_port();
  d.nvram_set("TCPPORT", std::to_string(tcp_port));
  d.start_http("ZLT4AC", {"--tcp-server"});
  EXPECT_EQ(channels::load(ssh->count), 0);
  EXPECT_EQ(ssh->entry[0][0], '\0');
  ::shmdt(ssh);

  std::unique_ptr<Client> c;
  ASSERT_TRUE(wait_until([&] { return (c = std::make_unique<Client>(tcp_port))->connected(); }));
  EXPECT_TRUE(c->wait_for("Please Input Your Command :\r\n"));
  ASSERT_TRUE(c->send("GetPowerStatus\r\n"));
  EXPECT_TRUE(d.wait_mcu("GetPowerStatus\r\n"));
  d.mcu_send("Power Status 1.5");  // ended by '.' and silence: to the client that spoke
  EXPECT_TRUE(c->wait_for("Power Status 1.5")) << c->received;

  // A slow peer trickles its request line, a byte every half second: a request
  // has a deadline as a whole, so it is cut off all the same.
  Client slow(d.port);
  ASSERT_TRUE(slow.send("GET /metr"));
  bool cut = false;
  std::thread trickle([&] {
    for (int i = 0; i < 60 && !cut; ++i) {
      slow.send("i");
      pollfd p{slow.fd(), POLLIN, 0};
      cut = ::poll(&p, 1, 500) > 0 && slow.wait_closed();
    }
  });
  struct Case { std::string request; const char* status; } cases[] = {  // status: the status line's start
      {"\x01\x02 garbage \xff\r\n\r\n", "HTTP/1.1 400"},
      {"GET /" + std::string(20000, 'a') + " HTTP/1.1\r\n\r\n", "HTTP/1.1 414"},
      {"GET / HTTP/1.1\r\nX-Big: " + std::string(20000, 'b') + "\r\n\r\n", "HTTP/1.1 400"},
      {"POST /metrics HTTP/1.1\r\nContent-Length: 100000000\r\n\r\n" + std::string(100000, 'x'), "HTTP/1.1 405"},
      {"DELETE /api/state HTTP/1.1\r\nConnection: close\r\n\r\n", "HTTP/1.1 405"},
      {"GET /../etc/passwd HTTP/1.1\r\nConnection: close\r\n\r\n", "HTTP/1.1 404"},
  };
  std::vector<std::unique_ptr<Client>> peers;
  for (const Case& bad : cases) {
    peers.push_back(std::make_unique<Client>(d.port));
    peers.back()->send(bad.request);
  }
  for (size_t i = 0; i < peers.size(); ++i) {
    SCOPED_TRACE(cases[i].request.substr(0, 40));
    EXPECT_TRUE(peers[i]->wait_closed());
    EXPECT_EQ(peers[i]->received.rfind(cases[i].status, 0), 0u) << peers[i]->received.substr(0, 80);
    EXPECT_TRUE(peers[i]->has("Content-Type: text/plain\r\n")) << peers[i]->received;
    EXPECT_LT(peers[i]->received.size(), 400u);  // a short answer
  }
  // Meanwhile everyone else is served.
  EXPECT_NE(d.get("/metrics").find("pdu_outlets 4"), std::string::npos);
  trickle.join();
  EXPECT_TRUE(cut);
  d.mcu_send("[SUCCESS]Set Outlet 3 OFF\r\n");
  EXPECT_TRUE(wait_until([&] { return d.get("/api/state").find("\"outlet\":3,\"on\":false") != std::string::npos; }));

  EXPECT_EQ(d.stop(), 0) << d.output();
  for (int unit_key : {channels::kTelnet23Key, channels::kTelnet8000Key, channels::kSshKey})
    EXPECT_EQ(::shmget(channels::segment_key(d.scratch.root(), unit_key), 0, 0), -1) << unit_key;
}

// A GUI channel that cannot start ends the daemon with status 1 and says why
// (an unreadable certificate before the port is tried).
TEST(DaemonChannels, AGuiChannelThatCannotStartEndsTheDaemon) {
  int taken = channels::listen_tcp_or_exit(0, 1, "socket", "bind", "listen", "127.0.0.1");
  DaemonHarness d;  // its MCU line keeps the daemon reading until the GUI server fails
  const std::string port = std::to_string(channels::bound_port(taken)), missing = d.scratch.path("/no.pem");
  const struct { std::vector<std::string> options; std::string said, not_said; } cases[] = {
      {{"--ws-port", port}, "bind: Address already in use", "--ws-tls"},
      {{"--ws-port", port, "--ws-tls", missing, missing}, "pdud: --ws-tls: cannot read " + missing + ": ", "bind"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> args = {"--host", "--root", d.scratch.dir(), "--serial", d.scratch.path("/dev/mcu"),
                                     "--websocket"};
    args.insert(args.end(), c.options.begin(), c.options.end());
    ProcessResult r = run_built_program("pdud", args);
    EXPECT_EQ(r.status, 1) << c.said;
    EXPECT_NE(r.err.find(c.said), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find(c.not_said), std::string::npos) << r.err;
  }
  ::close(taken);
}

}  // namespace
