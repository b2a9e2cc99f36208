#include "records/interval_energy.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "support/interpreter_harness.h"

namespace {

using records::clean_interval_energy;

std::string numbered_records(int count, int outlet) {
  std::string text;
  for (int i = 1; i <= count; ++i) text += std::to_string(outlet) + " " + std::to_string(i) + ".500000\n";
  return text;
}

TEST(IntervalEnergy, RemovesTheRecordsOfOneOutletOrOfAll) {
  const std::string three = "1 0.5\n2 0.25\n1 0.75\n";
  const struct { std::string before; unsigned outlet; std::string after, printed; } cases[] = {
      {three, 1, "2 0.250000\n", "Cleaned 2 record(s) for outlet 1.\n"},
      {three, 3, "1 0.500000\n2 0.250000\n1 0.750000\n", "No record found for outlet 3.\n"},
      {three, 0, "", "Cleaned 3 record(s) for outlet 0.\n"},
      // Any white space between the fields; a line that does not parse ends the reading.
      {"1\t0.5 2   0.25\n\n3 1e1\n", 2, "1 0.500000\n3 10.000000\n", "Cleaned 1 record(s) for outlet 2.\n"},
      {"1 0.5\n2 x\n3 0.25\n", 1, "", "Cleaned 1 record(s) for outlet 1.\n"},
      // At most twenty records are kept; the twenty-first is not counted.
      {numbered_records(25, 4), 5, numbered_records(20, 4), "No record found for outlet 5.\n"},
      {numbered_records(21, 4), 4, "", "Cleaned 20 record(s) for outlet 4.\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.before);
    testing_support::InterpreterHarness h;
    h.scratch.write("/user/intervalenergy", c.before);
    EXPECT_EQ(clean_interval_energy(h.ctx, c.outlet), 0);
    EXPECT_EQ(h.scratch.read("/user/intervalenergy"), c.after);
    EXPECT_EQ(h.take_output(), c.printed);
  }
}

// No file is nothing to do; a file that cannot be rewritten stays as it was.
TEST(IntervalEnergy, NoFileOrAFailedRewrite) {
  testing_support::InterpreterHarness h;
  EXPECT_EQ(clean_interval_energy(h.ctx, 1), 0);
  EXPECT_FALSE(h.scratch.exists("/user/intervalenergy"));
  h.scratch.write("/user/intervalenergy", "1 0.5\n");
  h.files.inject_fault(1, EIO);
  testing::internal::CaptureStderr();
  EXPECT_EQ(clean_interval_energy(h.ctx, 1), -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: cannot write to /user/intervalenergy\n");
  EXPECT_EQ(h.scratch.read("/user/intervalenergy"), "1 0.5\n");
  EXPECT_EQ(h.take_output(), "");
}

}  // namespace
