#include "records/interval_energy.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
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
  struct Case {
    const char* name;
    std::string before;
    unsigned outlet;
    std::string after;
    std::string printed;
  };
  const Case cases[] = {
      {"one outlet", "1 0.5\n2 0.25\n1 0.75\n", 1, "2 0.250000\n", "Cleaned 2 record(s) for outlet 1.\n"},
      {"no record of the outlet", "1 0.5\n2 0.25\n1 0.75\n", 3, "1 0.500000\n2 0.250000\n1 0.750000\n",
       "No record found for outlet 3.\n"},
      {"all outlets", "1 0.5\n2 0.25\n1 0.75\n", 0, "", "Cleaned 3 record(s) for outlet 0.\n"},
      {"empty file", "", 0, "", "No record found for outlet 0.\n"},
      {"any white space between fields", "1\t0.5 2   0.25\n\n3 1e1\n", 2, "1 0.500000\n3 10.000000\n",
       "Cleaned 1 record(s) for outlet 2.\n"},
      {"a line that does not parse ends the reading", "1 0.5\n2 x\n3 0.25\n", 1, "",
       "Cleaned 1 record(s) for outlet 1.\n"},
      {"at most twenty records are kept", numbered_records(25, 4), 5, numbered_records(20, 4),
       "No record found for outlet 5.\n"},
      {"the twenty-first record is not counted", numbered_records(21, 4), 4, "",
       "Cleaned 20 record(s) for outlet 4.\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing_support::InterpreterHarness h;
    h.scratch.write("/user/intervalenergy", c.before);
    EXPECT_EQ(clean_interval_energy(h.ctx, c.outlet), 0);
    EXPECT_EQ(h.scratch.read("/user/intervalenergy"), c.after);
    EXPECT_EQ(h.take_output(), c.printed);
  }
  testing_support::InterpreterHarness h;  // no file: nothing to do, not an error
  EXPECT_EQ(clean_interval_energy(h.ctx, 1), 0);
  EXPECT_EQ(h.take_output(), "");
  EXPECT_FALSE(h.scratch.exists("/user/intervalenergy"));
}

// Run in a child process that cannot write the directory of the file.
TEST(IntervalEnergyDeathTest, FileThatCannotBeRewrittenYieldsMinusOneAndAMessage) {
  testing_support::InterpreterHarness h;
  h.scratch.write("/user/intervalenergy", "1 0.5\n");
  ::chmod(h.scratch.dir().c_str(), 0755);
  ::chmod(h.scratch.path("/user").c_str(), 0555);
  EXPECT_EXIT(
      {
        if (::geteuid() == 0 && ::setuid(65534) != 0) std::_Exit(3);
        std::_Exit(clean_interval_energy(h.ctx, 1) == -1 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "Error: cannot write to /user/intervalenergy\n");
  EXPECT_EQ(h.scratch.read("/user/intervalenergy"), "1 0.5\n");
}

}  // namespace
