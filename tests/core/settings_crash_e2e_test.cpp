// The settings file survives the daemon being killed at any point of a
// stream of changes.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "support/daemon_harness.h"

namespace {

using namespace testing_support;

TEST(SettingsCrash, KilledWhileChangingSettingsTheFileStaysWholeAndTheDaemonStartsAgain) {
  DaemonHarness d;
  std::vector<std::string> seed;
  std::string text;
  for (int k = 0; k < 40; ++k) text += seed.emplace_back("Key" + std::to_string(k) + "=" + std::string(k, 'v')) + "\n";
  d.scratch.write("/user/argument.text", text);
  std::mt19937 random(12);
  for (int kill = 1; kill <= 20; ++kill) {
    SCOPED_TRACE("kill " + std::to_string(kill));
    d.start();
    // What an interrupted replacement left is gone once the daemon is back.
    EXPECT_FALSE(d.scratch.exists("/user/argument.text.tmpAb12Cd"));
    for (int i = 0; i < 20; ++i)
      d.mcu_send(std::string("[SUCCESS]Set All Outlets ") + (i % 2 ? "ON" : "OFF") +
                 "\r\n[SUCCESS]Set Device Name To Lab" + std::to_string(i) + "\r\n");
    // Killed once the worker has reached a random message.
    EXPECT_TRUE(d.wait_interpreted("[SUCCESS]Set Device Name To Lab" + std::to_string(random() % 20))) << d.output();
    d.stop(SIGKILL);
    text = d.scratch.read("/user/argument.text");
    EXPECT_EQ(text.back(), '\n') << "cut last line:\n" << text;
    std::set<std::string> lines;
    for (const auto& line : d.scratch.lines("/user/argument.text")) {
      EXPECT_NE(line.find('='), std::string::npos) << "not a setting: " << line;
      lines.insert(line);
    }
    for (const auto& line : seed) EXPECT_TRUE(lines.count(line)) << "lost " << line;
    d.scratch.write("/user/argument.text.tmpAb12Cd", "Half=");
  }
}

}  // namespace
