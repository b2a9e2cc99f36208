// The host nvram store, shared by the daemon's library and the pdu-nvram tool.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <thread>
#include <vector>

#include "board/nvram.h"
#include "support/board_process.h"
#include "support/scratch_root.h"

namespace {

using testing_support::run_built_program;

struct Store {
  testing_support::ScratchRoot scratch;
  board::HostNvram nvram{scratch.root()};

  testing_support::ProcessResult tool(std::vector<std::string> args) const {
    args.insert(args.begin(), {"--root", scratch.dir()});
    return run_built_program("pdu-nvram", args);
  }
};

const std::string kOddValues[] = {
    "plain", "two words", "line one\nline two", "trailing newline\n", "", "it's \"quoted\" $x",
    std::string(3000, 'z'),
};

TEST(HostNvram, LibrarySetIsSeenByTheTool) {
  Store s;
  for (const auto& value : kOddValues) {
    SCOPED_TRACE(value.substr(0, 40));
    s.nvram.set("TitleLabel", value);
    auto r = s.tool({"get", "TitleLabel"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, value + "\n");
  }
}

// The value already held is not written again: the key's file stays the same file.
TEST(HostNvram, SettingTheHeldValueLeavesTheStoreAlone) {
  Store s;
  const std::string file = s.scratch.path("/var/lib/nvram/buffer/Power");
  auto inode = [&] {
    struct stat st {};
    return ::stat(file.c_str(), &st) == 0 ? st.st_ino : 0;
  };
  s.nvram.set("Power", "1");
  const auto first = inode();
  s.nvram.set("Power", "1");
  EXPECT_EQ(inode(), first);
  s.nvram.set("Power", "0");
  EXPECT_NE(inode(), first);
  EXPECT_EQ(s.nvram.get("Power"), std::optional<std::string>("0"));
}

TEST(HostNvram, ToolSetIsSeenByTheLibrary) {
  Store s;
  for (const auto& value : kOddValues) {
    SCOPED_TRACE(value.substr(0, 40));
    auto r = s.tool({"set", "TitleLabel", value});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(s.nvram.get("TitleLabel"), value);
    // A second handle on the same root sees it as well.
    board::HostNvram other(s.scratch.root());
    EXPECT_EQ(other.get("TitleLabel"), value);
  }
}

TEST(HostNvram, KeysWithOddBytes) {
  Store s;
  const std::string keys[] = {"a/b", "100%", ".hidden", "..", "sensor11delay1", "with space"};
  for (const auto& key : keys) {
    SCOPED_TRACE(key);
    s.nvram.set(key, "v-" + key);
    auto r = s.tool({"get", key});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "v-" + key + "\n");
  }
  auto all = s.nvram.all();
  EXPECT_EQ(all.size(), std::size(keys));
  for (const auto& key : keys) EXPECT_EQ(all[key], "v-" + key);
}

TEST(HostNvram, StrayFilesInTheBufferDoNotBreakTheListing) {
  Store s;
  s.scratch.write("/var/lib/nvram/buffer/odd%zz", "1");
  s.scratch.write("/var/lib/nvram/buffer/Key.tmpAbC123", "half");
  s.nvram.set("Real", "2");
  auto all = s.nvram.all();
  EXPECT_EQ(all.size(), 2u);
  EXPECT_EQ(all["odd%zz"], "1");
  EXPECT_EQ(all["Real"], "2");
  EXPECT_EQ(s.tool({"show"}).out, "Real=2\nodd%zz=1\n");
}

TEST(HostNvram, AbsentAndInvalidKeys) {
  Store s;
  EXPECT_EQ(s.nvram.get("Nothing"), std::nullopt);
  EXPECT_EQ(s.nvram.get(""), std::nullopt);
  s.nvram.set("", "x");
  EXPECT_TRUE(s.nvram.all().empty());
  EXPECT_EQ(s.nvram.get_or("Nothing", "dflt"), "dflt");
  EXPECT_EQ(s.nvram.model(), "");
  s.nvram.set("ZLTMerge", "ZLT8AC");
  EXPECT_EQ(s.nvram.model(), "ZLT8AC");
  s.nvram.set("Cut", std::string("ab\0cd", 5));
  EXPECT_EQ(s.nvram.get("Cut"), "ab");
}

TEST(HostNvram, CommitCopiesTheBuffer) {
  Store s;
  s.nvram.set("A", "1");
  s.nvram.set("B", "2");
  EXPECT_FALSE(s.scratch.exists("/var/lib/nvram/committed/A"));
  EXPECT_EQ(s.tool({"commit"}).status, 0);
  EXPECT_EQ(s.scratch.read("/var/lib/nvram/committed/A"), "1");
  s.nvram.set("A", "3");
  s.nvram.commit();
  EXPECT_EQ(s.scratch.read("/var/lib/nvram/committed/A"), "3");
  EXPECT_EQ(s.scratch.read("/var/lib/nvram/committed/B"), "2");
}

TEST(HostNvram, ConcurrentSettersLoseNothing) {
  Store s;
  constexpr int kSetters = 4;
  constexpr int kKeys = 50;
  std::vector<std::thread> setters;
  std::vector<int> failures(kSetters, 0);
  for (int p = 0; p < kSetters; ++p) {
    setters.emplace_back([&, p] {
      for (int i = 0; i < kKeys; ++i) {
        std::string key = "k" + std::to_string(p) + "_" + std::to_string(i);
        if (s.tool({"set", key, "value " + key}).status != 0) ++failures[p];
      }
    });
  }
  for (auto& t : setters) t.join();
  EXPECT_EQ(failures, std::vector<int>(kSetters, 0));
  auto all = s.nvram.all();
  EXPECT_EQ(all.size(), static_cast<size_t>(kSetters * kKeys));
  for (int p = 0; p < kSetters; ++p) {
    for (int i = 0; i < kKeys; ++i) {
      std::string key = "k" + std::to_string(p) + "_" + std::to_string(i);
      EXPECT_EQ(all[key], "value " + key);
    }
  }
  auto shown = s.tool({"show"});
  EXPECT_EQ(shown.status, 0);
  EXPECT_NE(shown.out.find("k3_49=value k3_49\n"), std::string::npos);
}

TEST(PduNvramTool, ExitCodesAndMessages) {
  Store s;
  s.nvram.set("Present", "yes");
  struct ToolCase {
    const char* name;
    std::vector<std::string> args;  // after --root DIR
    bool with_root;
    int status;
    std::string out;
    std::string err_has;  // a part of the standard error, "" for none at all
  } cases[] = {
      {"get present", {"get", "Present"}, true, 0, "yes\n", ""},
      {"get absent", {"get", "Absent"}, true, 1, "", ""},
      {"unset absent", {"unset", "Absent"}, true, 1, "", ""},
      {"show", {"show"}, true, 0, "Present=yes\n", ""},
      {"no root", {"get", "Present"}, false, 2, "", "pdu-nvram: --root DIR is required\n"},
      {"no command", {}, true, 2, "", "usage: pdu-nvram"},
      {"unknown command", {"frob"}, true, 2, "", "pdu-nvram: unknown command 'frob'\n"},
      {"get without key", {"get"}, true, 2, "", "pdu-nvram: get takes 1 argument\n"},
      {"set without value", {"set", "A"}, true, 2, "", "pdu-nvram: set takes 2 arguments\n"},
      {"show with argument", {"show", "x"}, true, 2, "", "pdu-nvram: show takes 0 arguments\n"},
      {"empty key", {"get", ""}, true, 2, "", "pdu-nvram: invalid key ''\n"},
      {"unknown option", {"--frob"}, true, 2, "", "usage: pdu-nvram"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto r = c.with_root ? s.tool(c.args) : run_built_program("pdu-nvram", c.args);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, c.out);
    if (c.err_has.empty()) {
      EXPECT_EQ(r.err, "");
    } else {
      EXPECT_NE(r.err.find(c.err_has), std::string::npos) << r.err;
    }
  }
  EXPECT_EQ(s.nvram.get("A"), std::nullopt) << "a refused set changes nothing";
  auto help = run_built_program("pdu-nvram", {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("usage: pdu-nvram --root DIR get KEY\n", 0), 0u) << help.out;
}

TEST(PduNvramTool, UnsetRemovesTheKey) {
  Store s;
  s.nvram.set("Gone", "1");
  EXPECT_EQ(s.tool({"unset", "Gone"}).status, 0);
  EXPECT_EQ(s.nvram.get("Gone"), std::nullopt);
  EXPECT_EQ(s.tool({"get", "Gone"}).status, 1);
}

}  // namespace
