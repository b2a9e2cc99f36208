// The board's cipher script, as the commands run, and the MD5 digest.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "support/fakes.h"
#include "support/scratch_root.h"
#include "util/cipher.h"

namespace {

using Argv = std::vector<std::string>;

TEST(Aes, ScriptArgumentsResultsAndRefusals) {
  testing_support::ScratchRoot scratch;
  const std::string script = scratch.path("/bin/aes.sh");
  // "/bin/aes.sh -e '' 2>/dev/null" and the text must fit the unit's 1024-byte buffer.
  const std::string fits(1023 - 29, 'a');
  const struct { std::string text; board::Capture reply; std::optional<std::string> expected; } cases[] = {
      {"it's $(id) \"q\"", {0, "out\n"}, "out"}, {"x", {0, "two\n\n"}, "two\n"}, {"x", {0, "as is"}, "as is"},
      {"x", {3, "partial\n"}, std::nullopt}, {"x", {0, ""}, std::nullopt}, {"x", {-1, ""}, std::nullopt},
      {fits, {0, "ok\n"}, "ok"}, {fits + "a", {0, "ok\n"}, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text.substr(0, 20) + " " + c.reply.output);
    testing_support::RecordingRunner runner;
    runner.captures.push_back(c.reply);
    EXPECT_EQ(util::aes_encrypt(runner, scratch.root(), c.text), c.expected);
    // A command line that would not fit is not run.
    const std::vector<Argv> ran = {{script, "-e", c.text}};
    EXPECT_EQ(runner.argvs, c.text.size() > fits.size() ? std::vector<Argv>{} : ran);
  }
  testing_support::RecordingRunner runner;
  runner.captures.push_back({0, "plain\n"});
  EXPECT_EQ(util::aes_decrypt(runner, scratch.root(), "pw"), "plain");
  EXPECT_EQ(runner.argvs, (std::vector<Argv>{{script, "-d", "pw"}}));
}

TEST(Md5, Rfc1321TestSuite) {
  const struct { const char *text, *digest; } cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"}, {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& c : cases) {
    char out[40];
    std::fill(std::begin(out), std::end(out), 'x');
    EXPECT_EQ(util::get_str_md5(c.text, out), out + 32);
    EXPECT_STREQ(out, c.digest);
  }
}

}  // namespace
