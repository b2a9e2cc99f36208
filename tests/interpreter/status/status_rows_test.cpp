// The column tokeniser of status rows and the row identity; the rows
// themselves are in status/cases/status.cases and the whole dumps.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interpreter/common/tokenizer.h"

namespace {

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
      {"9", 8, true, 0},   {"SYS", 8, false, 0}, {"x", 9, true, 0},  {"5", 4, true, 0},
  };
  for (const auto& c : cases)
    EXPECT_EQ(interp::row_identity(c.token, c.last, c.sys_row), c.id) << c.token << " last " << c.last;
}

}  // namespace
