// The board layer: the settings file as the web pages and scripts read it, the
// host nvram store shared with the pdu-nvram tool, the MCU line, and commands
// carried out for real.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "board/command_runner.h"
#include "board/files.h"
#include "board/mcu_line.h"
#include "board/nvram.h"
#include "board/recording.h"
#include "board/serial_port.h"
#include "board/settings_file.h"
#include "support/board_process.h"
#include "support/scratch_root.h"

namespace {

using testing_support::run_built_program;
using Argv = std::vector<std::string>;

constexpr const char* kPath = "/user/argument.text";

// A scratch root's settings file and host nvram, and the pdu-nvram tool on it.
struct Store {
  testing_support::ScratchRoot scratch;
  board::Files files{scratch.root()};
  board::SettingsFile settings{files};
  board::HostNvram nvram{scratch.root()};
  testing_support::ProcessResult tool(std::vector<std::string> args) const {
    args.insert(args.begin(), {"--root", scratch.dir()});
    return run_built_program("pdu-nvram", args);
  }
};

// One message's changes, as the worker makes them: a transaction, then commit.
struct Op {
  char kind;  // s set, u update_config, f set_formatted, m set_mismatched, r remove, a append
  std::string key, value;
  bool done = true;  // what the call says
};

bool apply(board::SettingsFile& s, const Op& op) {
  switch (op.kind) {
    case 's': return s.set(op.key, op.value);
    case 'u': return s.update_config(op.key, op.value) == 0;
    case 'f': return s.set_formatted(op.key, op.value);
    case 'm': return s.set_mismatched("sensorm2invalue", op.key, op.value);
    case 'r': return s.remove(op.key);
    default: return s.append(op.key, op.value);
  }
}

// One change alone, and a message's changes written once at its end. The
// anchored delete (update_config) and the formatted one (set_formatted) at
// their buffer limits: an echo line of 127 / 99 characters and a delete line
// of 127 / 63 fit, one more does not; a part that does not fit is not done.
TEST(SettingsFile, ChangesAndOneWritePerMessage) {
  const size_t sed = std::strlen("sed -i '/=/d' /user/argument.text");
  auto value = [](const std::string& key, size_t echo_length) {  // the echo line is echo_length long
    return std::string(echo_length - std::strlen("echo '=' >> /user/argument.text") - key.size(), 'v');
  };
  // k fits everywhere; the anchored delete of a and the plain one of f are 128 and 64 long, that of g 63.
  const std::string k = "sensor12trigger", a(127 - sed, 'a'), f(64 - sed, 'f'), g(63 - sed, 'g');
  const std::string old = a + "=old\n" + f + "=old\n" + g + "=old\n", whole = k + "=old\n" + old;
  const struct { const char* name; std::string before; std::vector<Op> ops; std::string after; uint64_t writes; } cases[] = {
      {"anchored, 127", whole, {{'u', k, value(k, 127)}}, old + k + "=" + value(k, 127) + "\n", 1},
      {"anchored, 128", whole, {{'u', k, value(k, 128), false}}, old, 1},
      {"anchored delete too long", whole, {{'u', a, "1"}}, whole + a + "=1\n", 1},
      {"formatted, 99", whole, {{'f', k, value(k, 99)}}, old + k + "=" + value(k, 99) + "\n", 1},
      {"formatted, 100", whole, {{'f', k, value(k, 100), false}}, old, 1},
      {"formatted delete, 63", whole, {{'f', g, "1"}}, k + "=old\n" + a + "=old\n" + f + "=old\n" + g + "=1\n", 1},
      {"formatted delete, 64", whole, {{'f', f, "1"}}, whole + f + "=1\n", 1},
      {"plain delete takes longer keys and values holding KEY=", "XPower=1\nNote=Power=3\nPower=0\nPowerMode5v=1\n",
       {{'s', "Power", "1"}}, "PowerMode5v=1\nPower=1\n", 1},
      {"anchored delete keeps longer keys", "XPower=1\nPower=0\nsensor11delay1=5\nNote=Power=3\n",
       {{'u', "Power", "1"}}, "XPower=1\nsensor11delay1=5\nNote=Power=3\nPower=1\n", 1},
      {"an empty key's delete takes every line", "A=\nB=2\n", {{'s', "", "x"}}, "=x\n", 1},
      {"a key held twice ends up once", "A=1\nA=1\n", {{'s', "A", "1"}}, "A=1\n", 1},
      {"values cut at LF or CR", "", {{'s', "HostName", "Lab\nZLTMerge=evil"}, {'s', "T", "1\rx"}}, "HostName=Lab\nT=1\n", 1},
      {"last line without newline", "A=1", {{'s', "B", "2"}}, "A=1\nB=2\n", 1},
      {"remove takes longer keys too, append cuts at LF", "Power=1\nA=2\nXPower=3\n",
       {{'r', "Power", ""}, {'a', "A", "5\nB=6"}}, "A=2\nA=5\n", 1},
      {"the mismatched delete takes the key it names", "sensorm2invalue=9\nA=1\n", {{'m', "sensor2minvalue", "4"}},
       "A=1\nsensor2minvalue=4\n", 1},
      {"one key set twice: the last value, once", "A=1\nB=2\n", {{'s', "A", "3"}, {'s', "A", "4"}},
       "B=2\nA=4\n", 1},
      {"nothing changes: nothing written", "A=1\nXPower=1\nPower=0\n",
       {{'s', "A", "1"}, {'u', "Power", "0"}, {'f', "A", "1"}}, "A=1\nXPower=1\nPower=0\n", 0},
      {"changed and changed back: nothing written", "A=1\nB=2\n", {{'s', "A", "5"}, {'s', "A", "1"}},
       "A=1\nB=2\n", 0},
      {"an unchanged line keeps its place, a changed one moves", "A=1\nB=2\nC=3\n",
       {{'s', "A", "1"}, {'s', "B", "9"}}, "A=1\nC=3\nB=9\n", 1},
      {"removed and appended again unchanged", "HostName=x\nwan_dhcp_hn=x\nT=1\n",
       {{'r', "wan_dhcp_hn", ""}, {'r', "HostName", ""}, {'a', "wan_dhcp_hn", "x"}, {'a', "HostName", "x"}},
       "HostName=x\nwan_dhcp_hn=x\nT=1\n", 0},
      {"the mismatched delete still collects lines", "sensor2minvalue=1\n",
       {{'m', "sensor2minvalue", "1"}, {'m', "sensor2minvalue", "1"}},
       "sensor2minvalue=1\nsensor2minvalue=1\nsensor2minvalue=1\n", 1},
      {"a later delete takes an earlier append", "A=1\n", {{'a', "B", "2"}, {'r', "B", ""}}, "A=1\n", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Store s;
    s.scratch.write(kPath, c.before);
    {
      board::SettingsFile::Transaction message(s.settings);
      for (const Op& op : c.ops) EXPECT_EQ(apply(s.settings, op), op.done) << op.key.substr(0, 20);
      EXPECT_EQ(s.scratch.read(kPath), c.before) << "nothing is written before the message ends";
    }
    EXPECT_EQ(s.scratch.read(kPath), c.after);
    EXPECT_EQ(s.settings.commit_count(), c.writes);
  }
}

// Other programs change the file too: it is read again before a change, and a
// damaged file (a NUL byte) is searched whole. The replacement keeps the mode.
TEST(SettingsFile, IsReadAgainBeforeAChange) {
  Store s;
  s.settings.set("B", "2");  // the file is created
  EXPECT_EQ(s.scratch.read(kPath), "B=2\n");
  s.scratch.write(kPath, std::string("A=x\0y\nB=2\nC=3\n", 14));
  ASSERT_EQ(::chmod(s.settings.path().c_str(), 0600), 0);
  EXPECT_TRUE(s.settings.set("B", "4"));
  EXPECT_EQ(s.scratch.read(kPath), std::string("A=x\0y\nC=3\nB=4\n", 14));
  struct stat st;
  ASSERT_EQ(::stat(s.settings.path().c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
}

// A program run in a message sees the changes made before it; nothing new, nothing written.
TEST(SettingsFile, ProgramsRunInAMessageSeeTheEarlierChanges) {
  Store s;
  s.scratch.write(kPath, "A=1\nB=2\n");
  board::RecordingRunner programs;
  board::SettingsFlushingRunner runner(programs, s.settings);
  board::SettingsFile::Transaction message(s.settings);
  s.settings.set("A", "5");
  runner.run("/sbin/internet.sh");
  EXPECT_EQ(s.scratch.read(kPath), "B=2\nA=5\n");
  s.settings.set("B", "6");
  runner.spawn({"snmptrap", "x"});
  EXPECT_EQ(s.scratch.read(kPath), "A=5\nB=6\n");
  s.settings.set("A", "7");
  runner.capture({"/bin/aes.sh"});
  runner.capture({"/bin/aes.sh"});
  EXPECT_EQ(s.scratch.read(kPath), "B=6\nA=7\n");
  EXPECT_EQ(std::to_string(programs.lines.size()) + " " + std::to_string(s.settings.commit_count()), "4 3");
}

// Each write step of a commit fails in turn and stays failing, as in sqlite's
// I/O-error tests: the file is then always a whole one, no temporary file is
// left, one line is printed for the episode, and once the disk is back the
// next write carries every kept change.
TEST(SettingsFile, FailedWritesKeepTheirChangesForTheNext) {
  const std::string before = "HostName=Old\nSEG7=1\n", after = "HostName=Lab\nSEG7=0\n";
  for (long step = 1; step <= 5; ++step) {
    SCOPED_TRACE("failing from step " + std::to_string(step));
    Store s;
    s.scratch.write(kPath, before);
    std::FILE* out = std::tmpfile();
    board::SettingsFile settings(s.files, kPath, out);
    s.files.inject_fault(step, ENOSPC, true);
    for (bool first : {true, false}) {
      board::SettingsFile::Transaction message(settings);
      first ? settings.set("HostName", "Lab") : settings.update_config("SEG7", "0");
    }
    const std::string seen = s.scratch.read(kPath);
    EXPECT_TRUE(seen == before || seen == "SEG7=1\nHostName=Lab\n") << seen;
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(s.scratch.path("/user")), {}), 1);
    const uint64_t failed = settings.failed_commit_count();
    EXPECT_GE(failed, 1u);
    s.files.clear_fault();
    { board::SettingsFile::Transaction message(settings); }
    EXPECT_EQ(s.scratch.read(kPath), after);
    std::string printed(512, '\0');
    printed.resize(static_cast<size_t>(::pread(fileno(out), printed.data(), printed.size(), 0)));
    std::fclose(out);
    EXPECT_EQ(printed, "pdud: /user/argument.text not written: " + std::string(std::strerror(ENOSPC)) +
                           " (first key " + (failed == 2 ? "HostName" : "SEG7") + "); the changes are kept for the next write\n");
  }
}

// An append on a full disk leaves no partial line.
TEST(Files, AFailedAppendLeavesNoPartialLine) {
  Store s;
  s.scratch.write("/user/ZLT.log", "first.\n");
  s.files.inject_fault(1, ENOSPC);
  int error = 0;
  EXPECT_FALSE(s.files.append("/user/ZLT.log", "2026-11-22 System Warning: a long event text.\n", &error));
  EXPECT_EQ(error, ENOSPC);
  EXPECT_TRUE(s.files.append("/user/ZLT.log", "next.\n"));
  EXPECT_EQ(s.scratch.read("/user/ZLT.log"), "first.\nnext.\n");
}

// Odd keys and values go both ways between the library and the tool; a
// half-written temporary file is no key, an undecodable name one as it stands.
TEST(HostNvram, LibraryAndToolSeeEachOthersValues) {
  Store s;
  for (const std::string& value : {std::string(3000, 'z'), std::string("line one\nline two"),
                                   std::string("trailing newline\n"), std::string("it's \"q\" $x"), std::string()}) {
    SCOPED_TRACE(value.substr(0, 40));
    s.nvram.set("TitleLabel", value);
    EXPECT_EQ(s.tool({"get", "TitleLabel"}).out, value + "\n");
    ASSERT_EQ(s.tool({"set", "Other", value}).status, 0);
    EXPECT_EQ(board::HostNvram(s.scratch.root()).get("Other"), value);
  }
  for (const std::string& key : std::vector<std::string>{"a/b", "100%", ".hidden", "..", "with space"}) {
    ASSERT_EQ(s.tool({"set", key, "v-" + key}).status, 0);
    EXPECT_EQ(s.nvram.get(key), "v-" + key);
  }
  s.scratch.write("/var/lib/nvram/buffer/odd%zz", "1");
  s.scratch.write("/var/lib/nvram/buffer/Key.tmpAbC123", "half");
  EXPECT_EQ(s.tool({"show"}).out, "..=v-..\n.hidden=v-.hidden\n100%=v-100%\nOther=\nTitleLabel=\na/b=v-a/b\n"
                                  "odd%zz=1\nwith space=v-with space\n");
}

TEST(HostNvram, HeldValuesBadKeysAndCommit) {
  Store s;
  // The value already held is not written again: the key's file stays the same file.
  auto inode = [&] {
    struct stat st {};
    return ::stat(s.scratch.path("/var/lib/nvram/buffer/Power").c_str(), &st) == 0 ? st.st_ino : 0;
  };
  s.nvram.set("Power", "1");
  const auto first = inode();
  s.nvram.set("Power", "1");
  EXPECT_EQ(inode(), first);
  s.nvram.set("Power", "0");
  EXPECT_NE(inode(), first);
  s.nvram.set("", "x");  // no such key
  EXPECT_EQ(s.nvram.get(""), std::nullopt);
  s.nvram.set("ZLTMerge", std::string("ZLT8AC\0cd", 9));  // a value ends at a NUL
  EXPECT_EQ(s.nvram.model(), "ZLT8AC");
  // A commit copies the buffer, by the tool or by the library.
  EXPECT_EQ(s.tool({"commit"}).status, 0);
  EXPECT_EQ(s.scratch.read("/var/lib/nvram/committed/Power"), "0");
  s.nvram.set("Power", "3");
  s.nvram.commit();
  EXPECT_EQ(s.scratch.read("/var/lib/nvram/committed/Power") + s.scratch.read("/var/lib/nvram/committed/ZLTMerge"),
            "3ZLT8AC");
}

TEST(SerialPort, TheLineTakesTheSpeedStopBitsAndRawMode) {
  const struct { int speed, bits; char parity; int stop; speed_t rate; tcflag_t stop_flag; } cases[] = {
      {115200, 8, 'N', 1, B115200, 0}, {2400, 7, 'E', 2, B2400, CSTOPB}, {4800, 8, 'O', 1, B4800, 0},
      {57600, 8, 'N', 1, B9600, 0}};  // any other speed: 9600
  // One line for every row: each setting replaces the one before it whole.
  int master = ::posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_TRUE(master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0);
  int fd = ::open(::ptsname(master), O_RDWR | O_NOCTTY);
  ASSERT_GE(fd, 0);
  for (const auto& c : cases) {
    ASSERT_EQ(board::set_opt(fd, c.speed, c.bits, c.parity, c.stop, stdout), 0) << c.speed;
    termios t{};
    ASSERT_EQ(::tcgetattr(fd, &t), 0);
    EXPECT_EQ(::cfgetospeed(&t), c.rate) << c.speed;
    EXPECT_EQ(::cfgetispeed(&t), c.rate) << c.speed;
    EXPECT_EQ(t.c_cflag & CSTOPB, c.stop_flag) << c.speed;
    EXPECT_EQ(t.c_lflag & (ICANON | ECHO), 0u) << c.speed;
    EXPECT_EQ(t.c_cc[VMIN], 0);
  }
  ::close(fd);
  ::close(master);
}

int pipe_fds[2];

// A signal during the wait is no failure; a descriptor in error is one, and
// says so. Descriptor 0 is a line like any other (a daemon started without
// standard input).
TEST(SerialLine, WaitsThroughSignalsNamesAFailureAndWritesOnAnyDescriptor) {
  ASSERT_EQ(::pipe2(pipe_fds, O_NONBLOCK), 0);
  struct sigaction on{}, old{};
  on.sa_handler = [](int) { (void)!::write(pipe_fds[1], "x", 1); };  // the data comes with the signal
  ASSERT_EQ(::sigaction(SIGALRM, &on, &old), 0);
  itimerval once{{0, 0}, {0, 50000}};
  ::setitimer(ITIMER_REAL, &once, nullptr);
  board::SerialSource line(pipe_fds[0]);
  EXPECT_EQ(line.wait(10000), board::ByteSource::Wait::Data) << line.failure();
  ::sigaction(SIGALRM, &old, nullptr);
  char got[16] = "";
  EXPECT_EQ(::read(pipe_fds[0], got, sizeof got), 1);
  const int saved = ::dup(0);
  ASSERT_EQ(::dup2(pipe_fds[1], 0), 0);
  board::SerialMcuLine mcu;
  mcu.set_fd(0);
  EXPECT_EQ(mcu.write("GUISTATUS\r\n", 11), 11);
  ::dup2(saved, 0);
  ::close(saved);
  EXPECT_EQ(::read(pipe_fds[0], got, sizeof got), 11);
  ::close(pipe_fds[0]);  // the write end of a pipe nobody reads is in error
  board::SerialSource broken(pipe_fds[1]);
  EXPECT_EQ(broken.wait(0), board::ByteSource::Wait::Failed);
  EXPECT_EQ(broken.failure(), "POLLERR");
  ::close(pipe_fds[1]);
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

}  // namespace
