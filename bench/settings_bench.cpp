// The settings store under a status dump, per model: pdud's transactions
// against the real settings file in a scratch root (nvram in memory), side by
// side with the historical form replaying the same key changes through
// /bin/sh (one `sed -i` and one `echo >>` per change).
//
//   pdud_bench [google benchmark flags]   the timings and a summary table
//   pdud_bench --instructions MODEL N     N steady dumps with callgrind's
//                                         instrumentation on (run under valgrind)
#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <time.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "board/board.h"
#include "core/state.h"
#include "interpreter/common/context.h"
#include "interpreter/dispatcher.h"

namespace {

const char* const kModels[] = {"ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT2AC", "ZLT8DC"};

class MemoryNvram : public board::Nvram {
 public:
  // Looked up by the view itself (the map's comparison is transparent): no
  // copy of the key, and a held value is overwritten in place.
  std::optional<std::string> get(std::string_view key) override {
    auto it = values.find(key);
    if (it == values.end()) return std::nullopt;
    return it->second;
  }
  void set(std::string_view key, std::string_view value) override {
    auto it = values.find(key);
    if (it == values.end())
      values.emplace(key, value);
    else
      it->second.assign(value);
  }
  void commit() override {}
  std::map<std::string, std::string, std::less<>> values;
};

class NoPrograms : public board::CommandRunner {
 public:
  int run(const std::string&) override { return 0; }
  int spawn(const std::vector<std::string>&) override { return 0; }
  board::Capture capture(const std::vector<std::string>&) override { return {}; }
};

class NoSleep : public board::Clock {
 public:
  void sleep_ms(long) override {}
};

class NoLine : public board::McuLine {
 public:
  ssize_t write(const char*, size_t n) override { return static_cast<ssize_t>(n); }
};

std::vector<std::string> dump_lines(const std::string& model) {
  std::ifstream in(std::string(PDUD_DUMP_DATA) + "/" + model + ".dump");
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  if (lines.empty()) {
    std::fprintf(stderr, "no dump for %s in %s\n", model.c_str(), PDUD_DUMP_DATA);
    std::exit(2);
  }
  return lines;
}

size_t line_bytes(const std::vector<std::string>& lines) {
  size_t n = 0;
  for (const auto& l : lines) n += l.size() + 2;  // CR LF
  return n;
}

// A settings file of a unit's size: 3 identity keys and 200 keys of the web
// pages that no dump touches (about 4 KiB).
std::string initial_settings() {
  std::string text = "HostName=pdu\nwan_dhcp_hn=pdu\nTitleLabel=pdu\n";
  char line[64];
  for (int k = 1; k <= 200; ++k) {
    std::snprintf(line, sizeof line, "WebSetting%03d=value of setting %03d\n", k, k);
    text += line;
  }
  return text;
}

// The daemon's worker with the board of a scratch root.
struct Rig {
  explicit Rig(const std::string& model)
      : dir(make_dir()), root(dir), files(root), settings(files), flushing(programs, settings),
        out(std::fopen("/dev/null", "w")),
        ctx(board::Board{files, nvram, settings, flushing, clock, mcu, out}, state), model_(model) {
    reset();
  }
  ~Rig() {
    std::fclose(out);
    std::error_code ec;
    std::filesystem::remove_all(dir, ec);
  }
  static std::string make_dir() {
    char tmpl[] = "/tmp/pdud-bench-XXXXXX";
    if (!::mkdtemp(tmpl)) std::abort();
    return tmpl;
  }
  void reset() {
    static const std::string initial = initial_settings();
    board::replace_file(root.path(board::kSettingsPath), initial, board::Sync::atomic);
    nvram.values.clear();
    nvram.values["ZLTMerge"] = model_;
    state.CheckStatusMode = 0;
  }
  void feed(const std::string& line) {
    std::strncpy(buf, line.c_str(), sizeof buf - 1);
    board::SettingsFile::Transaction message(settings);
    interp::MachineCommunication_RV470(ctx, buf);
  }
  void feed(const std::vector<std::string>& lines) {
    for (const auto& l : lines) feed(l);
  }

  std::string dir;
  board::Root root;
  board::Files files;
  board::SettingsFile settings;
  MemoryNvram nvram;
  NoPrograms programs;
  board::SettingsFlushingRunner flushing;
  NoSleep clock;
  NoLine mcu;
  std::FILE* out;
  core::SharedState state;
  interp::Context ctx;
  char buf[4500] = {};
  std::string model_;
};

// Time of the calling thread on a CPU: on a loaded machine the wall time
// also counts the time other programs had the CPU.
double cpu_now() {
  timespec t;
  ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

struct Figures {
  double cpu_per_dump = 0;
  double seconds_per_dump = 0;
  double replacements_per_dump = 0;
  double fsyncs_per_dump = 0;
  size_t messages = 0;
  size_t bytes = 0;
};
std::map<std::string, Figures> results;  // "MODEL/form"

void record(const std::string& name, double seconds, double cpu, size_t dumps, uint64_t replacements,
            uint64_t fsyncs, const std::vector<std::string>& lines, benchmark::State& state) {
  Figures f;
  f.seconds_per_dump = seconds / static_cast<double>(dumps);
  f.cpu_per_dump = cpu / static_cast<double>(dumps);
  f.replacements_per_dump = static_cast<double>(replacements) / static_cast<double>(dumps);
  f.fsyncs_per_dump = static_cast<double>(fsyncs) / static_cast<double>(dumps);
  f.messages = lines.size();
  f.bytes = line_bytes(lines);
  results[name] = f;
  state.counters["replacements/dump"] = f.replacements_per_dump;
  state.counters["fsyncs/dump"] = f.fsyncs_per_dump;
  state.counters["replacements/msg"] = f.replacements_per_dump / static_cast<double>(lines.size());
  state.counters["line_fraction"] = f.seconds_per_dump / (static_cast<double>(f.bytes) * 10.0 / 115200.0);
}

using Clock = std::chrono::steady_clock;

void BM_FirstDump(benchmark::State& state, std::string model) {
  const auto lines = dump_lines(model);
  Rig rig(model);
  double seconds = 0, cpu = 0;
  size_t dumps = 0;
  uint64_t rep = 0, fs = 0;
  for (auto _ : state) {
    state.PauseTiming();
    rig.reset();
    uint64_t r0 = rig.files.replacement_count(), f0 = rig.files.fsync_count();
    state.ResumeTiming();
    auto t0 = Clock::now();
    double c0 = cpu_now();
    rig.feed(lines);
    cpu += cpu_now() - c0;
    seconds += std::chrono::duration<double>(Clock::now() - t0).count();
    ++dumps;
    rep += rig.files.replacement_count() - r0;
    fs += rig.files.fsync_count() - f0;
  }
  record(model + "/first", seconds, cpu, dumps, rep, fs, lines, state);
}

void BM_SteadyDump(benchmark::State& state, std::string model) {
  const auto lines = dump_lines(model);
  Rig rig(model);
  rig.feed(lines);
  double seconds = 0, cpu = 0;
  size_t dumps = 0;
  uint64_t r0 = rig.files.replacement_count(), f0 = rig.files.fsync_count();
  for (auto _ : state) {
    auto t0 = Clock::now();
    double c0 = cpu_now();
    rig.feed(lines);
    cpu += cpu_now() - c0;
    seconds += std::chrono::duration<double>(Clock::now() - t0).count();
    ++dumps;
  }
  record(model + "/steady", seconds, cpu, dumps, rig.files.replacement_count() - r0,
         rig.files.fsync_count() - f0, lines, state);
}

// The historical form: every key change the daemon made in a dump, replayed
// as the unit's two shell commands.
void BM_HistoricalDump(benchmark::State& state, std::string model) {
  const auto lines = dump_lines(model);
  Rig rig(model);
  std::vector<board::SettingsChange> changes;
  rig.settings.observe([&](const board::SettingsChange& c) { changes.push_back(c); });
  rig.feed(lines);
  rig.settings.observe(nullptr);
  const std::string file = rig.root.path(board::kSettingsPath);
  std::vector<std::string> commands;
  for (const auto& c : changes) {
    if (!c.pattern.empty())
      commands.push_back("sed -i '/" + std::string(c.anchored ? "^" : "") + c.pattern + "=/d' " + file);
    if (!c.key.empty()) commands.push_back("echo '" + c.key + "=" + c.value + "' >> " + file);
  }
  double seconds = 0, cpu = 0;
  size_t dumps = 0;
  for (auto _ : state) {
    auto t0 = Clock::now();
    for (const auto& cmd : commands) {
      int rc = std::system(cmd.c_str());
      benchmark::DoNotOptimize(rc);
    }
    seconds += std::chrono::duration<double>(Clock::now() - t0).count();
    ++dumps;
  }
  state.counters["shell_commands/dump"] = static_cast<double>(commands.size());
  cpu = seconds;  // the shells' time is wall time
  record(model + "/historical", seconds, cpu, dumps, 0, 0, lines, state);
  results[model + "/historical"].replacements_per_dump = static_cast<double>(changes.size());
}

void print_summary() {
  std::printf("\nSummary per dump: wall time (thread CPU time), replacements and fsyncs of the settings\n"
              "file, the wall time as a share of the dump's time on the line (115200 baud, 10 bits per\n"
              "byte), and the historical form's wall time and its ratio to pdud's.\n");
  std::printf("%-8s %4s %5s | %-18s %4s %5s %8s | %-15s %4s %5s %8s | %10s %6s %7s\n", "model", "msgs",
              "bytes", "first us (cpu)", "repl", "fsync", "of line", "steady us (cpu)", "repl", "fsync",
              "of line", "histor. us", "x first", "x steady");
  for (const char* m : kModels) {
    const std::string model = m;
    if (!results.count(model + "/steady")) continue;
    const Figures& f = results[model + "/first"];
    const Figures& s = results[model + "/steady"];
    const Figures& h = results[model + "/historical"];
    const double line = static_cast<double>(s.bytes) * 10.0 / 115200.0;
    char first[32], steady[32];
    std::snprintf(first, sizeof first, "%.0f (%.0f)", f.seconds_per_dump * 1e6, f.cpu_per_dump * 1e6);
    std::snprintf(steady, sizeof steady, "%.0f (%.0f)", s.seconds_per_dump * 1e6, s.cpu_per_dump * 1e6);
    std::printf("%-8s %4zu %5zu | %-18s %4.0f %5.0f %7.3f%% | %-15s %4.0f %5.0f %7.3f%% | %10.0f %6.1f %7.0f\n",
                m, s.messages, s.bytes, first, f.replacements_per_dump, f.fsyncs_per_dump,
                100 * f.seconds_per_dump / line, steady, s.replacements_per_dump, s.fsyncs_per_dump,
                100 * s.seconds_per_dump / line, h.seconds_per_dump * 1e6,
                h.seconds_per_dump > 0 ? h.seconds_per_dump / f.seconds_per_dump : 0.0,
                h.seconds_per_dump > 0 ? h.seconds_per_dump / s.seconds_per_dump : 0.0);
  }
  std::printf("(a model whose dump changes no setting has no historical commands: ratio 0)\n");
}

int instructions(const std::string& model, int dumps) {
  const auto lines = dump_lines(model);
  Rig rig(model);
  rig.feed(lines);
  rig.feed(lines);
  CALLGRIND_START_INSTRUMENTATION;
  for (int i = 0; i < dumps; ++i) rig.feed(lines);
  CALLGRIND_STOP_INSTRUMENTATION;
  std::printf("messages %zu\n", lines.size() * static_cast<size_t>(dumps));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::strcmp(argv[1], "--instructions") == 0) return instructions(argv[2], std::atoi(argv[3]));
  for (const char* m : kModels) {
    benchmark::RegisterBenchmark((std::string("FirstDump/") + m).c_str(), BM_FirstDump, m)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((std::string("SteadyDump/") + m).c_str(), BM_SteadyDump, m)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark((std::string("HistoricalDump/") + m).c_str(), BM_HistoricalDump, m)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(3);
  }
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  print_summary();
  return 0;
}
