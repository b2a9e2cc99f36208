// The interpreter from the MCU message in to the stores, commands, MCU bytes
// and sleeps out: the case files, and what they cannot say; and the phrase
// index, which must pick the row the plain walk of the chain picks (first row in
// chain order whose phrase occurs anywhere wins), with the same rest.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "interpreter/dispatcher.h"
#include "support/case_file.h"
#include "support/interpreter_harness.h"

namespace {

using Lines = std::vector<std::string>;

class CaseFile : public testing::TestWithParam<const char*> {};

TEST_P(CaseFile, Holds) { testing_support::run_case_file(std::string("interpreter/") + GetParam() + ".cases"); }

INSTANTIATE_TEST_SUITE_P(Interpreter, CaseFile,
                         testing::Values("cases/dispatcher", "cases/system_identity", "cases/query_replies",
                                         "cases/outlet_settings", "cases/outlet_state", "cases/event_rules",
                                         "cases/sensor_network", "cases/notifications", "status/cases/status"),
                         [](const auto& info) { return std::string(std::strrchr(info.param, '/') + 1); });

// A row is named by the words of its prefix (camel case split, lower case,
// without "the", "to", "is", "for" and "[SUCCESS]"), so a name in a trace or
// `--explain` leads to its message, and a typo in either shows.
TEST(Dispatcher, EachRowIsNamedByTheWordsOfItsPrefix) {
  const std::set<std::string> skipped = {"the", "to", "is", "for", "success"};
  std::set<std::string> names;
  for (const interp::Recogniser* r : interp::recogniser_chain()) {
    EXPECT_TRUE(names.insert(r->name).second) << "two rows named " << r->name;
    if (!r->prefix) continue;
    std::string words, word, name = r->name;
    const std::string p = std::string(r->prefix) + " ";
    for (size_t i = 0; i < p.size(); ++i) {
      const auto c = static_cast<unsigned char>(p[i]);
      const bool split = !std::isalnum(c) || (i > 0 && std::islower(static_cast<unsigned char>(p[i - 1])) && std::isupper(c));
      if (split && !skipped.count(word)) words += word;
      if (split) word.clear();
      if (std::isalnum(c)) word += static_cast<char>(std::tolower(c));
    }
    name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
    EXPECT_EQ(name, words) << r->name << " \"" << r->prefix << '"';
  }
}

// The phrase search: the whole text may be the phrase; no text, no phrase.
TEST(Dispatcher, PhraseSearch) {
  char text[] = "abc";
  EXPECT_EQ(interp::str_Endpoint(nullptr, "a"), nullptr);
  EXPECT_EQ(interp::str_Endpoint(text, nullptr), nullptr);
  EXPECT_EQ(interp::str_Endpoint_len(text, "abc", 3), text + 3);  // the whole text is the phrase
  EXPECT_EQ(interp::str_Endpoint_len(text, "abc", 2), nullptr);
  EXPECT_EQ(interp::str_Endpoint_len(text, "b", 2), text + 2);
  testing_support::InterpreterHarness h;  // and a message no row takes is named so
  h.feed("nothing at all");
  EXPECT_EQ(interp::taken_by(h.ctx), "no effect");
}

// The cipher runs with the password as its own argument, never through a
// shell; only its encrypted form is stored, and nothing when it fails.
TEST(Password, OnlyTheEncryptedFormIsStored) {
  for (const board::Capture& reply : {board::Capture{0, "ENC\n"}, {1, "ENC\n"}, {0, ""}, {-1, ""}}) {
    SCOPED_TRACE(reply.status);
    const bool ok = reply.status == 0 && !reply.output.empty();
    testing_support::InterpreterHarness h;
    h.scratch.write("/user/newpassword.text", "OLD\n");
    h.runner.captures.push_back(reply);
    h.feed("[SUCCESS]Set Newpassword To s3cret");
    EXPECT_EQ(h.runner.argvs, (std::vector<Lines>{{h.scratch.path("/bin/aes.sh"), "-e", "s3cret"}}));
    EXPECT_EQ(h.settings_lines(), (ok ? Lines{"NEWloginpassword=ENC", "Passwordad=ENC"} : Lines{}));
    EXPECT_EQ(h.scratch.read("/user/newpassword.text"), ok ? "ENC\n" : "OLD\n");
    EXPECT_EQ(h.nvram.set_order, (ok ? Lines{"NEWloginpassword", "Password"} : Lines{}));
    EXPECT_EQ(h.nvram.values["Password"], ok ? "ENC" : "");
    EXPECT_EQ(h.take_output(), std::string("\n**RV470_InputData=[SUCCESS]Set Newpassword To s3cret\n") +
                                   (ok ? "" : "Newpassword: cipher script failed, password not stored\n"));
  }
}

TEST(DispatchIndex, TakesTheRowTheLinearWalkTakes) {
  std::vector<std::string> phrases, rows;
  for (const interp::Recogniser* r : interp::recogniser_chain()) {
    if (r->prefix) phrases.push_back(r->prefix);
    for (const char* const* need = r->needs; need && *need; ++need) phrases.push_back(*need);
  }
  for (const char* model : {"ZLT8AC", "ZLT8DC"}) {
    std::ifstream dump(std::string(PDUD_TEST_DATA) + "/interpreter/status/data/" + model + ".dump");
    for (std::string line; std::getline(dump, line);) rows.push_back(line);
  }
  std::vector<std::string> messages = rows;
  for (const std::string& p : phrases) messages.insert(messages.end(), {p, p + "3 ON", "x" + p + p});
  std::mt19937 random(12);
  auto pick = [&](const std::vector<std::string>& from) { return from[random() % from.size()]; };
  auto piece = [](const std::string& s, size_t at, size_t n) { return s.substr(std::min(at, s.size()), n); };
  for (int i = 0; i < 3000; ++i) {  // a few fragments: a dump row's tail, a piece of one phrase
    std::string m, p = pick(phrases);
    for (int n = random() % 4; n >= 0; --n)
      m += random() % 2 ? piece(pick(rows), random() % 8, 80) : piece(p, random() % 3 * 9, 4 + random() % 40);
    messages.push_back(m);
  }
  testing_support::InterpreterHarness linear, indexed;
  for (const std::string& m : messages) {
    std::string a = m, b = m;  // each walk on its own copy and harness
    char *rest_a = nullptr, *rest_b = nullptr;
    linear.ctx.message = a.data(), indexed.ctx.message = b.data();
    const interp::Recogniser* want = interp::taken_by_linear(linear.ctx, &rest_a);
    const interp::Recogniser* got = interp::taken_by_index(indexed.ctx, &rest_b);
    ASSERT_STREQ(got ? got->name : "none", want ? want->name : "none") << m;
    EXPECT_TRUE(!want || want->two_stage || rest_b - b.data() == rest_a - a.data()) << m;  // the same rest
  }
}

}  // namespace
