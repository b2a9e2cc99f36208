#include <gtest/gtest.h>

#include "board/nvram.h"

extern "C" int fake_nvram_sets, fake_nvram_commits;

// Sets go to the buffer on section 0 (a value already held is not set again);
// the model code is read from the flash.
TEST(BoardNvram, GoesThroughTheBoardLibraryOnSectionZero) {
  auto nv = board::make_board_nvram();
  EXPECT_FALSE(nv->get("HostName"));
  nv->set("HostName", "Lab");
  nv->set("HostName", "Lab");
  nv->set("ZLTMerge", "ZLT8AC");
  EXPECT_EQ(nv->get("HostName").value_or("") + "/" + nv->model() + "/" + std::to_string(fake_nvram_sets), "Lab//2");
  nv->commit();
  EXPECT_EQ(nv->model() + "/" + std::to_string(fake_nvram_commits), "ZLT8AC/1");
}
