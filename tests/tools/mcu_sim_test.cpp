// pdu-mcu-sim speaks the daemon's vocabulary: every answer it gives is a line
// that MachineCommunication_RV470 acts on, and its status dumps fill the same
// keys as the dumps of a real unit. `make demo` runs end to end.
#include <sys/ipc.h>
#include <sys/shm.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <iterator>
#include <memory>
#include <set>

#include "mcu-sim/mcu_model.h"
#include "support/interpreter_harness.h"

using testing_support::InterpreterHarness;

namespace {

const char* const kModels[] = {"ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT2AC", "ZLT8DC"};

// A unit with some energy records and a known energy start, so that the
// clean-up commands have something to act on.
const char kRecords[] = "1 2.000000\n2 1.500000\n";

std::unique_ptr<InterpreterHarness> interpret(const std::string& model, const mcusim::Lines& lines) {
  auto h = std::make_unique<InterpreterHarness>();
  h->set_model(model);
  h->nvram.values["Energymeasured2"] = "2024-05-01 12:00:00";
  h->feed_all(lines);
  return h;
}

// Anything the interpreter does to the unit while `f` runs.
bool acted(InterpreterHarness& h, const std::function<void()>& f) {
  h.scratch.write("/user/intervalenergy", kRecords);
  const size_t sets = h.nvram.set_order.size(), runs = h.runner.lines.size(), writes = h.mcu.writes.size();
  f();
  return h.nvram.set_order.size() > sets || h.runner.lines.size() > runs || h.mcu.writes.size() > writes ||
         h.scratch.read("/user/intervalenergy") != kRecords;
}

std::set<std::string> keys_of_file(const std::string& path) {
  std::set<std::string> keys;
  std::ifstream in(path);
  for (std::string l; std::getline(in, l);)
    if (l.find('=') != std::string::npos) keys.insert(l.substr(0, l.find('=')));
  return keys;
}

// The keys only one of the two sets has, marked + (got) and - (expected).
std::string difference(const std::set<std::string>& got, const std::set<std::string>& expected) {
  std::string out;
  for (const std::string& k : got)
    if (!expected.count(k)) out += " +" + k;
  for (const std::string& k : expected)
    if (!got.count(k)) out += " -" + k;
  return out;
}

TEST(McuSim, EveryCommandFormIsAnsweredWithALineTheInterpreterActsOn) {
  std::map<std::string, int> accepted;
  for (const char* model : {"ZLT8AC", "ZLT8DC"}) {
    auto h = interpret(model, {});
    for (const mcusim::Command& c : mcusim::commands()) {
      mcusim::Mcu mcu(model);
      const mcusim::Lines answers = mcu.handle(c.example);
      ASSERT_FALSE(answers.empty()) << c.example;
      if (answers[0].rfind("[FAIL]Unknown", 0) == 0) continue;  // a form of another model
      ++accepted[c.example];
      EXPECT_TRUE(acted(*h, [&] { h->feed_all(answers); })) << model << ": " << answers[0];
    }
  }
  for (const mcusim::Command& c : mcusim::commands()) EXPECT_GT(accepted[c.example], 0) << c.example;
}

TEST(McuSim, CommandsChangeTheKeysTheyAreAbout) {
  struct Case {
    const char* model;
    const char* command;
    const char* key;
    const char* value;
  };
  const Case cases[] = {
      {"ZLT8AC", "Set Outlet 3 OFF", "Outlet3", "0"},
      {"ZLT8AC", "Set All Outlets OFF", "Outlet8", "0"},
      {"ZLT8AC", "Set Outlet 2 Power_ON Delay 9s", "Powerdelay2", "9s"},
      {"ZLT8AC", "Set Outlet 2 OCDT To 200ms", "OCDT", "0:2:0:0:0:0:0:0"},
      {"ZLT4AC", "Set All Outlets OCDT To 300ms", "OCDT", "3:3:3:3"},
      {"ZLT8AC", "Set RS232 Baud Rate To 38400", "localBaud", "5"},
      {"ZLT8AC", "Set Sensor1 Protocols To Door", "sensorpro1", "4"},
      {"ZLT8AC", "Set Event2 Outlet3 Response Sensor1 Mode To Power OFF", "sensor21output", "11311111"},
      {"ZLT8AC", "Set Event1 Outlet8 Response Sensor2 Trigger To Min-Max", "sensor12trigger", "11111114"},
      {"ZLT8AC", "Set TCP/IP1 IP Address To 10.0.0.9", "wan_ipaddr", "10.0.0.9"},
      {"ZLT8AC", "GetOutletPowerOnTime 3", "Powerdelay3", "3s"},
      {"ZLT8AC", "GetOutletMode 2", "Tipoutlet", "121111111"},
      {"ZLT8AC", "GetRS232Baud", "localBaud", "3"},
      {"ZLT8AC", "GetGroundStatus", "Groundsen", "0"},
      {"ZLT8AC", "GetOutlet 4", "Outlet4", "1"},
      {"ZLT8AC", "SIM GROUND LOST", "Groundsen", "1"},
      {"ZLT8AC", "SIM OVERLOAD 4", "Tipoutlet", "111311111"},
      {"ZLT8AC", ">SetGuiIP 10.0.1.20", "lan_ipaddr", "10.0.1.20"},
      {"ZLT8AC", "NET TCP/IP ENABLE 2", "Enabletcpip", "1"},
      {"ZLT8DC", "Set Outlet 4 Voltage Status 24V", "Dcvoltage", "11151111"},
      {"ZLT8DC", "Set Outlet 8 Voltage Offset To 7", "Maxvotagevalue", "0101010101010107"},
      {"ZLT8DC", "Set System Power OFF", "Outlet5", "0"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.model) + ": " + c.command);
    mcusim::Mcu mcu(c.model);
    EXPECT_EQ(interpret(c.model, mcu.handle(c.command))->nv(c.key), c.value);
  }
}

TEST(McuSim, BadCommandsAreRefusedWithAFailLineAndChangeNothing) {
  for (const char* bad : {"Set Outlet 12 OFF", "Set Outlet 3 DIM", "Set RS232 Baud Rate To 1234", "hello",
                          "Set TCP/IP1 IP Address To 1.2.3.256", "Set Outlet 2 Voltage Status 24V"}) {
    mcusim::Mcu mcu("ZLT8AC");
    const mcusim::Lines dump_before = mcu.status_dump();
    const mcusim::Lines answers = mcu.handle(bad);
    ASSERT_EQ(answers.size(), 1u) << bad;
    EXPECT_EQ(answers[0].rfind("[FAIL]", 0), 0u) << bad;
    EXPECT_EQ(mcu.status_dump().size(), dump_before.size());
    auto h = interpret("ZLT8AC", {});
    EXPECT_FALSE(acted(*h, [&] { h->feed_all(answers); })) << bad;
  }
}

// The simulator's dump fills exactly the keys that a real unit's dump fills
// (the recorded dumps of tests/interpreter/status/data), with its own state.
TEST(McuSim, EachModelsStatusDumpFillsTheKeysOfARealDump) {
  for (const char* model : kModels) {
    SCOPED_TRACE(model);
    mcusim::Mcu mcu(model);
    mcu.handle("Set Outlet 2 OFF");
    mcu.handle("Set Outlet 1 Power_ON Delay 42s");
    auto h = interpret(model, mcu.handle("GUISTATUS"));
    const std::string data = std::string(PDUD_TEST_DATA) + "/interpreter/status/data/" + model;
    std::set<std::string> nvram_keys, settings_keys;
    for (const auto& [key, value] : h->nvram.values) nvram_keys.insert(key);
    nvram_keys.erase("Energymeasured2");
    for (const std::string& l : h->settings_lines()) settings_keys.insert(l.substr(0, l.find('=')));
    EXPECT_EQ(difference(nvram_keys, keys_of_file(data + ".nvram")), "");
    EXPECT_EQ(difference(settings_keys, keys_of_file(data + ".settings")), "");
    if (nvram_keys.size() == 1) continue;  // this model keeps the dump switched off
    EXPECT_EQ(h->nv("Outlet1"), "1");
    EXPECT_EQ(h->nv("Outlet2"), "0");
    EXPECT_EQ(h->nv("Tipoutlet").substr(0, 2), "21");
    EXPECT_EQ(h->nv("Powerdelay1"), "42s");
    EXPECT_EQ(h->nv("Carrent2"), "0.000A");
    EXPECT_NE(h->nv("Carrent1"), "0.000A");
  }
}

TEST(Demo, RunsPrintsTheUnitFromNvramAndLeavesNothingBehind) {
  testing_support::ScratchRoot scratch;
  const std::string root = scratch.dir() + "/demo";
  const std::string cmd = std::string("DEMO_SECONDS=1 DEMO_ROOT=") + root + " bash " + PDUD_SOURCE_DIR +
                          "/scripts/demo.sh " + PDUD_BINARY_DIR + " 2>&1";
  std::FILE* p = popen(cmd.c_str(), "r");
  ASSERT_NE(p, nullptr);
  std::string out;
  char buf[4096];
  for (size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
  const int status = pclose(p);
  ASSERT_EQ(status, 0) << out;
  // The summary shows what the daemon wrote to nvram.
  EXPECT_NE(out.find("model ZLT8AC"), std::string::npos) << out;
  EXPECT_NE(out.find("nc localhost"), std::string::npos) << out;
  std::ifstream power1(root + "/var/lib/nvram/buffer/Power1");
  std::string watts;
  ASSERT_TRUE(std::getline(power1, watts)) << "no Power1 in nvram";
  EXPECT_NE(out.find("outlet 1  on   Connected  " + watts), std::string::npos) << out;
  // Nothing runs on the demo root any more, and its shared memory is gone.
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream in(entry.path() / "cmdline");
    std::string cmdline((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(cmdline.find(root), std::string::npos) << "still running: " << cmdline;
  }
  for (int unit_key : {8891, 8892, 8001}) {
    key_t key = ftok(root.c_str(), unit_key & 0xff);
    EXPECT_LT(shmget(key, 0, 0), 0) << "segment " << unit_key << " left behind";
  }
}

}  // namespace
