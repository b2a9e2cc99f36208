#include <gtest/gtest.h>

#include "support/case_file.h"

TEST(QueryReplies, Cases) { testing_support::run_case_file("interpreter/cases/query_replies.cases"); }
