// The whole interpreter on a scratch root. The first byte picks the model code
// and the armed status table; the rest is one or more MCU messages separated
// by NUL (the reader never queues a message holding one). Afterwards the
// settings file must still be one key=value per line, the board may only have
// run its fixed command lines (MCU text only as an argument of a fixed form),
// and only fixed lines may have gone to the MCU.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "interpreter/dispatcher.h"
#include "support/fakes.h"
#include "support/scratch_root.h"

namespace {

using namespace testing_support;

const std::set<std::string> kFixedLines = {
    "killall -9 udhcpc 2>/dev/null", "killall -9 odhcp6c 2>/dev/null",
    "killall -9 mDNSResponder 2>/dev/null", "/sbin/ifconfig br-lan1 down",
    "/sbin/ifconfig br-lan2 down", "/sbin/ifconfig br-lan1 down 2>/dev/null",
    "/sbin/ifconfig br-lan2 down 2>/dev/null ", "/sbin/ifconfig br-lan1 up",
    "/sbin/ifconfig br-lan2 up", "/sbin/wan.sh &", "/log/www/cgi-bin/ReloadmDNSRepons.cgi restart &",
    "/bin/update_ota_version.sh &", "mqttsub-init.sh &"};

// The only lines the interpreter writes to the MCU.
const std::set<std::string> kMcuLines = {"NET TCP/IP ENABLE 1\r\n", "NET TCP/IP ENABLE 2\r\n", "GUISTATUS\r\n"};

[[noreturn]] void fail(const char* what, const std::string& detail) {
  std::fprintf(stderr, "%s: [%s]\n", what, detail.c_str());
  std::abort();
}

struct CheckingRunner : board::CommandRunner {
  std::string aes;
  std::vector<std::string> trap_form;  // a trap's arguments before the event text
  int run(const std::string& line) override {
    if (!kFixedLines.count(line)) fail("not a fixed command line", line);
    return 0;
  }
  int spawn(const std::vector<std::string>& argv) override {
    // A trap: only the event text, the last argument, may differ from trap to trap.
    std::vector<std::string> form(argv.begin(), argv.end() - (argv.empty() ? 0 : 1));
    if (trap_form.empty()) trap_form = form;
    if (argv.empty() || argv[0] != "snmptrap" || form != trap_form)
      fail("unexpected program", board::shell_line(argv));
    return 0;
  }
  board::Capture capture(const std::vector<std::string>& argv) override {
    if (argv.size() != 3 || argv[0] != aes || (argv[1] != "-e" && argv[1] != "-d"))
      fail("unexpected capture", board::shell_line(argv));
    return board::Capture{0, "ENC\n"};
  }
};

struct Fixture {
  ScratchRoot scratch;
  MemoryNvram nvram;
  CheckingRunner runner;
  RecordingClock clock;
  RecordingMcu mcu;
  core::SharedState state;
  board::Files files{scratch.root()};
  board::SettingsFile settings{files};
  std::FILE* out = std::fopen("/dev/null", "w");
  interp::Context ctx{board::Board{files, nvram, settings, runner, clock, mcu, out}, state};
  Fixture() { runner.aes = scratch.path("/bin/aes.sh"); }
};

const char* const kModels[] = {"ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT2AC", "ZLT8DC", "ZLT9XX", ""};
const uint32_t kModes[] = {0, 1, 3, 4, 5, 6, 7, 11, 12, 13, 14, 2};

void check_settings(const std::string& text) {
  if (!text.empty() && text.back() != '\n') fail("settings file does not end a line", text);
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    std::string line = text.substr(pos, end - pos);
    size_t eq = line.find('=');
    if (eq == 0 || eq == std::string::npos) fail("settings line is not key=value", line);
    for (size_t i = 0; i < line.size(); ++i) {
      unsigned char c = static_cast<unsigned char>(line[i]);
      if (c == '\r' || (i < eq && (c <= ' ' || c >= 127 || c == '\'')))
        fail("settings line with a bad key or a CR", line);
    }
    pos = end + 1;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Fixture* f = new Fixture;
  if (size < 1) return 0;
  f->files.remove("/user");
  f->nvram.values.clear();
  f->nvram.set_order.clear();
  f->mcu.bytes.clear();
  f->mcu.writes.clear();
  f->clock.sleeps.clear();
  for (auto* word : {&f->state._readGetCommand, &f->state._readGetCommandFirstOrSecond,
                     &f->state._readGetCommandFirstNumber})
    word->store(0);
  if (*kModels[data[0] & 7]) f->nvram.values["ZLTMerge"] = kModels[data[0] & 7];
  f->nvram.values["SnmpTrapreceiver1"] = "192.0.2.1";  // events raise traps
  f->state.CheckStatusMode.store(kModes[(data[0] >> 3) % 12]);
  std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  for (size_t pos = 0; pos <= rest.size();) {
    size_t end = rest.find('\0', pos);
    if (end == std::string::npos) end = rest.size();
    std::unique_ptr<char[]> message(new char[4500]());
    std::memcpy(message.get(), rest.data() + pos, std::min<size_t>(end - pos, 4490));
    interp::MachineCommunication_RV470(f->ctx, message.get());
    pos = end + 1;
  }
  check_settings(f->files.read("/user/argument.text").value_or(""));
  for (const std::string& line : f->mcu.writes)
    if (!kMcuLines.count(line)) fail("not a fixed MCU line", line);
  return 0;
}
