// The settings file as the web pages and scripts read it.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

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

// Makes the next whole-file replacement in `dir` fail, in a way that works
// whether or not the test runs as root; undone when it goes out of scope.
class FailingWrites {
 public:
  explicit FailingWrites(const std::string& dir) : dir_(dir) {
    if (::geteuid() != 0) {
      read_only_ = true;
      ::chmod(dir_.c_str(), 0555);
    } else {
      // Permission bits do not stop root: cap the size of files this process writes.
      ::getrlimit(RLIMIT_FSIZE, &saved_);
      old_handler_ = ::signal(SIGXFSZ, SIG_IGN);
      rlimit small = saved_;
      small.rlim_cur = 4;
      ::setrlimit(RLIMIT_FSIZE, &small);
    }
  }
  ~FailingWrites() {
    if (read_only_) {
      ::chmod(dir_.c_str(), 0755);
    } else {
      ::setrlimit(RLIMIT_FSIZE, &saved_);
      ::signal(SIGXFSZ, old_handler_);
    }
  }

 private:
  std::string dir_;
  bool read_only_ = false;
  rlimit saved_{};
  sighandler_t old_handler_ = SIG_DFL;
};

TEST(SettingsFile, FailedWriteLeavesTheOldFileWhole) {
  Store s;
  const std::string before = "HostName=Old\nSEG7=1\n";
  s.scratch.write(kPath, before);
  {
    FailingWrites failing(s.scratch.path("/user"));
    EXPECT_FALSE(s.settings.set("HostName", "Lab"));
    EXPECT_EQ(s.settings.update_config("SEG7", "0"), -1);
  }
  EXPECT_EQ(s.scratch.read(kPath), before);
  std::vector<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(s.scratch.path("/user")))
    names.push_back(e.path().filename().string());
  EXPECT_EQ(names, (Lines{"argument.text"})) << "no temporary file is left behind";
  EXPECT_TRUE(s.settings.set("HostName", "Lab"));
  EXPECT_EQ(s.scratch.lines(kPath), (Lines{"SEG7=1", "HostName=Lab"}));
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
