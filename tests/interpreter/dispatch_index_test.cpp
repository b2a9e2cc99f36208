// The dispatcher's phrase index picks the row the plain walk of the chain
// picks (first row in chain order whose phrase occurs anywhere wins), with the
// same text after the prefix: every row's phrase, status-dump rows, and random
// mixes of phrase pieces and dump rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "interpreter/dispatcher.h"
#include "support/interpreter_harness.h"

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
