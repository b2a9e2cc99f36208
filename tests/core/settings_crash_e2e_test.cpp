// The settings file survives the daemon being killed at any point of a
// stream of status dumps.
#include <gtest/gtest.h>

#include <fstream>
#include <random>
#include <set>
#include <sstream>

#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

std::vector<std::string> dump_lines(bool swapped) {
  std::ifstream in(std::string(PDUD_TEST_DATA) + "/interpreter/status/data/ZLT8AC.dump");
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) {
    // Every other dump switches the outlets, so that values change.
    if (swapped) {
      std::istringstream words(line);
      std::string w, out;
      while (words >> w) out += (out.empty() ? "" : " ") + (w == "ON" ? "OFF" : w == "OFF" ? "ON" : w);
      line = out;
    }
    lines.push_back(line);
  }
  return lines;
}

// The keys of a whole file: every line is KEY=VALUE and ended.
std::set<std::string> keys_of_whole_file(const std::string& text) {
  std::set<std::string> keys;
  if (!text.empty() && text.back() != '\n') ADD_FAILURE() << "cut last line:\n" << text;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    if (line.find('=') == std::string::npos) ADD_FAILURE() << "not a setting: " << line;
    keys.insert(line.substr(0, line.find('=')));
  }
  return keys;
}

TEST(SettingsCrash, KilledDuringDumpsTheFileStaysWholeAndTheDaemonStartsAgain) {
  DaemonHarness d;
  d.nvram_set("ZLTMerge", "ZLT8AC");
  d.settings("HostName=lab\nwan_dhcp_hn=lab\n");
  const std::vector<std::string> dumps[2] = {dump_lines(false), dump_lines(true)};
  d.start();
  for (const auto& line : dumps[0]) d.mcu_send(line + "\r\n");
  ASSERT_TRUE(d.wait_interpreted(dumps[0].back())) << d.output();
  const std::set<std::string> keys = keys_of_whole_file(d.scratch.read("/user/argument.text"));
  ASSERT_GT(keys.size(), 40u);

  std::mt19937 random(12);
  for (int kill = 1; kill <= 30; ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    const auto& dump = dumps[kill % 2];
    for (const auto& line : dump) d.mcu_send(line + "\r\n");
    // Killed once the worker has reached a random row.
    const std::string& row = dump[std::uniform_int_distribution<size_t>(0, dump.size() - 1)(random)];
    EXPECT_TRUE(d.wait_interpreted(row)) << d.output();
    d.kill();
    const std::set<std::string> now = keys_of_whole_file(d.scratch.read("/user/argument.text"));
    for (const auto& key : keys) EXPECT_TRUE(now.count(key)) << "lost " << key;

    // What an interrupted replacement leaves is gone once the daemon is back.
    d.scratch.write("/user/argument.text.tmpAb12Cd", "Half=");
    d.start();
    EXPECT_FALSE(d.scratch.exists("/user/argument.text.tmpAb12Cd"));
  }
  EXPECT_EQ(d.stop(), 0);
}

}  // namespace
