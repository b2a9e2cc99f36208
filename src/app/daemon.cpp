#include "app/daemon.h"

#include <fcntl.h>
#include <cerrno>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#include "board/board.h"
#include "channels/channels.h"
#include "channels/fd_passing.h"
#include "channels/http_server.h"
#include "channels/forwarding.h"
#include "channels/segments.h"
#include "channels/tls.h"
#include "channels/tcp_server.h"
#include "channels/websocket_server.h"
#include "board/recording.h"
#include "board/serial_port.h"
#include "board/trace_file.h"
#include "core/serial_reader.h"
#include "core/state.h"
#include "core/task_queue.h"
#include "interpreter/common/context.h"
#include "interpreter/dispatcher.h"
#include "system/factory_reset.h"
#include "system/netinit.h"
#include "util/net.h"

namespace app {

namespace {

constexpr const char* kPidFile = "/var/run/readuart.pid";

// The signal handlers only record the signal in a pipe; the signal thread
// does the work.
int signal_pipe[2] = {-1, -1};

extern "C" void record_signal(int signo) {
  int saved = errno;
  unsigned char s = static_cast<unsigned char>(signo);
  ssize_t ignored = ::write(signal_pipe[1], &s, 1);
  (void)ignored;
  errno = saved;
}

void install(int signo) {
  struct sigaction sa {};
  sa.sa_handler = record_signal;
  sigemptyset(&sa.sa_mask);
  sa.sa_flags = SA_RESTART;
  ::sigaction(signo, &sa, nullptr);
}

// The channel servers run until the daemon returns; then they are stopped
// and joined before the objects they use go away.
struct ServerThreads {
  explicit ServerThreads(channels::Channels& c) : ch(c) {}
  ~ServerThreads() {
    ch.stop();
    for (std::thread& t : threads)
      if (t.joinable()) t.join();
  }
  channels::Channels& ch;
  std::vector<std::thread> threads;
};

// SIGUSR1/SIGUSR2 (and in host mode SIGTERM/SIGINT) are recorded by the
// handler and acted on by a thread of their own: netinit for the first two,
// a clean exit that leaves no segment and no pid file for the others.
// The LAN options of the command port and the GUI channel. False (after one
// line on standard error) when the TLS files cannot be used.
bool apply_network_options(const Options& o, channels::NetworkPolicy& policy) {
  policy.tcp_bind = o.tcp_bind;
  policy.ws_bind = o.ws_bind;
  policy.ws_allow_origins = o.ws_allow_origins;
  // Tests shorten the keepalive on a development machine: "IDLE,INTERVAL,COUNT".
  const char* keepalive = o.host ? std::getenv("PDUD_KEEPALIVE") : nullptr;
  if (keepalive && !channels::parse_keepalive(keepalive, policy.keepalive))
    std::fprintf(stderr, "pdud: PDUD_KEEPALIVE wants IDLE,INTERVAL,COUNT, not '%s'; the default stays\n", keepalive);
  if (o.ws_tls_cert.empty()) return true;
  std::string error;
  policy.ws_tls = channels::TlsContext::load(o.ws_tls_cert, o.ws_tls_key, &error);
  if (!policy.ws_tls) std::fprintf(stderr, "pdud: --ws-tls: %s\n", error.c_str());
  return policy.ws_tls != nullptr;
}

bool start_signal_thread(board::Board& board, channels::Segments& segments, bool host) {
  if (::pipe2(signal_pipe, O_CLOEXEC) != 0) return false;
  install(SIGUSR1);
  install(SIGUSR2);
  if (host) {
    install(SIGTERM);
    install(SIGINT);
  }
  std::thread([&board, &segments] {
    for (;;) {
      unsigned char s;
      ssize_t n = ::read(signal_pipe[0], &s, 1);
      if (n < 0 && errno == EINTR) continue;
      if (n != 1) return;
      if (s == SIGUSR1 || s == SIGUSR2) {
        system_actions::netinit(board, s);
        continue;
      }
      segments.remove();
      board.files.remove(kPidFile);
      std::fflush(stdout);
      ::_exit(0);
    }
  }).detach();
  return true;
}

std::unique_ptr<board::Nvram> make_nvram(const Options& o, const board::Root& root) {
  if (o.host) return std::make_unique<board::HostNvram>(root);
#ifdef PDUD_BOARD_NVRAM
  return board::make_board_nvram();
#else
  return nullptr;
#endif
}

}  // namespace

int writeGoPid(const board::Files& files) {
  return files.replace(kPidFile, std::to_string(::getpid())) ? 0 : -1;
}

std::string valid_port(const std::optional<std::string>& text) {
  if (!text || text->size() >= 7) return "4001";
  for (char c : *text)
    if (c < '0' || c > '9') return "4001";
  return *text;
}

int run_daemon(const Options& o) {
  board::Root root(o.root);
  board::Files files(root);
  board::SettingsFile settings(files);
  std::unique_ptr<board::Nvram> nvram = make_nvram(o, root);
  if (!nvram) {
    std::fprintf(stderr, "pdud: this build has no board nvram library; use --host --root DIR\n");
    return 2;
  }
  // The MCU trace, only when asked for: the worker's nvram sets are noted so
  // that each message's line can name the keys it changed.
  std::unique_ptr<board::TraceFile> trace;
  std::unique_ptr<board::KeyNotingNvram> noting;
  if (!o.trace.empty()) {
    trace = std::make_unique<board::TraceFile>(o.trace);
    if (!trace->ok()) {
      std::fprintf(stderr, "pdud: cannot open the trace file %s\n", o.trace.c_str());
      return 1;
    }
    noting = std::make_unique<board::KeyNotingNvram>(*nvram);
  }
  std::unique_ptr<board::CommandRunner> runner;
  if (o.host)
    runner = std::make_unique<board::JournalRunner>(root);
  else
    runner = std::make_unique<board::SystemRunner>();
  // A board program sees every settings change made before it.
  board::SettingsFlushingRunner flushing(*runner, settings);
  board::SystemClock clock;
  board::SerialMcuLine mcu;
  if (trace) {
    mcu.observer = [&trace](const char* data, size_t n) {
      trace->line("tx", board::TraceFile::quoted(std::string_view(data, n)));
    };
  }
  board::Nvram& board_nvram = noting ? static_cast<board::Nvram&>(*noting) : *nvram;
  board::Board board{files, board_nvram, settings, flushing, clock, mcu, stdout};
  // What replacements interrupted by a crash left behind.
  for (const char* dir : {"/user", "/var/run"}) files.remove_temporaries(dir);
  // The host nvram is shared with pdu-nvram processes that may be writing now.
  if (o.host) files.remove_temporaries("/var/lib/nvram/buffer", 60);

  core::SharedState state;
  interp::Context ctx(board, state);

  // The start-up keys.
  state.MachineType = nvram->get("MachineType");
  std::optional<std::string> tcp_port = nvram->get("TCPPORT");
  std::optional<std::string> telnet_port = nvram->get("TELNETPORT");
  nvram->get("Telnetradio");
  nvram->get("mqttBrokerpayloadid");
  nvram->set("uart_shell", "zzzzz");
  nvram->set("CheckWriteType", "0");
  nvram->set("SystemWaiting", "0");

  // The task queue and its worker.
  // One settings transaction per message: the file is written once, at its end.
  core::ThreadPool pool(state, [&ctx, &settings, &trace, &noting](char* message) {
    board::SettingsFile::Transaction transaction(settings);
    interp::MachineCommunication_RV470(ctx, message);
    if (trace) {
      std::string keys;
      for (const std::string& key : noting->take_keys()) keys += " " + key;
      trace->line("row", interp::taken_by(ctx) + " keys:" + keys);
    }
  });
  if (!pool.start()) return 1;

  // The command ports; the telnet port falls back to the command port's default.
  std::string tcp = valid_port(tcp_port);
  std::string telnet = valid_port(telnet_port);
  (void)telnet;

  // The passthrough and SSH session segments (the SSH list cleared) and the two
  // descriptor-passing servers. In host mode the segments belong to this root.
  std::unique_ptr<channels::Segments> segments = channels::Segments::open(root, o.host);
  if (!segments) return 1;
  channels::Channels ch(board, state, *segments);
  ch.macaddr = [](const char* ifname) {
    const char* mac = util::get_macaddr(ifname);
    return std::string(mac ? mac : "");
  };
  if (!apply_network_options(o, ch.policy)) return 1;
  // Host mode only: a small send buffer for accepted command and GUI sockets,
  // to see on a development machine how a small board's peers behave.
  if (o.host)
    if (const char* size = std::getenv("PDUD_HOST_SNDBUF")) ch.accepted_sndbuf.store(std::atoi(size));
  ServerThreads servers(ch);
  try {
    for (std::thread& t : channels::start_descriptor_servers(ch)) servers.threads.push_back(std::move(t));
  } catch (const std::system_error&) {
    std::printf("Create thread error!\n");
    return 1;
  }
  channels::ChannelOutput output(ch);

  // The command port and the GUI channel run only when asked for.
  unsigned long tcp_tid = 0;
  try {
    if (o.tcp_server) {
      servers.threads.push_back(channels::start_tcp_server(ch, tcp));
      tcp_tid = static_cast<unsigned long>(servers.threads.back().native_handle());
    }
    if (o.websocket) servers.threads.push_back(channels::start_websocket_server(ch, o.ws_port));
    channels::HttpAddress http;
    if (!o.http.empty() && channels::parse_http_address(o.http, o.host, http)) {
      std::thread t = channels::start_http_server(ch, http);
      if (!t.joinable()) return 1;
      servers.threads.push_back(std::move(t));
    }
  } catch (const std::system_error&) {
    std::printf("Create thread error!\n");
    return 1;
  }

  std::printf("TID in pthread_create function: %lu.\n", tcp_tid);
  std::printf("Main process: PID: %d,TID: %lu.\n", static_cast<int>(::getpid()),
              static_cast<unsigned long>(::pthread_self()));

  if (writeGoPid(files) != 0) return 255;

  if (!start_signal_thread(board, *segments, o.host)) return 1;

  // The MCU line; the reader runs on this thread for the life of the process.
  int fd = board::open_port(o.serial, "ttyS0", stdout);
  if (fd < 0) {
    std::perror("open_port error");
    return 0;
  }
  if (board::set_opt(fd, 115200, 8, 'N', 1, stdout) < 0) {
    std::perror("set_opt error");
    return 0;
  }
  mcu.set_fd(fd);
  clock.sleep_ms(o.settle_ms);
  board::flush_input(fd);
  if (o.host) std::printf("pdud: reading the MCU line %s\n", o.serial.c_str());

  core::SerialReader reader(board, state, pool, output);
  // The MCU's reset announcement restores the factory settings before the
  // message is queued.
  reader.on_reset_announcement = [&board] { system_actions::factory_reset(board); };
  if (trace) {
    reader.on_bytes = [&trace](const char* data, size_t n) {
      trace->line("rx", board::TraceFile::quoted(std::string_view(data, n)));
    };
  }
  board::SerialSource source(fd);
  std::atomic<bool> stop{false};
  reader.run(source, stop, [&]() {
    int again = board::reopen_port(o.serial, stdout);
    if (again < 0) return false;
    board::close_port(source.fd());
    source.set_fd(again);
    mcu.set_fd(again);
    return true;
  });
  board::close_port(source.fd());
  return 0;
}

}  // namespace app
