// pdu-mcu-sim: speaks the MCU's side of the serial line on a pseudo-terminal,
// so that pdud can run on a development machine without a unit.
#include <fcntl.h>
#include <getopt.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "mcu-sim/mcu_model.h"
#include "mcu-sim/transcript.h"

namespace {

volatile std::sig_atomic_t g_stop = 0;
void on_signal(int) { g_stop = 1; }

void usage(std::FILE* to) {
  std::fprintf(to,
               "usage: pdu-mcu-sim [--model MODEL] [--link PATH | --port PATH] [--no-pacing]\n"
               "                   [--events RATE] [--replay FILE] [--seed N]\n"
               "Plays the MCU on a new pseudo-terminal and prints the path pdud should open\n"
               "(pdud --serial PATH). Commands are lines ending in CR LF (or LF):\n"
               "  Set Outlet 3 OFF, Set The Relay Mode To Push_Button, ...   settings\n"
               "  GetOutletMode 3, GetVoltage, ...                           queries\n"
               "  GUISTATUS, GUISYSTIME                                      status dump, clock\n"
               "  SIM OVERLOAD 3, SIM GROUND LOST, SIM GROUND OK             faults\n"
               "  --model MODEL  %s (default ZLT8AC)\n"
               "  --link PATH    also make PATH a symbolic link to the pseudo-terminal\n"
               "  --port PATH    use this terminal (an existing line) instead of a new one\n"
               "  --no-pacing    send at full speed instead of at 115200 baud\n"
               "  --events RATE  raise RATE random events a minute (outlet changes, overloads, ground)\n"
               "  --replay FILE  send the MCU lines of FILE instead of playing the model; a line\n"
               "                 '+MS' or '+MS text' waits MS milliseconds first; a trace file of\n"
               "                 pdud --trace plays the bytes pdud read, with their pauses\n"
               "  --seed N       seed of the meters' noise and of the events (default 1)\n"
               "It ends when pdud closes the line, or on SIGTERM or SIGINT.\n",
               mcusim::Mcu::model_list());
}

struct Options {
  std::string model = "ZLT8AC", link, port, replay;
  bool pacing = true;
  double events = 0;
  unsigned seed = 1;
};

bool parse(int argc, char** argv, Options& o, int* status) {
  enum { kModel = 1, kLink, kPort, kNoPacing, kEvents, kReplay, kSeed, kHelp };
  static const option longopts[] = {
      {"model", required_argument, nullptr, kModel},   {"link", required_argument, nullptr, kLink},
      {"port", required_argument, nullptr, kPort},     {"no-pacing", no_argument, nullptr, kNoPacing},
      {"events", required_argument, nullptr, kEvents}, {"replay", required_argument, nullptr, kReplay},
      {"seed", required_argument, nullptr, kSeed},     {"help", no_argument, nullptr, kHelp},
      {nullptr, 0, nullptr, 0}};
  int c;
  char* end = nullptr;
  *status = 2;
  while ((c = getopt_long(argc, argv, "", longopts, nullptr)) != -1) {
    switch (c) {
      case kModel:
        o.model = optarg;
        if (!mcusim::Mcu::valid_model(o.model)) {
          std::fprintf(stderr, "pdu-mcu-sim: unknown model '%s' (one of %s)\n", optarg, mcusim::Mcu::model_list());
          return false;
        }
        break;
      case kLink: o.link = optarg; break;
      case kPort: o.port = optarg; break;
      case kNoPacing: o.pacing = false; break;
      case kEvents:
        o.events = std::strtod(optarg, &end);
        if (*end || !(o.events >= 0 && o.events <= 6000)) {
          std::fprintf(stderr, "pdu-mcu-sim: --events wants events a minute (0 to 6000), not '%s'\n", optarg);
          return false;
        }
        break;
      case kReplay: o.replay = optarg; break;
      case kSeed: o.seed = static_cast<unsigned>(std::strtoul(optarg, nullptr, 10)); break;
      case kHelp: usage(stdout); *status = 0; return false;
      default: usage(stderr); return false;
    }
  }
  if (optind < argc) {
    std::fprintf(stderr, "pdu-mcu-sim: unexpected argument '%s'\n", argv[optind]);
    return false;
  }
  if (!o.link.empty() && !o.port.empty()) {
    std::fprintf(stderr, "pdu-mcu-sim: --link and --port exclude each other\n");
    return false;
  }
  return true;
}

// Raw 8N1 at 115200 baud: nothing is echoed or translated.
bool make_raw(int fd) {
  termios t{};
  if (tcgetattr(fd, &t) != 0) return false;
  cfmakeraw(&t);
  cfsetspeed(&t, B115200);
  return tcsetattr(fd, TCSANOW, &t) == 0;
}

// A new pseudo-terminal; its far end starts raw, so nothing is echoed back
// before pdud sets the line up itself.
int open_pty(std::string& path) {
  int fd = posix_openpt(O_RDWR | O_NOCTTY);
  if (fd < 0 || grantpt(fd) != 0 || unlockpt(fd) != 0 || !ptsname(fd)) return -1;
  path = ptsname(fd);
  int far = open(path.c_str(), O_RDWR | O_NOCTTY);
  if (far < 0 || !make_raw(far)) return -1;
  close(far);
  return fd;
}

class Line {
 public:
  Line(int fd, bool pacing) : fd_(fd), pacing_(pacing) {}

  // Sends the lines with CR LF, at 115200 baud (10 bits a byte) unless unpaced.
  bool send(const mcusim::Lines& lines, const std::string& tag = "") {
    for (const std::string& l : lines) {
      std::printf("mcu> %s\n", l.c_str());
      const std::string bytes = l + tag + "\r\n";
      for (size_t done = 0; done < bytes.size();) {
        ssize_t n = write(fd_, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR && !g_stop) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
      }
      if (pacing_) std::this_thread::sleep_for(std::chrono::microseconds(bytes.size() * 1000000 / 11520));
    }
    std::fflush(stdout);
    return true;
  }

 private:
  int fd_;
  bool pacing_;
};

}  // namespace

int main(int argc, char** argv) {
  Options o;
  int status = 0;
  if (!parse(argc, argv, o, &status)) return status;

  mcusim::Transcript replay;
  std::ifstream replay_file;
  if (!o.replay.empty()) replay_file.open(o.replay);
  if (!o.replay.empty() && !replay_file) {
    std::fprintf(stderr, "pdu-mcu-sim: cannot read replay file '%s': %s\n", o.replay.c_str(), std::strerror(errno));
    return 2;
  }
  if (replay_file.is_open()) replay = mcusim::read_transcript(replay_file);

  struct sigaction sa{};
  sa.sa_handler = on_signal;
  sigaction(SIGTERM, &sa, nullptr);
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGHUP, &sa, nullptr);
  signal(SIGPIPE, SIG_IGN);

  std::string path = o.port;
  int fd = o.port.empty() ? open_pty(path) : open(o.port.c_str(), O_RDWR | O_NOCTTY);
  if (fd >= 0 && !o.port.empty() && isatty(fd) && !make_raw(fd)) fd = -1;
  if (fd < 0) {
    std::fprintf(stderr, "pdu-mcu-sim: cannot open %s: %s\n", o.port.empty() ? "a pseudo-terminal" : o.port.c_str(),
                 std::strerror(errno));
    return 1;
  }
  if (!o.link.empty()) {
    unlink(o.link.c_str());
    if (symlink(path.c_str(), o.link.c_str()) != 0) {
      std::fprintf(stderr, "pdu-mcu-sim: cannot link %s: %s\n", o.link.c_str(), std::strerror(errno));
      return 1;
    }
  }
  std::printf("pdu-mcu-sim: %s on %s\n", o.replay.empty() ? o.model.c_str() : o.replay.c_str(), path.c_str());
  std::fflush(stdout);

  mcusim::Mcu mcu(o.model, o.seed);
  Line line(fd, o.pacing);
  std::mt19937 rng(o.seed);
  std::exponential_distribution<double> gap(o.events > 0 ? o.events / 60.0 : 1.0);
  using Clock = std::chrono::steady_clock;
  auto last = Clock::now();
  auto next_event = last + std::chrono::milliseconds(static_cast<long>(gap(rng) * 1000));
  auto next_replay = last;
  size_t replayed = 0;
  bool connected = !o.port.empty(), done = false;
  std::string input;
  bool overlong = false;
  int rc = 0;

  while (!g_stop && !done) {
    pollfd p{fd, POLLIN, 0};
    int n = poll(&p, 1, 50);
    if (n < 0 && errno != EINTR) break;
    // A pseudo-terminal hangs up while nobody has its far end open: wait
    // for pdud to open it, and end when it closes it again.
    if (n > 0 && (p.revents & POLLHUP) && !(p.revents & POLLIN)) {
      if (connected) break;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      continue;
    }
    if (!connected && !replay.empty()) next_replay = Clock::now() + std::chrono::milliseconds(replay[0].first);
    connected = true;
    if (n > 0 && (p.revents & POLLIN)) {
      char buf[512];
      ssize_t got = read(fd, buf, sizeof buf);
      if (got <= 0) {
        if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        break;  // the peer went away
      }
      input.append(buf, static_cast<size_t>(got));
      for (size_t eol; (eol = input.find('\n')) != std::string::npos;) {
        std::string cmd = input.substr(0, eol);
        input.erase(0, eol + 1);
        if (overlong) {  // the end of a line too long to be a command
          overlong = false;
          continue;
        }
        while (!cmd.empty() && (cmd.back() == '\r' || cmd.back() == ' ')) cmd.pop_back();
        // The telnet passthrough tags its commands; the MCU echoes the tag back.
        std::string tag;
        size_t t = cmd.find("  telnet23");
        if (t != std::string::npos) {
          tag = cmd.substr(t);
          cmd.erase(t);
        }
        if (cmd.empty()) continue;
        std::printf("mcu< %s\n", cmd.c_str());
        if (o.replay.empty() && !line.send(mcu.handle(cmd), tag)) done = true;
      }
      if (input.size() > 4096) {  // no line end in sight: not a command
        input.clear();
        overlong = true;
      }
    }
    const auto now = Clock::now();
    mcu.tick(std::chrono::duration<double>(now - last).count());
    last = now;
    if (!o.replay.empty()) {
      while (replayed < replay.size() && now >= next_replay) {
        if (!replay[replayed].second.empty() && !line.send({replay[replayed].second})) done = true;
        if (++replayed < replay.size()) next_replay = now + std::chrono::milliseconds(replay[replayed].first);
        else std::fprintf(stderr, "pdu-mcu-sim: replay done\n");
      }
    } else if (o.events > 0 && now >= next_event) {
      if (!line.send(mcu.random_event())) done = true;
      next_event = now + std::chrono::milliseconds(static_cast<long>(gap(rng) * 1000) + 1);
    }
  }
  if (!o.link.empty()) unlink(o.link.c_str());
  close(fd);
  return rc;
}
