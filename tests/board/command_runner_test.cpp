// The ways commands are carried out: for real and journaled.
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "board/command_runner.h"
#include "support/scratch_root.h"

namespace {

using Argv = std::vector<std::string>;

TEST(ShellQuote, AShellGivesBackTheSameArguments) {
  const Argv args = {"", "plain-word_1.2/x=y:z,a@b%c+d", "it's", "\"q\"", "$(id)", "`id`", "a\\b", "a;b|c&d",
                     "tab\there", "new\nline", "*", "~"};
  EXPECT_EQ(board::shell_line({"echo", "a b", "c=d"}), "echo 'a b' c=d");  // plain words stay bare
  std::string expected;
  for (const auto& a : args) expected += "<" + a + ">";
  board::Capture c = board::SystemRunner().capture({"/bin/sh", "-c", "printf '<%s>' " + board::shell_line(args)});
  EXPECT_EQ(std::to_string(c.status) + c.output, "0" + expected);
}

TEST(SystemRunner, StatusesAndOutput) {
  board::SystemRunner runner;  // that spawn runs no shell, the trap sent to a real receiver shows
  EXPECT_EQ(runner.run("exit 3"), 3);
  EXPECT_EQ(runner.run("kill -9 $$"), 128 + 9);
  EXPECT_NE(runner.spawn({"/no/such/program"}), 0);
  EXPECT_NE(runner.capture({"/no/such/program"}).status, 0);
  EXPECT_EQ(runner.spawn({}), -1);
  EXPECT_EQ(runner.capture({}).status, -1);
  // A signal that interrupts the wait does not lose the status.
  struct sigaction on{}, old{};
  on.sa_handler = [](int) {};
  ASSERT_EQ(::sigaction(SIGUSR1, &on, &old), 0);  // no SA_RESTART
  EXPECT_EQ(runner.spawn({"/bin/sh", "-c", "kill -USR1 $PPID; exit 7"}), 7);
  // The standard output only, however long.
  board::Capture c = runner.capture({"/bin/sh", "-c", "kill -USR1 $PPID; echo err >&2; i=0; "
                                                      "while [ $i -lt 20000 ]; do echo 0123456789; i=$((i+1)); done; exit 2"});
  ::sigaction(SIGUSR1, &old, nullptr);
  EXPECT_EQ(c.status, 2);
  EXPECT_EQ(c.output.size(), 220000u);
  EXPECT_EQ(c.output.find_first_not_of("0123456789\n"), std::string::npos);
}

TEST(JournalRunner, AppendsCommandLinesAndRunsNothing) {
  testing_support::ScratchRoot scratch;
  board::JournalRunner runner(scratch.root());
  const std::string marker = scratch.path("/ran");
  EXPECT_EQ(runner.run("touch '" + marker + "'") + runner.spawn({"touch", marker}), 0);
  board::Capture c = runner.capture({"/bin/aes.sh", "-e", "it's"});
  EXPECT_EQ(std::to_string(c.status) + c.output, "-1");
  EXPECT_FALSE(scratch.exists("/ran"));
  EXPECT_EQ(scratch.lines("/var/log/commands.log"),
            (Argv{"touch '" + marker + "'", "touch " + marker, "/bin/aes.sh -e 'it'\\''s'"}));
}

}  // namespace
