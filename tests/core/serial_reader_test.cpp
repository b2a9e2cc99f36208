#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "core/serial_reader.h"
#include "support/interpreter_harness.h"

namespace {

using namespace testing_support;
using Lines = std::vector<std::string>;

// What the reader sent where.
struct Sinks : core::McuOutput {
  void byte_to_telnet_client(char c) override { telnet_bytes += c; }
  void to_tcp_client(const char* d, size_t n) override { tcp.emplace_back(d, n); }
  void to_telnet_sessions(const char* d, size_t n) override { telnet.emplace_back(d, n); }
  void to_ssh_sessions(const char* d, size_t n) override { ssh.emplace_back(d, n); }
  std::string telnet_bytes;
  Lines tcp, telnet, ssh;
};

class Reader : public ::testing::Test {
 protected:
  Reader() { pool.start(); }
  // Bytes as they arrive; '~' stands for one silent read (100 ms).
  void line(const std::string& script) {
    for (char c : script) c == '~' ? reader.on_silence() : reader.on_byte(c);
  }
  Lines interpreted() {
    pool.drain();
    std::lock_guard<std::mutex> hold(lock);
    return queued;
  }
  std::string printed() { return all += h.take_output(); }

  InterpreterHarness h;
  std::string all;
  Sinks sinks;
  std::mutex lock;
  Lines queued;
  core::ThreadPool pool{h.state, [this](char* m) { std::lock_guard<std::mutex> hold(lock); queued.emplace_back(m); },
                        h.ctx.out};
  core::SerialReader reader{h.ctx, h.state, pool, sinks};
};

TEST_F(Reader, FramesMessages) {
  const struct { const char* name; std::string bytes; Lines queued, tcp; } cases[] = {
      {"CR LF ends a message", "abc\r\n", {"abc"}, {}},
      {"a full stop before CR LF goes too", "abc.\r\n", {"abc"}, {}},
      {"a full stop, then 11 silent reads flush whole", "Value 1.5~~~~~~~~~~~", {"Value 1.5"}, {"Value 1.5"}},
      {"a final full stop is kept", "Done.~~~~~~~~~~~", {"Done."}, {"Done."}},
      {"ten silent reads are not enough", "Value 1.5~~~~~~~~~~", {}, {}},
      {"without a full stop silence ends nothing", "Value 15~~~~~~~~~~~~~~", {}, {}},
      {"a byte within the silence continues the message", "Value 1.~~~5 V\r\n", {"Value 1.5 V"}, {}},
      {"a message holding LF CR is never queued", "a\n\rb\r\n", {}, {}},
      {"a bare LF ends nothing", "a\nb\r\n", {"a\nb"}, {}},
  };
  size_t echoed = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    queued.clear();
    sinks.tcp.clear();
    line(c.bytes);
    EXPECT_EQ(interpreted(), c.queued);
    EXPECT_EQ(sinks.tcp, c.tcp);
    std::string bytes = c.bytes;
    bytes.erase(std::remove(bytes.begin(), bytes.end(), '~'), bytes.end());
    EXPECT_EQ(printed().substr(echoed), bytes);  // every byte is echoed
    line("\r\n");  // whatever is left over is ended so the next case starts clean
    pool.drain();
    echoed = printed().size();
  }
}

TEST_F(Reader, OverflowRestartsTheCollectionAndANulDropsTheLine) {
  line(std::string(4491, 'x'));
  EXPECT_EQ(reader.fill(), 0u);
  EXPECT_NE(printed().find("Long data for COMMANDMAX bengin--------------!\nbuf: 4491\n"
                           "Long data for COMMANDMAX end----------------!\n"), std::string::npos);
  h.state.CheckStatusMode = 4;  // a NUL also disarms the status mode
  line(std::string("ok\r\nab\0cd\r\n", 11));
  EXPECT_EQ(interpreted(), Lines{"ok"});
  EXPECT_EQ(h.state.CheckStatusMode.load(), 0u);
  EXPECT_NE(printed().find("buff[1857:20250217]ab\n"), std::string::npos);
}

TEST_F(Reader, ForwardsLinesToSessionsUnlessFiltered) {
  h.nvram.values["EnableTelnet"] = "1";  // "1" is off
  line("Outlet 1 ON\r\n");
  EXPECT_TRUE(sinks.telnet.empty() && sinks.ssh.empty());
  h.nvram.values["EnableTelnet"] = "0";
  h.nvram.values["sshOpen"] = "1";
  line("MIC2 Peak_Level -30\r\nOutlet 1 ON\r\n<GetPowerStatus On\r\nset  telnet23\r\nx MQTT topic/a 1\r\n");
  h.state._checkWebSocketReflesh = 1;  // microphone levels only when the GUI watches them
  line("MIC2 Peak_Level -31\r\n");
  const Lines got = interpreted();
  EXPECT_TRUE(got.back() == "MIC2 Peak_Level -31" && got[0] == "Outlet 1 ON" && got[1] == "Outlet 1 ON");
  EXPECT_EQ(sinks.telnet, (Lines{"Outlet 1 ON\r\n", "MQTT topic/a 1\r\n", "MIC2 Peak_Level -31\r\n"}));
  EXPECT_EQ(sinks.ssh, (Lines{"Outlet 1 ON\r\n", "x MQTT topic/a 1\r\n", "MIC2 Peak_Level -31\r\n"}));
  // Replies and reports the sessions never see, one of each kind.
  for (const char* l : {"<Power Factor 0.98", "<Total Power 700W", "<Voltage 229.8V", "<Frequency 50Hz", "<Outlet 2 On",
                        "<TCP/IP", "<MAC", "<mDNS On", "Clue:x", "Note:x", "RUNTIME 1d", "CMDTIME:1", "[FAIL]GUI Sensor1",
                        "[SUCCESS]Get Device Name To X", "[SUCCESS]Get Current Model Name To X", "Set TCP/IP2 Enable",
                        "telnet24", "[SUCCESS]Mqtt Process Detection", "GUI Get Tip Messages Start",
                        "GUI Get DC Power Controller End"})
    EXPECT_TRUE(core::is_forward_filtered(l)) << l;
  EXPECT_FALSE(core::is_forward_filtered("<Status 1"));
}

TEST_F(Reader, ActsOnMqttLinesTipEndsResetsAndMachineTypeSeven) {
  bool queued_first = true;
  reader.on_reset_announcement = [&] { queued_first = !interpreted().empty(); };
  line("[SUCCESS]Doing Reset, Please Wait A Moment\r\n");
  EXPECT_FALSE(queued_first) << "the reset comes before the message is queued";
  EXPECT_EQ(interpreted(), Lines{"[SUCCESS]Doing Reset, Please Wait A Moment"});
  line("MQTT topic/x 5\r\nGUI Get Tip Messages End\r\n");
  EXPECT_EQ(h.nvram.values["mqttBrokerpayloadvalue"] + h.nvram.values["Guiupsys"] + h.nvram.values["Tipmessage"],
            "MQTT topic/x 531");
  EXPECT_EQ(h.mcu.bytes, "GUISYSTIME\r\n");
  h.state.MachineType = "7";
  line("ab");
  EXPECT_EQ(sinks.telnet_bytes, "ab");
}

// A line that says text, then hangs up: a pipe whose writer is gone.
int line_saying(const char* text) {
  int p[2];
  if (::pipe(p) != 0 || ::write(p[1], text, std::strlen(text)) < 0) return -1;
  ::close(p[1]);
  return p[0];
}

TEST_F(Reader, AHungUpLineIsReopenedWithoutSpinning) {
  board::SerialSource src(line_saying("one\r\n"));
  std::atomic<bool> stop{false};
  int reopens = 0;
  reader.run(src, stop, [&] {
    if (++reopens == 1) return false;  // not back yet
    ::close(src.fd());
    src.set_fd(reopens == 2 ? line_saying("two\r\n") : -1);
    stop = reopens == 3;
    return true;
  });
  EXPECT_EQ(interpreted(), (Lines{"one", "two"}));
  EXPECT_EQ(h.clock.sleeps, (std::vector<long>{1000, 1000, 1000}));
  EXPECT_NE(printed().find("MCU line read error: POLLHUP; reopening\nMCU line reopened\n"), std::string::npos);
}

}  // namespace
