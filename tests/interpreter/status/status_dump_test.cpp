// Whole status dumps, one per model, fed line by line as the MCU sends them:
// the settings file and nvram afterwards are those of data/ (see its
// README.md; the benchmarks read the same dumps). PDUD_UPDATE_STATUS_DATA=1
// rewrites the expected files (review the difference before committing it).
// And the column tokeniser and row identity that the tables' rows rest on.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "interpreter/common/tokenizer.h"
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
  const struct { const char *dump, *expected, *model; } dumps[] = {
      {"ZLT8AC", "ZLT8AC", "ZLT8AC"}, {"ZLT8ACV", "ZLT8ACV", "ZLT8ACV"}, {"ZLT4AC", "ZLT4AC", "ZLT4AC"},
      {"ZLT4AC2", "ZLT4AC2", "ZLT4AC2"}, {"ZLT4AC2", "ZLT4AC2_ChangeModel2", "ZLT4AC2"},
      {"ZLT2AC", "ZLT2AC", "ZLT2AC"}, {"ZLT8DC", "ZLT8DC", "ZLT8DC"}, {"unknown", "unknown", "ZLT9XX"}};
  for (const auto& c : dumps) {
    SCOPED_TRACE(c.expected);
    testing_support::InterpreterHarness h;
    h.nvram.values["ZLTMerge"] = c.model;
    if (std::string(c.expected).find("ChangeModel2") != std::string::npos) h.nvram.values["ChangeModel2"] = "1";
    std::istringstream dump(read_data(std::string(c.dump) + ".dump"));
    int rows = 0;
    for (std::string line; std::getline(dump, line); ++rows) h.feed(line);
    ASSERT_GT(rows, 40) << "missing dump " << c.dump;
    std::string nvram;
    for (const auto& [key, value] : h.nvram.values) nvram += key + "=" + value + "\n";
    if (std::getenv("PDUD_UPDATE_STATUS_DATA")) {
      std::ofstream(kData + c.expected + ".settings", std::ios::binary) << h.scratch.read("/user/argument.text");
      std::ofstream(kData + c.expected + ".nvram", std::ios::binary) << nvram;
    }
    EXPECT_EQ(h.scratch.read("/user/argument.text"), read_data(std::string(c.expected) + ".settings"));
    EXPECT_EQ(nvram, read_data(std::string(c.expected) + ".nvram"));
    EXPECT_EQ(h.state.CheckStatusMode.load(), 0u);  // every dump ends with a closing row
  }
}

TEST(StatusTokeniser, SplitsRowsIntoColumns) {
  const struct { const char* row; int columns; std::vector<std::string> tokens; } cases[] = {
      {"a  b   c", 3, {"a", "b", "c"}},                   // runs of spaces are one separator
      {" a b", 3, {"", "a", "b"}},                         // a leading space: empty column 0
      {"a b", 4, {"a", "b", "", ""}},                      // short rows give empty columns
      {"a b c d", 2, {"a", "b"}},                          // the rest is never read
      {"a\tb c\r\n", 2, {"a\tb", "c\r\n"}},                // only a space ends a column
      {"123456789012345678901234 x", 2, {"1234567890123456789", "x"}},  // cut at 19, rest consumed
  };
  for (const auto& c : cases) {
    std::vector<std::string> got;
    interp::for_each_column(c.row, c.columns, [&](int column, const char* token) {
      EXPECT_EQ(column, static_cast<int>(got.size()));
      got.emplace_back(token);
    });
    EXPECT_EQ(got, c.tokens) << '"' << c.row << '"';
  }
}

TEST(StatusTokeniser, RowIdentityIsTheFirstNumberContained) {
  const struct { const char* token; int last; bool sys_row; int id; } cases[] = {
      {"3", 9, true, 3},   {"12", 9, true, 1}, {"SYS", 9, true, 10}, {"SYS", 8, true, 9},
      {"9", 8, true, 0},   {"SYS", 8, false, 0}, {"x", 9, true, 0},  {"5", 4, true, 0}};
  for (const auto& c : cases)
    EXPECT_EQ(interp::row_identity(c.token, c.last, c.sys_row), c.id) << c.token << " last " << c.last;
}

}  // namespace
