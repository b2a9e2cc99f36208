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

// Odd keys and values go both ways between the library and the tool.
TEST(HostNvram, LibraryAndToolSeeEachOthersValues) {
  Store s;
  const std::string values[] = {"two words", "line one\nline two", "trailing newline\n", "", "it's \"q\" $x",
                                std::string(3000, 'z')};
  const std::string keys[] = {"a/b", "100%", ".hidden", "..", "with space"};
  for (const auto& value : values) {
    SCOPED_TRACE(value.substr(0, 40));
    s.nvram.set("TitleLabel", value);
    EXPECT_EQ(s.tool({"get", "TitleLabel"}).out, value + "\n");
    ASSERT_EQ(s.tool({"set", "Other", value}).status, 0);
    EXPECT_EQ(board::HostNvram(s.scratch.root()).get("Other"), value);
  }
  for (const auto& key : keys) {
    ASSERT_EQ(s.tool({"set", key, "v-" + key}).status, 0);
    EXPECT_EQ(s.nvram.get(key), "v-" + key);
  }
  auto all = s.nvram.all();
  EXPECT_EQ(all.size(), std::size(keys) + 2);
  for (const auto& key : keys) EXPECT_EQ(all[key], "v-" + key);
}

TEST(HostNvram, HeldValuesAbsentKeysStrayFilesAndCommit) {
  Store s;
  // The value already held is not written again: the key's file stays the same file.
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
  EXPECT_EQ(s.nvram.get("Nothing"), std::nullopt);
  EXPECT_EQ(s.nvram.get_or("Nothing", "dflt"), "dflt");
  s.nvram.set("", "x");  // no such key
  EXPECT_EQ(s.nvram.get(""), std::nullopt);
  s.nvram.set("ZLTMerge", "ZLT8AC");
  EXPECT_EQ(s.nvram.model(), "ZLT8AC");
  s.nvram.set("Cut", std::string("ab\0cd", 5));
  EXPECT_EQ(s.nvram.get("Cut"), "ab");
  // A half-written temporary file is no key; an undecodable name is one as it stands.
  s.scratch.write("/var/lib/nvram/buffer/odd%zz", "1");
  s.scratch.write("/var/lib/nvram/buffer/Key.tmpAbC123", "half");
  EXPECT_EQ(s.tool({"show"}).out, "Cut=ab\nPower=0\nZLTMerge=ZLT8AC\nodd%zz=1\n");
  // A commit copies the buffer, by the tool or by the library.
  EXPECT_FALSE(s.scratch.exists("/var/lib/nvram/committed/Power"));
  EXPECT_EQ(s.tool({"commit"}).status, 0);
  EXPECT_EQ(s.scratch.read("/var/lib/nvram/committed/Power"), "0");
  s.nvram.set("Power", "3");
  s.nvram.commit();
  EXPECT_EQ(s.scratch.read("/var/lib/nvram/committed/Power"), "3");
  EXPECT_EQ(s.scratch.read("/var/lib/nvram/committed/ZLTMerge"), "ZLT8AC");
}

TEST(HostNvram, ConcurrentSettersLoseNothing) {
  Store s;
  std::vector<std::thread> setters;
  std::vector<int> failures(4, 0);
  for (int p = 0; p < 4; ++p)
    setters.emplace_back([&, p] {
      for (int i = 0; i < 30; ++i) {
        std::string key = "k" + std::to_string(p) + "_" + std::to_string(i);
        if (s.tool({"set", key, "value " + key}).status != 0) ++failures[p];
      }
    });
  for (auto& t : setters) t.join();
  EXPECT_EQ(failures, std::vector<int>(4, 0));
  auto all = s.nvram.all();
  EXPECT_EQ(all.size(), 120u);
  for (const auto& [key, value] : all) EXPECT_EQ(value, "value " + key);
}

TEST(PduNvramTool, ExitCodesAndMessages) {
  Store s;
  s.nvram.set("Present", "yes");
  s.nvram.set("Gone", "1");
  struct ToolCase {
    std::vector<std::string> args;  // after --root DIR
    int status;
    std::string out;
    std::string err_has;  // a part of the standard error, "" for none at all
  } cases[] = {
      {{"get", "Absent"}, 1, "", ""},
      {{"unset", "Gone"}, 0, "", ""},
      {{"unset", "Gone"}, 1, "", ""},
      {{"show"}, 0, "Present=yes\n", ""},
      {{}, 2, "", "usage: pdu-nvram"},
      {{"frob"}, 2, "", "pdu-nvram: unknown command 'frob'\n"},
      {{"get"}, 2, "", "pdu-nvram: get takes 1 argument\n"},
      {{"set", "A"}, 2, "", "pdu-nvram: set takes 2 arguments\n"},
      {{"show", "x"}, 2, "", "pdu-nvram: show takes 0 arguments\n"},
      {{"get", ""}, 2, "", "pdu-nvram: invalid key ''\n"},
  };
  for (const auto& c : cases) {
    auto r = s.tool(c.args);
    SCOPED_TRACE(r.err);
    EXPECT_EQ(r.status, c.status);
    EXPECT_EQ(r.out, c.out);
    if (c.err_has.empty())
      EXPECT_EQ(r.err, "");
    else
      EXPECT_NE(r.err.find(c.err_has), std::string::npos);
  }
  EXPECT_EQ(run_built_program("pdu-nvram", {"get", "Present"}).err.rfind("pdu-nvram: --root DIR is required\n", 0), 0u);
  auto help = run_built_program("pdu-nvram", {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("usage: pdu-nvram --root DIR get KEY\n", 0), 0u) << help.out;
}

}  // namespace
