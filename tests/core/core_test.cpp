// The serial reader and the task queue behind it (bytes in, messages queued for
// the worker in order, lines forwarded to the sessions), the system actions in
// host mode (board programs journaled, file work done under the root), and the
// real daemon against a pseudo-terminal MCU line.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <mutex>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "core/serial_reader.h"
#include "support/daemon_harness.h"
#include "support/interpreter_harness.h"
#include "system/factory_reset.h"
#include "system/netinit.h"

namespace {

using Lines = std::vector<std::string>;
using namespace testing_support;

// What the reader sent where.
struct Sinks : core::McuOutput {
  void byte_to_telnet_client(char c) override { telnet_bytes += c; }
  void to_tcp_client(const char* d, size_t n) override { tcp.emplace_back(d, n); }
  void to_telnet_sessions(const char* d, size_t n) override { telnet.emplace_back(d, n); }
  void to_ssh_sessions(const char* d, size_t n) override { ssh.emplace_back(d, n); }
  std::string telnet_bytes;
  Lines tcp, telnet, ssh;
};

struct Reader : ::testing::Test {
  Reader() { pool.start(); }
  // Bytes as they arrive; '~' stands for one silent read (100 ms).
  void line(const std::string& script) {
    for (char c : script) c == '~' ? reader.on_silence() : reader.on_byte(c);
  }
  Lines interpreted(core::ThreadPool& from) {
    from.drain();
    std::lock_guard<std::mutex> hold(lock);
    return queued;
  }
  Lines interpreted() { return interpreted(pool); }
  std::string printed() { return all += h.take_output(); }

  testing_support::InterpreterHarness h;
  std::string all;
  Sinks sinks;
  std::mutex lock;
  Lines queued;
  std::function<void(char*)> record = [this](char* m) { std::lock_guard<std::mutex> hold(lock); queued.emplace_back(m); };
  core::ThreadPool pool{h.state, record, h.ctx.out};
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

// An overflow restarts the collection, a NUL drops the line and disarms the
// status mode, the reset announcement is acted on before it is queued, MQTT
// lines and the tip end are answered at once, and machine type 7 passes bytes on.
TEST_F(Reader, ActsOnLinesBeforeTheWorker) {
  bool queued_first = true;
  reader.on_reset_announcement = [&] { queued_first = !interpreted().empty(); };
  line("MQTT topic/x 5\r\nGUI Get Tip Messages End\r\n");
  EXPECT_EQ(h.nv("mqttBrokerpayloadvalue") + h.nv("Guiupsys") + h.nv("Tipmessage"), "MQTT topic/x 531");
  EXPECT_EQ(h.mcu.bytes, "GUISYSTIME\r\n");
  pool.drain();
  queued.clear();
  line(std::string(4491, 'x'));
  EXPECT_EQ(reader.fill(), 0u);
  h.state.CheckStatusMode = 4;
  line(std::string("ab\0cd\r\n[SUCCESS]Doing Reset, Please Wait A Moment\r\n", 52));
  EXPECT_FALSE(queued_first);
  EXPECT_EQ(interpreted(), Lines{"[SUCCESS]Doing Reset, Please Wait A Moment"});
  EXPECT_EQ(h.state.CheckStatusMode.load(), 0u);
  for (const char* part : {"Long data for COMMANDMAX bengin--------------!\nbuf: 4491\n"
                           "Long data for COMMANDMAX end----------------!\n", "buff[1857:20250217]ab\n"})
    EXPECT_NE(printed().find(part), std::string::npos) << part;
  h.state.MachineType = "7";
  line("ab");
  EXPECT_EQ(sinks.telnet_bytes, "ab");
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
  for (const char* l : {"<Power Factor 0.98", "<Total Power 700W", "<mDNS On", "Clue:x", "Note:x", "RUNTIME 1d",
                        "CMDTIME:1", "[FAIL]GUI Sensor1", "[SUCCESS]Get Device Name To X", "Set TCP/IP2 Enable",
                        "telnet24", "GUI Get Tip Messages Start", "GUI Get DC Power Controller End"})
    EXPECT_TRUE(core::is_forward_filtered(l)) << l;
  EXPECT_FALSE(core::is_forward_filtered("<Status 1"));
}

// A fuzz finding: an overflow clears only the start of the receive buffer; a
// later message longer than that must not pick up the older bytes beyond it,
// nor look like the microphone level they end in (dropped while the GUI does
// not show it).
TEST_F(Reader, AMessageAfterAnOverflowHoldsOnlyItsOwnBytes) {
  for (const auto& [end, tail] : {std::pair<std::string, std::string>{".~~~~~~~~~~~", "."}, {"\r\n", ""}}) {
    queued.clear();
    const std::string message(1100, 'B');
    line(std::string(4400, 'A') + "MIC1 Peak_Level -30" + std::string(72, 'A') + message + end);
    EXPECT_EQ(interpreted(), Lines{message + tail}) << "ended by " << tail;
  }
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

// The worker takes messages in arrival order (empty ones are freed
// uninterpreted, null ones refused and left with their owner); the message
// after a full queue drops the oldest half, at least one.
TEST_F(Reader, TheQueueKeepsTheOrderAndDropsTheOldestHalfWhenFull) {
  core::Message none, kept = core::new_message(), empty = core::new_message();
  EXPECT_EQ(core::thread_pool_add_task(&pool, none) + core::thread_pool_add_task(nullptr, kept), 0);
  EXPECT_TRUE(kept);
  EXPECT_EQ(pool.add(empty), 1);
  EXPECT_EQ(interpreted(), Lines{});
  for (int capacity : {500, 7, 1}) {
    SCOPED_TRACE(capacity);
    queued.clear();
    core::ThreadPool full(h.state, record, h.ctx.out, capacity);  // worker not started yet: the queue fills
    h.state.CheckStatusMode = 7;
    const int dropped = capacity > 1 ? capacity / 2 : 1;
    Lines expected;
    for (int i = 0; i <= capacity; ++i) {
      core::Message m = core::new_message();
      std::strcpy(m.get(), ("m" + std::to_string(i)).c_str());
      ASSERT_EQ(core::thread_pool_add_task(&full, m), 1);
      if (i >= dropped) expected.push_back("m" + std::to_string(i));
    }
    int count = 0, free_slots = 0;
    core::thread_pool_get_status(&full, &count, &free_slots);
    EXPECT_EQ(std::to_string(count) + " " + std::to_string(free_slots), std::to_string(capacity - dropped + 1) + " " +
                                                                          std::to_string(dropped - 1));
    EXPECT_EQ(h.state.CheckStatusMode.load(), 0u);
    EXPECT_EQ(h.take_output(), "队列已满，开始移除 " + std::to_string(dropped) + " 个任务（当前大小: " +
                                   std::to_string(capacity) + "）\n移除完成，队列新大小: " +
                                   std::to_string(capacity - dropped) + "\n");
    ASSERT_TRUE(full.start());
    EXPECT_EQ(interpreted(full), expected);
  }
}

TEST(FactoryReset, StopsTheServicesRestoresTheFactoryFilesAndKeepsTheModelCode) {
  testing_support::InterpreterHarness h;
  testing_support::ScratchRoot& scratch = h.scratch;
  h.set_model("ZLT4AC");
  const char* const user_files[] = {"/user/argument.text.bak", "/user/intervalenergy", "/user/lastsendtime",
                                    "/user/nextreport", "/user/newpassword.text", "/user/login_lock",
                                    "/user/loginpw_lock", "/etc/passwd-"};
  const char* const mqtt_files[] = {"/user/mqttClientID", "/user/mqttClientcontrolID", "/user/mqttClientfeedbackID",
                                    "/user/mqttTopic", "/user/mqttcontrol", "/user/mqttfeed"};
  for (const char* path : {"/etc_ro/ZLT.log", "/etc_ro/Outlet3.log", "/etc/passwd", "/usr/local/server.pem",
                           "/etc_ro/imglogo/a.png"})
    scratch.write(path, "x\n");
  scratch.write("/user/ZLT.log", "old\n");
  for (const char* path : user_files) scratch.write(path, "x\n");
  for (const char* path : mqtt_files) scratch.write(path, "x\n");
  scratch.write("/etc_ro/argument.text", "HostName=factory\nwan_dhcp_hn=factory\nPower=1\n");
  scratch.write("/user/argument.text", "HostName=mine\n");
  h.files.make_dirs("/user/local");
  h.files.make_dirs("/log/www");
  system_actions::factory_reset(h.ctx);

  // The services stop, in order, before the board's own restore takes over.
  std::vector<std::string> journal;
  std::istringstream killed("MqttSchedule.cgi DateTimeSchedule.cgi modbustcp.cgi startup system-monitor.sh "
                            "outletWatchdog.cgi dropbear-gui nubis.cgi telnetPassthrougth23 telnetPassthrougth8000 "
                            "mosquitto_sub mosquitto_sub_ mqtt_send mqtt_send_feedback snmpd port-monitor.sh");
  for (std::string name; killed >> name;) journal.push_back("killall -9 " + name);
  for (const char* name : {"udhcpc", "odhcp6c", "mDNSResponder"}) journal.push_back(std::string("killall -9 ") + name + " 2>/dev/null");
  for (const char* line : {"ifdown lan1", "ifdown lan2", "ralink_init clear 2860", "system_recover_factory"})
    journal.push_back(line);
  EXPECT_EQ(h.runner.lines, journal);
  ASSERT_FALSE(h.clock.sleeps.empty());
  EXPECT_EQ(h.clock.sleeps.back(), 2000);  // a pause before the hand-over

  for (const char* path : user_files) EXPECT_FALSE(scratch.exists(path)) << path;
  for (const char* path : mqtt_files) EXPECT_EQ(scratch.read(path), "\n") << path;
  EXPECT_EQ(scratch.read("/user/Scheduledataon1"), "00:00;00:00;00:00;00:00;00:00;00:00;00:00;00:00\n");
  EXPECT_EQ(scratch.read("/user/AllScheduledataoff7"), "24:00;24:00;24:00;24:00;24:00;24:00;24:00;24:00\n");
  // The factory copies, into directories (over an old file) and as trees.
  for (const char* path : {"/etc/passwd", "/user/ZLT.log", "/user/Outlet3.log", "/user/local/server.pem",
                           "/user/imglogo/a.png", "/log/www/imglogo/a.png"})
    EXPECT_EQ(scratch.read(path), "x\n") << path;

  // The model code becomes host name and title.
  EXPECT_EQ(scratch.read("/user/argument.text"),
            "Power=1\nZLTMerge=ZLT4AC\nwatchdogclear=1\nwan_dhcp_hn=ZLT4AC\nHostName=ZLT4AC\nTitleLabel=ZLT4AC\n");
  for (const char* key : {"wan_dhcp_hn", "TitleLabel", "HostName", "ZLTMerge"}) EXPECT_EQ(h.nv(key), "ZLT4AC") << key;
  EXPECT_EQ(h.nv("watchdogclear"), "1");
}

// SIGUSR1 restarts the internet and notes it; a static unit also tells the MCU its address.
TEST(Netinit, ActsOnTheSignalAndTheConnectionMode) {
  const struct { int signo; const char* mode; std::vector<std::string> commands; std::vector<long> sleeps; } cases[] = {
      {SIGUSR1, "STATIC", {"/sbin/internet.sh"}, {10000, 1000}},
      {SIGUSR1, "DHCP", {"/sbin/internet.sh"}, {10000}},
      {SIGUSR2, "STATIC", {}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.signo) + " " + c.mode);
    testing_support::InterpreterHarness h;
    h.nvram.values["wanConnectionMode"] = c.mode;
    system_actions::netinit(h.ctx, c.signo);
    EXPECT_EQ(h.take_output(), "sign_no" + std::to_string(c.signo) + "\n");
    EXPECT_EQ(h.runner.lines, c.commands);
    EXPECT_EQ(h.clock.sleeps, c.sleeps);
    EXPECT_EQ(h.nv("CheckNetworkType"), c.signo == SIGUSR1 ? "1" : "<absent>");
    const std::string& mcu = h.mcu.bytes;
    EXPECT_TRUE(c.sleeps.size() == 2 ? mcu.rfind(">SetGuiIP ", 0) == 0 && mcu.find("\r\n") == mcu.size() - 2 : mcu.empty()) << mcu;
  }
}

// Start-up in order (the leftovers of a crash cleared), MCU lines carried to the stores, the commands, the MCU
// and the trace, signals handled off the handler, a hung-up line reopened,
// and nothing left behind on SIGTERM.
TEST(Daemon, RunsTheUnitFromStartToSigterm) {
  DaemonHarness d;
  d.nvram_set("SnmpTrapreceiver1", "127.0.0.1:16299");
  d.nvram_set("ZLTMerge", "ZLT8AC");
  d.scratch.write("/user/argument.text", "TitleLabel=Old\nPower=0\n");
  d.scratch.write("/user/argument.text.tmpAb12Cd", "Half=");  // what an interrupted replacement left
  d.start({"--trace", d.scratch.path("/mcu.trace")});
  EXPECT_FALSE(d.scratch.exists("/user/argument.text.tmpAb12Cd"));
  EXPECT_EQ(d.nvram("uart_shell") + d.nvram("CheckWriteType") + d.nvram("SystemWaiting"), "zzzzz00");
  EXPECT_EQ(d.scratch.read("/var/run/readuart.pid"), std::to_string(d.pid()));
  const std::string out = d.output();
  const size_t at[] = {out.find("TID in pthread_create function: 0.\n"),
                       out.find("Main process: PID: " + std::to_string(d.pid()) + ",TID: "), out.find("open ttyS0 .....\n")};
  EXPECT_TRUE(at[2] != std::string::npos && std::is_sorted(std::begin(at), std::end(at))) << out;

  auto holds = [&](const std::string& path, const std::string& part) {
    return wait_until([&] { return d.scratch.read(path).find(part) != std::string::npos; });
  };
  d.mcu_send("[SUCCESS]Set Device Name To Lab  telnet23\r\n[SUCCESS]Set System Power ON\r\nMQTT on\r\n");
  EXPECT_TRUE(holds("/user/argument.text", "TitleLabel=Lab\nPower=1\n")) << d.scratch.read("/user/argument.text");
  EXPECT_TRUE(d.wait_mcu("GUISTATUS\r\n") && d.wait_mcu("GUISYSTIME\r\n"));
  EXPECT_TRUE(holds("/var/log/commands.log", "/bin/update_ota_version.sh &\n"));
  const std::string event = "2026-11-22 15:00:00 System Critical: 'over' temperature";
  d.mcu_send("Clue:" + event + "\r\n");
  EXPECT_TRUE(holds("/user/ZLT.log", event + ".\n"));
  EXPECT_TRUE(holds("/var/log/commands.log", "127.0.0.1:16299")) << d.output();  // the trap
  d.mcu_send("Power Key Relay TCP/IP Baud Current OverVoltage UnderVoltage Ground\r\nON OFF ON 1 9600 10 250 90 x\r\n");
  for (const char* part : {" rx \"", " row set-device-name keys: TitleLabel\n", " row table-header keys:\n",
                           " row status-dump row, table 3 keys: Power powerlock relaypower Enabletcpip localBaud "
                           "Thresholdcurrent VoltageThreshold UnderVoltage\n", " tx \"GUISYSTIME\\r\\n\"\n"})
    EXPECT_TRUE(holds("/mcu.trace", part)) << part << d.scratch.read("/mcu.trace");
  // Every trace line: wall clock, monotonic milliseconds, kind, text.
  const std::regex line(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \d+ (rx|tx|row) .*)");
  for (const std::string& l : d.scratch.lines("/mcu.trace")) EXPECT_TRUE(std::regex_match(l, line)) << l;

  ::kill(d.pid(), SIGUSR2);
  EXPECT_TRUE(d.wait_output("sign_no" + std::to_string(SIGUSR2) + "\n"));
  d.replace_line();  // the old line hangs up; the same path now leads to a new one
  EXPECT_TRUE(d.wait_output("MCU line read error: POLLHUP; reopening\n")) << d.output();  // not a stale errno
  ASSERT_TRUE(d.wait_output("MCU line reopened\n"));
  d.mcu_send("after\r\n");
  EXPECT_TRUE(d.wait_output("\n**RV470_InputData=after\n", 15s)) << d.output();  // the worker took it
  EXPECT_EQ(d.stop(), 0);
  EXPECT_FALSE(d.scratch.exists("/var/run/readuart.pid"));
}

TEST(Daemon, ReportsWhatItCannotOpen) {
  ScratchRoot r;
  const struct { const char* option; std::string path; int status; const char* message; } cases[] = {
      {"--serial", r.path("/dev/none"), 0, "open_port error"},
      {"--trace", r.path("/missing/dir/trace"), 1, "pdud: cannot open the trace file "}};
  for (const auto& c : cases) {
    ProcessResult p = run_built_program("pdud", {"--host", "--root", r.dir(), "--settle-ms", "0", c.option, c.path});
    EXPECT_EQ(p.status, c.status) << c.message;
    EXPECT_NE((p.out + p.err).find(c.message), std::string::npos) << p.out << p.err;
  }
}

}  // namespace
