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
  board::SystemRunner runner;
  board::Capture c = runner.capture({"/bin/sh", "-c", "printf '<%s>' " + board::shell_line(args)});
  EXPECT_EQ(c.status, 0);
  std::string expected;
  for (const auto& a : args) expected += "<" + a + ">";
  EXPECT_EQ(c.output, expected);
}

TEST(SystemRunner, StatusesAndOutput) {
  testing_support::ScratchRoot scratch;
  board::SystemRunner runner;
  EXPECT_EQ(runner.run("exit 3"), 3);
  EXPECT_EQ(runner.run("kill -9 $$"), 128 + 9);
  // spawn runs no shell: the words stay whole.
  EXPECT_EQ(runner.spawn({"touch", scratch.path("/it's"), scratch.path("/a b;c")}), 0);
  EXPECT_TRUE(scratch.exists("/it's") && scratch.exists("/a b;c") && !scratch.exists("/a"));
  EXPECT_NE(runner.spawn({scratch.path("/no-such-program")}), 0);
  EXPECT_EQ(runner.spawn({}), -1);
  // A signal that interrupts the wait does not lose the status.
  struct sigaction on{}, old{};
  on.sa_handler = [](int) {};
  ASSERT_EQ(::sigaction(SIGUSR1, &on, &old), 0);  // no SA_RESTART
  EXPECT_EQ(runner.spawn({"/bin/sh", "-c", "kill -USR1 $PPID; exit 7"}), 7);
  EXPECT_EQ(runner.capture({"/bin/sh", "-c", "kill -USR1 $PPID; echo out; exit 2"}).status, 2);
  ::sigaction(SIGUSR1, &old, nullptr);

  std::string large;
  for (int i = 0; i < 20000; ++i) large += "0123456789\n";
  struct Case {
    Argv argv;
    int status;
    std::string output;
  } cases[] = {
      {{"/bin/sh", "-c", "echo err >&2; echo out; exit 2"}, 2, "out\n"},  // standard error not taken
      {{"/bin/sh", "-c", "i=0; while [ $i -lt 20000 ]; do echo 0123456789; i=$((i+1)); done"}, 0, large},
      {{}, -1, ""},
  };
  for (const auto& c : cases) {
    board::Capture got = runner.capture(c.argv);
    EXPECT_EQ(got.status, c.status);
    EXPECT_EQ(got.output, c.output);
  }
  EXPECT_NE(runner.capture({"/no/such/program"}).status, 0);
}

TEST(JournalRunner, AppendsCommandLinesAndRunsNothing) {
  testing_support::ScratchRoot scratch;
  board::JournalRunner runner(scratch.root());
  const std::string marker = scratch.path("/ran");
  EXPECT_EQ(runner.run("touch '" + marker + "'"), 0);
  EXPECT_EQ(runner.spawn({"touch", marker}), 0);
  board::Capture c = runner.capture({"/bin/aes.sh", "-e", "it's"});
  EXPECT_EQ(c.status, -1);
  EXPECT_EQ(c.output, "");
  EXPECT_FALSE(scratch.exists("/ran"));
  EXPECT_EQ(scratch.lines("/var/log/commands.log"),
            (Argv{"touch '" + marker + "'", "touch " + marker, "/bin/aes.sh -e 'it'\\''s'"}));
}

}  // namespace
