// The settings file as the web pages and scripts read it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "board/files.h"
#include "board/recording.h"
#include "board/settings_file.h"
#include "support/scratch_root.h"

namespace {

constexpr const char* kPath = "/user/argument.text";

struct Store {
  testing_support::ScratchRoot scratch;
  board::Files files{scratch.root()};
  board::SettingsFile settings{files};
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

}  // namespace
