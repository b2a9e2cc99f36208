#include <gtest/gtest.h>

#include "support/case_file.h"

TEST(OutletState, Cases) { testing_support::run_case_file("interpreter/cases/outlet_state.cases"); }
