// Whole status dumps, one per model, fed line by line as the MCU sends them;
// the settings file and nvram afterwards are compared with the expected files
// in data/. Set PDUD_UPDATE_STATUS_DATA=1 to rewrite the expected files from
// the current behaviour (then review the difference before committing it).
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "support/interpreter_harness.h"

namespace {

const std::string kDataDir = std::string(PDUD_TEST_DATA) + "/interpreter/status/data/";

std::string read_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

const struct { const char* dump; const char* expected; const char* model; bool change_model2; } kDumps[] = {
    {"ZLT8AC", "ZLT8AC", "ZLT8AC", false},   {"ZLT8ACV", "ZLT8ACV", "ZLT8ACV", false},
    {"ZLT4AC", "ZLT4AC", "ZLT4AC", false},   {"ZLT4AC2", "ZLT4AC2", "ZLT4AC2", false},
    {"ZLT4AC2", "ZLT4AC2_ChangeModel2", "ZLT4AC2", true},
    {"ZLT2AC", "ZLT2AC", "ZLT2AC", false},   {"ZLT8DC", "ZLT8DC", "ZLT8DC", false},
    {"unknown", "unknown", "ZLT9XX", false},
};

TEST(StatusDump, EachModelsDumpGivesItsSettingsFileAndNvram) {
  const bool update = std::getenv("PDUD_UPDATE_STATUS_DATA") != nullptr;
  for (const auto& c : kDumps) {
    SCOPED_TRACE(c.expected);
    testing_support::InterpreterHarness h;
    h.set_model(c.model);
    if (c.change_model2) h.nvram.values["ChangeModel2"] = "1";
    std::istringstream dump(read_text(kDataDir + c.dump + ".dump"));
    int rows = 0;
    for (std::string line; std::getline(dump, line); ++rows) h.feed(line);
    ASSERT_GT(rows, 40) << "missing dump " << c.dump;

    const std::string settings = h.scratch.read("/user/argument.text");
    std::string nvram;
    for (const auto& [key, value] : h.nvram.values) nvram += key + "=" + value + "\n";
    if (update) {
      std::ofstream(kDataDir + c.expected + ".settings", std::ios::binary) << settings;
      std::ofstream(kDataDir + c.expected + ".nvram", std::ios::binary) << nvram;
    }
    EXPECT_EQ(settings, read_text(kDataDir + c.expected + ".settings"));
    EXPECT_EQ(nvram, read_text(kDataDir + c.expected + ".nvram"));
    // Every dump ends with a closing row.
    EXPECT_EQ(h.state.CheckStatusMode.load(), 0u);
  }
}

}  // namespace
