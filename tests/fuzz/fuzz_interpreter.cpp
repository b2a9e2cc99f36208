// The whole interpreter on a scratch root. The first byte picks the model code
// and the armed status table; the rest is one or more MCU messages separated
// by NUL (the reader never queues a message holding one). Afterwards the
// settings file must still be one key=value per line, the board may only have
// run its fixed command lines (MCU text only as an argument of a fixed form),
// and only fixed lines may have gone to the MCU.
#include <algorithm>
#include <cstring>
#include <sstream>

#include "fuzz/rigs.h"
#include "interpreter/dispatcher.h"

namespace {

using namespace fuzz_support;

const std::set<std::string> kFixedLines = {
    "killall -9 udhcpc 2>/dev/null", "killall -9 odhcp6c 2>/dev/null", "killall -9 mDNSResponder 2>/dev/null",
    "/sbin/ifconfig br-lan1 down", "/sbin/ifconfig br-lan2 down", "/sbin/ifconfig br-lan1 down 2>/dev/null",
    "/sbin/ifconfig br-lan2 down 2>/dev/null ", "/sbin/ifconfig br-lan1 up", "/sbin/ifconfig br-lan2 up",
    "/sbin/wan.sh &", "/log/www/cgi-bin/ReloadmDNSRepons.cgi restart &", "/bin/update_ota_version.sh &",
    "mqttsub-init.sh &"};
// The only lines the interpreter writes to the MCU.
const std::set<std::string> kMcuLines = {"NET TCP/IP ENABLE 1\r\n", "NET TCP/IP ENABLE 2\r\n", "GUISTATUS\r\n"};
const char* const kModels[] = {"ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT2AC", "ZLT8DC", "ZLT9XX", ""};
const uint32_t kModes[] = {0, 1, 3, 4, 5, 6, 7, 11, 12, 13, 14, 2};

struct CheckingRunner : board::CommandRunner {
  std::string aes;
  std::vector<std::string> trap_form;  // a trap's arguments before the event text, the same for every trap
  int run(const std::string& line) override {
    if (!kFixedLines.count(line)) fail("not a fixed command line", line);
    return 0;
  }
  int spawn(const std::vector<std::string>& argv) override {
    std::vector<std::string> form(argv.begin(), argv.end() - (argv.empty() ? 0 : 1));
    if (trap_form.empty()) trap_form = form;
    if (argv.empty() || argv[0] != "snmptrap" || form != trap_form) fail("unexpected program", board::shell_line(argv));
    return 0;
  }
  board::Capture capture(const std::vector<std::string>& argv) override {
    if (argv.size() != 3 || argv[0] != aes || (argv[1] != "-e" && argv[1] != "-d")) fail("unexpected capture", board::shell_line(argv));
    return board::Capture{0, "ENC\n"};
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  Unit<CheckingRunner> u;  // a fresh unit for every input
  u.runner.aes = u.scratch.path("/bin/aes.sh");
  interp::Context ctx{u.board, u.state};
  if (*kModels[data[0] & 7]) u.nvram.values["ZLTMerge"] = kModels[data[0] & 7];
  u.nvram.values["SnmpTrapreceiver1"] = "192.0.2.1";  // events raise traps
  u.state.CheckStatusMode.store(kModes[(data[0] >> 3) % 12]);
  std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
  for (size_t pos = 0, end; pos <= rest.size(); pos = end + 1) {
    end = std::min(rest.find('\0', pos), rest.size());
    std::unique_ptr<char[]> message(new char[4500]());
    std::memcpy(message.get(), rest.data() + pos, std::min<size_t>(end - pos, 4490));
    board::SettingsFile::Transaction transaction(u.settings);  // one per message, as the worker has it
    interp::MachineCommunication_RV470(ctx, message.get());
  }
  std::istringstream text(u.files.read(board::kSettingsPath).value_or(""));
  auto bad = [](unsigned char c) { return c <= ' ' || c >= 127 || c == '\''; };
  for (std::string line; std::getline(text, line);) {
    const size_t eq = line.find('=');
    if (text.eof() || eq == 0 || eq == std::string::npos || line.find('\r') != std::string::npos ||
        std::any_of(line.begin(), line.begin() + static_cast<long>(eq), bad))
      fail("settings line is not key=value (a plain key, no CR, ended by LF)", line);
  }
  for (const std::string& line : u.mcu.writes)
    if (!kMcuLines.count(line)) fail("not a fixed MCU line", line);
  return 0;
}
