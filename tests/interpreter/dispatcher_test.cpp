#include <gtest/gtest.h>

#include "interpreter/dispatcher.h"
#include "support/case_file.h"
#include "support/interpreter_harness.h"

namespace {

using interp::str_Endpoint;
using interp::str_Endpoint_len;

TEST(StrEndpoint, FindsNeedleAnywhereAndReturnsTheRest) {
  const char* text = "xx[SUCCESS]Set Relay ON";
  EXPECT_STREQ(str_Endpoint(text, "[SUCCESS]Set Relay "), "ON");
  EXPECT_EQ(str_Endpoint(text, "[success]"), nullptr);
  EXPECT_EQ(str_Endpoint(nullptr, "a"), nullptr);
  EXPECT_EQ(str_Endpoint(text, nullptr), nullptr);
  EXPECT_EQ(str_Endpoint(text, ""), text);
  EXPECT_EQ(str_Endpoint("ab", "abc"), nullptr);
}

TEST(StrEndpoint, LimitedSearchStopsWithinTheLimit) {
  const char* text = "abcdef";
  EXPECT_STREQ(str_Endpoint_len(text, "cd", 4), "ef");
  EXPECT_EQ(str_Endpoint_len(text, "de", 4), nullptr);
  EXPECT_EQ(str_Endpoint_len(text, "ef", 100) - text, 6);
}

TEST(CopyString, TranslatesInModeOneAndCopiesInTwoAndThree) {
  struct Case { char src; int mode; char expected; };
  const Case cases[] = {{'N', 1, '0'}, {'Y', 1, '1'}, {'X', 1, 'X'}, {'Q', 1, '-'},
                        {'Q', 2, 'Q'}, {'7', 3, '7'}, {'Y', 4, '-'}};
  for (const auto& c : cases) {
    char dest[256];
    std::fill(std::begin(dest), std::end(dest), '-');
    interp::CopyString(c.src, 256 + 3, dest, c.mode);
    EXPECT_EQ(dest[3], c.expected) << c.src << " mode " << c.mode;
  }
}

TEST(Dispatcher, PrintsTheInputAndCutsTheTelnetTag) {
  testing_support::InterpreterHarness h;
  h.feed("hello  telnet23 rest");
  EXPECT_EQ(h.take_output(), "\n**RV470_InputData=hello\n");
}

}  // namespace

TEST(Dispatcher, ChainOrderCases) { testing_support::run_case_file("interpreter/cases/dispatcher.cases"); }
