// The cipher script run for real from a scratch root, and the MD5 digest.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

#include "board/command_runner.h"
#include "support/scratch_root.h"
#include "util/cipher.h"

namespace {

// Stands in for the board's script: records every run, then answers by the text.
constexpr const char* kScript = R"(#!/bin/sh
printf '%s\n' "$2" >> "$(dirname "$0")/../ran"
case "$2" in
  fail) echo "partial"; exit 3 ;;
  silent) exit 0 ;;
  long) i=0; while [ $i -lt 40 ]; do printf 'abcdefghij'; i=$((i+1)); done; echo ;;
esac
printf '%s:%s\n' "$1" "$2"
)";

class AesScript : public testing::Test {
 protected:
  void SetUp() override {
    scratch.write("/bin/aes.sh", kScript);
    ASSERT_EQ(::chmod(scratch.path("/bin/aes.sh").c_str(), 0755), 0);
  }
  std::vector<std::string> runs() const { return scratch.lines("/ran"); }

  testing_support::ScratchRoot scratch;
  board::SystemRunner runner;
};

// "/bin/aes.sh -e '' 2>/dev/null" without the text.
constexpr size_t kLineWithoutText = 29;

TEST_F(AesScript, Results) {
  std::string letters;
  for (int i = 0; i < 40; ++i) letters += "abcdefghij";
  struct AesCase {
    const char* name;
    std::string mode;
    std::string text;
    std::optional<std::string> expected;
  } cases[] = {
      {"shell words and quotes stay text", "-e", "it's $(touch x); `id` \"q\"", "-e:it's $(touch x); `id` \"q\""},
      {"only one trailing newline removed", "-e", "ends\n", "-e:ends\n"},
      {"long output whole", "-e", "long", letters + "\n-e:long"},
      {"failing script", "-e", "fail", std::nullopt},
      {"silent script", "-e", "silent", std::nullopt},
      {"longest command line that fits", "-e", std::string(1023 - kLineWithoutText, 'a'),
       "-e:" + std::string(1023 - kLineWithoutText, 'a')},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(util::aes_exec(runner, scratch.root(), c.mode, c.text), c.expected);
  }
}

// The modes reach the script; a missing script, or a command line too long
// for the unit's buffer, gives nothing and runs nothing.
TEST_F(AesScript, ModesAndRefusals) {
  EXPECT_EQ(util::aes_encrypt(runner, scratch.root(), "pw"), "-e:pw");
  EXPECT_EQ(util::aes_decrypt(runner, scratch.root(), "pw"), "-d:pw");
  testing_support::ScratchRoot empty;
  EXPECT_EQ(util::aes_exec(runner, empty.root(), "-e", "x"), std::nullopt);
  const size_t ran = runs().size();
  for (const std::string& text : {std::string(1024 - kLineWithoutText, 'a'), std::string(5000, 'b')}) {
    EXPECT_EQ(util::aes_exec(runner, scratch.root(), "-e", text), std::nullopt) << text.size();
    EXPECT_EQ(util::aes_encrypt(runner, scratch.root(), text), std::nullopt) << text.size();
  }
  EXPECT_EQ(runs().size(), ran) << "the script ran";
}

TEST(Md5, Rfc1321TestSuite) {
  struct DigestCase {
    const char* text;
    const char* digest;
  } cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    char out[40];
    std::fill(std::begin(out), std::end(out), 'x');
    char* end = util::get_str_md5(c.text, out);
    EXPECT_STREQ(out, c.digest);
    EXPECT_EQ(end, out + 32);
    EXPECT_EQ(*end, '\0');
  }
}

}  // namespace
