#include <gtest/gtest.h>

#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "core/serial_reader.h"
#include "support/fakes.h"
#include "support/scratch_root.h"
#include "system/factory_reset.h"

namespace {

using namespace testing_support;

// What the reader sent where.
struct Sinks : core::McuOutput {
  void byte_to_telnet_client(char c) override { telnet_bytes += c; }
  void to_tcp_client(const char* d, size_t n) override { tcp.emplace_back(d, n); }
  void to_telnet_sessions(const char* d, size_t n) override { telnet.emplace_back(d, n); }
  void to_ssh_sessions(const char* d, size_t n) override { ssh.emplace_back(d, n); }
  std::string telnet_bytes;
  std::vector<std::string> tcp, telnet, ssh;
};

class Reader : public ::testing::Test {
 protected:
  Reader()
      : out(std::tmpfile()),
        files(scratch.root()),
        settings(files),
        board{files, nvram, settings, runner, clock, mcu, out},
        pool(state, [this](char* m) {
          std::lock_guard<std::mutex> hold(lock);
          queued.emplace_back(m);
        }, out),
        reader(board, state, pool, sinks) {
    reader.on_reset_announcement = [this] { system_actions::factory_reset(board); };
    pool.start();
  }
  ~Reader() override { std::fclose(out); }

  // Bytes as they arrive; '~' stands for one silent read (100 ms).
  void line(const std::string& script) {
    for (char c : script) {
      if (c == '~')
        reader.on_silence();
      else
        reader.on_byte(c);
    }
  }
  void silence(int reads) { line(std::string(static_cast<size_t>(reads), '~')); }
  std::vector<std::string> interpreted() {
    pool.drain();
    std::lock_guard<std::mutex> hold(lock);
    return queued;
  }
  std::string printed() {
    std::fflush(out);
    std::rewind(out);
    std::string s;
    for (int c; (c = std::fgetc(out)) != EOF;) s += static_cast<char>(c);
    return s;
  }

  ScratchRoot scratch;
  MemoryNvram nvram;
  RecordingRunner runner;
  RecordingClock clock;
  RecordingMcu mcu;
  std::FILE* out;
  board::Files files;
  board::SettingsFile settings;
  board::Board board;
  core::SharedState state;
  Sinks sinks;
  std::mutex lock;
  std::vector<std::string> queued;
  core::ThreadPool pool;
  core::SerialReader reader;
};

TEST_F(Reader, FramesMessages) {
  struct Case {
    const char* name;
    std::string bytes;
    std::vector<std::string> queued;
    std::vector<std::string> tcp;
  };
  const Case cases[] = {
      {"CR LF ends a message", "abc\r\n", {"abc"}, {}},
      {"a full stop before CR LF goes too", "abc.\r\n", {"abc"}, {}},
      {"a full stop, then 11 silent reads flush whole", "Value 1.5~~~~~~~~~~~", {"Value 1.5"}, {"Value 1.5"}},
      {"a final full stop is kept", "Done.~~~~~~~~~~~", {"Done."}, {"Done."}},
      {"ten silent reads are not enough", "Value 1.5~~~~~~~~~~", {}, {}},
      {"without a full stop silence ends nothing", "Value 15~~~~~~~~~~~~~~", {}, {}},
      {"a byte within the silence continues the message", "Value 1.~~~5 V\r\n", {"Value 1.5 V"}, {}},
      {"a message holding LF CR is never queued", "a\n\rb\r\n", {}, {}},
      {"two messages in a row", "one\r\ntwo\r\n", {"one", "two"}, {}},
      {"a bare LF ends nothing", "a\nb\r\n", {"a\nb"}, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    queued.clear();
    sinks.tcp.clear();
    line(c.bytes);
    EXPECT_EQ(interpreted(), c.queued);
    EXPECT_EQ(sinks.tcp, c.tcp);
    // Whatever is left over is ended so the next case starts clean.
    line("\r\n");
    pool.drain();
  }
}

TEST_F(Reader, EchoesEveryByte) {
  line("ab\r\nc.~~~~~~~~~~~");
  EXPECT_EQ(printed(), "ab\r\nc.");
  EXPECT_EQ(sinks.tcp, std::vector<std::string>{"c."});
}

TEST_F(Reader, OverflowRestartsTheCollection) {
  line(std::string(4491, 'x'));
  EXPECT_EQ(reader.fill(), 0u);
  line("ok\r\n");
  EXPECT_EQ(interpreted(), std::vector<std::string>{"ok"});
  std::string p = printed();
  EXPECT_NE(p.find("Long data for COMMANDMAX bengin--------------!\nbuf: 4491\n"
                   "Long data for COMMANDMAX end----------------!\n"),
            std::string::npos);
}

TEST_F(Reader, ANulInsideALineDropsItAndDisarmsTheStatusMode) {
  state.CheckStatusMode = 4;
  line(std::string("ab\0cd\r\n", 7));
  EXPECT_TRUE(interpreted().empty());
  EXPECT_EQ(state.CheckStatusMode.load(), 0u);
  EXPECT_NE(printed().find("buff[1857:20250217]ab\n"), std::string::npos);
}

TEST_F(Reader, MicrophoneLevelsAreDroppedUnlessTheGuiWatchesThem) {
  nvram.values["EnableTelnet"] = "0";
  line("MIC2 Peak_Level -30\r\n");
  EXPECT_TRUE(interpreted().empty());
  EXPECT_TRUE(sinks.telnet.empty());
  state._checkWebSocketReflesh = 1;
  line("MIC2 Peak_Level -30\r\n");
  EXPECT_EQ(interpreted(), std::vector<std::string>{"MIC2 Peak_Level -30"});
}

TEST_F(Reader, ForwardsLinesToSessionsUnlessFiltered) {
  struct Case {
    const char* line;
    bool forwarded;
    const char* telnet_payload;
  };
  const Case cases[] = {
      {"Outlet 1 ON\r\n", true, "Outlet 1 ON\r\n"},
      {"<GetPowerStatus On\r\n", false, ""},
      {"[SUCCESS]GUI Outlet1 Current Status Is Idle\r\n", false, ""},
      {"x MQTT topic/a 1\r\n", true, "MQTT topic/a 1\r\n"},
      {"set  telnet23\r\n", false, ""},
  };
  nvram.values["EnableTelnet"] = "0";
  nvram.values["sshOpen"] = "1";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    sinks.telnet.clear();
    sinks.ssh.clear();
    line(c.line);
    if (c.forwarded) {
      ASSERT_EQ(sinks.telnet.size(), 1u);
      EXPECT_EQ(sinks.telnet[0], c.telnet_payload);
      ASSERT_EQ(sinks.ssh.size(), 1u);
      EXPECT_EQ(sinks.ssh[0], c.line);
    } else {
      EXPECT_TRUE(sinks.telnet.empty());
      EXPECT_TRUE(sinks.ssh.empty());
    }
  }
}

TEST_F(Reader, SessionsAreOffUnlessEnabled) {
  nvram.values["EnableTelnet"] = "1";
  line("Outlet 1 ON\r\n");
  EXPECT_TRUE(sinks.telnet.empty());
  EXPECT_TRUE(sinks.ssh.empty());
}

TEST_F(Reader, MqttLinesSetThePayloadAndAskForTheClock) {
  line("MQTT topic/x 5\r\n");
  EXPECT_EQ(nvram.values["mqttBrokerpayloadvalue"], "MQTT topic/x 5");
  EXPECT_EQ(nvram.values["Guiupsys"], "3");
  EXPECT_EQ(mcu.bytes, "GUISYSTIME\r\n");
}

TEST_F(Reader, TipMessagesEndSetsTheFlag) {
  line("GUI Get Tip Messages End\r\n");
  EXPECT_EQ(nvram.values["Tipmessage"], "1");
}

TEST_F(Reader, MachineTypeSevenCopiesEveryByteAtOnce) {
  state.MachineType = "7";
  line("ab");
  EXPECT_EQ(sinks.telnet_bytes, "ab");
}

TEST_F(Reader, TheResetAnnouncementRunsTheFactoryResetBeforeQueueing) {
  nvram.values["ZLTMerge"] = "ZLT8AC";
  line("[SUCCESS]Doing Reset, Please Wait A Moment\r\n");
  ASSERT_FALSE(runner.lines.empty());
  EXPECT_EQ(runner.lines.back(), "system_recover_factory");
  EXPECT_EQ(interpreted(), std::vector<std::string>{"[SUCCESS]Doing Reset, Please Wait A Moment"});
}

// A source that plays a script: chunks of bytes, silences, then errors.
struct ScriptedSource : board::ByteSource {
  std::vector<std::string> steps;  // "" = silence, "!" = read error
  size_t at = 0;
  std::atomic<bool>* stop = nullptr;
  Wait wait(int) override {
    if (at >= steps.size()) {
      stop->store(true);
      return Wait::Silence;
    }
    if (steps[at] == "!") {
      ++at;
      errno = ENOENT;  // stale: the reason is what failure() says
      return Wait::Failed;
    }
    if (steps[at].empty()) {
      ++at;
      return Wait::Silence;
    }
    return Wait::Data;
  }
  std::string failure() const override { return "POLLHUP"; }
  ssize_t read(char* buf, size_t max) override {
    std::string& s = steps[at];
    size_t n = std::min(max, s.size());
    std::memcpy(buf, s.data(), n);
    s.erase(0, n);
    if (s.empty()) ++at;
    return static_cast<ssize_t>(n);
  }
};

TEST_F(Reader, AHungUpLineIsReopenedWithoutSpinning) {
  std::atomic<bool> stop{false};
  ScriptedSource src;
  src.stop = &stop;
  src.steps = {"one\r\n", "!", "two\r\n"};
  int reopens = 0;
  reader.run(src, stop, [&] { return ++reopens >= 2; });
  EXPECT_EQ(interpreted(), (std::vector<std::string>{"one", "two"}));
  EXPECT_EQ(reopens, 2);
  EXPECT_EQ(clock.sleeps, (std::vector<long>{1000, 1000}));
  EXPECT_NE(printed().find("MCU line read error: POLLHUP; reopening\n"), std::string::npos);
}

}  // namespace
