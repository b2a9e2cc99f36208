#include <gtest/gtest.h>

#include "board/nvram.h"

extern "C" int fake_nvram_commits;

TEST(BoardNvram, GoesThroughTheBoardLibraryOnSectionZero) {
  auto nv = board::make_board_nvram();
  EXPECT_FALSE(nv->get("HostName"));
  nv->set("HostName", "Lab");
  EXPECT_EQ(nv->get("HostName").value_or(""), "Lab");
  nv->set("ZLTMerge", "ZLT8AC");
  EXPECT_EQ(nv->model(), "ZLT8AC");
  int before = fake_nvram_commits;
  nv->commit();
  EXPECT_EQ(fake_nvram_commits, before + 1);
}
