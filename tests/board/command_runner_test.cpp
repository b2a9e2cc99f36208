// The three ways commands are carried out: for real, journaled, recorded.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board/command_runner.h"
#include "support/fakes.h"
#include "support/scratch_root.h"

namespace {

using Argv = std::vector<std::string>;

TEST(ShellQuote, Words) {
  struct QuoteCase {
    std::string arg;
    std::string quoted;
  } cases[] = {
      {"", "''"},
      {"plain-word_1.2/x=y:z,a@b%c+d", "plain-word_1.2/x=y:z,a@b%c+d"},
      {"two words", "'two words'"},
      {"it's", "'it'\\''s'"},
      {"$HOME", "'$HOME'"},
      {"a;b|c&d", "'a;b|c&d'"},
      {"line\nbreak", "'line\nbreak'"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arg);
    EXPECT_EQ(board::shell_quote(c.arg), c.quoted);
  }
  EXPECT_EQ(board::shell_line({"echo", "a b", "c"}), "echo 'a b' c");
}

TEST(ShellQuote, AShellGivesBackTheSameArguments) {
  const Argv args = {"", "it's", "\"q\"", "$(id)", "`id`", "a\\b", "tab\there", "new\nline", "*", "~"};
  board::SystemRunner runner;
  std::string line = "printf '<%s>' " + board::shell_line(args);
  board::Capture c = runner.capture({"/bin/sh", "-c", line});
  EXPECT_EQ(c.status, 0);
  std::string expected;
  for (const auto& a : args) expected += "<" + a + ">";
  EXPECT_EQ(c.output, expected);
}

TEST(SystemRunner, RunsFixedLines) {
  testing_support::ScratchRoot scratch;
  board::SystemRunner runner;
  EXPECT_EQ(runner.run("exit 3"), 3);
  EXPECT_EQ(runner.run("echo hi > '" + scratch.path("/out") + "'"), 0);
  EXPECT_EQ(scratch.read("/out"), "hi\n");
  EXPECT_EQ(runner.run("kill -9 $$"), 128 + 9);
}

TEST(SystemRunner, SpawnRunsNoShell) {
  testing_support::ScratchRoot scratch;
  board::SystemRunner runner;
  EXPECT_EQ(runner.spawn({"touch", scratch.path("/it's"), scratch.path("/a b;c")}), 0);
  EXPECT_TRUE(scratch.exists("/it's"));
  EXPECT_TRUE(scratch.exists("/a b;c"));
  EXPECT_FALSE(scratch.exists("/a"));
  EXPECT_EQ(runner.spawn({"/bin/sh", "-c", "exit 4"}), 4);
  EXPECT_NE(runner.spawn({scratch.path("/no-such-program")}), 0);
  EXPECT_EQ(runner.spawn({}), -1);
}

TEST(SystemRunner, CaptureTakesOutputAndStatus) {
  board::SystemRunner runner;
  std::string large;
  for (int i = 0; i < 20000; ++i) large += "0123456789\n";
  struct CaptureCase {
    const char* name;
    Argv argv;
    int status;
    std::string output;
  } cases[] = {
      {"argument with a quote", {"printf", "%s", "a'b c"}, 0, "a'b c"},
      {"status kept with output", {"/bin/sh", "-c", "echo out; exit 2"}, 2, "out\n"},
      {"standard error not taken", {"/bin/sh", "-c", "echo err >&2; echo out"}, 0, "out\n"},
      {"large output whole", {"/bin/sh", "-c", "i=0; while [ $i -lt 20000 ]; do echo 0123456789; i=$((i+1)); done"},
       0, large},
      {"no output", {"true"}, 0, ""},
      {"no program", {}, -1, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    board::Capture got = runner.capture(c.argv);
    EXPECT_EQ(got.status, c.status);
    EXPECT_EQ(got.output, c.output);
  }
  board::Capture missing = runner.capture({"/no/such/program"});
  EXPECT_NE(missing.status, 0);
  EXPECT_EQ(missing.output, "");
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
  EXPECT_EQ(runner.spawn({"echo", "a b", "$x"}), 0);
  EXPECT_FALSE(scratch.exists("/ran"));
  EXPECT_EQ(scratch.lines("/var/log/commands.log"),
            (Argv{"touch '" + marker + "'", "touch " + marker, "/bin/aes.sh -e 'it'\\''s'",
                  "echo 'a b' '$x'"}));
}

TEST(RecordingRunner, RecordsAndPlaysScriptedCaptures) {
  testing_support::RecordingRunner runner;
  runner.captures.push_back({0, "first"});
  runner.captures.push_back({5, ""});
  EXPECT_EQ(runner.run("ifdown wan"), 0);
  EXPECT_EQ(runner.spawn({"killall", "x y"}), 0);
  board::Capture a = runner.capture({"one"});
  board::Capture b = runner.capture({"two"});
  board::Capture none = runner.capture({"three"});
  EXPECT_EQ(a.status, 0);
  EXPECT_EQ(a.output, "first");
  EXPECT_EQ(b.status, 5);
  EXPECT_EQ(none.status, -1);
  EXPECT_EQ(runner.lines, (Argv{"ifdown wan", "killall 'x y'", "one", "two", "three"}));
  EXPECT_EQ(runner.argvs.size(), 4u);
  EXPECT_EQ(runner.argvs[0], (Argv{"killall", "x y"}));
}

}  // namespace
