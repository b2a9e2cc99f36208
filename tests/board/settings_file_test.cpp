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

TEST(SettingsFile, PlainSet) {
  struct SetCase {
    const char* name;
    const char* before;  // null: no file yet
    const char* key;
    std::string value;
    std::string after;
  } cases[] = {
      {"changed key moves to the end", "HostName=Old\nwan_dhcp_hn=Old\n", "HostName", "Lab",
       "wan_dhcp_hn=Old\nHostName=Lab\n"},
      {"plain delete takes longer keys too", "XPower=1\nPower=0\nPowerMode5v=1\n", "Power", "1",
       "PowerMode5v=1\nPower=1\n"},
      {"plain delete takes a value holding KEY=", "Note=Power=3\nSEG7=1\n", "Power", "2",
       "SEG7=1\nPower=2\n"},
      {"every old line goes", "Power=1\nPower=2\nPower=3\n", "Power", "4", "Power=4\n"},
      {"keys are case-sensitive", "power=1\n", "Power", "0", "power=1\nPower=0\n"},
      {"single quote stored as it stands", "A=1\n", "TitleLabel", "Bob's PDU",
       "A=1\nTitleLabel=Bob's PDU\n"},
      {"value cut at LF", "", "HostName", "Lab\nZLTMerge=evil", "HostName=Lab\n"},
      {"value cut at CR", "", "HostName", "Lab\r\n", "HostName=Lab\n"},
      {"empty value", "HostName=Old\n", "HostName", "", "HostName=\n"},
      {"missing file created", nullptr, "SEG7", "1", "SEG7=1\n"},
      {"last line without newline", "A=1", "B", "2", "A=1\nB=2\n"},
      {"shell words stay text", "", "TitleLabel", "$(reboot); `id` > /x", "TitleLabel=$(reboot); `id` > /x\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Store s;
    if (c.before) s.scratch.write(kPath, c.before);
    EXPECT_TRUE(s.settings.set(c.key, c.value));
    EXPECT_EQ(s.scratch.read(kPath), c.after);
  }
}

TEST(SettingsFile, AnchoredSetKeepsLongerKeys) {
  Store s;
  s.scratch.write(kPath, "XPower=1\nPower=0\nsensor11delay1=5\nNote=Power=3\n");
  EXPECT_EQ(s.settings.update_config("Power", "1"), 0);
  EXPECT_EQ(s.scratch.lines(kPath), (Lines{"XPower=1", "sensor11delay1=5", "Note=Power=3", "Power=1"}));
}

TEST(SettingsFile, MismatchedDeleteCollectsLines) {
  Store s;
  s.scratch.write(kPath, "sensor2minvalue=1\n");
  EXPECT_TRUE(s.settings.set_mismatched("sensorm2invalue", "sensor2minvalue", "2"));
  EXPECT_TRUE(s.settings.set_mismatched("sensorm2invalue", "sensor2minvalue", "3"));
  EXPECT_EQ(s.scratch.lines(kPath), (Lines{"sensor2minvalue=1", "sensor2minvalue=2", "sensor2minvalue=3"}));
  s.scratch.write(kPath, "sensorm2invalue=9\nA=1\n");
  EXPECT_TRUE(s.settings.set_mismatched("sensorm2invalue", "sensor2minvalue", "4"));
  EXPECT_EQ(s.scratch.lines(kPath), (Lines{"A=1", "sensor2minvalue=4"}));
}

TEST(SettingsFile, RemoveAndAppendAlone) {
  Store s;
  s.scratch.write(kPath, "Power=1\nA=2\nXPower=3\n");
  EXPECT_TRUE(s.settings.remove("Power"));
  EXPECT_EQ(s.scratch.lines(kPath), (Lines{"A=2"}));
  EXPECT_TRUE(s.settings.append("A", "5\nB=6"));
  EXPECT_EQ(s.scratch.lines(kPath), (Lines{"A=2", "A=5"}));
}

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

TEST(SettingsFile, UpdateConfigLimits) {
  const std::string key = "sensor12trigger";
  const std::string long_key(127 - sed_line("", true) + 1, 'k');  // its delete line is 128 long
  ASSERT_EQ(sed_line(long_key, true), 128u);
  struct LimitCase {
    const char* name;
    std::string key;
    std::string value;
    int result;
    Lines after;
  } cases[] = {
      {"echo line of 127 fits", key, value_for(key, 127), 0, {long_key + "=old", "A=1", key + "=" + value_for(key, 127)}},
      {"echo line of 128 leaves the key deleted", key, value_for(key, 128), -1, {long_key + "=old", "A=1"}},
      {"delete line of 128: appended without deleting", long_key, "1", 0,
       {"sensor12trigger=old", long_key + "=old", "A=1", long_key + "=1"}},
      {"neither line fits: nothing changes", long_key, value_for(long_key, 128), -1,
       {"sensor12trigger=old", long_key + "=old", "A=1"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Store s;
    s.scratch.write(kPath, "sensor12trigger=old\n" + long_key + "=old\nA=1\n");
    EXPECT_EQ(s.settings.update_config(c.key, c.value), c.result);
    EXPECT_EQ(s.scratch.lines(kPath), c.after);
  }
}

TEST(SettingsFile, FormattedLimits) {
  const std::string key = "Outlet3";
  const std::string long_key(63 - sed_line("", false) + 1, 'k');
  ASSERT_EQ(sed_line(long_key, false), 64u);
  struct LimitCase {
    const char* name;
    std::string key;
    std::string value;
    bool result;
    Lines after;
  } cases[] = {
      {"echo line of 99 fits", key, value_for(key, 99), true, {"A=1", key + "=" + value_for(key, 99)}},
      {"echo line of 100 leaves the key deleted", key, value_for(key, 100), false, {"A=1"}},
      {"delete line of 63 fits", std::string(63 - sed_line("", false), 'k'), "1", true,
       {"Outlet3=old", "A=1", std::string(63 - sed_line("", false), 'k') + "=1"}},
      {"delete line of 64: appended without deleting", long_key, "1", true,
       {"Outlet3=old", "A=1", long_key + "=1"}},
      {"neither line fits: nothing changes", long_key, value_for(long_key, 100), false,
       {"Outlet3=old", "A=1"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Store s;
    s.scratch.write(kPath, "Outlet3=old\nA=1\n");
    EXPECT_EQ(s.settings.set_formatted(c.key, c.value), c.result);
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

TEST(SettingsFile, OneWritePerMessage) {
  struct MessageCase {
    const char* name;
    const char* before;
    std::vector<Op> ops;
    const char* after;
    uint64_t writes;
  } cases[] = {
      {"one key set twice: the last value, once", "A=1\nB=2\n", {{'s', "A", "3"}, {'s', "A", "4"}},
       "B=2\nA=4\n", 1},
      {"a plain delete takes another key's line", "XPower=1\nPower=0\nC=1\n", {{'s', "Power", "0"}},
       "Power=0\nC=1\n", 1},
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
      {"duplicate lines of a key become one", "A=1\nB=2\nA=1\n", {{'s', "A", "1"}}, "A=1\nB=2\n", 1},
      {"a later delete takes an earlier append", "A=1\n", {{'a', "B", "2"}, {'r', "B", ""}}, "A=1\n", 0},
      {"append-only lines stay in order", "", {{'a', "B", "2"}, {'a', "A", "1"}}, "B=2\nA=1\n", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Store s;
    s.scratch.write(kPath, c.before);
    {
      board::SettingsFile::Transaction message(s.settings);
      for (const Op& op : c.ops) apply(s.settings, op);
      EXPECT_EQ(s.scratch.read(kPath), c.before) << "nothing is written before the message ends";
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

std::vector<std::string> names_in(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(dir)) names.push_back(e.path().filename().string());
  return names;
}

// Every write step of a commit fails once in turn, as in sqlite's I/O-error
// tests: the file is then the old one or the new one, whole, and the next
// commit writes what the failed one could not.
TEST(SettingsFile, FailedCommitKeepsItsChangesForTheNext) {
  const std::string before = "HostName=Old\nSEG7=1\n";
  const std::string after = "HostName=Lab\nSEG7=0\n";
  for (long step = 1; step <= 5; ++step) {
    SCOPED_TRACE("failing step " + std::to_string(step));
    Store s;
    s.scratch.write(kPath, before);
    std::FILE* out = std::tmpfile();
    board::SettingsFile settings(s.files, kPath, out);
    s.files.inject_fault(step, ENOSPC);
    bool ok;
    {
      settings.begin();
      settings.set("HostName", "Lab");
      settings.update_config("SEG7", "0");
      ok = settings.commit();
    }
    const std::string seen = s.scratch.read(kPath);
    EXPECT_TRUE(seen == before || seen == after) << seen;
    EXPECT_EQ(names_in(s.scratch.path("/user")), Lines{"argument.text"}) << "no temporary file is left";
    EXPECT_EQ(settings.failed_commit_count(), ok ? 0u : 1u);
    s.files.clear_fault();
    EXPECT_TRUE(settings.flush());
    EXPECT_EQ(s.scratch.read(kPath), after);
    std::rewind(out);
    char line[256] = "";
    bool printed = std::fgets(line, sizeof line, out) != nullptr;
    EXPECT_EQ(printed, !ok);
    if (printed) {
      EXPECT_NE(std::strstr(line, "/user/argument.text"), nullptr) << line;
      EXPECT_NE(std::strstr(line, std::strerror(ENOSPC)), nullptr) << line;
      EXPECT_NE(std::strstr(line, "HostName"), nullptr) << line;
    }
    std::fclose(out);
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
  std::rewind(out);
  char buf[1024];
  size_t n = std::fread(buf, 1, sizeof buf, out);
  const std::string printed(buf, n);
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1) << printed;
  EXPECT_NE(printed.find("first key B"), std::string::npos) << printed;
  std::fclose(out);
}

TEST(Files, AppendOnAFullDiskLeavesNoPartialLine) {
  testing_support::ScratchRoot scratch;
  board::Files files(scratch.root());
  scratch.write("/user/ZLT.log", "first.\n");
  files.inject_fault(1, ENOSPC);
  int error = 0;
  EXPECT_FALSE(files.append("/user/ZLT.log", "2026-11-22 System Warning: a long event text.\n", &error));
  EXPECT_EQ(error, ENOSPC);
  EXPECT_EQ(scratch.read("/user/ZLT.log"), "first.\n");
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
