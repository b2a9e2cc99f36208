// Whole status dumps, one per model, fed line by line as the MCU sends them:
// the settings file and nvram afterwards are those of data/ (see its
// README.md; the benchmarks read the same dumps). PDUD_UPDATE_STATUS_DATA=1
// rewrites the expected files (review the difference before committing it).
// And the column tokeniser and row identity that the tables' rows rest on.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
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

TEST(StatusTokeniser, SplitsRowsIntoColumnsAndFindsTheRow) {
  // Runs of spaces are one separator; a leading space gives an empty column 0;
  // short rows give empty columns; the rest is never read; only a space ends a
  // column; a column is cut at 19 characters, the rest of it consumed.
  const struct { const char* row; int columns; std::vector<std::string> tokens; } cases[] = {
      {"a  b   c", 3, {"a", "b", "c"}}, {" a b", 3, {"", "a", "b"}}, {"a b", 4, {"a", "b", "", ""}},
      {"a b c d", 2, {"a", "b"}},      {"a\tb c\r\n", 2, {"a\tb", "c\r\n"}},
      {"123456789012345678901234 x", 2, {"1234567890123456789", "x"}}};
  for (const auto& c : cases) {
    std::vector<std::string> got;
    interp::for_each_column(c.row, c.columns, [&](int column, const char* token) {
      EXPECT_EQ(column, static_cast<int>(got.size()));
      got.emplace_back(token);
    });
    EXPECT_EQ(got, c.tokens) << '"' << c.row << '"';
  }
  // A row's identity: the first digit of its first column, up to the last
  // outlet; SYS is the row after the last, where a SYS row counts.
  const struct { const char* token; int last; bool sys_row; int id; } rows[] = {
      {"3", 9, true, 3},   {"12", 9, true, 1}, {"SYS", 9, true, 10}, {"SYS", 8, true, 9},
      {"9", 8, true, 0},   {"SYS", 8, false, 0}, {"x", 9, true, 0},  {"5", 4, true, 0}};
  for (const auto& c : rows)
    EXPECT_EQ(interp::row_identity(c.token, c.last, c.sys_row), c.id) << c.token << " last " << c.last;
}

}  // namespace
