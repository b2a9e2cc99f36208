// pdu-mcu-sim speaks the daemon's vocabulary: every answer it gives is a line
// that MachineCommunication_RV470 acts on, and its status dumps fill the same
// keys as the dumps of a real unit; --replay plays back what pdud --trace
// recorded. `make demo` runs end to end.
#include <sys/ipc.h>
#include <sys/shm.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "board/trace_file.h"
#include "mcu-sim/mcu_model.h"
#include "mcu-sim/transcript.h"
#include "support/board_process.h"
#include "support/interpreter_harness.h"

using testing_support::InterpreterHarness;

namespace {

const char kRecords[] = "1 2.000000\n2 1.500000\n";  // for the clean-up commands to act on

std::unique_ptr<InterpreterHarness> interpret(const std::string& model, const mcusim::Lines& lines) {
  auto h = std::make_unique<InterpreterHarness>();
  h->nvram.values["ZLTMerge"] = model;
  h->nvram.values["Energymeasured2"] = "2024-05-01 12:00:00";
  for (const std::string& line : lines) h->feed(line);
  return h;
}

// Whether the interpreter does anything to the unit when it reads `lines`.
bool acts_on(InterpreterHarness& h, const mcusim::Lines& lines) {
  h.scratch.write("/user/intervalenergy", kRecords);
  const size_t sets = h.nvram.set_order.size(), runs = h.runner.lines.size(), writes = h.mcu.writes.size();
  for (const std::string& line : lines) h.feed(line);
  return h.nvram.set_order.size() > sets || h.runner.lines.size() > runs || h.mcu.writes.size() > writes ||
         h.scratch.read("/user/intervalenergy") != kRecords;
}

std::set<std::string> keys_of(std::istream&& in) {  // of key=value lines
  std::set<std::string> keys;
  for (std::string l; std::getline(in, l);) keys.insert(l.substr(0, l.find('=')));
  return keys;
}

// Every command form is answered with a line the interpreter acts on; a bad
// command with a fail line that changes nothing, in the model or the daemon.
TEST(McuSim, EveryAnswerIsALineTheInterpreterActsOn) {
  std::map<std::string, int> accepted;
  for (const char* model : {"ZLT8AC", "ZLT8DC"}) {
    auto h = interpret(model, {});
    for (const mcusim::Command& c : mcusim::commands()) {
      const mcusim::Lines answers = mcusim::Mcu(model).handle(c.example);
      ASSERT_FALSE(answers.empty()) << c.example;
      if (answers[0].rfind("[FAIL]Unknown", 0) == 0) continue;  // a form of another model
      ++accepted[c.example];
      EXPECT_TRUE(acts_on(*h, answers)) << model << ": " << answers[0];
    }
  }
  for (const mcusim::Command& c : mcusim::commands()) EXPECT_GT(accepted[c.example], 0) << c.example;
  for (const char* bad : {"Set Outlet 12 OFF", "Set Outlet 3 DIM", "Set RS232 Baud Rate To 1234", "hello",
                          "Set TCP/IP1 IP Address To 1.2.3.256", "Set Outlet 2 Voltage Status 24V"}) {
    mcusim::Mcu mcu("ZLT8AC");
    const mcusim::Lines dump_before = mcu.status_dump(), answers = mcu.handle(bad);
    EXPECT_EQ(answers.size() == 1 ? answers[0].substr(0, 6) : "", "[FAIL]") << bad;
    EXPECT_EQ(mcu.status_dump(), dump_before) << bad;
    EXPECT_FALSE(acts_on(*interpret("ZLT8AC", {}), answers)) << bad;
  }
}

// The simulator's dump fills exactly the keys that a real unit's dump fills
// (the recorded dumps of tests/interpreter/status/data), with its own state.
TEST(McuSim, EachModelsStatusDumpFillsTheKeysOfARealDump) {
  for (const char* model : {"ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT2AC", "ZLT8DC"}) {
    SCOPED_TRACE(model);
    mcusim::Mcu mcu(model);
    mcu.handle("Set Outlet 2 OFF");
    mcu.handle("Set Outlet 1 Power_ON Delay 42s");
    auto h = interpret(model, mcu.handle("GUISTATUS"));
    const std::string data = std::string(PDUD_TEST_DATA) + "/interpreter/status/data/" + model;
    auto& nv = h->nvram.values;
    std::string nvram_keys;
    for (const auto& [key, value] : nv) nvram_keys += key == "Energymeasured2" ? "" : key + "\n";
    EXPECT_EQ(keys_of(std::istringstream(nvram_keys)), keys_of(std::ifstream(data + ".nvram")));
    EXPECT_EQ(keys_of(std::istringstream(h->scratch.read("/user/argument.text"))), keys_of(std::ifstream(data + ".settings")));
    if (nv.size() == 2) continue;  // this model keeps the dump switched off
    EXPECT_EQ(nv["Outlet1"] + nv["Outlet2"] + nv["Powerdelay1"] + nv["Carrent2"], "1042s0.000A");
    EXPECT_EQ(nv["Tipoutlet"].substr(0, 2), "21");
    EXPECT_NE(nv["Carrent1"], "0.000A");
  }
}

// A trace gives back the lines the daemon read, with their pauses; plain lines
// wait what their "+ms" prefix says.
TEST(Transcript, GivesBackTheLinesReadWithTheirPauses) {
  auto rx = [](long long mono, const std::string& bytes) {
    return "2026-11-23 10:00:00.000 " + std::to_string(mono) + " rx " + board::TraceFile::quoted(bytes) + "\n";
  };
  std::istringstream trace(rx(1000, "[SUCCESS]Set Outlet 3 OF") + rx(1002, "F\r\nTip:\x01\"q\"\\\r\n") +
                           "2026-11-23 10:00:00.010 1010 tx \"GUISTATUS\\r\\n\"\n" +
                           "2026-11-23 10:00:00.011 1011 row outlet-off keys: Outlet3\n" + rx(1500, "Get Time.") +
                           rx(1900, "Power Key\r\n"));
  EXPECT_EQ(mcusim::read_transcript(trace), (mcusim::Transcript{{0, "[SUCCESS]Set Outlet 3 OFF"}, {0, "Tip:\x01\"q\"\\"},
                                                               {498, "Get Time."}, {400, "Power Key"}}));
  std::istringstream plain("first\n+250 second\n+40\n\nthird\r\n");
  EXPECT_EQ(mcusim::read_transcript(plain), (mcusim::Transcript{{0, "first"}, {250, "second"}, {40, ""}, {0, "third"}}));
}

TEST(Demo, RunsPrintsTheUnitFromNvramAndLeavesNothingBehind) {
  testing_support::ScratchRoot scratch;
  const std::string root = scratch.dir() + "/demo";
  const testing_support::ProcessResult demo = testing_support::run_process(
      {"/usr/bin/env", "DEMO_SECONDS=1", "DEMO_ROOT=" + root, "bash", PDUD_SOURCE_DIR "/scripts/demo.sh", PDUD_BINARY_DIR});
  const std::string out = demo.out + demo.err;
  ASSERT_EQ(demo.status, 0) << out;
  std::string watts;
  // The summary shows what the daemon wrote to nvram.
  std::ifstream power1(root + "/var/lib/nvram/buffer/Power1");
  ASSERT_TRUE(std::getline(power1, watts)) << "no Power1 in nvram";
  for (const std::string& shown : {std::string("model ZLT8AC"), std::string("nc localhost"), "outlet 1  on   Connected  " + watts})
    EXPECT_NE(out.find(shown), std::string::npos) << shown << " not in\n" << out;
  // Nothing runs on the demo root any more, and its shared memory is gone.
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream in(entry.path() / "cmdline");
    std::string cmdline((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(cmdline.find(root), std::string::npos) << "still running: " << cmdline;
  }
  for (int unit_key : {8891, 8892, 8001}) EXPECT_LT(shmget(ftok(root.c_str(), unit_key & 0xff), 0, 0), 0) << unit_key;
}

}  // namespace
