#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/case_file.h"
#include "support/interpreter_harness.h"

TEST(SystemIdentity, Cases) { testing_support::run_case_file("interpreter/cases/system_identity.cases"); }

// The cipher runs through capture with the password as its own argument (its
// recorded line holds the scratch root), so these stay here.
namespace {

using Lines = std::vector<std::string>;

TEST(SystemIdentityPassword, OnlyTheEncryptedFormIsStored) {
  testing_support::InterpreterHarness h;
  h.runner.captures.push_back({0, "ENC\n"});
  h.feed("[SUCCESS]Set Newpassword To s3cret");
  EXPECT_EQ(h.runner.argvs, (std::vector<Lines>{{h.scratch.path("/bin/aes.sh"), "-e", "s3cret"}}));
  EXPECT_EQ(h.settings_lines(), (Lines{"NEWloginpassword=ENC", "Passwordad=ENC"}));
  EXPECT_EQ(h.scratch.read("/user/newpassword.text"), "ENC\n");
  EXPECT_EQ(h.nvram.values, (std::map<std::string, std::string>{{"NEWloginpassword", "ENC"}, {"Password", "ENC"}}));
  EXPECT_EQ(h.nvram.set_order, (Lines{"NEWloginpassword", "Password"}));
  EXPECT_EQ(h.take_output(), "\n**RV470_InputData=[SUCCESS]Set Newpassword To s3cret\n");
}

TEST(SystemIdentityPassword, FailedCipherStoresNothing) {
  const board::Capture failures[] = {{1, "ENC\n"}, {0, ""}, {-1, ""}};
  for (const auto& failure : failures) {
    SCOPED_TRACE("status " + std::to_string(failure.status) + " output '" + failure.output + "'");
    testing_support::InterpreterHarness h;
    h.scratch.write("/user/newpassword.text", "OLD\n");
    h.runner.captures.push_back(failure);
    h.feed("[SUCCESS]Set Newpassword To s3cret");
    EXPECT_EQ(h.runner.argvs.size(), 1u);
    EXPECT_TRUE(h.settings_lines().empty());
    EXPECT_EQ(h.scratch.read("/user/newpassword.text"), "OLD\n");
    EXPECT_TRUE(h.nvram.values.empty());
    EXPECT_EQ(h.take_output(), "\n**RV470_InputData=[SUCCESS]Set Newpassword To s3cret\n"
                               "Newpassword: cipher script failed, password not stored\n");
  }
}

}  // namespace
