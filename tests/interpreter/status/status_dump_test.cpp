// Whole status dumps, one per model, fed line by line as the MCU sends them:
// the settings file and nvram afterwards are those of data/ (see its
// README.md; the benchmarks read the same dumps). PDUD_UPDATE_STATUS_DATA=1
// rewrites the expected files (review the difference before committing it).
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

#include "support/interpreter_harness.h"

namespace {

const std::string kData = std::string(PDUD_TEST_DATA) + "/interpreter/status/data/";

std::string read_data(const std::string& name) {
  std::ifstream in(kData + name, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST(StatusDump, EachModelsDumpGivesItsSettingsFileAndNvram) {
  // The expected files' names: the dump's, or the dump's and the nvram set before.
  for (std::string expected : {"ZLT8AC", "ZLT8ACV", "ZLT4AC", "ZLT4AC2", "ZLT4AC2_ChangeModel2", "ZLT2AC", "ZLT8DC", "unknown"}) {
    SCOPED_TRACE(expected);
    testing_support::InterpreterHarness h;
    const std::string dump_name = expected.substr(0, expected.find('_'));
    h.nvram.values["ZLTMerge"] = dump_name == "unknown" ? "ZLT9XX" : dump_name;
    if (expected != dump_name) h.nvram.values[expected.substr(expected.find('_') + 1)] = "1";
    std::istringstream dump(read_data(dump_name + ".dump"));
    int rows = 0;
    for (std::string line; std::getline(dump, line); ++rows) h.feed(line);
    ASSERT_GT(rows, 40) << "missing dump " << dump_name;
    std::string nvram;
    for (const auto& [key, value] : h.nvram.values) nvram += key + "=" + value + "\n";
    if (std::getenv("PDUD_UPDATE_STATUS_DATA")) {
      std::ofstream(kData + expected + ".settings", std::ios::binary) << h.scratch.read("/user/argument.text");
      std::ofstream(kData + expected + ".nvram", std::ios::binary) << nvram;
    }
    EXPECT_EQ(h.scratch.read("/user/argument.text"), read_data(expected + ".settings"));
    EXPECT_EQ(nvram, read_data(expected + ".nvram"));
    EXPECT_EQ(h.state.CheckStatusMode.load(), 0u);  // every dump ends with a closing row
  }
}

}  // namespace
