// The trace file's bound (`pdud --trace FILE`; the daemon's end-to-end test reads what it records).
#include <gtest/gtest.h>

#include "board/trace_file.h"
#include "support/scratch_root.h"

namespace {

TEST(Trace, IsBoundedToTwoRotatedFiles) {
  testing_support::ScratchRoot scratch;
  {
    board::TraceFile trace(scratch.path("/trace"), 300);
    ASSERT_TRUE(trace.ok());
    for (int i = 0; i < 40; ++i) trace.line("rx", board::TraceFile::quoted("line " + std::to_string(i) + "\r\n"));
  }
  const std::string now = scratch.read("/trace"), before = scratch.read("/trace.1");
  EXPECT_LE(now.size(), 300u);
  EXPECT_TRUE(!before.empty() && before.size() <= 300u);
  EXPECT_FALSE(scratch.exists("/trace.2"));
  EXPECT_NE(now.find("\"line 39\\r\\n\"\n"), std::string::npos) << now;
}

}  // namespace
