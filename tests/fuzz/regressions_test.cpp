// Findings of the fuzz targets, kept as tests of the default suite.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fuzz/rigs.h"

namespace {

using namespace testing_support;

// serial_framing: an overflow clears only the start of the receive buffer; a
// later message longer than that must not pick up the older bytes beyond it.
TEST(FuzzRegression, MessageAfterOverflowHoldsOnlyItsOwnBytes) {
  struct Row {
    std::string end;  // the bytes that end the message; '~' is a silent read
    std::string queued_tail;
  };
  const Row rows[] = {{".~~~~~~~~~~~", "."}, {"\r\n", ""}};
  for (const Row& row : rows) {
    fuzz_support::ReaderRig rig;
    core::SerialReader reader(rig.board, rig.state, rig.pool, rig.nowhere);
    // The overflowing text ends in a microphone level, which is dropped while
    // the GUI does not show it: older bytes must not make a line look like one.
    std::string old = std::string(4400, 'A') + "MIC1 Peak_Level -30" + std::string(72, 'A');
    std::string message(1100, 'B');
    for (char c : old + message + row.end) c == '~' ? reader.on_silence() : reader.on_byte(c);
    EXPECT_EQ(rig.take(), std::vector<std::string>{message + row.queued_tail}) << "ended by " << row.queued_tail;
  }
}

// fd_handover: a hand-over carrying more than 64 descriptors leaked those
// past the 64th. Every one that is not kept must be closed.
TEST(FuzzRegression, HandOverOfManyDescriptorsKeepsOnlyTheSessionsOne) {
  for (bool port8000 : {false, true}) {
    ChannelsHarness h;
    std::set<int> before = fuzz_support::open_descriptors();
    fuzz_support::hand_over(*h.ch, port8000, 253, 3, 1);
    int kept = (port8000 ? h.ch->rev_fd8000 : h.ch->rev_fd)[3].load();
    ASSERT_GE(kept, 0);
    before.insert(kept);
    EXPECT_EQ(fuzz_support::open_descriptors(), before) << (port8000 ? "port 8000" : "port 23");
  }
}

}  // namespace
