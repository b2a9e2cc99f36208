// The host nvram store, shared by the daemon's library and the pdu-nvram tool.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
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

// Each stream begins with what the row says, and is empty when it says nothing.
TEST(PduNvramTool, ExitCodesAndMessages) {
  Store s;
  s.nvram.set("Gone", "1");
  const std::string R = s.scratch.dir();
  const struct { std::vector<std::string> args; int status; std::string out, err; } cases[] = {
      {{"--root", R, "get", "Absent"}, 1, "", ""},
      {{"--root", R, "unset", "Gone"}, 0, "", ""},
      {{"--root", R, "unset", "Gone"}, 1, "", ""},
      {{"--help"}, 0, "usage: pdu-nvram --root DIR get KEY\n", ""},
      {{"--root", R}, 2, "", "usage: pdu-nvram"},
      {{"get", "Gone"}, 2, "", "pdu-nvram: --root DIR is required\n"},
      {{"--root", R, "frob"}, 2, "", "pdu-nvram: unknown command 'frob'\n"},
      {{"--root", R, "set", "A"}, 2, "", "pdu-nvram: set takes 2 arguments\n"},
      {{"--root", R, "get", ""}, 2, "", "pdu-nvram: invalid key ''\n"},
  };
  auto shape = [](int status, const std::string& out, const std::string& err, const auto& c) {
    return std::to_string(status) + "|" + out.substr(0, c.out.size()) + std::to_string(out.empty()) + "|" +
           err.substr(0, c.err.size()) + std::to_string(err.empty());
  };
  for (const auto& c : cases) {
    auto r = run_built_program("pdu-nvram", c.args);
    EXPECT_EQ(shape(r.status, r.out, r.err, c), shape(c.status, c.out, c.err, c));
  }
}

}  // namespace
