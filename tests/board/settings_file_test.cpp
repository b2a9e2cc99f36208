// The settings file as the web pages and scripts read it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "board/files.h"
#include "board/settings_file.h"
#include "support/scratch_root.h"

namespace {

using Lines = std::vector<std::string>;
constexpr const char* kPath = "/user/argument.text";

struct Store {
  testing_support::ScratchRoot scratch;
  board::Files files{scratch.root()};
  board::SettingsFile settings{files};
};

// The unit's command lines, whose lengths decide whether a change fits its buffer.
size_t echo_line(const std::string& key, const std::string& value) {
  return ("echo '" + key + "=" + value + "' >> /user/argument.text").size();
}
size_t sed_line(const std::string& key, bool anchored) {
  return ("sed -i '/" + std::string(anchored ? "^" : "") + key + "=/d' /user/argument.text").size();
}

// A value that makes the echo line exactly `length` characters long.
std::string value_for(const std::string& key, size_t length) {
  return std::string(length - echo_line(key, ""), 'v');
}

// The anchored delete (update_config) and the formatted one (set_formatted)
// at their buffer limits: an echo line of 127 / 99 characters and a delete line
// of 127 / 63 fit, one more does not.
TEST(SettingsFile, CommandLineLimits) {
  const std::string key = "sensor12trigger";
  const std::string long_a(127 - sed_line("", true) + 1, 'a'), long_f(63 - sed_line("", false) + 1, 'f');
  const std::string fit_f(long_f.size() - 1, 'g');
  ASSERT_EQ(sed_line(long_a, true), 128u);
  ASSERT_EQ(sed_line(long_f, false), 64u);
  const Lines kept = {long_a + "=old", long_f + "=old", fit_f + "=old"};  // after key=old
  auto plus = [](Lines l, const std::string& line) {
    l.push_back(line);
    return l;
  };
  const Lines whole = {key + "=old", long_a + "=old", long_f + "=old", fit_f + "=old"};
  struct LimitCase {
    bool formatted;
    std::string key, value;
    bool ok;
    Lines after;
  } cases[] = {
      {false, key, value_for(key, 127), true, plus(kept, key + "=" + value_for(key, 127))},
      {false, key, value_for(key, 128), false, kept},
      {false, long_a, "1", true, plus(whole, long_a + "=1")},  // appended without deleting
      {false, long_a, value_for(long_a, 128), false, whole},
      {true, key, value_for(key, 99), true, plus(kept, key + "=" + value_for(key, 99))},
      {true, key, value_for(key, 100), false, kept},
      {true, fit_f, "1", true, plus({key + "=old", long_a + "=old", long_f + "=old"}, fit_f + "=1")},
      {true, long_f, "1", true, plus(whole, long_f + "=1")},
      {true, long_f, value_for(long_f, 100), false, whole},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.key.substr(0, 20) + (c.formatted ? " formatted " : " anchored ") + std::to_string(c.value.size()));
    Store s;
    std::string before;
    for (const auto& line : whole) before += line + "\n";
    s.scratch.write(kPath, before);
    EXPECT_EQ(c.formatted ? s.settings.set_formatted(c.key, c.value) : s.settings.update_config(c.key, c.value) == 0,
              c.ok);
    EXPECT_EQ(s.scratch.lines(kPath), c.after);
  }
}

// One message's changes, as the worker makes them: a transaction, then commit.
struct Op {
  char kind;  // s set, u update_config, f set_formatted, m set_mismatched, r remove, a append
  const char* key;
  const char* value;
};

void apply(board::SettingsFile& s, const Op& op) {
  switch (op.kind) {
    case 's': s.set(op.key, op.value); break;
    case 'u': s.update_config(op.key, op.value); break;
    case 'f': s.set_formatted(op.key, op.value); break;
    case 'm': s.set_mismatched("sensorm2invalue", op.key, op.value); break;
    case 'r': s.remove(op.key); break;
    case 'a': s.append(op.key, op.value); break;
  }
}

// One change alone, and a message's changes written once at its end.
TEST(SettingsFile, ChangesAndOneWritePerMessage) {
  struct MessageCase {
    const char* name;
    const char* before;  // null: no file yet
    std::vector<Op> ops;
    const char* after;
    uint64_t writes;
  } cases[] = {
      {"changed key moves to the end", "HostName=Old\nwan_dhcp_hn=Old\n", {{'s', "HostName", "Lab"}},
       "wan_dhcp_hn=Old\nHostName=Lab\n", 1},
      {"plain delete takes longer keys and values holding KEY=", "XPower=1\nNote=Power=3\nPower=0\nPowerMode5v=1\n",
       {{'s', "Power", "1"}}, "PowerMode5v=1\nPower=1\n", 1},
      {"anchored delete keeps longer keys", "XPower=1\nPower=0\nsensor11delay1=5\nNote=Power=3\n",
       {{'u', "Power", "1"}}, "XPower=1\nsensor11delay1=5\nNote=Power=3\nPower=1\n", 1},
      {"value cut at LF", "", {{'s', "HostName", "Lab\nZLTMerge=evil"}}, "HostName=Lab\n", 1},
      {"value cut at CR", "", {{'s', "HostName", "Lab\r\n"}}, "HostName=Lab\n", 1},
      {"missing file created", nullptr, {{'s', "SEG7", "1"}}, "SEG7=1\n", 1},
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
    if (c.before) s.scratch.write(kPath, c.before);
    {
      board::SettingsFile::Transaction message(s.settings);
      for (const Op& op : c.ops) apply(s.settings, op);
      EXPECT_EQ(s.scratch.read(kPath), c.before ? c.before : "") << "nothing is written before the message ends";
    }
    EXPECT_EQ(s.scratch.read(kPath), c.after);
    EXPECT_EQ(s.settings.commit_count(), c.writes);
  }
}

// A runner whose program looks at the settings file when it runs.
class FileReadingRunner : public board::CommandRunner {
 public:
  explicit FileReadingRunner(std::string path) : path_(std::move(path)) {}
  int run(const std::string&) override { return seen(); }
  int spawn(const std::vector<std::string>&) override { return seen(); }
  board::Capture capture(const std::vector<std::string>&) override { return {seen(), ""}; }
  std::vector<std::string> files;

 private:
  int seen() {
    files.push_back(board::read_file(path_).value_or("<absent>"));
    return 0;
  }
  std::string path_;
};

TEST(SettingsFile, ProgramsRunInAMessageSeeTheEarlierChanges) {
  Store s;
  s.scratch.write(kPath, "A=1\nB=2\n");
  FileReadingRunner programs(s.settings.path());
  board::SettingsFlushingRunner runner(programs, s.settings);
  {
    board::SettingsFile::Transaction message(s.settings);
    s.settings.set("A", "5");
    runner.run("/sbin/internet.sh");
    runner.spawn({"snmptrap", "x"});  // nothing new: nothing written
    s.settings.set("B", "6");
    runner.capture({"/bin/aes.sh"});
    s.settings.set("B", "6");
  }
  EXPECT_EQ(programs.files, (Lines{"B=2\nA=5\n", "B=2\nA=5\n", "A=5\nB=6\n"}));
  EXPECT_EQ(s.scratch.read(kPath), "A=5\nB=6\n");
  EXPECT_EQ(s.settings.commit_count(), 2u);
}

// What a settings file printed to out (which is closed).
std::string printed_by(std::FILE* out) {
  std::string text;
  std::rewind(out);
  for (int c; (c = std::fgetc(out)) != EOF;) text += static_cast<char>(c);
  std::fclose(out);
  return text;
}

// Every write step of a commit fails once in turn, as in sqlite's I/O-error
// tests: the file is then the old one or the new one, whole, no temporary file
// is left, and the next commit writes what the failed one could not.
TEST(SettingsFile, FailedCommitKeepsItsChangesForTheNext) {
  const std::string before = "HostName=Old\nSEG7=1\n", after = "HostName=Lab\nSEG7=0\n";
  for (long step = 1; step <= 5; ++step) {
    SCOPED_TRACE("failing step " + std::to_string(step));
    Store s;
    s.scratch.write(kPath, before);
    std::FILE* out = std::tmpfile();
    board::SettingsFile settings(s.files, kPath, out);
    s.files.inject_fault(step, ENOSPC);
    settings.begin();
    settings.set("HostName", "Lab");
    settings.update_config("SEG7", "0");
    const bool ok = settings.commit();
    const std::string seen = s.scratch.read(kPath);
    EXPECT_TRUE(seen == before || seen == after) << seen;
    auto dir = std::filesystem::directory_iterator(s.scratch.path("/user"));
    EXPECT_EQ(std::distance(dir, std::filesystem::directory_iterator()), 1);
    EXPECT_EQ(settings.failed_commit_count(), ok ? 0u : 1u);
    s.files.clear_fault();
    EXPECT_TRUE(settings.flush());
    EXPECT_EQ(s.scratch.read(kPath), after);
    const std::string printed = printed_by(out);
    EXPECT_EQ(printed.empty(), ok);
    for (const char* part : {"/user/argument.text", static_cast<const char*>(std::strerror(ENOSPC)), "HostName"}) {
      if (!ok) {
        EXPECT_NE(printed.find(part), std::string::npos) << printed;
      }
    }
  }
}

TEST(SettingsFile, AFullDiskIsReportedOncePerEpisode) {
  Store s;
  s.scratch.write(kPath, "A=1\n");
  std::FILE* out = std::tmpfile();
  board::SettingsFile settings(s.files, kPath, out);
  s.files.inject_fault(1, EROFS, true);
  for (const char* value : {"2", "3", "4"}) {
    board::SettingsFile::Transaction message(settings);
    settings.set(value[0] == '2' ? "B" : "C", value);
  }
  EXPECT_EQ(settings.failed_commit_count(), 3u);
  EXPECT_EQ(s.scratch.read(kPath), "A=1\n");
  s.files.clear_fault();
  { board::SettingsFile::Transaction message(settings); }
  EXPECT_EQ(s.scratch.read(kPath), "A=1\nB=2\nC=4\n") << "the file catches up";
  EXPECT_EQ(settings.commit_count(), 1u);
  const std::string printed = printed_by(out);
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1) << printed;
  EXPECT_NE(printed.find("first key B"), std::string::npos) << printed;
}

TEST(Files, CopyAndAppend) {
  testing_support::ScratchRoot scratch;
  board::Files files(scratch.root());
  scratch.write("/etc_ro/imglogo/a.png", "png");
  scratch.write("/etc_ro/argument.text", "A=1\n");
  scratch.write("/user/argument.text", "old\n");
  EXPECT_TRUE(files.copy("/etc_ro/argument.text", "/user"));  // into a directory, over the old file
  EXPECT_TRUE(files.copy("/etc_ro/imglogo", "/user"));        // a tree
  EXPECT_TRUE(files.copy("/etc_ro/argument.text", "/user/copy.text"));
  EXPECT_FALSE(files.copy("/etc_ro/missing", "/user"));
  EXPECT_EQ(scratch.read("/user/argument.text"), "A=1\n");
  EXPECT_EQ(scratch.read("/user/imglogo/a.png"), "png");
  EXPECT_EQ(scratch.read("/user/copy.text"), "A=1\n");
  // An append on a full disk leaves no partial line.
  scratch.write("/user/ZLT.log", "first.\n");
  files.inject_fault(1, ENOSPC);
  int error = 0;
  EXPECT_FALSE(files.append("/user/ZLT.log", "2026-11-22 System Warning: a long event text.\n", &error));
  EXPECT_EQ(error, ENOSPC);
  EXPECT_TRUE(files.append("/user/ZLT.log", "next.\n"));
  EXPECT_EQ(scratch.read("/user/ZLT.log"), "first.\nnext.\n");
}

TEST(SettingsFile, ReplacementKeepsTheFileMode) {
  Store s;
  s.scratch.write(kPath, "A=1\n");
  ASSERT_EQ(::chmod(s.settings.path().c_str(), 0600), 0);
  EXPECT_TRUE(s.settings.set("B", "2"));
  struct stat st;
  ASSERT_EQ(::stat(s.settings.path().c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
}

}  // namespace
