// The real daemon behind a pseudo-terminal, as the MCU line sees it:
// latency from the last byte of a confirmation to its line in the settings
// file (p50/p99), and the resident set after start, 10 000 and 100 000
// messages. The stream is batches of nine status-dump rows (every other pass
// over the dump switches the outlets, so rows change values) and one
// confirmation.
//
//   pdud_pty_bench PDUD_BINARY DUMP_FILE [BATCHES [steady]]
// (10 000 batches of 10 messages; "steady": the dump rows never change values,
// so only the confirmations write the file)
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

void die(const std::string& what) {
  std::fprintf(stderr, "pdud_pty_bench: %s: %s\n", what.c_str(), std::strerror(errno));
  std::exit(1);
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

long rss_kib(pid_t pid) {
  std::ifstream in("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(in, line);)
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  return -1;
}

void write_all(int fd, const std::string& s) {
  size_t done = 0;
  while (done < s.size()) {
    ssize_t n = ::write(fd, s.data() + done, s.size() - done);
    if (n < 0) {
      if (errno == EINTR || errno == EAGAIN) continue;
      die("write to the line");
    }
    done += static_cast<size_t>(n);
  }
}

std::vector<std::string> dump(const std::string& path, bool swapped) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    if (swapped) {
      std::istringstream words(line);
      std::string w, out;
      while (words >> w) out += (out.empty() ? "" : " ") + (w == "ON" ? "OFF" : w == "OFF" ? "ON" : w);
      line = out;
    }
    lines.push_back(line + "\r\n");
  }
  return lines;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3 || argc > 5) {
    std::fprintf(stderr, "usage: pdud_pty_bench PDUD_BINARY DUMP_FILE [BATCHES [steady]]\n");
    return 2;
  }
  const bool steady = argc > 4 && std::strcmp(argv[4], "steady") == 0;
  const std::vector<std::string> dumps[2] = {dump(argv[2], false), dump(argv[2], !steady)};
  if (dumps[0].empty()) die("no dump in " + std::string(argv[2]));

  // The scratch root's file system decides what an fsync costs: TMPDIR picks it.
  const char* parent = std::getenv("TMPDIR");
  std::string tmpl = std::string(parent && *parent ? parent : "/tmp") + "/pdud-pty-bench-XXXXXX";
  if (!::mkdtemp(tmpl.data())) die("mkdtemp");
  const std::string root = tmpl;
  fs::create_directories(root + "/user");
  fs::create_directories(root + "/dev");
  fs::create_directories(root + "/var/lib/nvram/buffer");
  std::ofstream(root + "/user/argument.text") << "HostName=pdu\nwan_dhcp_hn=pdu\nTitleLabel=pdu\n";
  std::ofstream(root + "/var/lib/nvram/buffer/ZLTMerge") << "ZLT8AC";

  int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (master < 0 || ::grantpt(master) != 0 || ::unlockpt(master) != 0) die("pseudo-terminal");
  const char* slave = ::ptsname(master);
  int s = ::open(slave, O_RDWR | O_NOCTTY);
  termios t;
  ::tcgetattr(s, &t);
  ::cfmakeraw(&t);
  ::tcsetattr(s, TCSANOW, &t);
  ::close(s);
  if (::symlink(slave, (root + "/dev/mcu").c_str()) != 0) die("symlink");

  // What the daemon writes to the MCU is read and dropped; its output goes to a file.
  std::thread([master] {
    char buf[4096];
    while (::read(master, buf, sizeof buf) > 0) {
    }
  }).detach();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, (root + "/out.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  std::vector<std::string> args = {argv[1], "--host", "--root", root, "--serial", root + "/dev/mcu",
                                   "--settle-ms", "0"};
  std::vector<char*> cargs;
  for (auto& a : args) cargs.push_back(a.data());
  cargs.push_back(nullptr);
  pid_t pid;
  if (posix_spawn(&pid, argv[1], &actions, nullptr, cargs.data(), environ) != 0) die("spawn pdud");
  auto started = Clock::now();
  while (read_file(root + "/out.log").find("pdud: reading the MCU line") == std::string::npos) {
    if (Clock::now() - started > std::chrono::seconds(20)) die("pdud did not start");
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  const long rss_start = rss_kib(pid);

  int in = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  if (in < 0 || ::inotify_add_watch(in, (root + "/user").c_str(), IN_MOVED_TO | IN_CLOSE_WRITE) < 0)
    die("inotify");
  const std::string settings = root + "/user/argument.text";

  std::vector<double> latency_ms;
  long rss_10k = -1;
  size_t row = 0;
  const int kBatches = argc > 3 ? std::atoi(argv[3]) : 10000;
  for (int b = 1; b <= kBatches; ++b) {
    std::string batch;
    for (int k = 0; k < 9; ++k, ++row) {
      const auto& d = dumps[(row / dumps[0].size()) % 2];
      batch += d[row % d.size()];
    }
    const std::string value = "Lab" + std::to_string(b);
    batch += "[SUCCESS]Set Device Name To " + value + "\r\n";
    const std::string want = "TitleLabel=" + value + "\n";
    write_all(master, batch);
    auto t0 = Clock::now();
    for (;;) {
      if (read_file(settings).find(want) != std::string::npos) break;
      pollfd p{in, POLLIN, 0};
      if (::poll(&p, 1, 5000) <= 0) die("no settings line for " + value);
      char ev[4096];
      while (::read(in, ev, sizeof ev) > 0) {
      }
    }
    latency_ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
    if (b == 1000) rss_10k = rss_kib(pid);
  }
  const long rss_100k = rss_kib(pid);
  ::kill(pid, SIGTERM);
  ::waitpid(pid, nullptr, 0);

  std::sort(latency_ms.begin(), latency_ms.end());
  auto pct = [&](double p) { return latency_ms[static_cast<size_t>(p * (latency_ms.size() - 1))]; };
  std::printf("latency over %zu confirmations (last byte -> line in the settings file): "
              "p50 %.3f ms, p99 %.3f ms, max %.3f ms\n",
              latency_ms.size(), pct(0.50), pct(0.99), latency_ms.back());
  std::printf("resident set: after start %ld KiB, after 10000 messages %ld KiB, after 100000 messages %ld KiB\n",
              rss_start, rss_10k, rss_100k);
  std::error_code ec;
  fs::remove_all(root, ec);
  return 0;
}
