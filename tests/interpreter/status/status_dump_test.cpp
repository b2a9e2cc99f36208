// Whole status dumps, one per model, fed line by line as the MCU sends them;
// the settings file and nvram afterwards are compared with the expected files
// in data/. Set PDUD_UPDATE_STATUS_DATA=1 to rewrite the expected files from
// the current behaviour (then review the difference before committing it).
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/interpreter_harness.h"

namespace {

const std::string kDataDir = std::string(PDUD_TEST_DATA) + "/interpreter/status/data/";

std::string read_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<std::string> dump_lines(const std::string& name) {
  std::vector<std::string> lines;
  std::istringstream in(read_text(kDataDir + name + ".dump"));
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::string nvram_text(const testing_support::MemoryNvram& nvram) {
  std::string text;
  for (const auto& [key, value] : nvram.values) text += key + "=" + value + "\n";
  return text;
}

struct DumpCase {
  const char* dump;      // data/<dump>.dump
  const char* expected;  // data/<expected>.settings and .nvram
  const char* model;
  const char* change_model2;  // null: absent
};

const DumpCase kDumps[] = {
    {"ZLT8AC", "ZLT8AC", "ZLT8AC", nullptr},
    {"ZLT8ACV", "ZLT8ACV", "ZLT8ACV", nullptr},
    {"ZLT4AC", "ZLT4AC", "ZLT4AC", nullptr},
    {"ZLT4AC2", "ZLT4AC2", "ZLT4AC2", nullptr},
    {"ZLT4AC2", "ZLT4AC2_ChangeModel2", "ZLT4AC2", "1"},
    {"ZLT2AC", "ZLT2AC", "ZLT2AC", nullptr},
    {"ZLT8DC", "ZLT8DC", "ZLT8DC", nullptr},
    {"unknown", "unknown", "ZLT9XX", nullptr},
};

TEST(StatusDump, EachModelsDumpGivesItsSettingsFileAndNvram) {
  const bool update = std::getenv("PDUD_UPDATE_STATUS_DATA") != nullptr;
  for (const DumpCase& c : kDumps) {
    SCOPED_TRACE(c.expected);
    testing_support::InterpreterHarness h;
    h.set_model(c.model);
    if (c.change_model2) h.nvram.values["ChangeModel2"] = c.change_model2;
    const auto lines = dump_lines(c.dump);
    ASSERT_GT(lines.size(), 40u) << "missing dump " << c.dump;
    for (const auto& line : lines) EXPECT_EQ(h.feed(line), 0) << line;

    const std::string settings = h.scratch.read("/user/argument.text");
    const std::string nvram = nvram_text(h.nvram);
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
